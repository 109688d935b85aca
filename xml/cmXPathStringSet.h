// cmXPathStringSet: a hash set of byte strings for comparing two node sets
// with = and !=. Starts with 103 buckets and doubles when it holds more
// strings than buckets. Owns copies of the strings; single-threaded.
#pragma once

#include <cstdint>
#include <string_view>

class cmXPathStringSet {
 public:
  cmXPathStringSet();
  cmXPathStringSet(const cmXPathStringSet&) = delete;
  cmXPathStringSet& operator=(const cmXPathStringSet&) = delete;
  ~cmXPathStringSet();

  // Throws CM_ERR_OUT_OF_MEMORY.
  void insert(std::string_view s);
  bool contains(std::string_view s) const;
  int64_t size() const { return count_; }

 private:
  struct Entry {
    Entry* next;
    uint64_t hash;
    uint32_t length;
    char bytes[1];
  };
  static uint64_t hashOf(std::string_view s);
  void grow();

  Entry** buckets_ = nullptr;
  uint64_t bucketCount_ = 0;
  int64_t count_ = 0;
};
