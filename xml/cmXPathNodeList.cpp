#include "xml/cmXPathNodeList.h"

#include <cstring>
#include <utility>

#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"

cmXPathNodeList::~cmXPathNodeList() { cmFree(items_); }

void cmXPathNodeList::reserve(int64_t capacity) {
  if (capacity <= capacity_) return;
  void* p = cmRealloc(items_, static_cast<size_t>(capacity) * sizeof(cmMiniXmlNode*));
  if (!p) throw cmException(CM_ERR_OUT_OF_MEMORY);
  items_ = static_cast<cmMiniXmlNode**>(p);
  capacity_ = capacity;
}

void cmXPathNodeList::push(cmMiniXmlNode* node) {
  if (count_ == capacity_) reserve(capacity_ < 100 ? 100 : capacity_ * 2);
  items_[count_++] = node;
}

void cmXPathNodeList::swap(cmXPathNodeList& other) {
  std::swap(items_, other.items_);
  std::swap(count_, other.count_);
  std::swap(capacity_, other.capacity_);
}
