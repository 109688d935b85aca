#include "ingest/BranchIngest.h"

#include <utility>
#include <vector>

#include "ingest/CopyEntry.h"
#include "ingest/CopyExclusions.h"
#include "ingest/LogEntryFields.h"
#include "ingest/LogReader.h"
#include "text/cmDateParts.h"
#include "update/RunLog.h"
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
// Returns the entry's first added directory (null when it has none), which
// the second walk would look for again.
cmMiniXmlNode* storeBranch(VCDataLayer& cache, ingest::LogReader& log, cmMiniXmlNode* entry, int32_t trunkId) {
  ingest::CopyEntry copy;
  if (!copy.readTarget(log, entry)) return copy.pathNode;
  if (!copy.pathBeginsWith(ingest::kBranchesPrefix)) return copy.pathNode;

  LogEntryFields fields = log.fields(entry);
  ingest::StripLogValue(fields.revision);
  copy.readSource(log);
  if (copy.copyFromPath.isEmpty() || copy.copyFromRev.isEmpty()) return copy.pathNode;

  VCBranchInfo branch;
  branch.parentId = trunkId;
  branch.number = std::move(fields.revision);
  branch.copyFromNumber = copy.copyFromRev;
  branch.timeStamp = fields.timeStamp;
  branch.name = copy.path;
  branch.author = std::move(fields.author);
  branch.comments = std::move(fields.message);
  // A branch that is stored already brings no exclusions either.
  if (cache.insertBranch(branch) != 0) return copy.pathNode;
  LogVerbose("Added branch (status=%i): %s", 0, branch.name.getCString());

  ingest::CopyExclusions exclusions;
  exclusions.collect(log, entry, false);
  exclusions.assignTo(branch.name, branch.id);
  if (exclusions.count() == 0) return copy.pathNode;
  int32_t status = exclusions.storeForBranch(cache);
  LogVerbose("Added %i branch exclusions (status=%i)", static_cast<int>(exclusions.count()), status);
  return copy.pathNode;
}

// Links the branch whose first added directory is `pathNode` to the branch
// it was copied from. Runs for every entry that adds a directory under
// "/branches", stored in this run or before, and says so when either end
// isn't a stored branch.
void linkParent(VCDataLayer& cache, ingest::LogReader& log, cmMiniXmlNode* pathNode) {
  ingest::CopyEntry copy;
  copy.pathNode = pathNode;
  if (!copy.pathNode) return;
  copy.path = TVString("", 0);
  if (log.pathText(copy.pathNode, copy.path) && !copy.pathBeginsWith(ingest::kBranchesPrefix)) return;
  copy.readSource(log);

  int32_t branchId = -1;
  int32_t parentId = -1;
  if (cache.findBranchId(copy.path, branchId) && cache.findBranchId(copy.copyFromPath, parentId) &&
      cache.setBranchParent(branchId, parentId) == 0)
    return;
  LogVerbose("Unable to update branch parent ID for branch %s, parent branch is '%s'", copy.path.getCString(),
             copy.copyFromPath.getCString());
}

}  // namespace

int32_t StoreBranchInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) {
  return StoreBranchInfo(cache, document, entries, nullptr);
}

int32_t StoreBranchInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries,
                        const std::vector<uint8_t>* mayAddDirectory) {
  // A run without an open session has nowhere to store rows.
  if (cache == nullptr) return 0;
  const int32_t trunkId = storeTrunk(*cache);
  ingest::LogReader log(document);
  // The first added directory of each entry, found once: the document
  // doesn't change between the walks, so the second walk's query would
  // find the same node.
  std::vector<cmMiniXmlNode*> added(static_cast<size_t>(entries.size()), nullptr);
  if (mayAddDirectory && mayAddDirectory->size() != added.size()) mayAddDirectory = nullptr;
  for (int64_t i = 0; i < entries.size(); ++i) {
    // An entry without an added directory is no branch: nothing to read.
    if (mayAddDirectory && !(*mayAddDirectory)[static_cast<size_t>(i)]) continue;
    added[i] = storeBranch(*cache, log, log.entry(entries[i]), trunkId);
  }
  // Parents are linked once every branch of the document is stored, so
  // that a branch of a branch made in the same batch finds its source.
  for (int64_t i = 0; i < entries.size(); ++i) linkParent(*cache, log, added[i]);
  return 0;
}
