#include "database/btFieldType.h"

#include <cstring>

namespace {

// name, key, variable, width, max length, max value, text, binary, prefix
constexpr btFieldTypeInfo kTypes[BT_FIELD_TYPE_COUNT] = {
    {"string", true, true, 0, 32000, 0, true, false, 2},
    {"zstring", true, true, 0, 32000, 0, true, false, 0},
    {"bstring", true, true, 0, 255, 0, true, false, 1},
    {"istring", true, true, 0, 0, 0, true, false, 4},
    {"uchar", true, false, 1, 255, 255, true, true, 0},
    {"char", true, false, 1, 255, 127, true, false, 0},
    {"ushort", true, false, 2, 1, 65535, false, false, 0},
    {"short", true, false, 2, 1, 32767, false, false, 0},
    {"uint", true, false, 4, 1, 0xffffffffull, false, false, 0},
    {"int", true, false, 4, 1, 0x7fffffffull, false, false, 0},
    {"ulong", true, false, 8, 1, 0xffffffffffffffffull, false, false, 0},
    {"long", true, false, 8, 1, 0x7fffffffffffffffull, false, false, 0},
    {"float", true, false, 4, 1, 0, false, false, 0},
    {"double", true, false, 8, 1, 0, false, false, 0},
    {"boolean", true, false, 1, 1, 0, false, false, 0},
    {"date", true, false, 8, 1, 0, false, false, 0},
    {"image", false, true, 0, 0, 0, true, true, 4},
    {"uint24", true, false, 3, 1, 0xffffffull, false, false, 0},
    {"vstring", true, true, 0, 32000, 0, true, false, 0},
    {"image2", false, true, 0, 32000, 0, true, true, 2},
    {"utf8", true, true, 0, 32000, 0, true, false, 0},
    {"cmdate", true, false, 8, 1, 0, false, false, 0},
    {"uint48", true, false, 6, 1, 0xffffffffffffull, false, false, 0},
    {"cstring", false, true, 0, 32000, 0, true, false, 0},
};

}  // namespace

const btFieldTypeInfo* btFieldTypeOf(uint32_t type) {
  return type < BT_FIELD_TYPE_COUNT ? &kTypes[type] : nullptr;
}

int32_t btFieldTypeByName(const char* name) {
  if (!name) return -1;
  for (uint32_t i = 0; i < BT_FIELD_TYPE_COUNT; i++)
    if (std::strcmp(kTypes[i].name, name) == 0) return static_cast<int32_t>(i);
  return -1;
}
