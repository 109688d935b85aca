// Numbered file handles: small integers that stand for cmFileRW objects, for
// code that keeps plain numbers (the database engine, the status file).
//
// Handles 0, 1 and 2 are standard input, output and error; they are bound on
// first use and cannot be closed. Other handles start at 3; a freed number is
// given out again. The table owns the objects it holds.
//
// The flat functions never throw: failures come back as the public numbers
// of file/cmFileErrors.h (CM_FILE_STATUS_*), made by MapExceptionToStatus.
// Threading: the table is guarded by a mutex; one handle must not be used by
// two threads at once.
#pragma once

#include <cstdint>

#include "file/cmFileRW.h"
#include "text/cmStringT.h"

// Modes of fileOpen.
constexpr int32_t CM_FILE_MODE_READ = 0;              // existing file, read, others may read
constexpr int32_t CM_FILE_MODE_CREATE = 1;            // made or emptied, read and write, others may read
constexpr int32_t CM_FILE_MODE_CREATE_ALSO = 2;       // the same as 1
constexpr int32_t CM_FILE_MODE_READ_WRITE = 3;        // existing file, read and write, others may read
constexpr int32_t CM_FILE_MODE_READ_SHARED = 4;       // existing file, read, others may read and write
constexpr int32_t CM_FILE_MODE_CREATE_NEW = 5;        // new file only, read and write, others may read
constexpr int32_t CM_FILE_MODE_KEEP_BIT = 0x1000000;  // carried into the open flags

// What a caller may add to an open. The native driver takes them as hints.
struct cmFileOpenOptions {
  int32_t accessHint = 0;     // 1 random access (0x80000), 2 sequential (0x100000)
  bool writeThrough = false;  // 0x200000
};

// Takes ownership of an object made with new; returns its number, or
// CM_FILE_STATUS_OUT_OF_MEMORY (-8) when the table cannot grow.
int32_t cmFileHandle_new(cmFileRW* file);
// The object, or null for an unknown number.
cmFileRW* cmFileHandle2FileRW(int32_t handle);
// Closes without throwing and deletes the object; unknown numbers and 0 to 2
// are ignored.
void cmFileHandle_free(int32_t handle);

// The open flags of a mode, or 0 for an unknown mode.
uint32_t cmFileHandle_flagsForMode(int32_t mode, const cmFileOpenOptions* options);

// A handle (3 or more), or: -5 unknown mode, -2 empty or missing file, -3
// missing directory, -5 refused (permission, sharing), -32 other failures.
int32_t fileOpen(const cmPathString& path, int32_t mode, const cmFileOpenOptions* options = nullptr);
// 0; -35 for an unknown handle, a failed close or a standard handle.
int32_t fileClose(int32_t handle);
// Bytes read (0 at the end), or -33.
int64_t fileRead(int32_t handle, void* buffer, int64_t n);
// Bytes written (all of n), or -34.
int64_t fileWrite(int32_t handle, const void* buffer, int64_t n);
// The new position, or -33.
int64_t fileSeek(int32_t handle, int64_t offset, int origin);
// Does nothing: writes are not buffered here.
int32_t fileFlush(int32_t handle);
// Deletes a file and never throws: 0, or the public number of the failure.
int32_t fileDelete(const cmPathString& path);
