// CopyEntry: what the branch and label passes read from a log entry that
// may have made a copy of a directory: the first directory that the entry
// added, its stripped path and its copy source, and the paths that the
// same commit deleted (which become the copy's exclusions).
//
// Only the first added directory of an entry is looked at, so a commit
// that creates two branches (or a branch and a tag) yields one copy.
//
// A plain value read through the pass's LogReader; the document belongs
// to the caller, and `pathNode` is valid while the document is open. Main
// thread only, like every pass.
#pragma once

#include <cstdint>

#include "text/TVString.h"

struct cmMiniXmlNode;

namespace ingest {

class LogReader;

// LogReader::mayHaveAddedDirectory restates the steps and the first
// predicate of this query to pass over entries without a directory; the
// two change together.
constexpr const char* kAddedDirectoryQuery = "paths/path[@kind='dir'][@action='A']";
constexpr const char* kDeletedPathQuery = "paths/path[@action='D']";

// Prefixes that make a copy a branch or a label. Case matters, and a longer
// word ("/branchesold") still begins with them.
constexpr const char* kBranchesPrefix = "/branches";
constexpr const char* kTagsPrefix = "/tags";

struct CopyEntry {
  cmMiniXmlNode* pathNode = nullptr;  // the first added directory's `path` element
  tolvane::TVString path;             // its text, stripped
  tolvane::TVString copyFromPath;     // empty when the directory wasn't copied
  tolvane::TVString copyFromRev;      // empty when missing

  // The first added directory of `entry`, and whether it has text. False
  // when the entry added no directory or its `path` has no text child.
  bool readTarget(LogReader& log, cmMiniXmlNode* entry);
  // The two copy-source attributes of the target, empty when missing.
  void readSource(LogReader& log);
  // Whether as many characters of the path as `prefix` has, stripped,
  // equal `prefix`.
  bool pathBeginsWith(const char* prefix) const;
};

// Strips what surrounds a value in the client's log: blanks, CR and LF at
// both ends; tabs are content.
void StripLogValue(tolvane::TVString& text);

}  // namespace ingest
