#include "xml/cmXPathStringSet.h"

#include <cstddef>
#include <cstring>

#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"

namespace {
void* allocOrThrow(size_t n) {
  void* p = cmAlloc(n);
  if (!p) throw cmException(CM_ERR_OUT_OF_MEMORY);
  return p;
}
}  // namespace

cmXPathStringSet::cmXPathStringSet() {
  bucketCount_ = 103;
  buckets_ = static_cast<Entry**>(allocOrThrow(bucketCount_ * sizeof(Entry*)));
  std::memset(buckets_, 0, bucketCount_ * sizeof(Entry*));
}

cmXPathStringSet::~cmXPathStringSet() {
  for (uint64_t b = 0; b < bucketCount_; ++b) {
    for (Entry* e = buckets_[b]; e;) {
      Entry* next = e->next;
      cmFree(e);
      e = next;
    }
  }
  cmFree(buckets_);
}

uint64_t cmXPathStringSet::hashOf(std::string_view s) {
  uint64_t h = 1469598103934665603ull;  // FNV-1a
  for (unsigned char c : s) {
    h ^= c;
    h *= 1099511628211ull;
  }
  return h;
}

void cmXPathStringSet::grow() {
  uint64_t count = bucketCount_ * 2 + 1;
  Entry** fresh = static_cast<Entry**>(allocOrThrow(count * sizeof(Entry*)));
  std::memset(fresh, 0, count * sizeof(Entry*));
  for (uint64_t b = 0; b < bucketCount_; ++b) {
    for (Entry* e = buckets_[b]; e;) {
      Entry* next = e->next;
      Entry*& head = fresh[e->hash % count];
      e->next = head;
      head = e;
      e = next;
    }
  }
  cmFree(buckets_);
  buckets_ = fresh;
  bucketCount_ = count;
}

void cmXPathStringSet::insert(std::string_view s) {
  uint64_t h = hashOf(s);
  if (contains(s)) return;
  if (static_cast<uint64_t>(count_) >= bucketCount_) grow();
  Entry* e = static_cast<Entry*>(allocOrThrow(offsetof(Entry, bytes) + s.size() + 1));
  e->hash = h;
  e->length = static_cast<uint32_t>(s.size());
  if (!s.empty()) std::memcpy(e->bytes, s.data(), s.size());
  Entry*& head = buckets_[h % bucketCount_];
  e->next = head;
  head = e;
  ++count_;
}

bool cmXPathStringSet::contains(std::string_view s) const {
  uint64_t h = hashOf(s);
  for (const Entry* e = buckets_[h % bucketCount_]; e; e = e->next)
    if (e->hash == h && e->length == s.size() && std::memcmp(e->bytes, s.data(), s.size()) == 0) return true;
  return false;
}
