#include "runtime/cmAllocator.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

// Process-wide state of the allocator. It must be usable before any
// constructor runs and after every destructor has run (other statics free
// memory late), so it is constant-initialised and never destroyed.
struct cmAllocatorProcessState {
  struct Row {
    std::atomic<cmAllocator*> allocator;
    platform::Mutex* mutex;
  };
  Row rows[cmAllocator::MAX_ALLOCATORS];
  int roundRobin;
  int count;
  platform::Mutex bindMutex;
  platform::Mutex totalsMutex;
  // Heap segments, under totalsMutex.
  int64_t heapAllocations;
  int64_t heapBytes;
};

namespace {

union StateHolder {
  constexpr StateHolder() : state{{}, 0, cmAllocator::MAX_ALLOCATORS, {}, {}, 0, 0} {}
  ~StateHolder() {}
  cmAllocatorProcessState state;
};
constinit StateHolder gHolder;

// Index of the instance this thread is bound to, -1 until bound.
constinit thread_local int tThreadIndex = -1;

cmAllocatorProcessState& processState() { return gHolder.state; }

constexpr uint32_t kHeaderSize = cmAllocator::HEADER_SIZE;
// A split leaves a remainder only when it has room for a header and a free
// segment's two links, with 16 bytes to spare.
constexpr uint32_t kSplitSlack = 40;
// Largest heap request that the header can record (26 + 16 bits of size).
constexpr size_t kMaxHeapSize = (size_t(1) << 42) - 1;

void writeLine(cmAllocator::LineOutput out, const char* line) {
  if (out)
    out(line);
  else
    std::fputs(line, stderr);
}

}  // namespace

cmAllocator::cmAllocator(uint32_t index) : index_(index) { mutex_.init(false); }

cmAllocator* cmAllocator::instance(uint32_t index) {
  return processState().rows[index].allocator.load(std::memory_order_acquire);
}

int cmAllocator::bindThread() {
  cmAllocatorProcessState& st = processState();
  st.bindMutex.init();
  platform::MutexLock hold(st.bindMutex);
  int index;
  if (st.roundRobin == 0) {
    index = 0;
    st.roundRobin = 1;
  } else {
    if (st.roundRobin >= st.count) st.roundRobin = 1;
    index = st.roundRobin++;
  }
  if (!st.rows[index].allocator.load(std::memory_order_acquire)) {
    // Instances come from the process heap: they must not depend on
    // themselves, and they are never destroyed.
    void* memory = std::malloc(sizeof(cmAllocator));
    if (!memory) return -1;
    auto* a = new (memory) cmAllocator(uint32_t(index));
    st.rows[index].mutex = &a->mutex_;
    st.rows[index].allocator.store(a, std::memory_order_release);
  }
  tThreadIndex = index;
  return index;
}

int cmAllocator::currentThreadAllocatorIndex() { return tThreadIndex; }

void* cmAllocator::allocateHeap(size_t size) {
  if (size > kMaxHeapSize) return nullptr;
  auto* s = static_cast<SegmentInfo*>(std::malloc(size + kHeaderSize));
  if (!s) return nullptr;
  s->set(false, false, 0, uint32_t(size & 0x3FFFFFFu));
  s->offset = uint16_t(size >> 26);
  s->previous = 0;
  cmAllocatorProcessState& st = processState();
  st.totalsMutex.init();
  platform::MutexLock hold(st.totalsMutex);
  st.heapAllocations++;
  st.heapBytes += int64_t(size);
  return getPointer(s);
}

void* cmAllocator::allocate(size_t size) {
  if (size < MIN_ALLOCATION) size = MIN_ALLOCATION;
  if (size > MAX_POOL_ALLOCATION) return allocateHeap(size);
  int index = tThreadIndex;
  if (index < 0 && (index = bindThread()) < 0) return nullptr;
  cmAllocator* a = instance(uint32_t(index));
  platform::MutexLock hold(a->mutex_);
  SegmentInfo* s = a->allocateSegmentFromFreeList(size);
  if (!s) s = a->allocateSegmentFromBlock(normalizeSegmentSize(size));
  if (!s) return nullptr;
  a->numAllocations_++;
  a->numBytes_ += s->size();
  return getPointer(s);
}

