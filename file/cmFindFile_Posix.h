// cmFindFile_Posix: a directory search of the native driver. The pattern is
// a directory and a last segment; the segment may hold the wildcards '*'
// (any run of characters) and '?' (one character), matched with the file
// system's case rule. A segment without wildcards finds exactly that entry.
//
// The object owns its open directory listing and closes it in close() or
// its destructor. One thread at a time.
#pragma once

#include <cstdint>

#include "file/cmI_FindFile.h"
#include "text/cmStringT.h"

namespace platform {
struct Dir;
}

class cmFindFile_Posix : public cmI_FindFile {
 public:
  cmFindFile_Posix() = default;
  ~cmFindFile_Posix() override;
  cmFindFile_Posix(const cmFindFile_Posix&) = delete;
  cmFindFile_Posix& operator=(const cmFindFile_Posix&) = delete;

  int32_t findFirst(const cmPathString& pattern, cmFindFileInfo& info, uint32_t flags) override;
  int32_t findNext(cmFindFileInfo& info, uint32_t flags) override;
  void close() override;

  // The directory of the running search, as given ("." for none).
  const cmPathString& directory() const { return directory_; }

  // Whole-name match of '*' and '?'; no recursion, so no pattern can
  // exhaust the stack.
  static bool matchName(const char* pattern, const char* name, bool caseSensitive);

 private:
  // Whether an entry passes the kind and hidden filters of `flags`.
  static bool wanted(const char* name, uint32_t attributes, uint32_t flags);

  cmPathString filter_;  // the name pattern
  platform::Dir* searchHandle_ = nullptr;
  cmPathString directory_;
  bool singleEntry_ = false;  // the pattern named one entry, already given
};
