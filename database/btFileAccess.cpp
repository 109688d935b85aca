#include "database/btFileAccess.h"

#include <cerrno>
#include <cstdio>

#include "database/btStatus.h"

namespace {

constexpr int32_t kAccessDenied = -102695;
constexpr int32_t kSeekFailed = -33;

// One place that turns the C library's error into our numbers.
int32_t openError(int err) {
  if (err == ENOENT || err == ENOTDIR) return BT_STATUS_FILE_NOT_FOUND;
  return kAccessDenied;
}

std::FILE* asFile(void* p) { return static_cast<std::FILE*>(p); }

}  // namespace

btFileAccess::~btFileAccess() { close(); }

int32_t btFileAccess::open(const char* name, int mode) {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  close();
  if (!name || !*name) return BT_STATUS_FILE_NOT_FOUND;
  const char* how = nullptr;
  switch (mode) {
    case MODE_READ: how = "rb"; break;
    case MODE_CREATE: how = "w+b"; break;
    case MODE_READ_WRITE: how = "r+b"; break;
    default: return -5;
  }
  errno = 0;
  std::FILE* f = std::fopen(name, how);
  if (!f) return openError(errno);
  // Unbuffered: what the engine writes is in the file when the call returns.
  std::setvbuf(f, nullptr, _IONBF, 0);
  stream_ = f;
  return 0;
}

int32_t btFileAccess::close() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (!stream_) return 0;
  int rc = std::fclose(asFile(stream_));
  stream_ = nullptr;
  return rc == 0 ? 0 : BT_STATUS_WRITE_FAILED;
}

int64_t btFileAccess::readAt(uint64_t position, void* buffer, size_t length) {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (!stream_) return kSeekFailed;
  if (std::fseek(asFile(stream_), static_cast<long>(position), SEEK_SET) != 0) return kSeekFailed;
  size_t allowed = faults_ ? faults_->allowRead(position, length) : length;
  if (allowed > length) allowed = length;
  return static_cast<int64_t>(std::fread(buffer, 1, allowed, asFile(stream_)));
}

int64_t btFileAccess::writeAt(uint64_t position, const void* buffer, size_t length) {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (!stream_) return BT_STATUS_WRITE_FAILED;
  if (std::fseek(asFile(stream_), static_cast<long>(position), SEEK_SET) != 0) return kSeekFailed;
  size_t allowed = faults_ ? faults_->allowWrite(position, length) : length;
  if (allowed > length) allowed = length;
  return static_cast<int64_t>(std::fwrite(buffer, 1, allowed, asFile(stream_)));
}

int64_t btFileAccess::size() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (!stream_) return kSeekFailed;
  if (std::fseek(asFile(stream_), 0, SEEK_END) != 0) return kSeekFailed;
  long n = std::ftell(asFile(stream_));
  return n < 0 ? kSeekFailed : static_cast<int64_t>(n);
}