int cmAllocator::deallocate(void* p) {
  if (!p) return -1;
  SegmentInfo* s = getSegmentPointer(p);
  if (!s->pooled()) {
    cmAllocatorProcessState& st = processState();
    {
      st.totalsMutex.init();
      platform::MutexLock hold(st.totalsMutex);
      st.heapAllocations--;
      st.heapBytes -= int64_t(heapSize(s));
    }
    std::free(s);
    return 0;
  }
  cmAllocator* a = instance(s->allocator());
  platform::MutexLock hold(a->mutex_);
  a->numAllocations_--;
  a->numBytes_ -= s->size();
  s = a->joinWithPrevSegmentInBlock(s);
  s = a->joinWithNextSegmentInBlock(s);
  s->setFree(true);
  a->addSegmentToFreeList(s);
  if (s->size() == WHOLE_BLOCK_SEGMENT) {
    // Keep some whole blocks to absorb churn, but never most of them.
    if (a->numSpareBlocks_ < MAX_SPARE_BLOCKS && a->numSpareBlocks_ * 2 < a->numBlocks_) {
      a->numSpareBlocks_++;
    } else {
      a->removeSegmentFromFreeList(s);
      a->deallocateBlock(getBlockPointer(s));
    }
  }
  return 0;
}

void* cmAllocator::moveAllocation(void* p, size_t oldSize, size_t size) {
  void* fresh = allocate(size);
  if (!fresh) return nullptr;
  std::memcpy(fresh, p, oldSize < size ? oldSize : size);
  deallocate(p);
  return fresh;
}

void* cmAllocator::reallocate(void* p, size_t size) {
  if (!p) return allocate(size);
  if (size < MIN_ALLOCATION) size = MIN_ALLOCATION;
  SegmentInfo* s = getSegmentPointer(p);

  if (!s->pooled()) {
    size_t current = heapSize(s);
    if (size <= MAX_POOL_ALLOCATION) return moveAllocation(p, current, size);
    if (size > kMaxHeapSize) return nullptr;
    auto* grown = static_cast<SegmentInfo*>(std::realloc(s, size + kHeaderSize));
    if (!grown) return nullptr;
    grown->set(false, false, 0, uint32_t(size & 0x3FFFFFFu));
    grown->offset = uint16_t(size >> 26);
    grown->previous = 0;
    cmAllocatorProcessState& st = processState();
    st.totalsMutex.init();
    platform::MutexLock hold(st.totalsMutex);
    st.heapBytes += int64_t(size) - int64_t(current);
    return getPointer(grown);
  }

  cmAllocator* a = instance(s->allocator());
  uint32_t n = normalizeSegmentSize(size);
  size_t current;
  {
    platform::MutexLock hold(a->mutex_);
    current = s->size();
    if (size <= current) {
      if (current >= n + kSplitSlack) {
        a->splitSegment(s, n);
        a->numBytes_ -= int64_t(current) - int64_t(s->size());
      }
      return p;
    }
    if (size <= MAX_POOL_ALLOCATION) {
      SegmentInfo* next = getNextSegmentInBlock(s);
      if (next && next->isFree() && current + kHeaderSize + next->size() >= n) {
        a->joinWithNextSegmentInBlock(s);
        if (s->size() >= n + kSplitSlack) a->splitSegment(s, n);
        a->numBytes_ += int64_t(s->size()) - int64_t(current);
        return p;
      }
      SegmentInfo* prev = getPrevSegmentInBlock(s);
      if (prev && prev->isFree() && prev->size() + kHeaderSize + current >= n) {
        SegmentInfo* merged = a->joinWithPrevSegmentInBlock(s);
        merged->setFree(false);
        std::memmove(getPointer(merged), p, current);
        if (merged->size() >= n + kSplitSlack) a->splitSegment(merged, n);
        a->numBytes_ += int64_t(merged->size()) - int64_t(current);
        return getPointer(merged);
      }
    }
  }
  return moveAllocation(p, current, size);
}

size_t cmAllocator::numBytesAllocated(const void* p) {
  if (!p) return 0;
  const SegmentInfo* s = getSegmentPointer(p);
  return s->pooled() ? s->size() : heapSize(s);
}

cmAllocator::BlockInfo* cmAllocator::allocateBlock() {
  auto* b = static_cast<BlockInfo*>(std::malloc(BLOCK_SIZE));
  if (!b) return nullptr;
  b->previous = nullptr;
  b->next = firstBlock_;
  if (firstBlock_) firstBlock_->previous = b;
  firstBlock_ = b;
  numBlocks_++;
  return b;
}

void cmAllocator::deallocateBlock(BlockInfo* b) {
  if (b->previous)
    b->previous->next = b->next;
  else
    firstBlock_ = b->next;
  if (b->next) b->next->previous = b->previous;
  numBlocks_--;
  std::free(b);
}

