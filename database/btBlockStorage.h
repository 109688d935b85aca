// Block storage: allocation and release of whole blocks through the free
// chain, and placement of objects in slotted blocks (data chains for records
// and stored lists, the catalogue chain for table descriptions).
//
// Free block layout, offsets from the block start:
//
//   OFFSET  SIZE  MEANING
//   0       4     tag: kind 0, low 28 bits of the block position
//   4       4     next: encoded position of the next free block, 0 at the end
//   8       B-8   zeros
//
// Every allocated block starts with its tag, (kind << 28) + (position &
// 0x0FFFFFFF); its usable bytes follow at byte 4. Data blocks (kind 3) and
// catalogue blocks (kind 1) hold a btVariableLengthStorageBlock there. Data
// chain links and heads hold the encoded seek of block + 4; catalogue links
// hold the raw position of the area.
//
// All functions take the database's cache lock for their whole run and
// return 0 or a negative status. They do not take the database lock; the
// table operations above them do.
#pragma once

#include <cstdint>

#include "database/btCacheFile.h"
#include "database/btSeek.h"

class btDatabase;
class btStoredObject;

// What block storage needs of a table: its flags and its private data
// chain heads. btTableInfo implements it.
class btDataChainOwner {
 public:
  virtual ~btDataChainOwner() = default;
  // Table flags: bit 0 the table keeps private data blocks.
  virtual uint16_t chainFlags() const = 0;
  virtual btSeek ownDataHead() const = 0;
  virtual void setOwnDataHead(btSeek head) = 0;
  virtual btSeek ownSecondHead() const = 0;
  virtual void setOwnSecondHead(btSeek head) = 0;
};

constexpr uint16_t BT_TABLE_PRIVATE_BLOCKS = 1;

// Takes a block from the free chain or extends the file by one. Returns the
// seek of the block plus 4, or 0 with `*status` set. With `pin`, the block
// stays pinned there; its usable bytes are pin->data() + 4, B - 4 of them.
btSeek allocateBlock(btDatabase* database, btCacheFile* cacheFile, uint32_t kind, int32_t* status,
                     btBlockPin* pin = nullptr);
// Gives a block back to the free chain; the file never shrinks.
int32_t freeBlock(btDatabase* database, btCacheFile* cacheFile, btSeek seek);

// Places the image of `object` (storedSize() bytes) in a data block and
// returns its slot seek. `nearSeeks` is an optional zero-terminated list of
// seeks of records this one will be read with; blocks holding them score
// higher. `*imageOut` points at the placed copy; it stays valid only while
// nothing else is fetched, so callers bind the object with loadSlotObject.
int32_t placeRecord(btDatabase* database, btCacheFile* cacheFile, btStoredObject* object,
                    btSeek* seekOut, uint8_t** imageOut, btDataChainOwner* table,
                    const btSeek* nearSeeks);
// Places a catalogue image; `*seekOut` is its raw position.
int32_t placeCatalogueObject(btDatabase* database, btCacheFile* cacheFile, btStoredObject* object,
                             btSeek* seekOut, uint8_t** imageOut);
// Removes the object of a slot seek from its data block; a block left empty
// is unlinked and freed.
int32_t releaseSlot(btDatabase* database, btCacheFile* cacheFile, btSeek seek,
                    btDataChainOwner* table);
// The same for raw image bytes (no object needed).
int32_t placeBytes(btDatabase* database, btCacheFile* cacheFile, const uint8_t* bytes,
                   uint32_t length, btSeek* seekOut, uint8_t** imageOut, btDataChainOwner* table,
                   const btSeek* nearSeeks);
