// cmMiniXmlArena: bump storage for the decoded copies of parsed values.
//
// Lazy decoding gives one node after another a private copy of its value.
// Made one allocation each, they cost an allocator call when decoded and a
// free plus a walk over the whole tree when the document goes. Carved from
// a few chunks instead, they are released in one step together with the
// nodes. Space of a copy whose node is deleted or given a new value is only
// reclaimed by release(), that is when every node goes (reset, reload,
// destruction); a document decodes each parsed value at most once, so this
// stays within the size of its text.
//
// contains() tells arena copies from strings the nodes own one by one; it
// walks the chunks, which are few since their sizes double up to kMaxChunk.
//
// The arena owns its chunks. Not thread-safe.
#pragma once

#include <cstddef>
#include <utility>

#include "runtime/cmAlloc.h"

class cmMiniXmlArena {
 public:
  static constexpr size_t kFirstChunk = 4096;
  static constexpr size_t kMaxChunk = size_t{1} << 20;

  cmMiniXmlArena() = default;
  cmMiniXmlArena(const cmMiniXmlArena&) = delete;
  cmMiniXmlArena& operator=(const cmMiniXmlArena&) = delete;
  cmMiniXmlArena(cmMiniXmlArena&& o) noexcept { swap(o); }
  cmMiniXmlArena& operator=(cmMiniXmlArena&& o) noexcept {
    if (this != &o) {
      release();
      swap(o);
    }
    return *this;
  }
  ~cmMiniXmlArena() { release(); }

  // `n` (> 0) bytes, uninitialised; null when no chunk can be had.
  char* alloc(size_t n) {
    if (n <= static_cast<size_t>(end_ - next_)) {
      char* p = next_;
      next_ += n;
      return p;
    }
    return allocSlow(n);
  }

  bool contains(const char* p) const {
    for (const Chunk* c = chunks_; c; c = c->next)
      if (p >= c->bytes() && p < c->end) return true;
    return false;
  }
  bool empty() const { return chunks_ == nullptr; }

  // Frees every chunk; all pointers handed out become invalid.
  void release() {
    while (chunks_) {
      Chunk* c = chunks_;
      chunks_ = c->next;
      cmFree(c);
    }
    next_ = end_ = nullptr;
    nextSize_ = kFirstChunk;
  }

 private:
  struct Chunk {
    Chunk* next;
    char* end;  // one past the chunk's last byte
    char* bytes() { return reinterpret_cast<char*>(this + 1); }
    const char* bytes() const { return reinterpret_cast<const char*>(this + 1); }
  };

  char* allocSlow(size_t n) {
    // A request larger than half a chunk gets a chunk of its own, and the
    // current chunk's free tail stays in use.
    bool own = n > nextSize_ / 2;
    size_t size = own ? n : nextSize_;
    void* mem = cmAlloc(sizeof(Chunk) + size);
    if (!mem) return nullptr;
    Chunk* c = static_cast<Chunk*>(mem);
    c->next = chunks_;
    c->end = c->bytes() + size;
    chunks_ = c;
    if (own) return c->bytes();
    next_ = c->bytes() + n;
    end_ = c->end;
    if (nextSize_ < kMaxChunk) nextSize_ *= 2;
    return c->bytes();
  }

  void swap(cmMiniXmlArena& o) noexcept {
    std::swap(chunks_, o.chunks_);
    std::swap(next_, o.next_);
    std::swap(end_, o.end_);
    std::swap(nextSize_, o.nextSize_);
  }

  Chunk* chunks_ = nullptr;  // newest first
  char* next_ = nullptr;     // free space of the current chunk: [next_, end_)
  char* end_ = nullptr;
  size_t nextSize_ = kFirstChunk;
};
