// The status file: one record "code;text" with no line end, beside the cache
// file, that whoever started the program polls. Each report replaces the
// whole file and also goes to the verbose log.
//
// Threading: main thread only. Nothing is kept between calls.
#pragma once

#include <cstdint>
#include <string>

// The status file's name for a cache file: the cache's name without its
// extension, then "_status.txt". "a.b.c" gives "a.b_status.txt"; a last dot
// in front of the last "/", "\" or ":" is no extension.
std::string StatusFileNameFor(const char* cacheFileName);

// Replaces the status file's content with "code;message". The message is
// formatted into 4096 bytes (cut at 4095) and then logged with that text as
// the log's format. A status file that cannot be opened makes the call
// silent: no record, no log line.
void ReportStatus(const char* statusFileName, int32_t code, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The one place that writes the status file: creates or empties it and
// writes the bytes. False when the file could not be opened; a short write
// is not noticed.
bool WriteStatusFile(const char* statusFileName, const char* bytes, size_t length);
