// cmXPathNodeList: the node list of a node-set value and of a query's result,
// a flat growable array of node pointers. No sorting, no removal of
// duplicates: nodes stand in the order the query reached them.
//
// Ownership: owns its array (allocated through cmAlloc), not the nodes.
// Single-threaded.
#pragma once

#include <cstdint>

struct cmMiniXmlNode;

class cmXPathNodeList {
 public:
  cmXPathNodeList() = default;
  cmXPathNodeList(const cmXPathNodeList&) = delete;
  cmXPathNodeList& operator=(const cmXPathNodeList&) = delete;
  ~cmXPathNodeList();

  // Throws CM_ERR_OUT_OF_MEMORY.
  void push(cmMiniXmlNode* node);
  void reserve(int64_t capacity);
  void clear() { count_ = 0; }
  void swap(cmXPathNodeList& other);

  int64_t size() const { return count_; }
  bool empty() const { return count_ == 0; }
  cmMiniXmlNode* operator[](int64_t i) const { return items_[i]; }
  cmMiniXmlNode* const* begin() const { return items_; }
  cmMiniXmlNode* const* end() const { return items_ + count_; }

 private:
  cmMiniXmlNode** items_ = nullptr;
  int64_t count_ = 0;
  int64_t capacity_ = 0;
};
