// cmFileDriver_Posix ("posix"): the native driver. It serves local files,
// and every path that no other driver claims. Stateless; one instance lives
// in the registry for the whole process and may be used from any thread.
//
// POSIX notes: the hidden-file rule is the dot rule (a name starting with
// '.' is hidden); there is no recycle bin, so a remove "to the recycle bin"
// deletes the file once it has checked that it exists; the creation time of
// a file cannot be set and is ignored.
#pragma once

#include <cstdint>

#include "file/cmI_FileDriver.h"

class cmFileDriver_Posix : public cmI_FileDriver {
 public:
  int32_t newFindFile(const cmPathString& path, cmI_FindFile** out) override;
  int32_t newFileRW(const cmPathString& path, cmI_FileRW** out) override;
  bool isCaseSensitive() override;
  bool exists(const cmPathString& path, bool acceptDirectory) override;
  int32_t remove(const cmPathString& path, bool noThrow, bool toRecycleBin) override;
  bool isDirectory(const cmPathString& path) override;
  void getFileDate(const cmPathString& path, cmDateStamp& date) override;
  bool canHandle(const cmPathString& path) override { return true; }
  int64_t getFileSize(const cmPathString& path) override;
  void setFileTimes(const cmPathString& path, cmDateStamp created, cmDateStamp modified) override;
  void setAttributes(const cmPathString& path, uint32_t attributes) override;
  const char* getName() override { return "posix"; }
  bool canOpenForRead() override { return true; }
  bool canOpenForWrite() override { return true; }
  bool canSeek() override { return true; }
  bool canSetEnd() override { return true; }
  bool canCreate() override { return true; }
  bool canRemove() override { return true; }
  bool canList() override { return true; }
  bool canSetTimes() override { return true; }
  bool canSetAttributes() override { return true; }
};
