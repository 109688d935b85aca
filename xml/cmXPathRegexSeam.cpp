#include "xml/cmXPathRegexSeam.h"

#include "runtime/cmException.h"
#include "text/cmStringErrors.h"

bool cmXPathRegexContains(void** cache, std::string_view text, std::string_view pattern,
                          std::string_view options) {
  // No engine serves patterns yet: refuse rather than guess with a plain
  // substring search, which would answer differently for most patterns.
  throw cmException(CM_STR_NO_PATTERN_ENGINE, "contains");
}

void cmXPathRegexRelease(void* engine) {}
