// LogEntryScan: the log entries of an open client log, listed as
// tvXMLCFGFindList lists the matches of kLogEntryQuery ("//logentry"):
// the ids of the elements named "logentry" below the document node, in
// document order. With each entry comes a hint for the branch and label
// passes: whether a `path` of its `paths` may be a directory (an attribute
// `kind` whose raw value is "dir", or holds an entity that might decode to
// it). An entry without that hint adds no directory, and the passes need
// not read it.
//
// The walk is the descendant walk of the query, split by the children of
// the document's elements into two halves that two threads walk at once;
// the halves are joined in order, so the list is the query's, node for
// node. A document too small to be worth a thread is walked by the caller
// alone.
//
// Threading: the caller's thread holds the document family's lock for the
// whole scan; the helper thread only reads node links, kinds, names, raw
// values and ids, which nothing changes meanwhile, and is joined before
// the scan returns.
#pragma once

#include <cstdint>
#include <vector>

#include "runtime/cmArray.h"

namespace ingest {

struct LogEntries {
  cmArray<int> ids;
  // One per id: 1 when the entry may add a directory.
  std::vector<uint8_t> mayAddDirectory;
};

// Fills `out` for the document behind `document`; a bad handle lists no
// entry. `useThread` false walks on the calling thread only.
void ScanLogEntries(int32_t document, LogEntries& out, bool useThread = true);

}  // namespace ingest
