#include "ingest/RevisionIngest.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ingest/LogEntryFields.h"
#include "ingest/LabelIngest.h"
#include "ingest/RevisionReadAhead.h"
#include "update/RunLog.h"
#include "vcache/VCDataLayer.h"

using tolvane::TVString;

namespace {

std::string_view viewOf(const TVString& s) {
  return {s.isNull() ? "" : s.data(), static_cast<size_t>(s.length())};
}

// One run of the pass over the entries of a document. It keeps no memory of
// what it has seen: every changed path asks the cache for its branch and its
// file, so the database's indexes are the only memory between entries. The
// entries come read from a RevisionReadAhead.
class RevisionPass {
 public:
  explicit RevisionPass(VCDataLayer& cache) : cache_(cache) {}

  void store(ingest::RevisionEntry& entry);

 private:
  int32_t fileIdOf(const TVString& fileSpec);

  VCDataLayer& cache_;
  std::vector<int32_t> fileIdsOfEntry_;
};

// The id of the `file` row for `fileSpec`, stored now if it is new; -1 when
// the row could neither be found nor stored.
int32_t RevisionPass::fileIdOf(const TVString& fileSpec) {
  // Looked up first: a known file is the common case and should not take
  // the road of a refused insert.
  int32_t id = -1;
  if (cache_.findFileId(fileSpec, id)) return id;
  VCFileInfo file;
  file.spec = fileSpec;
  int32_t status = cache_.insertFile(file);
  LogVerbose("Added file (status=%i): %s", status, file.spec.getCString());
  return file.id;
}

void RevisionPass::store(ingest::RevisionEntry& entry) {
  if (entry.paths.empty()) return;
  int32_t revisionBranch = -1;
  fileIdsOfEntry_.clear();
  for (const ingest::ChangedPath& path : entry.paths) {
    int32_t branchId = -1;
    if (path.inBranchForm && !cache_.findBranchId(path.branchName, branchId)) branchId = -1;
    // The first path in a known branch decides for the whole commit.
    if (revisionBranch == -1) revisionBranch = branchId;
    int32_t fileId = fileIdOf(path.fileSpec);
    if (fileId >= 0) fileIdsOfEntry_.push_back(fileId);
  }
  if (revisionBranch < 0) return;

  LogEntryFields& fields = entry.fields;
  VCRevisionInfo revision;
  revision.parentId = revisionBranch;
  revision.number = fields.revision;
  revision.name = std::move(fields.revision);
  revision.timeStamp = fields.timeStamp;
  revision.author = std::move(fields.author);
  revision.comments = std::move(fields.message);
  // A revision that is stored already has its cross references too.
  if (cache_.insertRevision(revision) != 0) return;
  LogVerbose("Added revision (status=%i): %s", 0, revision.number.getCString());
  cache_.insertFileRevisionXrefs(fileIdsOfEntry_.data(), static_cast<int64_t>(fileIdsOfEntry_.size()), revision.id,
                                 revision.number);
}

}  // namespace

void ResolveBranchOfPath(VCDataLayer* cache, TVString path, int32_t& branchId, TVString& fileSpec) {
  branchId = -1;
  fileSpec = path;
  std::string name;
  if (!ingest::BranchNameOf(viewOf(path), name)) return;
  fileSpec = path.tail(static_cast<int64_t>(name.size()));
  int32_t id = -1;
  if (cache->findBranchId(TVString(name.data(), static_cast<int64_t>(name.size())), id)) branchId = id;
}

int32_t StoreRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) {
  return StoreRevisionInfo(cache, document, entries, true);
}

int32_t StoreRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries, bool readAhead,
                          ingest::LabelCandidates* labels) {
  if (labels) labels->clear();
  // A run without an open session has nowhere to store rows.
  if (cache == nullptr) return 0;
  ingest::RevisionReadAhead read(document, entries, readAhead, labels);
  RevisionPass pass(*cache);
  for (int64_t i = 0; i < entries.size(); ++i) {
    // Taken after the entry is in hand: reading may take the document's
    // lock, which comes before the cache's locks, as in the other passes.
    ingest::RevisionEntry& entry = read.entry(i);
    VCDataLayer::WriteRun run(*cache);
    pass.store(entry);
  }
  return 0;
}
