#include "runtime/cmFatal.h"

#include <cstdio>
#include <cstdlib>

void cmFatalError(int32_t number, const char* where) {
  // No allocation here: the usual reason to be in this function is that
  // memory has run out.
  if (where)
    std::fprintf(stderr, "cmFatalError: %d in %s\n", int(number), where);
  else
    std::fprintf(stderr, "cmFatalError: %d\n", int(number));
  std::fflush(stderr);
  std::abort();
}
