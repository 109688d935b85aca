#include "ingest/BranchIngest.h"

#include <memory>

#include "ingest/CopyEntry.h"
#include "ingest/CopyExclusions.h"
#include "ingest/LogEntryFields.h"
#include "text/cmDateParts.h"
#include "update/RunLog.h"
#include "xml/tvXmlCfg.h"
#include "vcache/VCDataLayer.h"

using tolvane::TVString;

namespace {

constexpr const char* kTrunkName = "/trunk";

// Makes sure the trunk row exists and returns its id. After the first run
// the insert is refused by its key and hands back the stored id.
int32_t storeTrunk(VCDataLayer& cache) {
  VCBranchInfo trunk;
  trunk.parentId = -1;
  trunk.number = "-1";
  trunk.copyFromNumber = "-1";
  trunk.timeStamp = cmDateParts::nowStamp();
  trunk.name = kTrunkName;
  trunk.author = TVString("", 0);
  trunk.comments = TVString("", 0);
  if (cache.insertBranch(trunk) == 0) LogVerbose("Added branch (status=%i): %s", 0, trunk.name.getCString());
  return trunk.id;
}

// Stores the branch that `entry` created, if it is one and it is new.
void storeBranch(VCDataLayer& cache, int32_t document, int32_t entry, int32_t trunkId) {
  ingest::CopyEntry copy;
  if (!copy.readTarget(document, entry)) return;
  if (!copy.pathBeginsWith(ingest::kBranchesPrefix)) return;

  LogEntryFields fields = LogEntryFields::read(document, entry);
  ingest::StripLogValue(fields.revision);
  copy.readSource(document);
  if (copy.copyFromPath.isEmpty() || copy.copyFromRev.isEmpty()) return;

  VCBranchInfo branch;
  branch.parentId = trunkId;
  branch.number = fields.revision;
  branch.copyFromNumber = copy.copyFromRev;
  branch.timeStamp = fields.timeStamp;
  branch.name = copy.path;
  branch.author = fields.author;
  branch.comments = fields.message;
  // A branch that is stored already brings no exclusions either.
  if (cache.insertBranch(branch) != 0) return;
  LogVerbose("Added branch (status=%i): %s", 0, branch.name.getCString());

  ingest::CopyExclusions exclusions;
  exclusions.collect(document, entry, false);
  exclusions.assignTo(branch.name, branch.id);
  if (exclusions.count() == 0) return;
  int32_t status = exclusions.storeForBranch(cache);
  LogVerbose("Added %i branch exclusions (status=%i)", static_cast<int>(exclusions.count()), status);
}

// Links the branch that `entry` created to the branch it was copied from.
// Runs for every entry that adds a directory under "/branches", stored in
// this run or before, and says so when either end isn't a stored branch.
void linkParent(VCDataLayer& cache, int32_t document, int32_t entry) {
  ingest::CopyEntry copy;
  copy.pathNode = tvXMLCFGFindFirst(document, ingest::kAddedDirectoryQuery, entry);
  if (copy.pathNode < 0) return;
  copy.path = TVString("", 0);
  if (ingest::ReadPathText(document, copy.pathNode, copy.path) && !copy.pathBeginsWith(ingest::kBranchesPrefix))
    return;
  copy.readSource(document);

  std::unique_ptr<VCBranchInfo> branch(cache.getBranchByName(copy.path));
  if (branch) {
    std::unique_ptr<VCBranchInfo> parent(cache.getBranchByName(copy.copyFromPath));
    if (parent && cache.setBranchParent(branch->id, parent->id) == 0) return;
  }
  LogVerbose("Unable to update branch parent ID for branch %s, parent branch is '%s'", copy.path.getCString(),
             copy.copyFromPath.getCString());
}

}  // namespace

int32_t StoreBranchInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) {
  // A run without an open session has nowhere to store rows.
  if (cache == nullptr) return 0;
  const int32_t trunkId = storeTrunk(*cache);
  for (int64_t i = 0; i < entries.size(); ++i) storeBranch(*cache, document, entries[i], trunkId);
  // Parents are linked once every branch of the document is stored, so
  // that a branch of a branch made in the same batch finds its source.
  for (int64_t i = 0; i < entries.size(); ++i) linkParent(*cache, document, entries[i]);
  return 0;
}
