// revhoard-dump: prints every table of a version cache file, read-only,
// with the field names of its catalogue. Text by default; --json prints one
// object with a key per table holding a list of row objects.
//
// Exit codes: 0 printed; 1 bad arguments; 2 the file is missing, damaged,
// of an older format, not a cache or not closed cleanly (one line on
// standard error says which).
#include <cstdio>
#include <cstring>
#include <string>

#include "vcache/VCCacheDump.h"

namespace {

int usage() {
  std::fputs("usage: revhoard-dump CACHE [--json]\n", stderr);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const char* file = nullptr;
  bool json = false;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--json") == 0) {
      json = true;
    } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
      return usage();
    } else if (!file) {
      file = argv[i];
    } else {
      return usage();
    }
  }
  if (!file) return usage();

  VCCacheDump dump;
  if (dump.load(file) != 0) {
    std::fprintf(stderr, "revhoard-dump: %s\n", dump.error().c_str());
    return 2;
  }
  std::string out = json ? dump.renderJson() : dump.renderText();
  if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size() || std::fflush(stdout) != 0) {
    std::fputs("revhoard-dump: cannot write the output\n", stderr);
    return 2;
  }
  return 0;
}
