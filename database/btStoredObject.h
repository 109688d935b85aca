// btStoredObject: base of every object that is a view on bytes in a cached
// block (the database header, table descriptions, records, index nodes,
// stored lists). While bound, `image` points straight into the cached block
// and the object holds one pin on it; after a detach or an ensureImage, the
// image is a private copy (the inline buffer for up to 512 bytes, else an
// allocation of its own).
//
// Ownership: the object owns its private buffer and its pin; the destructor
// releases both. The block itself belongs to the cache.
// Threading: an object is used by one thread at a time; binding takes the
// cache lock for the fetch. A pin is kept across calls without any lock.
//
// Subclasses keep a parsed copy of their image's header; every writer
// updates image and copy together and marks the block dirty.
#pragma once

#include <cstddef>
#include <cstdint>

#include "database/btSeek.h"

class btCacheFile;

class btStoredObject {
 public:
  btStoredObject() = default;
  virtual ~btStoredObject();
  btStoredObject(const btStoredObject&) = delete;
  btStoredObject& operator=(const btStoredObject&) = delete;

  // Whether the image size depends on its content.
  virtual bool hasVariablePart() const { return false; }
  // Bytes of the image.
  virtual uint32_t storedSize() const { return 0; }
  // Rereads members from the image and validates them.
  virtual int32_t unpack() { return 0; }

  // Unpins the block, frees a private buffer; the object is then empty.
  void releaseImage();
  // Marks the bound block dirty (unless mapped); true when it was bound.
  bool markImageDirty();
  bool isBound() const { return block != nullptr; }
  // Whether `n` bytes from the image lie inside its block. Every unpack asks
  // this before reading a header: a damaged seek may name the last bytes of
  // a block. A private copy was checked when it was made.
  bool headerFits(uint64_t n) const;

  uint64_t ownedSize = 0;      // size of a private image; 0 while in a block
  uint8_t* block = nullptr;    // data of the cached block holding the image
  uint8_t* image = nullptr;
  btCacheFile* cacheFile = nullptr;
  btSeek seek = 0;
  bool mapped = false;
  // Not zeroed on construction: objects are made by the dozen per operation,
  // mostly to view a block. Whoever makes it the image fills it first
  // (ensureImage, detachObject, the table prototype).
  uint8_t inlineBuffer[512];
};

// Binds `object` at `seek`. With `rawOffset` the seek is a raw byte
// position; otherwise it is an encoded seek and the object starts at its
// offset within the first S bytes of the block.
int32_t loadObject(btStoredObject* object, btCacheFile* cacheFile, btSeek seek, bool force,
                   uint64_t prefillCount = 0, bool rawOffset = false);
// Binds `object` to the object named by a slot seek (block + 4 + slot) of a
// data block; other kinds are addressed as loadObject does.
int32_t loadSlotObject(btStoredObject* object, btCacheFile* cacheFile, btSeek seek, bool force);
// The block of the object at `seek`, pinned (held and pinned, as a bind
// pins it), and the object's offset in it, found as loadSlotObject finds
// them. 0, or a negative status with nothing left pinned.
int32_t pinSlot(btCacheFile* cacheFile, btSeek seek, uint8_t** block, uint64_t* offset);
// Copies a block-bound image into a private buffer and unpins the block.
int32_t detachObject(btStoredObject* object);
// Makes sure the object has a private image of at least `size` bytes.
int32_t ensureImage(btStoredObject* object, size_t size);
