// StoreRevisionInfo: the second ingest pass. For each log entry it stores
// the files that the commit added, changed or replaced (not deleted ones,
// not copies), one `file` row per path below its branch root, and, when one
// of those paths lies in a known branch, one revision row for the entry
// with a cross reference from each file.
//
// ResolveBranchOfPath splits a repository path into its branch and the
// path relative to the branch root. Only "/trunk" and the second level ("/branches/b",
// "/tags/t") are tried, so a file is identified across branches by the
// path below the branch root.
//
// The pass keeps no table of what it has seen: each changed path is one
// branch lookup, one file lookup and, for a new file, one insert.
//
// The entries are read from the document on a second thread while the pass
// stores (RevisionReadAhead.h); `readAhead` false reads them on the calling
// thread, with the same rows as the result. With `labels`, that thread also
// lists the label pass's candidates for StoreLabelInfo once it has read the
// entries; the list is complete when the call returns, or marked
// incomplete.
//
// The cache belongs to the caller, the document to ParseSvnLog. Called on
// the main thread, which must not read the document during the call. The
// pass's result is always 0.
#pragma once

#include <cstdint>

#include "runtime/cmArray.h"
#include "text/TVString.h"

class VCDataLayer;
namespace ingest {
struct LabelCandidates;
}

int32_t StoreRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries);
int32_t StoreRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries, bool readAhead,
                          ingest::LabelCandidates* labels = nullptr);

// Sets branchId to the stored branch the path lies in, or -1, and fileSpec
// to the path below the branch's name (the whole path when it has fewer
// than two levels).
void ResolveBranchOfPath(VCDataLayer* cache, tolvane::TVString path, int32_t& branchId,
                         tolvane::TVString& fileSpec);
