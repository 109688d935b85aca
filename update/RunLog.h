// The verbose run log: printf-style lines for a person watching the program,
// on standard output, with no time stamps and no levels. Its two settings,
// the verbose flag and the output mode, are process-wide; the driver sets
// them once after reading its arguments and everything else only reads them.
//
// Threading: called from the main thread only; the settings are not guarded.
#pragma once

#include <cstdarg>
#include <cstdint>

// Output modes of the run log.
constexpr int32_t kLogToStdout = 0;
constexpr int32_t kLogToDebugStream = 1;  // any other value drops lines

// The verbose flag starts true; the driver sets it from its arguments.
void SetVerboseLog(bool on);
bool IsVerboseLog();
void SetLogOutputMode(int32_t mode);
int32_t GetLogOutputMode();

// One log line: formatted into 4096 bytes (cut at 4095), then written with
// a line end behind it. A format that ends in "\n" leaves an empty line.
void LogVerbose(const char* format, ...) __attribute__((format(printf, 1, 2)));
void LogVerboseV(const char* format, va_list args);

// Logs a text that is itself used as the format, with no arguments: "%%"
// reads as "%", and any other conversion, having no argument, prints as a
// zero or an empty text. The status writer hands its message on this way.
void LogVerboseFormatOnly(const char* format);

// printf onto standard output; returns what the runtime returned.
int PrintStdout(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Messages of the host hook stubs: formatted into 8191 bytes, converted to
// the console's encoding and printed; a line end follows when the text
// filled its buffer.
void PrintHostMessage(const char* format, ...) __attribute__((format(printf, 1, 2)));
