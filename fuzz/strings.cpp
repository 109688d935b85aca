// Runs arbitrary bytes through the string operations that read untrusted
// text: the hash, the folding compare, case mapping, reversal, base64, the
// number readers, search and splitting. Nothing may crash or read outside the
// text, and the results must agree with simple models where there are some.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "text/TVArray.h"
#include "text/TVString.h"

using tolvane::TVArray;
using tolvane::TVString;

namespace {

void check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* p = reinterpret_cast<const char*>(data);
  TVString s(p, static_cast<int64_t>(size));
  std::string model(p, size);

  // Equal texts hash alike, and case-blind equality implies equal hashes.
  uint32_t h = s.hash();
  check(cmHashKey(model.data(), model.size()) == h);
  // Texts equal but for case hash alike. Only checked on ASCII: arbitrary
  // bytes decode to sequences whose case forms change length, which moves
  // where the hash switches from bytes to code points.
  TVString up = s.toUpcase();
  bool ascii = true;
  for (size_t i = 0; i < size; ++i) ascii = ascii && data[i] < 0x80;
  if (ascii) check(up.hash() == h && up.equalTo(s, false));

  TVString rev = s.toReverse();
  check(rev.length() == s.length());

  TVString enc = s.getBase64EncodedString(size % 80);
  TVString dec = enc.getBase64DecodedString();
  check(dec.length() <= s.length());

  int64_t v = 0;
  TVString::TVStringToInt64(p, static_cast<int64_t>(size), &v, true, true);
  s.toFloat();
  int64_t at = 0;
  s.parseDecimalInt(at, -1, "*");
  s.toIntBase64(v);

  if (size > 2) {
    std::string needle = model.substr(size / 2, 2);
    size_t want = model.find(needle);
    int64_t got = s.pos(needle.c_str(), 0);
    check(needle.find('\0') != std::string::npos || static_cast<size_t>(got) == want);
    s.pos(needle.c_str(), 0, 0x1 | (size & 1 ? 0x8 : 0));
    s.lastpos(needle.c_str());
  }

  TVArray parts;
  s.split('/', parts);
  if (size) check(parts.count() == s.countAll('/') + 1);
  TVArray lines;
  s.splitLines(lines);

  TVString stripped(s);
  stripped.strip(" /\"", 'B', 1);
  stripped.stripQuotes(false);
  check(stripped.length() <= s.length());
  return 0;
}
