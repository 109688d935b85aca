#include "ingest/RevisionIngest.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ingest/LogEntryFields.h"
#include "ingest/LogReader.h"
#include "update/RunLog.h"
#include "vcache/VCDataLayer.h"
#include "xml/cmMiniXmlNode.h"
#include "xml/cmXPathNodeList.h"

using tolvane::TVString;

namespace {

std::string_view viewOf(const TVString& s) {
  return {s.isNull() ? "" : s.data(), static_cast<size_t>(s.length())};
}

// The branch part of `path` by ResolveBranchOfPath's rule: split at "/"
// with empty pieces kept, the name is "/" and piece 1, and unless that is
// "/trunk", "/" and piece 2 too. False when the path has fewer than three
// pieces (fewer than two "/"), and then `name` is left alone.
bool branchNameOf(std::string_view path, std::string& name) {
  const size_t first = path.find('/');
  if (first == std::string_view::npos) return false;
  const size_t second = path.find('/', first + 1);
  if (second == std::string_view::npos) return false;
  const std::string_view piece1 = path.substr(first + 1, second - first - 1);
  name.clear();
  name.push_back('/');
  name.append(piece1);
  if (piece1 == "trunk") return true;
  size_t third = path.find('/', second + 1);
  if (third == std::string_view::npos) third = path.size();
  name.push_back('/');
  name.append(path.substr(second + 1, third - second - 1));
  return true;
}

// One run of the pass over the entries of a document. It keeps no memory of
// what it has seen: every changed path asks the cache for its branch and its
// file, so the database's indexes are the only memory between entries.
class RevisionPass {
 public:
  RevisionPass(VCDataLayer& cache, int32_t document) : cache_(cache), log_(document) {}

  void store(int32_t entryId);

 private:
  void resolve(const TVString& path, int32_t& branchId, TVString& fileSpec);
  int32_t fileIdOf(const TVString& fileSpec);

  VCDataLayer& cache_;
  ingest::LogReader log_;
  std::string name_;  // scratch for a branch name
  std::vector<int32_t> fileIdsOfEntry_;
};

void RevisionPass::resolve(const TVString& path, int32_t& branchId, TVString& fileSpec) {
  branchId = -1;
  if (!branchNameOf(viewOf(path), name_)) {
    fileSpec = path;
    return;
  }
  fileSpec = path.tail(static_cast<int64_t>(name_.size()));
  if (!cache_.findBranchId(TVString(name_.data(), static_cast<int64_t>(name_.size())), branchId)) branchId = -1;
}

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

void RevisionPass::store(int32_t entryId) {
  cmMiniXmlNode* entry = log_.entry(entryId);
  const cmXPathNodeList& paths = log_.changedFiles(entry);
  if (paths.empty()) return;

  // The revision text is taken as the log has it, unstripped.
  LogEntryFields fields = log_.fields(entry);
  int32_t revisionBranch = -1;
  fileIdsOfEntry_.clear();
  TVString path;
  TVString fileSpec;
  for (cmMiniXmlNode* node : paths) {
    if (node->id < 0) break;
    if (!log_.pathText(node, path)) continue;
    int32_t branchId = -1;
    resolve(path, branchId, fileSpec);
    // The first path in a known branch decides for the whole commit.
    if (revisionBranch == -1) revisionBranch = branchId;
    int32_t fileId = fileIdOf(fileSpec);
    if (fileId >= 0) fileIdsOfEntry_.push_back(fileId);
  }
  if (revisionBranch < 0) return;

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
  if (!branchNameOf(viewOf(path), name)) return;
  fileSpec = path.tail(static_cast<int64_t>(name.size()));
  int32_t id = -1;
  if (cache->findBranchId(TVString(name.data(), static_cast<int64_t>(name.size())), id)) branchId = id;
}

int32_t StoreRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) {
  // A run without an open session has nowhere to store rows.
  if (cache == nullptr) return 0;
  RevisionPass pass(*cache, document);
  for (int64_t i = 0; i < entries.size(); ++i) pass.store(entries[i]);
  return 0;
}
