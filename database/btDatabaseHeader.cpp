#include "database/btDatabaseHeader.h"

#include <cstring>

#include "database/btSeek.h"

void btDatabaseHeader::read(const uint8_t* p) {
  std::memcpy(magic, p, 4);
  version = btGet16(p + 4);
  blockSizeField = btGet16(p + 6);
  fileSize = (static_cast<uint64_t>(p[429]) << 32) | btGet32(p + 8);
  applicationVersion = btGet16(p + 12);
  std::memcpy(typeTag, p + 14, 33);
  typeTag[32] = 0;
  openForWrite = p[47];
  tableCount = btGet16(p + 50);
  for (uint32_t i = 0; i < BT_MAX_TABLES; i++) tables[i] = btReadAddress(btGet32(p + 52 + 4 * i));
  freeBlockHead = btReadAddress(btGet32(p + 308));
  dataBlockHead = btReadAddress(btGet32(p + 312));
  secondDataBlockHead = btReadAddress(btGet32(p + 316));
  catalogueBlockHead = btReadAddress(btGet32(p + 320));
  firstTable = btReadAddress(btGet32(p + 324));
  lastTable = btReadAddress(btGet32(p + 328));
  std::memcpy(description, p + 332, 97);
  description[96] = 0;
  reserved430 = btGet16(p + 430);
  reserved432 = btGet32(p + 432);
  openCount = btGet64(p + 440);
}

void btDatabaseHeader::write(uint8_t* p) const {
  std::memcpy(p, magic, 4);
  btPut16(p + 4, version);
  btPut16(p + 6, blockSizeField);
  btPut32(p + 8, static_cast<uint32_t>(fileSize));
  btPut16(p + 12, applicationVersion);
  std::memcpy(p + 14, typeTag, 33);
  p[47] = openForWrite;
  btPut16(p + 50, tableCount);
  for (uint32_t i = 0; i < BT_MAX_TABLES; i++) btPut32(p + 52 + 4 * i, tables[i]);
  btPut32(p + 308, freeBlockHead);
  btPut32(p + 312, dataBlockHead);
  btPut32(p + 316, secondDataBlockHead);
  btPut32(p + 320, catalogueBlockHead);
  btPut32(p + 324, firstTable);
  btPut32(p + 328, lastTable);
  std::memcpy(p + 332, description, 97);
  p[429] = static_cast<uint8_t>(fileSize >> 32);
  btPut64(p + 440, openCount);
}

void btDatabaseHeader::copyText(char* dst, const char* src, uint32_t capacity) {
  std::memset(dst, 0, capacity);
  if (!src) return;
  size_t n = std::strlen(src);
  if (n > capacity - 1) n = capacity - 1;
  std::memcpy(dst, src, n);
}
