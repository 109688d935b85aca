// The case-blind hash: its value is stored in hash indexes on disk, so it is
// checked against the reference xxHash32 where the two must agree, and for
// its case blindness where they differ.
#include <gtest/gtest.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstring>
#include <string>
#include <vector>

#include "text/TVString.h"
#include "text/cmStringHash.h"

using tolvane::TVString;

TEST(cmStringHash, UpperCaseAsciiIsPlainXxHash32) {
  // Upper-case letters are unchanged by the 0xDF mask and by folding, so the
  // value must be the reference one at every length and alignment.
  std::string letters;
  for (int i = 0; i < 70; ++i) letters += static_cast<char>('A' + (i * 7) % 26);
  for (size_t len = 0; len <= letters.size(); ++len)
    EXPECT_EQ(cmHashKey(letters.data(), len), XXH32(letters.data(), len, 0)) << "length " << len;
}

TEST(cmStringHash, TextsEqualButForCaseAgree) {
  const char* pairs[][2] = {
      {"trunk/src/Main.cpp", "TRUNK/SRC/main.CPP"},
      {"a", "A"},
      {"branches/Feature-X/some/long/path/to/a/file.txt", "BRANCHES/feature-x/SOME/LONG/PATH/TO/A/FILE.TXT"},
      {"\xC3\xA4pfel", "\xC3\x84PFEL"},                                                  // äpfel
      {"0123456789abcdef\xCE\xB1\xCE\xB2\xCE\xB3xyz", "0123456789ABCDEF\xCE\x91\xCE\x92\xCE\x93XYZ"},  // Greek after a bulk block
      {"abcd\xD0\xB4\xD0\xB6", "ABCD\xD0\x94\xD0\x96"},                                  // Cyrillic in the tail
  };
  for (const auto& p : pairs) {
    TVString a(p[0]), b(p[1]);
    EXPECT_EQ(a.hash(), b.hash()) << p[0];
    EXPECT_FALSE(a == b) << p[0];
    EXPECT_TRUE(a.equalTo(b, false)) << p[0];
  }
}

TEST(cmStringHash, NullEmptyAndDifferentTexts) {
  EXPECT_EQ(cmHashKey(nullptr), 0u);
  EXPECT_EQ(cmHashKey(nullptr, 5), 0u);
  EXPECT_EQ(TVString().hash(), 0u);
  EXPECT_EQ(cmHashKey("", 0), XXH32("", 0, 0));
  EXPECT_NE(cmHashKey("trunk"), cmHashKey("trunc"));
  EXPECT_NE(cmHashKey("\xC3\xA4"), cmHashKey("\xC3\xB6"));
  // Bad UTF-8 hashes without reading past the end.
  EXPECT_NE(cmHashKey("ab\xE2\x82", 4), cmHashKey("ab", 2));
}

TEST(cmStringHash, AlignmentDoesNotMatter) {
  std::string text = "Some/Path/With/\xC3\x9C" "mlaut/and/more/characters/than/a/block";
  std::vector<char> buf(text.size() + 8);
  uint32_t want = cmHashKey(text.data(), text.size());
  for (size_t off = 0; off < 8; ++off) {
    std::memcpy(buf.data() + off, text.data(), text.size());
    EXPECT_EQ(cmHashKey(buf.data() + off, text.size()), want) << "offset " << off;
  }
}

TEST(cmStringHash, AllNamesComputeOneValue) {
  TVString s("Revision/Log");
  uint32_t h = s.hash();
  EXPECT_EQ(TVString::hashString("Revision/Log"), h);
  EXPECT_EQ(TVString::hashString(s.data(), s.length()), h);
  EXPECT_EQ(TVString::hashStringUTF8(s.data(), s.length()), h);
  EXPECT_EQ(cmHashKey("revision/log"), h);
}
