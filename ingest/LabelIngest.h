// StoreLabelInfo: the third ingest pass. A label is a tag: a directory
// copied to a path under "/tags" from the root of a stored branch (or the
// trunk). Each such entry becomes a label row whose parent is that branch,
// with the paths that the same commit deleted from it as exclusions. Tags
// of a subdirectory or of another tag are not stored.
//
// It runs after the branch pass, so all branches of the document are
// known and a label's parent is settled when it is stored.
//
// Only an entry whose first added directory lies under "/tags" can make a
// label; every other entry is passed over without a read of the cache or a
// line of log. LabelCandidates lists those entries when they have been
// found already (by the revision pass's reading thread, RevisionReadAhead),
// and the pass then visits only them.
//
// The cache belongs to the caller, the document to ParseSvnLog. Main
// thread only. The result is always 0.
#pragma once

#include <cstdint>
#include <vector>

#include "runtime/cmArray.h"

class VCDataLayer;
struct cmMiniXmlNode;

namespace ingest {

class LogReader;

// The entries (indexes into the pass's entry list, ascending) that may
// make a label, found for one document and one entry list. Usable only
// when `complete`: a search that was cut short lists too few.
struct LabelCandidates {
  int32_t document = -1;
  int64_t entryCount = -1;
  bool complete = false;
  std::vector<int64_t> entries;

  void clear() { *this = LabelCandidates(); }
  bool coversAll(int32_t doc, int64_t count) const { return complete && document == doc && entryCount == count; }
};

// Whether the label pass would look further at `entry`: the test that
// makes a LabelCandidates list.
bool MayMakeLabel(LogReader& log, cmMiniXmlNode* entry);

}  // namespace ingest

int32_t StoreLabelInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries);
// The same, visiting only `candidates` when they are complete for this
// document and entry list, and every entry otherwise.
int32_t StoreLabelInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries,
                       const ingest::LabelCandidates* candidates);
