#include "ingest/CopyExclusions.h"

#include <utility>

#include "ingest/CopyEntry.h"
#include "ingest/LogReader.h"
#include "vcache/VCDataLayer.h"
#include "xml/cmMiniXmlNode.h"
#include "xml/cmXPathNodeList.h"

using tolvane::TVString;

namespace ingest {

CopyExclusions::~CopyExclusions() {
  for (int64_t i = 0; i < items_.size(); ++i) delete items_[i];
}

void CopyExclusions::collect(LogReader& log, cmMiniXmlNode* entry, bool stopAtBadNode) {
  for (cmMiniXmlNode* path : log.deletedPaths(entry)) {
    // A node without an id is what a bad id in the handle functions' list
    // stood for: it ends the walk or is passed over.
    if (path->id < 0) {
      if (stopAtBadNode) break;
      continue;
    }
    TVString name;
    if (!log.pathText(path, name)) continue;
    auto* exclusion = new VCExclusionInfo;
    exclusion->itemId = -1;
    exclusion->type = log.attribute(path, "kind");
    exclusion->type.lowcase();
    exclusion->name = std::move(name);
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
