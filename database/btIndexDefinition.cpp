#include "database/btIndexDefinition.h"

#include <cstring>

#include "database/btFieldType.h"
#include "database/btTableInfo.h"

void btIndexDefinition::read(const uint8_t* image) {
  partCount = btGet16(image);
  indexType = image[2];
  indexFlags = image[3];
  for (uint32_t i = 0; i < kMaxParts; i++) parts[i] = btGet16(image + 4 + 2 * i);
  conversionCount = btGet32(image + 20);
  arg5 = btGet32(image + 24);
  root = btGet32(image + 28);
  lastNode = btReadAddress(btGet32(image + 32));
  firstNode = btReadAddress(btGet32(image + 36));
  std::memcpy(name, image + 40, 32);
  name[32] = '\0';
  arg6 = image[73];
}

void btIndexDefinition::write(uint8_t* image) const {
  std::memset(image, 0, kImageSize);
  btPut16(image, partCount);
  image[2] = indexType;
  image[3] = indexFlags;
  for (uint32_t i = 0; i < kMaxParts; i++) btPut16(image + 4 + 2 * i, parts[i]);
  btPut32(image + 20, conversionCount);
  btPut32(image + 24, arg5);
  btPut32(image + 28, root);
  btPut32(image + 32, lastNode);
  btPut32(image + 36, firstNode);
  size_t n = std::strlen(name);
  std::memcpy(image + 40, name, n < 32 ? n : 32);
  image[73] = arg6;
}

bool btIndexDefinition::needsLinkSlot(uint32_t type, uint8_t flags) {
  bool dup = (flags & BT_INDEX_DUPLICATES) != 0;
  switch (type) {
    case 0: case 1: case 5: case 6: case 8: case 11: case 12: case 13: case 14: case 15:
      return dup;
    case 3: case 4: case 7: case 9: case 10: case 17:
      return dup || (flags & BT_INDEX_ONE_KEY_CHAINS) == 0;
    default:
      return false;
  }
}

bool btIndexDefinition::isPersistentKind(uint32_t type) {
  switch (type) {
    case 0: case 1: case 3: case 4: case 9: case 12: case 17:
      return true;
    default:
      return false;
  }
}

void btIndexDefinition::computeKeyFitsLink() {
  keyFitsLink = false;
  if (!owner) return;
  if ((indexFlags & (BT_INDEX_SUMMARY8 | BT_INDEX_SUMMARY16)) == 0) {
    if (partCount > 1) return;
    if (partCount == 0) {
      keyFitsLink = true;
      return;
    }
    const btFieldDefinition* f = owner->field(partField(0));
    if (!f) return;
    switch (f->type) {
      case BT_FIELD_STRING: case BT_FIELD_ZSTRING: case BT_FIELD_BSTRING: case BT_FIELD_ISTRING:
      case BT_FIELD_CHAR: case BT_FIELD_VSTRING: case BT_FIELD_UTF8:
        keyFitsLink = f->size < 5;
        return;
      case BT_FIELD_UCHAR:
        keyFitsLink = f->size < 4;
        return;
      case BT_FIELD_USHORT: case BT_FIELD_SHORT: case BT_FIELD_UINT: case BT_FIELD_INT:
      case BT_FIELD_BOOLEAN: case BT_FIELD_UINT24:
        keyFitsLink = true;
        return;
      default:
        return;
    }
  }
  uint32_t sum = 0;
  for (uint32_t i = 0; i < partCount && i < kMaxParts; i++) {
    const btFieldDefinition* f = owner->field(partField(i));
    if (!f) return;
    switch (f->type) {
      case BT_FIELD_STRING: case BT_FIELD_ZSTRING: case BT_FIELD_BSTRING: case BT_FIELD_ISTRING:
      case BT_FIELD_UCHAR: case BT_FIELD_CHAR: case BT_FIELD_VSTRING: case BT_FIELD_UTF8:
        sum += f->size;
        break;
      case BT_FIELD_USHORT: case BT_FIELD_SHORT: case BT_FIELD_UINT: case BT_FIELD_INT:
      case BT_FIELD_ULONG: case BT_FIELD_LONG: case BT_FIELD_BOOLEAN: case BT_FIELD_UINT24:
      case BT_FIELD_UINT48:
        sum += btFieldTypeOf(f->type)->width;
        break;
      default:
        return;
    }
  }
  keyFitsLink = sum < ((indexFlags & BT_INDEX_SUMMARY16) ? 17u : 9u);
}

uint8_t* btIndexDefinition::storedImage() const {
  if (!owner || !owner->image || number < 0 || static_cast<uint32_t>(number) >= owner->indexCount())
    return nullptr;
  return owner->image + owner->indexImageOffset(static_cast<uint32_t>(number));
}

void btIndexDefinition::commit() {
  if (uint8_t* img = storedImage()) {
    write(img);
    owner->markImageDirty();
  }
}

void btIndexDefinition::setRoot(btSeek seek) {
  root = seek;
  commit();
}

void btIndexDefinition::setFirstNode(btSeek seek) {
  firstNode = seek;
  commit();
}

void btIndexDefinition::setLastNode(btSeek seek) {
  lastNode = seek;
  commit();
}

void btIndexDefinition::setIndexType(uint8_t type) {
  indexType = type;
  commit();
}

void btIndexDefinition::setConversionCount(uint32_t count) {
  conversionCount = count;
  commit();
}

void btIndexDefinition::setArg5(uint32_t value) {
  arg5 = value;
  commit();
}

void btIndexDefinition::releaseStructure() {
  if (structure && destroyStructure) destroyStructure(structure);
  structure = nullptr;
  destroyStructure = nullptr;
  openedRoot = 0;
  servedType = ~0u;
}
