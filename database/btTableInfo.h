// btTableInfo: the stored description of one table: its header, its field
// definitions, its index definitions and the ends of its record chain. A
// table is built in memory (constructor, addField, addIndex) and then
// added to a database in one step (btCatalog.h: addTable); there is no
// operation to drop or alter a stored table.
//
// Image, little-endian, in 48-byte units: two units of header, one per
// field (btFieldDefinition.h), two per index (btIndexDefinition.h); its size
// is (fieldCount + 2 + 2 * indexCount) * 48. Header:
//
//   OFFSET  SIZE  MEANING
//   0       4     nextTable: raw position of the next table's image, 0 at the end
//   4       4     prevTable: raw position of the previous table's image
//   8       2     fieldCount
//   10      2     indexCount
//   12      4     fixedSize: bytes of a record's fixed part
//   16      4     freeRecordHead: head of the deleted fixed-size records
//   20      4     recordCount
//   24      4     firstRecord: head of the record chain, slot seek
//   28      4     lastRecord: tail of the record chain, slot seek
//   32      33    name, NUL-terminated, at most 32 characters
//   65      1     reserved, not read back
//   66      2     tableFlags: bit 0 private data blocks, bit 1 records have no chain
//   68      4     ownDataHead: private data chain (bit 0)
//   72      4     ownSecondHead: second private chain; only unlinking touches it
//   76      4     lastAutoNumber
//   80      16    reserved, zero
//
// The u32 fields at 0, 4, 16, 24, 28, 68 and 72 read 0xFFFFFFFF as 0.
//
// Ownership: a table made by the constructor is its maker's, who destroys
// it after addTable. The tables of an open database belong to its catalogue
// (btCatalog), are bound to their catalogue images, and live until the
// database closes. A bound table's changes (record count, chain ends, index
// roots) go straight to the cached block and mark it dirty.
// Threading: callers hold the database lock; the catalogue array is guarded
// by the database.
#pragma once

#include <cstdint>

#include "database/btBlockStorage.h"
#include "database/btFieldDefinition.h"
#include "database/btIndexDefinition.h"
#include "database/btStoredObject.h"
#include "runtime/cmArray.h"

class btDatabase;

// Table flags.
constexpr uint16_t BT_TABLE_NO_CHAIN = 2;  // bit 0 is BT_TABLE_PRIVATE_BLOCKS

struct btTableHeader {
  static constexpr uint32_t kSize = 96;

  btSeek nextTable = 0;
  btSeek prevTable = 0;
  uint16_t fieldCount = 0;
  uint16_t indexCount = 0;
  uint32_t fixedSize = 0;
  btSeek freeRecordHead = 0;
  uint32_t recordCount = 0;
  btSeek firstRecord = 0;
  btSeek lastRecord = 0;
  char name[33] = {};
  uint16_t tableFlags = 0;
  btSeek ownDataHead = 0;
  btSeek ownSecondHead = 0;
  uint32_t lastAutoNumber = 0;

  void read(const uint8_t* image);
  // Writes all fields; reserved bytes are left as they are.
  void write(uint8_t* image) const;
};

class btTableInfo : public btStoredObject, public btDataChainOwner {
 public:
  static constexpr uint32_t kUnit = 48;
  static constexpr uint32_t kMaxFields = 256;      // through addField
  static constexpr uint32_t kMaxStoredFields = 1024;
  static constexpr uint32_t kMaxIndexes = 256;
  static constexpr uint32_t kAddIndexParts = 6;

  // A table under construction: 96 zero bytes of image in the inline
  // buffer, the name cut to 32 characters.
  btTableInfo(const char* name, uint16_t tableFlags);
  // An empty object to be bound to a stored image.
  explicit btTableInfo(btDatabase* database = nullptr);
  ~btTableInfo() override;

  bool hasVariablePart() const override { return true; }
  uint32_t storedSize() const override;
  int32_t unpack() override;

  int32_t addField(const char* name, uint32_t type, uint32_t size, uint8_t fieldFlags);
  int32_t addIndex(const char* name, uint8_t indexType, uint8_t indexFlags, uint32_t arg4,
                   uint32_t arg5, uint8_t arg6, const char* field1, const char* field2 = nullptr,
                   const char* field3 = nullptr, const char* field4 = nullptr,
                   const char* field5 = nullptr, const char* field6 = nullptr);

  // Field number, or BT_STATUS_NO_SUCH_FIELD. Names compare case-insensitively.
  int32_t fieldIndex(const char* name) const;
  // Index number, or BT_STATUS_NO_SUCH_INDEX.
  int32_t indexNumber(const char* name) const;

  uint32_t fieldCount() const { return hdr.fieldCount; }
  uint32_t indexCount() const { return hdr.indexCount; }
  const btFieldDefinition* field(uint32_t i) const {
    return i < hdr.fieldCount ? &fields[static_cast<int64_t>(i)] : nullptr;
  }
  btIndexDefinition* index(uint32_t i) const {
    return i < hdr.indexCount ? indexes[static_cast<int64_t>(i)] : nullptr;
  }
  const char* name() const { return hdr.name; }
  uint16_t tableFlags() const { return hdr.tableFlags; }
  bool hasChain() const { return (hdr.tableFlags & BT_TABLE_NO_CHAIN) == 0; }
  // Record layout: link slots, variable fields, fixed part.
  uint32_t linkSlots() const { return indexLinkCount + (hasChain() ? 1 : 0); }
  uint32_t variableNumber(uint32_t field) const {
    return static_cast<uint32_t>(fieldToVariable[static_cast<int64_t>(field)]);
  }
  uint32_t fieldOfVariable(uint32_t v) const {
    return static_cast<uint32_t>(variableToField[static_cast<int64_t>(v)]);
  }
  // Link slot of an index (1 + n with a chain, n without), or -1.
  int32_t linkSlotOfIndex(uint32_t index) const;
  int32_t indexOfLinkSlot(uint32_t slot) const;
  // Image offset of an index definition.
  uint32_t indexImageOffset(uint32_t i) const { return (2 + hdr.fieldCount + 2 * i) * kUnit; }

  // Setters of the header fields that table operations change: copy and
  // image together, then the image is marked dirty.
  void setRecordCount(uint32_t count);
  void setFirstRecord(btSeek seek);
  void setLastRecord(btSeek seek);
  void setFreeRecordHead(btSeek seek);
  void setLastAutoNumber(uint32_t value);
  void setNextTable(btSeek position);
  void setPrevTable(btSeek position);

  // btDataChainOwner
  uint16_t chainFlags() const override { return hdr.tableFlags; }
  btSeek ownDataHead() const override { return hdr.ownDataHead; }
  void setOwnDataHead(btSeek head) override;
  btSeek ownSecondHead() const override { return hdr.ownSecondHead; }
  void setOwnSecondHead(btSeek head) override;

  // Writes the parsed header into the image and marks it dirty.
  void commitHeader();

  btTableHeader hdr;
  btDatabase* database = nullptr;
  cmArray<btIndexDefinition*> indexes;  // owned
  cmArray<btFieldDefinition> fields;
  cmArray<uint16_t> fieldToVariable;  // 0xFFFF for fixed fields
  cmArray<uint16_t> variableToField;
  cmArray<int32_t> indexToLink;  // link slot of each index, -1 for none
  cmArray<uint16_t> linkToIndex;  // index of each index link slot
  uint32_t variableCount = 0;
  uint32_t indexLinkCount = 0;
  btSeek position = 0;  // raw position of the stored image, 0 for none

 private:
  void computeFixedOffsets();
  bool linkSlotsInFormat() const;
};
