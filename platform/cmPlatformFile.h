// The operating system's files, shaped like the Windows file calls the file
// layer was designed around: open with an access, a share mode and a
// disposition; read, write, seek, size, truncate, flush, close; path-level
// delete, attributes and times; directory listing.
//
// Every function returns 0 or a negative CM_FILE_ERR_* number (file/
// cmFileErrors.h). Platform errors are turned into those numbers by
// fileErrorFromErrno alone; errors without a class of their own take the
// default of the operation (CM_FILE_ERR_OPEN for fileOpen, CM_FILE_ERR_READ
// for fileRead, and so on).
//
// Sharing: an open fails with CM_FILE_ERR_ACCESS_DENIED when its access is
// refused by the share mode of an open that is already there, or when its
// share mode refuses the access of such an open. This holds between opens of
// one process and between processes.
//
// Handles are owned by the caller, who must fileClose them. The functions
// are safe to call from any thread; one handle must not be used by two
// threads at once.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

using FileHandle = int64_t;
constexpr FileHandle kInvalidFile = -1;

// Access and share bits.
constexpr uint32_t kFileAccessRead = 1;
constexpr uint32_t kFileAccessWrite = 2;
constexpr uint32_t kFileShareRead = 1;
constexpr uint32_t kFileShareWrite = 2;

enum class FileDisposition {
  CreateNew = 1,         // fails if the file exists
  CreateAlways = 2,      // makes the file or empties it
  OpenExisting = 3,      // fails if the file is missing
  OpenAlways = 4,        // opens the file or makes it
  TruncateExisting = 5,  // empties an existing file
};

// Attribute bits, with the values of the Windows attribute word.
constexpr uint32_t kFileAttrReadOnly = 0x1;
constexpr uint32_t kFileAttrHidden = 0x2;  // a name starting with '.'
constexpr uint32_t kFileAttrDirectory = 0x10;
constexpr uint32_t kFileAttrArchive = 0x20;
constexpr uint32_t kFileAttrNormal = 0x80;

// Times are 100-nanosecond intervals since 1601-01-01 UTC; 0 means unknown.
struct FileInfo {
  uint32_t attributes;
  uint64_t size;
  uint64_t created;  // the status-change time where no birth time exists
  uint64_t accessed;
  uint64_t modified;
};

// Maps a platform error number (errno) to a CM_FILE_ERR_* number; errors
// without a class give `fallback`.
int32_t fileErrorFromErrno(int err, int32_t fallback);

// Opens or makes a file. A directory cannot be opened: that is
// CM_FILE_ERR_ACCESS_DENIED. A missing directory in the path is
// CM_FILE_ERR_PATH_NOT_FOUND, a missing file CM_FILE_ERR_NOT_FOUND.
// `inherit` lets child processes inherit the handle. A file is emptied by
// CreateAlways or TruncateExisting only once the share check has passed.
int32_t fileOpen(const char* path, uint32_t access, uint32_t share, FileDisposition disposition,
                 bool inherit, FileHandle* out);

// One transfer of at most 0x7FFFFFFF bytes; *done gets the count. A read at
// the end gives 0 bytes and status 0.
int32_t fileRead(FileHandle h, void* buffer, size_t n, size_t* done);
int32_t fileWrite(FileHandle h, const void* buffer, size_t n, size_t* done);

// origin 0 start, 1 current, 2 end.
int32_t fileSeek(FileHandle h, int64_t offset, int origin, int64_t* newPosition);
int32_t fileGetSize(FileHandle h, int64_t* size);
// Cuts or extends the file at the current position.
int32_t fileSetEnd(FileHandle h);
int32_t fileFlush(FileHandle h);
int32_t fileClose(FileHandle h);
// Sets the modification time; 0 leaves it. The creation time of a POSIX file
// cannot be set and is ignored.
int32_t fileSetTimes(FileHandle h, uint64_t created, uint64_t modified);

// 0 standard input, 1 output, 2 error.
FileHandle fileStandardHandle(int which);
// Data is waiting on a pipe or terminal.
bool fileHasInput(FileHandle h);

int32_t pathDelete(const char* path);
int32_t pathGetInfo(const char* path, FileInfo* info);
// Only kFileAttrReadOnly has an effect: it clears or restores write permission.
int32_t pathSetAttributes(const char* path, uint32_t attributes);
// The hidden-file rule: the last segment starts with '.' and is not "." or "..".
bool pathIsHiddenName(const char* name);
bool fileSystemIsCaseSensitive();

// Directory listing. dirNext gives CM_FILE_ERR_NO_MORE_FILES at the end.
// "." and ".." are listed like other entries.
struct DirEntry {
  char name[256];
  FileInfo info;
};
struct Dir;
int32_t dirOpen(const char* directory, Dir** out);
int32_t dirNext(Dir* dir, DirEntry* entry);
void dirClose(Dir* dir);

}  // namespace platform
