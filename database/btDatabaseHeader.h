// btDatabaseHeader: the parsed form of the first 512 bytes of a database
// file, and the functions that read and write that image.
//
// Layout, offsets in bytes from the start of the file, little-endian:
//
//   OFFSET  SIZE  MEANING
//   0       4     magic "TVDB"
//   4       2     version; written as 2400
//   6       2     blockSize B; 0 means 65536
//   8       4     fileSizeLow: low 32 bits of the logical file size
//   12      2     applicationVersion, free for the application
//   14      33    typeTag, NUL-terminated, at most 32 characters
//   47      1     openForWrite: 1 from the first block write after an open until a clean close
//   48      2     reserved, zero
//   50      2     tableCount, at most 64
//   52      256   tables: u32[64] raw positions of each table's description
//   308     4     freeBlockHead (encoded seek)
//   312     4     dataBlockHead (encoded seek)
//   316     4     secondDataBlockHead (encoded seek)
//   320     4     catalogueBlockHead (raw position; 512 in a new file with room behind the header)
//   324     4     firstTable (raw)
//   328     4     lastTable (raw)
//   332     97    description, NUL-terminated, at most 96 characters
//   429     1     fileSizeHigh: bits 32-39 of the logical file size
//   430     2     reserved, zero
//   432     4     reserved, zero
//   436     4     padding, zero
//   440     8     openCount: opens for writing
//   448     64    reserved, zero
//
// Address fields that hold 0xFFFFFFFF read as 0. Pure data; no locking.
#pragma once

#include <cstdint>

constexpr uint32_t BT_HEADER_SIZE = 512;
constexpr uint32_t BT_MAX_TABLES = 64;

struct btDatabaseHeader {
  char magic[4] = {'T', 'V', 'D', 'B'};
  uint16_t version = 2400;
  uint16_t blockSizeField = 0;
  uint64_t fileSize = 0;  // fileSizeHigh << 32 | fileSizeLow
  uint16_t applicationVersion = 0;
  char typeTag[33] = {};
  uint8_t openForWrite = 0;
  uint16_t tableCount = 0;
  uint32_t tables[BT_MAX_TABLES] = {};
  uint32_t freeBlockHead = 0;
  uint32_t dataBlockHead = 0;
  uint32_t secondDataBlockHead = 0;
  uint32_t catalogueBlockHead = 0;
  uint32_t firstTable = 0;
  uint32_t lastTable = 0;
  char description[97] = {};
  uint32_t reserved430 = 0;  // read into memory, never used
  uint32_t reserved432 = 0;
  uint64_t openCount = 0;

  uint64_t blockSize() const { return blockSizeField == 0 ? 65536 : blockSizeField; }

  // Fills the fields from a 512-byte image; no validation.
  void read(const uint8_t* image);
  // Writes every field into a 512-byte image; reserved bytes are left as
  // they are.
  void write(uint8_t* image) const;
  // Copies text into a NUL-terminated field of `capacity` bytes, cut to fit.
  static void copyText(char* dst, const char* src, uint32_t capacity);
};
