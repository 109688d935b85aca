// btStoredRecord: one row of a table, a view on its image with typed access
// to the fields. A record that is only read stays a view inside its cached
// block; the first write makes a private copy (in the object's inline
// buffer up to 512 bytes), so the stored row changes only when a table
// operation writes the image back.
//
// Image, in order (L link slots, V variable fields, F = the table's fixedSize):
//
//   OFFSET        SIZE  MEANING
//   0             8*L   link slots. With a record chain (table flag bit 1 clear)
//                       slot 0 holds u32 next, u32 prev: seeks of the neighbours in
//                       the chain. The other slots belong to indexes that keep their
//                       key in the record; zero in a new record.
//   8*L           2*V   offset table. Word 0: the total size of the image. Word i
//                       (i >= 1): offset of variable field i; below 4 means absent,
//                       and word 1 = 1 says "field 1 absent, field 0 present".
//                       Variable field 0 starts at the end of the fixed part.
//   8*L+2*V       F     fixed part: each fixed field at its fixedOffset, no alignment
//   8*L+2*V+F     ...   variable part: the variable fields in declaration order
//
// With V = 0 the size is constant, 8*L + F. A stored size below 8*L reads as
// 8*L + 2*V + F. Field encodings are listed in btFieldType.h.
//
// Ownership: the record owns its private image and its pin (btStoredObject);
// an image handed to initRecord stays its giver's until the record grows
// past it. It holds a non-owning pointer to its table, which must outlive
// it. Threading: one thread at a time, under the database lock of the
// operation that uses it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "database/btSeek.h"
#include "database/btStoredObject.h"
#include "text/TVString.h"
#include "text/cmDateStamp.h"

class btTableInfo;

class btStoredRecord : public btStoredObject {
 public:
  btStoredRecord() = default;
  ~btStoredRecord() override;

  bool hasVariablePart() const override { return variableCount > 0; }
  uint32_t storedSize() const override { return size; }
  // The stored size of a record of `table` whose image starts at `image`,
  // `room` bytes before the end of its block: the size word, or the fixed
  // size. 0, or BT_STATUS_OBJECT_OVERRUNS_BLOCK when it does not fit.
  static int32_t storedSizeIn(const btTableInfo* table, const uint8_t* image, uint64_t room, uint32_t* size);
  // Recomputes the members from the table and the image.
  int32_t unpack() override;

  // Bytes of links, offsets and fixed part: where variable field 0 starts.
  uint32_t fixedEnd() const;
  // The u16 word `i` of the offset table.
  uint16_t offsetWord(uint32_t i) const {
    return image ? btGet16(image + linkSlots * 8u + 2u * i) : 0;
  }
  // Gives an image handed to initRecord back to its owner without freeing
  // it; the record is then empty. Rebinding an object that may hold such an
  // image goes through this first.
  void returnBorrowedImage();

  btTableInfo* table = nullptr;
  uint16_t linkSlots = 0;
  uint16_t variableCount = 0;
  uint32_t size = 0;
  // An image handed to initRecord, which the record uses but never frees.
  bool usesBorrowedImage() const { return borrowed && image == borrowed && !block; }
  uint8_t* borrowed = nullptr;
  uint32_t borrowedCapacity = 0;
};

// A field's bytes as stored: the data behind any length prefix, and its
// length. For a "cstring" of 32 or more bytes this is the compressed form.
struct btFieldValue {
  const uint8_t* data = nullptr;
  uint32_t length = 0;
};

// Binds `record` to `table` (or to the table it already has). With a null
// `image` it gets an empty private image; with an `image` of at least
// `imageCapacity` bytes it zeroes that and builds in it. Any old image is
// let go. BT_STATUS_NOT_READY without a table.
int32_t initRecord(btStoredRecord* record, btTableInfo* table, uint8_t* image = nullptr,
                   uint32_t imageCapacity = 0);

// Makes `target` a private copy of `source`'s image, bound to the same
// table; `source` is left as it is (its block is not touched).
int32_t copyRecord(btStoredRecord* target, const btStoredRecord* source);
// Address of link slot `slot` (8 bytes: slot 0 of a chained table holds
// u32 next, u32 prev), or null without an image or past the slots.
uint8_t* linkSlotAddress(const btStoredRecord* record, uint32_t slot);

// Address of a field in the image: for a variable field its encoding, or
// null when absent; for a fixed field its place in the fixed part, or null
// without an image. The field number is trusted.
uint8_t* fieldAddress(const btStoredRecord* record, uint32_t field);
// Length of a present variable field's encoding, or the fixed bytes of a
// fixed field.
uint32_t fieldStoredLength(const btStoredRecord* record, uint32_t field);
// Where the encoding of variable field number `v` ends: at the next present
// variable field, or at the end of the image.
uint32_t btVariableFieldEnd(const btStoredRecord* record, uint32_t v);
// The data of a field without its prefix (fixed fields: all their bytes);
// false when absent. Used for keys, summaries and hashes.
bool getFieldData(const btStoredRecord* record, uint32_t field, btFieldValue* value);

// Text of a text or image field; numeric and absent fields give a null
// string. BT_STATUS_COMPRESSION_FAILED when a "cstring" cannot be expanded.
int32_t getText(const btStoredRecord* record, uint32_t field, tolvane::TVString* string);
// "date" and "cmdate" fields as a stamp; BT_STATUS_WRONG_FIELD_TYPE otherwise.
int32_t getDate(const btStoredRecord* record, uint32_t field, cmDateStamp* date);
// The fixed field's bytes read as an unsigned little-endian number of its
// width (the first byte for "uchar" and "char"); 0 without an image.
uint64_t getUnsigned(const btStoredRecord* record, uint32_t field);
bool isNull(const btStoredRecord* record, uint32_t field);

// Stores text, cut to the field's `size`. A null string makes the field
// null. BT_STATUS_WRONG_FIELD_TYPE for non-text types.
int32_t setText(btStoredRecord* record, uint32_t field, const tolvane::TVString& string);
// The same for raw bytes; a null `text` makes the field null.
int32_t setText(btStoredRecord* record, uint32_t field, const char* text, size_t length);
// "uint" fields only.
int32_t setUnsigned(btStoredRecord* record, uint32_t field, uint32_t value);
// "cmdate" stores the stamp; "date" packs its local parts.
int32_t setDate(btStoredRecord* record, uint32_t field, cmDateStamp date);
// Removes a variable field; zeroes a fixed field with flag 16 (else
// BT_STATUS_NOT_NULLABLE).
int32_t setNull(btStoredRecord* record, uint32_t field);
// Writes the low bytes of `bits` over a fixed field's width (1 byte for
// "uchar" and "char"), for numeric writes through the address.
int32_t setFixedBits(btStoredRecord* record, uint32_t field, uint64_t bits);
// Address of a fixed field in a private image, made on demand; null with
// `*status` set on failure. Callers write numbers of the field's type there.
uint8_t* writableFieldAddress(btStoredRecord* record, uint32_t field, int32_t* status);
// Makes a variable field `newLength` bytes long in a private image and
// returns its address (null for a zero length, which makes it absent).
uint8_t* resizeField(btStoredRecord* record, uint32_t field, uint32_t newLength, int32_t* status);
