// The foundation's fatal error: for failures after which no caller could
// continue (out of memory in a container, a capacity beyond what can be
// addressed). It writes one line "cmFatalError: <number>" (and a location
// when given) to stderr and aborts the process; it never returns.
// Callable from any thread.
#pragma once

#include <cstdint>

[[noreturn]] void cmFatalError(int32_t number, const char* where = nullptr);
