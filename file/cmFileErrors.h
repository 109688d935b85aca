// Status numbers of the file layer, in one place.
//
// The CM_FILE_ERR_* numbers are what the drivers throw inside cmException.
// The first block mirrors the platform's error classes (a missing file, a
// sharing conflict, a full disk...) so that every driver reports them alike;
// the second block holds the default of each operation, used when the
// platform's error has no class of its own. The handle functions
// (cmFileHandle.h) return the small public numbers at the end, produced by
// MapExceptionToStatus.
#pragma once

#include <cstdint>

// Error classes of the platform.
constexpr int32_t CM_FILE_ERR_NOT_FOUND = -102698;         // no such file
constexpr int32_t CM_FILE_ERR_PATH_NOT_FOUND = -102697;    // a directory of the path is missing
constexpr int32_t CM_FILE_ERR_TOO_MANY_OPEN = -102696;     // out of descriptors
constexpr int32_t CM_FILE_ERR_ACCESS_DENIED = -102695;     // permission, sharing or lock conflict
constexpr int32_t CM_FILE_ERR_INVALID_HANDLE = -102694;
constexpr int32_t CM_FILE_ERR_OUT_OF_MEMORY = -102692;
constexpr int32_t CM_FILE_ERR_INVALID_DRIVE = -102691;     // no such device
constexpr int32_t CM_FILE_ERR_CURRENT_DIRECTORY = -102690; // the directory is in use
constexpr int32_t CM_FILE_ERR_NO_MORE_FILES = -102685;
constexpr int32_t CM_FILE_ERR_WRITE_PROTECT = -102681;     // read-only medium
constexpr int32_t CM_FILE_ERR_NOT_READY = -102676;
constexpr int32_t CM_FILE_ERR_BAD_COMMAND = -102675;
constexpr int32_t CM_FILE_ERR_CRC = -102674;               // the device reported a data error
constexpr int32_t CM_FILE_ERR_BAD_LENGTH = -102673;
constexpr int32_t CM_FILE_ERR_SECTOR_NOT_FOUND = -102672;
constexpr int32_t CM_FILE_ERR_OUT_OF_PAPER = -102671;
constexpr int32_t CM_FILE_ERR_DISK_FULL = -102670;         // also a file over the size limit
constexpr int32_t CM_FILE_ERR_PRINT_CANCELLED = -102669;
constexpr int32_t CM_FILE_ERR_INVALID_NAME = -102665;

// Defaults of the operations, for errors without a class.
constexpr int32_t CM_FILE_ERR_READ = -102689;        // read, getSize
constexpr int32_t CM_FILE_ERR_WRITE = -102688;       // write, flush
constexpr int32_t CM_FILE_ERR_CLOSE = -102687;
constexpr int32_t CM_FILE_ERR_OPEN = -102686;
constexpr int32_t CM_FILE_ERR_SHORT_WRITE = -102683; // fewer bytes written than asked
constexpr int32_t CM_FILE_ERR_SEEK = -102682;
constexpr int32_t CM_FILE_ERR_SET_END = -102680;
constexpr int32_t CM_FILE_ERR_WILDCARD = -102679;    // a wildcard where one file was meant
constexpr int32_t CM_FILE_ERR_SET_TIMES = -102661;
constexpr int32_t CM_FILE_ERR_NOT_SUPPORTED = -102651;
constexpr int32_t CM_FILE_ERR_EMPTY_PATH = -102638;

// Public numbers returned by the numbered-handle functions.
constexpr int32_t CM_FILE_STATUS_NOT_FOUND = -2;    // also an empty path
constexpr int32_t CM_FILE_STATUS_PATH_NOT_FOUND = -3;
constexpr int32_t CM_FILE_STATUS_BAD_MODE = -5;     // also access denied and sharing
constexpr int32_t CM_FILE_STATUS_OPEN_FAILED = -32;
constexpr int32_t CM_FILE_STATUS_READ_FAILED = -33; // read or seek, or an unknown handle
constexpr int32_t CM_FILE_STATUS_WRITE_FAILED = -34;
constexpr int32_t CM_FILE_STATUS_CLOSE_FAILED = -35;
constexpr int32_t CM_FILE_STATUS_OUT_OF_MEMORY = -8;