cmAllocator::SegmentInfo* cmAllocator::allocateSegmentFromBlock(uint32_t n) {
  BlockInfo* b = allocateBlock();
  if (!b) return nullptr;
  SegmentInfo* s = getFirstSegmentInBlock(b);
  s->set(true, false, index_, n);
  s->offset = FIRST_SEGMENT_OFFSET;
  s->previous = 0;
  auto* rest = reinterpret_cast<SegmentInfo*>(reinterpret_cast<char*>(b) + n + FIRST_SEGMENT_OFFSET + kHeaderSize);
  rest->set(true, true, index_, BLOCK_SIZE - kHeaderSize - (n + FIRST_SEGMENT_OFFSET + kHeaderSize));
  rest->offset = uint16_t(n + FIRST_SEGMENT_OFFSET + kHeaderSize);
  rest->previous = FIRST_SEGMENT_OFFSET;
  addSegmentToFreeList(rest);
  return s;
}

cmAllocator::SegmentInfo* cmAllocator::allocateSegmentFromFreeList(size_t size) {
  int first = getSegmentIndex(size);
  SegmentInfo* s = nullptr;
  // A segment up to 56 bytes larger is used whole rather than split.
  for (int i = first; i < first + 8 && i < 256 && !s; ++i) s = freeLists_[i];
  if (!s) s = freeLists_[256];
  if (!s) return nullptr;
  removeSegmentFromFreeList(s);
  if (s->size() == WHOLE_BLOCK_SEGMENT) numSpareBlocks_--;
  s->setFree(false);
  uint32_t n = normalizeSegmentSize(size);
  if (s->size() >= n + kSplitSlack) splitSegment(s, n);
  return s;
}

void cmAllocator::addSegmentToFreeList(SegmentInfo* s) {
  SegmentInfo*& head = freeLists_[getSegmentIndex(s->size())];
  links(s)->next = head;
  links(s)->previous = nullptr;
  if (head) links(head)->previous = s;
  head = s;
}

void cmAllocator::removeSegmentFromFreeList(SegmentInfo* s) {
  FreeLinks* l = links(s);
  if (l->previous)
    links(l->previous)->next = l->next;
  else
    freeLists_[getSegmentIndex(s->size())] = l->next;
  if (l->next) links(l->next)->previous = l->previous;
  l->next = l->previous = nullptr;
}

cmAllocator::SegmentInfo* cmAllocator::splitSegment(SegmentInfo* s, uint32_t n) {
  uint32_t old = s->size();
  if (old <= n + 24) return nullptr;
  auto* rest = reinterpret_cast<SegmentInfo*>(reinterpret_cast<char*>(s) + kHeaderSize + n);
  rest->set(true, true, s->allocator(), old - n - kHeaderSize);
  rest->offset = uint16_t(s->offset + n + kHeaderSize);
  rest->previous = s->offset;
  s->setSize(n);
  SegmentInfo* after = getNextSegmentInBlock(rest);
  if (after) after->previous = rest->offset;
  // A shrink in place can leave the remainder beside a free segment; merge
  // them, or the block could never again be seen as wholly free.
  rest = joinWithNextSegmentInBlock(rest);
  addSegmentToFreeList(rest);
  return rest;
}

cmAllocator::SegmentInfo* cmAllocator::joinWithNextSegmentInBlock(SegmentInfo* s) {
  SegmentInfo* next = getNextSegmentInBlock(s);
  if (!next || !next->isFree()) return s;
  removeSegmentFromFreeList(next);
  s->setSize(s->size() + next->size() + kHeaderSize);
  SegmentInfo* after = getNextSegmentInBlock(s);
  if (after) after->previous = s->offset;
  return s;
}

cmAllocator::SegmentInfo* cmAllocator::joinWithPrevSegmentInBlock(SegmentInfo* s) {
  SegmentInfo* prev = getPrevSegmentInBlock(s);
  if (!prev || !prev->isFree()) return s;
  removeSegmentFromFreeList(prev);
  prev->setSize(prev->size() + s->size() + kHeaderSize);
  SegmentInfo* after = getNextSegmentInBlock(prev);
  if (after) after->previous = prev->offset;
  return prev;
}

int cmAllocator::getNumberOfAllocators() {
  cmAllocatorProcessState& st = processState();
  st.bindMutex.init();
  platform::MutexLock hold(st.bindMutex);
  return st.count;
}

void cmAllocator::setNumberOfAllocators(int count) {
  if (count < 2) count = 2;
  if (count > MAX_ALLOCATORS) count = MAX_ALLOCATORS;
  cmAllocatorProcessState& st = processState();
  st.bindMutex.init();
  platform::MutexLock hold(st.bindMutex);
  st.count = count;
}

