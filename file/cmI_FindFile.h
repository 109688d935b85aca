// cmI_FindFile: a directory search made by a driver (cmI_FileDriver::
// newFindFile). findFirst takes a directory and a file pattern ("dir/*.txt",
// or a plain path for exactly that entry) and fills the first match;
// findNext the following ones. The caller owns the object and deletes it;
// the destructor closes the search. One thread at a time.
#pragma once

#include <cstdint>

#include "text/cmDateStamp.h"
#include "text/cmStringT.h"

// Flags of findFirst and findNext. With neither of the first two, both kinds
// are listed.
constexpr uint32_t CM_FIND_FILES = 0x20000;
constexpr uint32_t CM_FIND_DIRECTORIES = 0x40000;
// Leave out hidden entries (names starting with '.').
constexpr uint32_t CM_FIND_SKIP_HIDDEN = 0x80000;
// List "." and "..", which are otherwise left out.
constexpr uint32_t CM_FIND_DOTS = 0x100000;

// One entry found. Attributes use the platform's bits (platform/
// cmPlatformFile.h: read-only 0x1, hidden 0x2, directory 0x10, normal 0x80).
struct cmFindFileInfo {
  cmPathString name;  // the entry's name, without its directory
  uint32_t attributes = 0;
  uint64_t size = 0;
  cmDateStamp created = 0;
  cmDateStamp accessed = 0;
  cmDateStamp modified = 0;
};

class cmI_FindFile {
 public:
  // 0 with `info` filled; CM_FILE_ERR_NOT_FOUND when nothing matches,
  // CM_FILE_ERR_PATH_NOT_FOUND when the directory is missing.
  virtual int32_t findFirst(const cmPathString& pattern, cmFindFileInfo& info, uint32_t flags) = 0;
  // 0, or CM_FILE_ERR_NO_MORE_FILES.
  virtual int32_t findNext(cmFindFileInfo& info, uint32_t flags) = 0;
  virtual void close() = 0;
  virtual ~cmI_FindFile() = default;
};
