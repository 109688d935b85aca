// Status numbers and start options of the process operations.
#pragma once

#include <cstdint>

#include "runtime/cmErrors.h"

// The child was started but its exit status could not be collected.
constexpr int32_t CM_PROC_ERR_NO_EXIT_STATUS = -102645;
// The system refused to start the child and gave no more telling reason;
// CM_ERR_PROCESS_NOT_STARTED (-102646) in runtime/cmErrors.h.

// A child ended by control-C reports this status.
constexpr int32_t CM_PROC_STATUS_INTERRUPTED = 3;

// Start options (a bit set).
constexpr uint32_t CM_PROC_USE_SHELL = 0x001;      // shell for shell syntax; search with the system's extensions
constexpr uint32_t CM_PROC_EXTENDED_EXT = 0x002;   // also the foundation's own script extensions
constexpr uint32_t CM_PROC_JOIN_STDERR = 0x008;    // standard error joins standard output
constexpr uint32_t CM_PROC_OPEN_DOCUMENT = 0x010;  // hand a missing program to the document opener (not built)
constexpr uint32_t CM_PROC_NEW_GROUP = 0x020;      // new process group
constexpr uint32_t CM_PROC_NEW_CONSOLE = 0x040;    // new console (Windows)
constexpr uint32_t CM_PROC_NO_WINDOW = 0x080;      // no window (Windows)
constexpr uint32_t CM_PROC_STD_HANDLES = 0x100;    // give the child the standard handles explicitly
constexpr uint32_t CM_PROC_HIDE_WINDOW = 0x200;    // hide the window; set for a shortcut target
constexpr uint32_t CM_PROC_DETACHED = 0x400;       // close the handle at once, do not wait

// Size of each of the three pipes that a redirected start would make.
constexpr uint32_t CM_PROC_PIPE_SIZE = 65536;
