// StoreLabelInfo: the third ingest pass. A label is a tag: a directory
// copied to a path under "/tags" from the root of a stored branch (or the
// trunk). Each such entry becomes a label row whose parent is that branch,
// with the paths that the same commit deleted from it as exclusions. Tags
// of a subdirectory or of another tag are not stored.
//
// It runs after the branch pass, so all branches of the document are
// known and a label's parent is settled when it is stored.
//
// The cache belongs to the caller, the document to ParseSvnLog. Main
// thread only. The result is always 0.
#pragma once

#include <cstdint>

#include "runtime/cmArray.h"

class VCDataLayer;

int32_t StoreLabelInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries);
