#include "text/cmStringCompare.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "text/cmCaseTable.h"

namespace {

int sign(int v) { return v < 0 ? -1 : (v > 0 ? 1 : 0); }

// The order the compare must give: decode both texts whole, fold every code
// point, compare the sequences.
std::vector<uint32_t> foldedPoints(const std::string& s) {
  std::vector<uint32_t> out;
  const char* p = s.data();
  const char* end = p + s.size();
  while (p < end) {
    uint32_t cp = static_cast<unsigned char>(*p);
    if (cp < 0x80) {
      ++p;
    } else {
      p = cmCaseTable::decodeUtf8(p, end, &cp);
    }
    out.push_back(cp < 0x10000 ? cmCaseTable::fold(cp) : cp);
  }
  return out;
}

int referenceFolded(const std::string& a, const std::string& b) {
  std::vector<uint32_t> x = foldedPoints(a), y = foldedPoints(b);
  if (x < y) return -1;
  return x == y ? 0 : 1;
}

int folded(const std::string& a, const std::string& b) {
  return sign(cmStringCompare::folded(a.data(), a.size(), b.data(), b.size()));
}

TEST(cmStringCompareFolded, CaseBlindOverSharedPrefixesAndSequences) {
  EXPECT_EQ(folded("/trunk/src/Main.c", "/TRUNK/src/main.C"), 0);
  EXPECT_EQ(folded("/trunk/a", "/trunk/b"), -1);
  EXPECT_EQ(folded("/trunk/ab", "/trunk/a"), 1);
  EXPECT_EQ(folded("", ""), 0);
  // Equal lead bytes of two sequences that fold alike: e-acute and E-acute.
  EXPECT_EQ(folded("caf\xC3\xA9", "CAF\xC3\x89"), 0);
  // The same lead byte, different letters after folding.
  EXPECT_NE(folded("x\xC3\xA9", "x\xC3\xA8"), 0);
  // An ASCII byte against a sequence.
  EXPECT_EQ(folded("a~", "a\xC3\xA9"), -1);
}

// Random texts built from a few shared prefixes and a small alphabet of ASCII
// letters in both cases and two-byte letters, so that pairs often share a
// long prefix and differ only in case or inside a sequence.
TEST(cmStringCompareFolded, AgreesWithWholeTextFoldingOnRandomPairs) {
  const std::vector<std::string> prefixes = {"", "/trunk/", "/branches/b1/src/", "/TRUNK/"};
  const std::vector<std::string> pieces = {"a", "A", "z", "Z", "/", ".", "\xC3\xA9", "\xC3\x89",
                                           "\xC3\xA8", "\xC4\x81", "\xC4\x80", "0"};
  std::mt19937 rng(20261122);
  auto text = [&] {
    std::string s = prefixes[rng() % prefixes.size()];
    int n = static_cast<int>(rng() % 6);
    for (int i = 0; i < n; i++) s += pieces[rng() % pieces.size()];
    return s;
  };
  for (int i = 0; i < 20000; i++) {
    std::string a = text(), b = text();
    ASSERT_EQ(folded(a, b), referenceFolded(a, b)) << a << " vs " << b;
    ASSERT_EQ(folded(b, a), -referenceFolded(a, b)) << b << " vs " << a;
  }
}

}  // namespace
