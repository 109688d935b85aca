#include "database/btFieldType.h"

#include <cstring>

int32_t btFieldTypeByName(const char* name) {
  if (!name) return -1;
  for (uint32_t i = 0; i < BT_FIELD_TYPE_COUNT; i++)
    if (std::strcmp(btFieldTypeTable[i].name, name) == 0) return static_cast<int32_t>(i);
  return -1;
}