int64_t cmAllocator::sumTotals(int64_t cmAllocatorProcessState::*heapPart,
                               int64_t cmAllocator::*ownPart) {
  cmAllocatorProcessState& st = processState();
  int64_t total;
  {
    st.totalsMutex.init();
    platform::MutexLock hold(st.totalsMutex);
    total = st.*heapPart;
  }
  for (int i = 0; i < MAX_ALLOCATORS; ++i) {
    if (cmAllocator* a = instance(uint32_t(i))) {
      platform::MutexLock hold(a->mutex_);
      total += a->*ownPart;
    }
  }
  return total;
}

int64_t cmAllocator::getTotalNumberOfAllocations() {
  return sumTotals(&cmAllocatorProcessState::heapAllocations, &cmAllocator::numAllocations_);
}

int64_t cmAllocator::getTotalNumberOfBytesAllocated() {
  return sumTotals(&cmAllocatorProcessState::heapBytes, &cmAllocator::numBytes_);
}

int64_t cmAllocator::getTotalNumberOfBlocksAllocated() {
  int64_t total = 0;
  for (int i = 0; i < MAX_ALLOCATORS; ++i) total += numberOfBlocks(i);
  return total;
}

int64_t cmAllocator::numberOfBlocks(int index) {
  if (index < 0 || index >= MAX_ALLOCATORS) return 0;
  cmAllocator* a = instance(uint32_t(index));
  if (!a) return 0;
  platform::MutexLock hold(a->mutex_);
  return int64_t(a->numBlocks_);
}

int64_t cmAllocator::numberOfSpareBlocks(int index) {
  if (index < 0 || index >= MAX_ALLOCATORS) return 0;
  cmAllocator* a = instance(uint32_t(index));
  if (!a) return 0;
  platform::MutexLock hold(a->mutex_);
  return int64_t(a->numSpareBlocks_);
}

void cmAllocator::printStatistics(LineOutput out) {
  char line[160];
  std::snprintf(line, sizeof line, "cmAllocator:  block size = %d\n", int(BLOCK_SIZE));
  writeLine(out, line);
  std::snprintf(line, sizeof line, "cmAllocator:  minimum allocation size = %d\n", int(MIN_ALLOCATION));
  writeLine(out, line);
  std::snprintf(line, sizeof line, "cmAllocator:  maximum allocation size = %d\n", int(MAX_POOL_ALLOCATION));
  writeLine(out, line);
  std::snprintf(line, sizeof line, "cmAllocator:  number of allocations = %lld\n",
                (long long)getTotalNumberOfAllocations());
  writeLine(out, line);
  std::snprintf(line, sizeof line, "cmAllocator:  number of blocks allocated = %lld\n",
                (long long)getTotalNumberOfBlocksAllocated());
  writeLine(out, line);
  std::snprintf(line, sizeof line, "cmAllocator:  number of bytes allocated = %lld\n",
                (long long)getTotalNumberOfBytesAllocated());
  writeLine(out, line);
}

void cmAllocator::printToScreen(LineOutput out) {
  char line[160];
  std::snprintf(line, sizeof line, "cmAllocator:  block size = %d\n", int(BLOCK_SIZE));
  writeLine(out, line);
  std::snprintf(line, sizeof line, "cmAllocator:  minimum allocation size = %d\n", int(MIN_ALLOCATION));
  writeLine(out, line);
  std::snprintf(line, sizeof line, "cmAllocator:  maximum allocation size = %d\n", int(MAX_POOL_ALLOCATION));
  writeLine(out, line);
  for (int i = 0; i < MAX_ALLOCATORS; ++i) {
    cmAllocator* a = instance(uint32_t(i));
    if (!a) continue;
    // Format under the lock, write after it: the writer may allocate.
    char lines[257][96];
    int numLines = 0;
    {
      platform::MutexLock hold(a->mutex_);
      std::snprintf(lines[numLines++], sizeof lines[0], "cmAllocator[%d]:  number of blocks allocated = %d\n", i,
                    int(a->numBlocks_));
      for (int list = 0; list < 256; ++list) {
        SegmentInfo* head = a->freeLists_[list];
        if (!head) continue;
        int entries = 0;
        for (SegmentInfo* s = head; s; s = links(s)->next) entries++;
        std::snprintf(lines[numLines++], sizeof lines[0], "cmAllocator[%d]:    free list[%d] total entries = %d\n", i,
                      int(head->size()), entries);
      }
    }
    for (int k = 0; k < numLines; ++k) writeLine(out, lines[k]);
  }
}

