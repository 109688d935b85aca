// Status numbers of the runtime foundation. Fatal ones end the process.
#pragma once

#include <cstdint>

constexpr int32_t CM_ERR_OUT_OF_MEMORY = -102692;
constexpr int32_t CM_ERR_CAPACITY_OVERFLOW = -102634;
constexpr int32_t CM_ERR_FILE_NOT_FOUND = -102698;
constexpr int32_t CM_ERR_BAD_DATE = -102659;
constexpr int32_t CM_ERR_PROCESS_NOT_STARTED = -102646;
constexpr int32_t CM_ERR_STRING_NOT_FOUND = -3022;
