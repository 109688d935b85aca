#include "ingest/CopyExclusions.h"

#include <utility>

#include "ingest/CopyEntry.h"
#include "vcache/VCDataLayer.h"
#include "xml/tvXmlCfg.h"

using tolvane::TVString;

namespace ingest {

CopyExclusions::~CopyExclusions() {
  for (int64_t i = 0; i < items_.size(); ++i) delete items_[i];
}

void CopyExclusions::collect(int32_t document, int32_t entry, bool stopAtBadNode) {
  cmArray<int> paths;
  tvXMLCFGFindList(document, kDeletedPathQuery, entry, paths, 0, -1);
  for (int64_t i = 0; i < paths.size(); ++i) {
    if (paths[i] < 0 && stopAtBadNode) break;
    TVString name;
    if (!ReadPathText(document, paths[i], name)) continue;
    auto* exclusion = new VCExclusionInfo;
    exclusion->itemId = -1;
    exclusion->type = tvXMLCFGGetAttributeString(document, paths[i], "kind", "");
    exclusion->type.lowcase();
    exclusion->name = name;
    items_.append(std::move(exclusion));
  }
}

void CopyExclusions::assignTo(const TVString& rootName, int32_t itemId) {
  for (int64_t i = 0; i < items_.size(); ++i) {
    VCExclusionInfo& exclusion = *items_[i];
    // Compared over the length of the root's name, case and all, so the
    // rest begins with "/" for a path inside the copy.
    if (exclusion.name.beginsWith(rootName)) exclusion.name = exclusion.name.tail(rootName.length());
    exclusion.itemId = itemId;
  }
}

int32_t CopyExclusions::storeForBranch(VCDataLayer& cache) {
  cmArray<VCExclusionInfo*> handedOver(items_);
  return cache.insertBranchExclusions(handedOver);
}

int32_t CopyExclusions::storeForLabel(VCDataLayer& cache) {
  cmArray<VCExclusionInfo*> handedOver(items_);
  return cache.insertLabelExclusions(handedOver);
}

}  // namespace ingest
