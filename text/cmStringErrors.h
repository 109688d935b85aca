// Status numbers of the string family. The string operations report through
// exceptions (cmException) for memory and through negative results for
// searches; the values are shared with the rest of the foundation.
#pragma once

#include <cstdint>

#include "runtime/cmErrors.h"

// Result of every search that finds nothing (pos, lastpos, cpos, clastpos).
constexpr int32_t CM_STR_NOT_FOUND = CM_ERR_STRING_NOT_FOUND;  // -3022
// A block for the text could not be allocated.
constexpr int32_t CM_STR_OUT_OF_MEMORY = CM_ERR_OUT_OF_MEMORY;  // -102692
// A search asked for a pattern syntax that no engine in this build serves.
constexpr int32_t CM_STR_NO_PATTERN_ENGINE = -102656;
