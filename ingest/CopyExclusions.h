// CopyExclusions: the paths that the commit creating a branch or a label
// deleted from it, as exclusion rows of that branch or label.
//
// collect() reads the entry's deleted paths; assignTo() makes those that
// lie inside the copy relative to it (a deleted path outside the copy keeps
// its full form) and gives every one the copy's id. The store calls hand
// the cache a copy of the array, whose block the cache consumes.
//
// Ownership: the object owns the exclusions and frees them on destruction.
// Main thread only.
#pragma once

#include <cstdint>

#include "runtime/cmArray.h"
#include "text/TVString.h"

class VCDataLayer;
struct VCExclusionInfo;
struct cmMiniXmlNode;

namespace ingest {

class LogReader;

class CopyExclusions {
 public:
  CopyExclusions() = default;
  ~CopyExclusions();
  CopyExclusions(const CopyExclusions&) = delete;
  CopyExclusions& operator=(const CopyExclusions&) = delete;

  // Appends one exclusion per `path` of the entry's deletions that has
  // text: the stripped path, and its kind in lower case. A negative node id
  // ends the walk when stopAtBadNode is set, else it is skipped.
  void collect(LogReader& log, cmMiniXmlNode* entry, bool stopAtBadNode);
  void assignTo(const tolvane::TVString& rootName, int32_t itemId);

  int64_t count() const { return items_.size(); }
  const VCExclusionInfo& at(int64_t i) const { return *items_[i]; }

  // The cache's result, always 0 by its contract.
  int32_t storeForBranch(VCDataLayer& cache);
  int32_t storeForLabel(VCDataLayer& cache);

 private:
  cmArray<VCExclusionInfo*> items_;
};

}  // namespace ingest
