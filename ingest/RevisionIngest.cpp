#include "ingest/RevisionIngest.h"

#include <memory>
#include <utility>

#include "ingest/CopyEntry.h"
#include "ingest/LogEntryFields.h"
#include "text/TVArray.h"
#include "update/RunLog.h"
#include "vcache/VCDataLayer.h"
#include "xml/tvXmlCfg.h"

using tolvane::TVArray;
using tolvane::TVString;

namespace {

// Files that the commit wrote itself: added, changed or replaced. Deleted
// files and files that came by copy don't count.
constexpr const char* kChangedFileQuery = "paths/path[@kind='file'][not(@action='D')][not(@copyfrom-path)]";

// The id of the `file` row for `fileSpec`, stored now if it is new; -1 when the
// row could neither be found nor stored.
int32_t fileIdOf(VCDataLayer& cache, const TVString& fileSpec) {
  // Looked up first: a known file is the common case and should not take
  // the road of a refused insert.
  std::unique_ptr<VCFileInfo> found(cache.getFileBySpec(fileSpec));
  if (found) return found->id;
  VCFileInfo file;
  file.spec = fileSpec;
  int32_t status = cache.insertFile(file);
  LogVerbose("Added file (status=%i): %s", status, file.spec.getCString());
  return file.id;
}

void storeRevision(VCDataLayer& cache, int32_t document, int32_t entry) {
  cmArray<int> paths;
  tvXMLCFGFindList(document, kChangedFileQuery, entry, paths, 0, -1);
  if (paths.size() == 0) return;

  // The revision text is taken as the log has it, unstripped.
  LogEntryFields fields = LogEntryFields::read(document, entry);
  int32_t revisionBranch = -1;
  cmArray<int32_t> fileIds;
  for (int64_t i = 0; i < paths.size(); ++i) {
    if (paths[i] < 0) break;
    TVString path;
    if (!ingest::ReadPathText(document, paths[i], path)) continue;
    int32_t branchId = -1;
    TVString fileSpec;
    ResolveBranchOfPath(&cache, path, branchId, fileSpec);
    // The first path in a known branch decides for the whole commit.
    if (revisionBranch == -1) revisionBranch = branchId;
    int32_t fileId = fileIdOf(cache, fileSpec);
    if (fileId >= 0) fileIds.append(std::move(fileId));
  }
  if (revisionBranch < 0) return;

  VCRevisionInfo revision;
  revision.parentId = revisionBranch;
  revision.number = fields.revision;
  revision.name = fields.revision;
  revision.timeStamp = fields.timeStamp;
  revision.author = fields.author;
  revision.comments = fields.message;
  // A revision that is stored already has its cross references too.
  if (cache.insertRevision(revision) != 0) return;
  LogVerbose("Added revision (status=%i): %s", 0, revision.number.getCString());
  for (int64_t i = 0; i < fileIds.size(); ++i)
    cache.insertFileRevisionXref(fileIds[i], revision.id, revision.number);
}

}  // namespace

void ResolveBranchOfPath(VCDataLayer* cache, TVString path, int32_t& branchId, TVString& fileSpec) {
  branchId = -1;
  fileSpec = path;
  TVArray pieces;
  path.split('/', pieces);
  if (pieces.count() < 3) return;

  TVString name("/");
  name += pieces[1];
  if (!(name == "/trunk")) {
    name += '/';
    name += pieces[2];
  }
  fileSpec = path.tail(name.length());
  std::unique_ptr<VCBranchInfo> branch(cache->getBranchByName(name));
  if (branch) branchId = branch->id;
}

int32_t StoreRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) {
  // A run without an open session has nowhere to store rows.
  if (cache == nullptr) return 0;
  for (int64_t i = 0; i < entries.size(); ++i) storeRevision(*cache, document, entries[i]);
  return 0;
}