bool cmAllocator::validate(char* why, size_t whyLength) {
  for (int i = 0; i < MAX_ALLOCATORS; ++i) {
    cmAllocator* a = instance(uint32_t(i));
    if (!a) continue;
    platform::MutexLock hold(a->mutex_);
    if (!a->validateOne(why, whyLength)) return false;
  }
  return true;
}

bool cmAllocator::validateOne(char* why, size_t whyLength) {
#define RH_CHECK(cond, ...)                         \
  do {                                              \
    if (!(cond)) {                                  \
      std::snprintf(why, whyLength, __VA_ARGS__);   \
      return false;                                 \
    }                                               \
  } while (0)
  uint64_t blocks = 0, wholeFree = 0, freeInBlocks = 0;
  int64_t usedSegments = 0, usedBytes = 0;
  BlockInfo* previousBlock = nullptr;
  for (BlockInfo* b = firstBlock_; b; b = b->next) {
    RH_CHECK(b->previous == previousBlock, "allocator %u: block %llu has a wrong previous link", index_,
             (unsigned long long)blocks);
    previousBlock = b;
    blocks++;
    RH_CHECK(blocks <= numBlocks_, "allocator %u: more blocks in the list than counted (%llu)", index_,
             (unsigned long long)numBlocks_);
    uint32_t offset = FIRST_SEGMENT_OFFSET, previous = 0;
    bool previousFree = false;
    while (offset < BLOCK_SIZE) {
      auto* s = reinterpret_cast<SegmentInfo*>(reinterpret_cast<char*>(b) + offset);
      RH_CHECK(s->pooled(), "allocator %u: segment at %u is not marked pooled", index_, offset);
      RH_CHECK(s->allocator() == index_, "allocator %u: segment at %u names allocator %u", index_, offset,
               s->allocator());
      RH_CHECK(s->offset == offset, "allocator %u: segment at %u records offset %u", index_, offset, s->offset);
      RH_CHECK(s->previous == previous, "allocator %u: segment at %u records previous %u, expected %u", index_,
               offset, s->previous, previous);
      RH_CHECK(s->size() >= MIN_ALLOCATION && s->size() % 8 == 0, "allocator %u: segment at %u has size %u",
               index_, offset, s->size());
      RH_CHECK(offset + kHeaderSize + s->size() <= BLOCK_SIZE, "allocator %u: segment at %u overruns its block",
               index_, offset);
      if (s->isFree()) {
        RH_CHECK(!previousFree, "allocator %u: free segments at %u and %u were not joined", index_, previous,
                 offset);
        freeInBlocks++;
        if (s->size() == WHOLE_BLOCK_SEGMENT) wholeFree++;
      } else {
        usedSegments++;
        usedBytes += s->size();
      }
      previousFree = s->isFree();
      previous = offset;
      offset += kHeaderSize + s->size();
    }
    RH_CHECK(offset == BLOCK_SIZE, "allocator %u: segments end at %u, not at the block's end", index_, offset);
  }
  RH_CHECK(blocks == numBlocks_, "allocator %u: %llu blocks in the list, %llu counted", index_,
           (unsigned long long)blocks, (unsigned long long)numBlocks_);
  RH_CHECK(wholeFree == numSpareBlocks_, "allocator %u: %llu wholly free blocks, %llu spare counted", index_,
           (unsigned long long)wholeFree, (unsigned long long)numSpareBlocks_);
  uint64_t onLists = 0;
  for (int list = 0; list < NUM_FREE_LISTS; ++list) {
    SegmentInfo* previousEntry = nullptr;
    for (SegmentInfo* s = freeLists_[list]; s; s = links(s)->next) {
      onLists++;
      RH_CHECK(onLists <= freeInBlocks, "allocator %u: free lists hold more entries than there are free segments",
               index_);
      RH_CHECK(s->pooled() && s->isFree(), "allocator %u: list %d holds a segment not marked free", index_, list);
      RH_CHECK(getSegmentIndex(s->size()) == list, "allocator %u: list %d holds a segment of %u bytes", index_, list,
               s->size());
      RH_CHECK(links(s)->previous == previousEntry, "allocator %u: list %d has a wrong previous link", index_, list);
      previousEntry = s;
    }
  }
  RH_CHECK(onLists == freeInBlocks, "allocator %u: %llu free segments in blocks, %llu on the lists", index_,
           (unsigned long long)freeInBlocks, (unsigned long long)onLists);
  RH_CHECK(usedSegments == numAllocations_ && usedBytes == numBytes_,
           "allocator %u: %lld segments of %lld bytes in use, counted %lld of %lld", index_, (long long)usedSegments,
           (long long)usedBytes, (long long)numAllocations_, (long long)numBytes_);
#undef RH_CHECK
  return true;
}
