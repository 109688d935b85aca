// cmI_FileDriver: one kind of path (plain files, archive members, URLs...).
// A driver is a stateless object that answers questions on paths and makes
// reader-writers and directory searches; the registry (cmFileDriverRegistry.h)
// owns the drivers for the life of the process and picks one per path.
// Drivers may be called from any thread.
//
// Failures are thrown as cmException with CM_FILE_ERR_* numbers unless a
// slot says otherwise.
#pragma once

#include <cstdint>

#include "file/cmI_FileRW.h"
#include "file/cmI_FindFile.h"
#include "text/cmDateStamp.h"
#include "text/cmStringT.h"

class cmI_FileDriver {
 public:
  // Make a search or a reader-writer, owned by the caller (delete it).
  // 0, or CM_FILE_ERR_OUT_OF_MEMORY.
  virtual int32_t newFindFile(const cmPathString& path, cmI_FindFile** out) = 0;
  virtual int32_t newFileRW(const cmPathString& path, cmI_FileRW** out) = 0;
  virtual bool isCaseSensitive() = 0;
  // A path with a wildcard is no file: false.
  virtual bool exists(const cmPathString& path, bool acceptDirectory) = 0;
  // Deletes a file. Returns 0, or with noThrow the failure's number; a
  // missing file or directory never throws.
  virtual int32_t remove(const cmPathString& path, bool noThrow, bool toRecycleBin) = 0;
  // A bare root is a directory.
  virtual bool isDirectory(const cmPathString& path) = 0;
  virtual void getFileDate(const cmPathString& path, cmDateStamp& date) = 0;
  virtual bool canHandle(const cmPathString& path) = 0;
  // Size, or -1.
  virtual int64_t getFileSize(const cmPathString& path) = 0;
  // A time of 0 is left as it is.
  virtual void setFileTimes(const cmPathString& path, cmDateStamp created, cmDateStamp modified) = 0;
  virtual void setAttributes(const cmPathString& path, uint32_t attributes) = 0;
  virtual void checkPath(const cmPathString& path) {
    if (path.isEmpty()) throw cmException(CM_FILE_ERR_EMPTY_PATH);
  }
  virtual const char* getName() = 0;
  // Capabilities; they matter to archive and URL drivers.
  virtual bool canOpenForRead() = 0;
  virtual bool canOpenForWrite() = 0;
  virtual bool canSeek() = 0;
  virtual bool canSetEnd() = 0;
  virtual bool canCreate() = 0;
  virtual bool canRemove() = 0;
  virtual bool canList() = 0;
  virtual bool canSetTimes() = 0;
  virtual bool canSetAttributes() = 0;
  virtual bool isRemote() { return false; }
  virtual ~cmI_FileDriver() = default;
};
