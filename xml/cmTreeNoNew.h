// cmTreeNoNew<T>: storage and walking of a ring-linked tree of plain records.
//
// The tree owns its records through a cmAllocFixedSizeNoNew pool and counts
// the live ones; it keeps the tree's first node (the document node for
// cmMiniXml). It links nothing itself: the owner links records through their
// fields parent, firstChild, nextSibling and prevSibling (rings of children,
// see cmMiniXmlNode.h).
//
// const_iterator walks a subtree depth-first in pre-order (document order,
// attributes included since they are children) with an explicit stack of
// RECURSE frames, one per open level, so no input can choose the depth of
// the C++ stack. Any change of the tree leaves running iterators undefined.
//
// Not thread-safe.
#pragma once

#include <cstdint>
#include <cstring>
#include <utility>

#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmAllocFixedSizeNoNew.h"

template <class T>
class cmTreeNoNew {
 public:
  // One open level of a walk.
  struct RECURSE {
    const T* node;   // the current node at this level
    const T* first;  // the ring's first node at this level; the walk of the level ends there
    uint32_t state;  // 0 until the node's children were entered, then 1
  };

  class const_iterator {
   public:
    const_iterator() = default;
    // Walks `top` and everything below it; `top`'s siblings are not visited.
    explicit const_iterator(const T* top) {
      if (top) push(top, top);
    }
    const_iterator(const const_iterator&) = delete;
    const_iterator& operator=(const const_iterator&) = delete;
    const_iterator(const_iterator&& o) noexcept { swap(o); }
    const_iterator& operator=(const_iterator&& o) noexcept {
      swap(o);
      return *this;
    }
    ~const_iterator() { cmFree(frames_); }

    bool done() const { return count_ == 0; }
    const T* node() const { return count_ ? frames_[count_ - 1].node : nullptr; }
    const T* operator*() const { return node(); }
    // 0 for the walk's top node, 1 for its children, ...
    uint32_t depth() const { return count_ ? static_cast<uint32_t>(count_ - 1) : 0; }

    // Pre-order successor: the first child if there is one, else the next
    // sibling, else the next sibling of the nearest ancestor that has one.
    void next() { advance(true); }
    // The successor that is not below the current node.
    void skipChildren() { advance(false); }
    const_iterator& operator++() {
      advance(true);
      return *this;
    }

   private:
    void push(const T* node, const T* first) {
      if (count_ == capacity_) {
        size_t cap = capacity_ ? capacity_ * 2 : 32;
        void* p = cmRealloc(frames_, cap * sizeof(RECURSE));
        if (!p) throw cmException(CM_ERR_OUT_OF_MEMORY);
        frames_ = static_cast<RECURSE*>(p);
        capacity_ = cap;
      }
      frames_[count_++] = RECURSE{node, first, 0};
    }

    void advance(bool descend) {
      if (!count_) return;
      RECURSE& top = frames_[count_ - 1];
      if (descend && top.node->firstChild) {
        top.state = 1;
        push(top.node->firstChild, top.node->firstChild);
        return;
      }
      while (count_) {
        RECURSE& f = frames_[count_ - 1];
        if (count_ == 1) {  // the walk's top: its siblings are not part of the walk
          count_ = 0;
          return;
        }
        const T* nxt = f.node->nextSibling;
        if (nxt != f.first) {
          f.node = nxt;
          f.state = 0;
          return;
        }
        --count_;
      }
    }

    void swap(const_iterator& o) noexcept {
      std::swap(frames_, o.frames_);
      std::swap(count_, o.count_);
      std::swap(capacity_, o.capacity_);
    }

    RECURSE* frames_ = nullptr;
    size_t count_ = 0;
    size_t capacity_ = 0;
  };

  cmTreeNoNew() = default;
  cmTreeNoNew(const cmTreeNoNew&) = delete;
  cmTreeNoNew& operator=(const cmTreeNoNew&) = delete;
  cmTreeNoNew(cmTreeNoNew&& o) noexcept
      : pool_(std::move(o.pool_)), root_(o.root_), liveCount_(o.liveCount_) {
    o.root_ = nullptr;
    o.liveCount_ = 0;
  }
  cmTreeNoNew& operator=(cmTreeNoNew&& o) noexcept {
    if (this != &o) {
      pool_ = std::move(o.pool_);
      root_ = o.root_;
      liveCount_ = o.liveCount_;
      o.root_ = nullptr;
      o.liveCount_ = 0;
    }
    return *this;
  }
  // Frees every block; records are plain and need no destruction.
  virtual ~cmTreeNoNew() = default;

  // A zeroed record; throws CM_ERR_OUT_OF_MEMORY.
  T* allocNode() {
    T* p = pool_.alloc();
    ++liveCount_;
    return p;
  }
  // A record that is not zeroed, for a caller that sets every field, or
  // null when only allocNode() can give one (see the pool's takeUnused).
  T* takeUnusedNode() {
    T* p = pool_.takeUnused();
    if (p) ++liveCount_;
    return p;
  }
  void freeNode(T* p) {
    pool_.free(p);
    --liveCount_;
  }

  T* root() const { return root_; }
  void setRoot(T* r) { root_ = r; }
  uint64_t liveCount() const { return liveCount_; }
  const cmAllocFixedSizeNoNew<T>& pool() const { return pool_; }

  const_iterator walk(const T* top) const { return const_iterator(top); }

 private:
  cmAllocFixedSizeNoNew<T> pool_;
  T* root_ = nullptr;
  uint64_t liveCount_ = 0;
};
