// StoreBranchInfo: the first ingest pass. It finds the log entries whose
// first added directory is a copy to a path under "/branches", stores each
// as a branch row with the paths that the same commit deleted from it, and
// then links every branch to the branch it was copied from.
//
// Every call first makes sure that "/trunk" exists (id 0 in a new cache),
// so that a branch always has a parent to fall back on: a branch whose
// source is no stored branch root (a subdirectory, a tag) keeps the trunk.
//
// The cache belongs to the caller, the document to ParseSvnLog; `entries`
// are log-entry node ids in document order. Nothing is kept between calls:
// the cache's unique indexes tell a repeated entry from a new one.
// Main thread only. The result is always 0.
#pragma once

#include <cstdint>
#include <vector>

#include "runtime/cmArray.h"

class VCDataLayer;

int32_t StoreBranchInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries);
// The same, skipping the entries whose hint (LogEntries::mayAddDirectory,
// one per entry) says that they add no directory: such an entry stores
// nothing and links nothing. Hints of another length are not used.
int32_t StoreBranchInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries,
                        const std::vector<uint8_t>* mayAddDirectory);
