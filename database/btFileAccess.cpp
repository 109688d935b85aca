#include "database/btFileAccess.h"

#include "database/btStatus.h"
#include "file/cmFileHandle.h"

namespace {
constexpr int32_t kSeekFailed = -33;
}

btFileAccess::~btFileAccess() { close(); }

int32_t btFileAccess::open(const char* name, int mode) {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  close();
  if (!name || !*name) return BT_STATUS_FILE_NOT_FOUND;
  int32_t fileMode;
  switch (mode) {
    case MODE_READ: fileMode = CM_FILE_MODE_READ; break;
    case MODE_CREATE: fileMode = CM_FILE_MODE_CREATE_ALSO; break;
    case MODE_READ_WRITE: fileMode = CM_FILE_MODE_READ_WRITE; break;
    default: return -5;
  }
  int32_t h = fileOpen(cmPathString(name), fileMode);
  if (h < 0) return h;
  handle_ = h;
  return 0;
}

int32_t btFileAccess::close() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (handle_ < 0) return 0;
  int32_t rc = fileClose(handle_);
  handle_ = -1;
  return rc < 0 ? rc : 0;
}

int64_t btFileAccess::readAt(uint64_t position, void* buffer, size_t length) {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (handle_ < 0) return kSeekFailed;
  if (fileSeek(handle_, static_cast<int64_t>(position), 0) != static_cast<int64_t>(position))
    return kSeekFailed;
  size_t allowed = faults_ ? faults_->allowRead(position, length) : length;
  if (allowed > length) allowed = length;
  auto* out = static_cast<uint8_t*>(buffer);
  size_t done = 0;
  while (done < allowed) {
    int64_t n = fileRead(handle_, out + done, static_cast<int64_t>(allowed - done));
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  return static_cast<int64_t>(done);
}

int64_t btFileAccess::writeAt(uint64_t position, const void* buffer, size_t length) {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (handle_ < 0) return BT_STATUS_WRITE_FAILED;
  if (fileSeek(handle_, static_cast<int64_t>(position), 0) != static_cast<int64_t>(position))
    return kSeekFailed;
  size_t allowed = faults_ ? faults_->allowWrite(position, length) : length;
  if (allowed > length) allowed = length;
  if (allowed == 0) return 0;
  int64_t n = fileWrite(handle_, buffer, static_cast<int64_t>(allowed));
  return n < 0 ? 0 : n;
}

int64_t btFileAccess::size() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (handle_ < 0) return kSeekFailed;
  int64_t here = fileSeek(handle_, 0, 1);
  int64_t end = fileSeek(handle_, 0, 2);
  if (here >= 0) fileSeek(handle_, here, 0);
  return end < 0 ? kSeekFailed : end;
}
