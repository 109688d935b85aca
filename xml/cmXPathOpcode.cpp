#include "xml/cmXPathOpcode.h"

#include <cstring>

#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmXPathErrors.h"
#include "xml/cmXPathRegexSeam.h"

int64_t cmXPathProgram::emit(int32_t code) {
  if (count_ >= CM_XPATH_MAX_OPCODES) throw cmException(CM_XPATH_ERR_TOO_LONG);
  if (count_ == capacity_) {
    int64_t grown = capacity_ < 16 ? 16 : capacity_ * 2;
    if (grown > CM_XPATH_MAX_OPCODES) grown = CM_XPATH_MAX_OPCODES;
    void* p = cmRealloc(ops_, static_cast<size_t>(grown) * sizeof(cmXPathOpcode));
    if (!p) throw cmException(CM_ERR_OUT_OF_MEMORY);
    ops_ = static_cast<cmXPathOpcode*>(p);
    capacity_ = grown;
  }
  cmXPathOpcode& op = ops_[count_];
  std::memset(&op, 0, sizeof op);
  op.code = code;
  return count_++;
}

void cmXPathProgram::setName(int64_t index, std::string_view text) {
  cmXPathOpcode& op = ops_[index];
  char* copy = static_cast<char*>(cmAlloc(text.size() + 1));
  if (!copy) throw cmException(CM_ERR_OUT_OF_MEMORY);
  if (!text.empty()) std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = 0;
  cmFree(const_cast<char*>(op.name));
  op.name = copy;
  op.nameLength = static_cast<uint32_t>(text.size());
}

void cmXPathProgram::truncate(int64_t count) {
  for (int64_t i = count; i < count_; ++i) {
    cmFree(const_cast<char*>(ops_[i].name));
    if (ops_[i].regex) cmXPathRegexRelease(ops_[i].regex);
  }
  if (count < count_) count_ = count;
}

void cmXPathProgram::clear() {
  truncate(0);
  cmFree(ops_);
  ops_ = nullptr;
  count_ = capacity_ = 0;
}
