// The registry of file drivers and the path-level operations that go
// through it.
//
// The native driver ("posix") is registered first and answers yes to every
// path; drivers registered later are asked first, so an archive or URL
// driver shadows the native one for the paths it recognises and everything
// else falls through to "posix". Drivers are owned by the registry's callers
// and must live as long as the process; they are never removed.
//
// Threading: the registry is filled once and searched under one mutex.
#pragma once

#include <cstddef>
#include <cstdint>

#include "file/cmI_FileDriver.h"
#include "text/cmDateStamp.h"
#include "text/cmStringT.h"

// The driver for a path: the last registered one whose canHandle says yes.
cmI_FileDriver* cmFileDriver_find(const cmPathString& path);
// The native driver, which also serves the standard streams.
cmI_FileDriver* cmFileDriver_native();
void cmFileDriver_register(cmI_FileDriver* driver);
size_t cmFileDriver_count();
// In order of registration; null past the end.
cmI_FileDriver* cmFileDriver_at(size_t index);

// Path-level operations, each delegated to the path's driver.
bool cmFile_exists(const cmPathString& path, bool acceptDirectory = false);
bool cmFile_isDirectory(const cmPathString& path);
int64_t cmFile_getFileSize(const cmPathString& path);
// 0, or the failure's number when noThrow; a missing file never throws.
int32_t cmFile_remove(const cmPathString& path, bool noThrow = false, bool toRecycleBin = false);
cmDateStamp cmFile_getFileDate(const cmPathString& path);
void cmFile_setFileTimes(const cmPathString& path, cmDateStamp created, cmDateStamp modified);
void cmFile_setAttributes(const cmPathString& path, uint32_t attributes);
