// The string object itself: its three states, inline and long forms, shared
// blocks, slices, borrowed bytes, moves and concatenation trees.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "text/TVString.h"
#include "text/cmROStringT.h"
#include "text/cmStringCatHelperT.h"
#include "text/cmStringT.h"
#include "text/cmThinStringT.h"

using tolvane::TVString;

namespace {

uint32_t refs(const cmString& s) { return s.blockPointer()->refCount.load(); }

}  // namespace

TEST(cmStringT, ZeroedObjectIsNullString) {
  alignas(8) unsigned char raw[sizeof(TVString)];
  std::memset(raw, 0, sizeof raw);
  TVString* s = reinterpret_cast<TVString*>(raw);
  EXPECT_TRUE(s->isNull());
  EXPECT_TRUE(s->isEmpty());
  EXPECT_EQ(s->length(), 0);
  EXPECT_STREQ(s->getCString(), "");
  s->append("grows from null");
  EXPECT_STREQ(s->getCString(), "grows from null");
  s->~TVString();
}

TEST(cmStringT, NullEmptyAndTextStatesDiffer) {
  TVString null;
  TVString empty("");
  EXPECT_TRUE(null.isNull());
  EXPECT_FALSE(empty.isNull());
  EXPECT_TRUE(empty.isEmpty());
  EXPECT_TRUE(empty.isInline());

  TVString fromNullPtr(static_cast<const char*>(nullptr));
  EXPECT_TRUE(fromNullPtr.isNull());

  TVString s("abc");
  s.makeNull();
  EXPECT_TRUE(s.isNull());
  s.makeNotNull();
  EXPECT_FALSE(s.isNull());
  EXPECT_TRUE(s.isEmpty());
  s = "x";
  s.makeNotNull();  // leaves text alone
  EXPECT_EQ(s, "x");
  s.makeEmpty();
  EXPECT_TRUE(s.isEmpty());
  EXPECT_FALSE(s.isNull());
}

TEST(cmStringT, InlineLimitIsTwentyNineBytes) {
  std::string t29(29, 'a'), t30(30, 'b');
  TVString a(t29.c_str()), b(t30.c_str());
  EXPECT_TRUE(a.isInline());
  EXPECT_FALSE(b.isInline());
  EXPECT_EQ(a.length(), 29);
  EXPECT_EQ(b.length(), 30);
  // The inline length sits in byte 30 and the flag in byte 31.
  EXPECT_EQ(a.rawBytes()[30], 29);
  EXPECT_EQ(a.rawBytes()[31], 1);
  EXPECT_EQ(b.rawBytes()[31], 0);
  EXPECT_EQ(std::string(b.getCString()), t30);

  cmStringT<char, 2, 30> codePage(t30.c_str());  // the code-page string shares the scheme
  EXPECT_FALSE(codePage.isInline());
  EXPECT_TRUE(codePage == b);

  cmPathString p(std::string(253, 'p').c_str());
  EXPECT_TRUE(p.isInline());
  cmPathString q(std::string(254, 'q').c_str());
  EXPECT_FALSE(q.isInline());
}

TEST(cmStringT, CopySharesBlockAndWriteUnshares) {
  cmString a(std::string(40, 'a').c_str());
  cmString b(a);
  ASSERT_EQ(a.blockPointer(), b.blockPointer());
  EXPECT_EQ(refs(a), 2u);
  b.append("!");
  EXPECT_NE(a.blockPointer(), b.blockPointer());
  EXPECT_EQ(refs(a), 1u);
  EXPECT_EQ(a.length(), 40);
  EXPECT_EQ(b.length(), 41);
  EXPECT_EQ(std::string(a.getCString()), std::string(40, 'a'));
}

TEST(cmStringT, SharedShortTextGoesBackInline) {
  cmString a(std::string(40, 'a').c_str());
  cmString b(a);
  TVString& tb = static_cast<TVString&>(b);
  tb.setLength(5);
  EXPECT_TRUE(b.isInline());
  EXPECT_STREQ(b.getCString(), "aaaaa");
  EXPECT_EQ(a.length(), 40);
}

TEST(cmStringT, AppendGrowsWithQuarterRoom) {
  cmString s(std::string(40, 'a').c_str());
  EXPECT_EQ(s.capacity(), 41);  // built to size: text and terminator
  s.append('b');                // 41 bytes no longer fit: a quarter more
  EXPECT_EQ(s.capacity(), 41 + (41 + 4) / 4);
  cmStringBlock* block = s.blockPointer();
  for (int i = 0; i < 10; ++i) s.append('c');
  EXPECT_EQ(s.blockPointer(), block);  // the room was used in place
  std::string model(40, 'a');
  model += 'b';
  model += std::string(10, 'c');
  EXPECT_EQ(std::string(s.getCString()), model);
}

TEST(cmStringT, AppendFromItself) {
  TVString s(std::string(35, 'x').c_str());
  s.append(s);
  EXPECT_EQ(s.length(), 70);
  TVString t("abc");
  t.Base::append(t.data() + 1, 2);
  EXPECT_EQ(t, "abcbc");
  t.assign(t.data() + 2, 3);
  EXPECT_EQ(t, "cbc");
}

TEST(cmStringT, SliceSharesBlockAndOutlivesSource) {
  TVString* src = new TVString("0123456789abcdefghijklmnopqrstuvwxyz0123456789");
  TVString slice = src->sub(3, 35);
  TVString shortSlice = src->sub(1, 4);
  EXPECT_EQ(slice.blockPointer(), src->blockPointer());
  EXPECT_TRUE(slice.isUsingExternalBuffer());
  EXPECT_TRUE(shortSlice.isInline());
  EXPECT_EQ(shortSlice, "1234");
  delete src;
  EXPECT_EQ(std::string(slice.getCString()), "3456789abcdefghijklmnopqrstuvwxyz01");
  slice.append("++");
  EXPECT_EQ(std::string(slice.getCString()), "3456789abcdefghijklmnopqrstuvwxyz01++");
}

TEST(cmStringT, SubClipsWithoutFailing) {
  TVString s("abc");
  struct Case {
    int64_t start, len;
    const char* want;
  } cases[] = {{100, 5, ""}, {1, 100, "bc"}, {-4, 2, "ab"}, {3, 1, ""}, {0, -1, "abc"}, {2, 0, ""}};
  for (const auto& c : cases) {
    TVString r = s.sub(c.start, c.len);
    EXPECT_EQ(r, c.want) << c.start << "," << c.len;
    EXPECT_FALSE(r.isNull());
  }
  EXPECT_TRUE(TVString().sub(0, 3).isNull());
}

TEST(cmStringT, BorrowedTextCopiesOnCopyAndMove) {
  char buf[64] = "borrowed bytes that are long enough";
  TVString s;
  s.setExternalBuffer(buf, 35, 64);
  EXPECT_TRUE(s.isUsingExternalBuffer());
  EXPECT_EQ(s.data(), buf);
  TVString copy(s);
  TVString moved(std::move(s));
  EXPECT_NE(copy.data(), buf);
  EXPECT_NE(moved.data(), buf);
  std::memset(buf, 'Z', 35);
  EXPECT_EQ(std::string(copy.getCString()), "borrowed bytes that are long enough");
  EXPECT_EQ(std::string(moved.getCString()), "borrowed bytes that are long enough");
}

TEST(cmStringT, BorrowedWritableBufferIsWrittenInPlace) {
  char buf[16] = "abc";
  TVString s;
  s.setExternalBuffer(buf, 3, sizeof buf);
  s.Base::append("def");
  EXPECT_EQ(s.data(), buf);
  EXPECT_STREQ(buf, "abcdef");
  s.Base::append("0123456789");  // past the buffer: moves to a block of its own
  EXPECT_NE(s.data(), buf);
  EXPECT_EQ(s, "abcdef0123456789");
  s.breakLinkToExternalBuffer();
  EXPECT_FALSE(s.isUsingExternalBuffer());
}

TEST(cmStringT, ReadOnlyBorrowedTextIsTerminatedByCopy) {
  const char text[] = "abcdef";
  TVString s;
  s.setExternalBuffer(text, 3);
  EXPECT_STREQ(s.getCString(), "abc");
  EXPECT_NE(s.data(), text);
  EXPECT_STREQ(text, "abcdef");
}

TEST(cmStringT, MoveTakesSimpleFormsAndZeroesSource) {
  TVString longText(std::string(50, 'l').c_str());
  cmStringBlock* block = longText.blockPointer();
  TVString a(std::move(longText));
  EXPECT_EQ(a.blockPointer(), block);
  EXPECT_TRUE(longText.isNull());  // NOLINT: moved-from is the null string

  TVString in("inline");
  TVString b(std::move(in));
  EXPECT_EQ(b, "inline");
  EXPECT_TRUE(in.isNull());  // NOLINT
}

TEST(cmStringT, CachedHashMakesUnequalFast) {
  TVString a(std::string(40, 'a').c_str());
  TVString b(std::string(40, 'a').c_str());
  b.getMutableCString()[39] = 'b';
  uint32_t ha = a.hash();
  EXPECT_EQ(a.wholeBlockHash(), ha);
  b.hash();
  EXPECT_FALSE(a == b);
  // A write clears the cache.
  b.getMutableCString()[39] = 'a';
  EXPECT_EQ(b.wholeBlockHash(), 0u);
  EXPECT_TRUE(a == b);
}

TEST(cmStringT, CompareOrdersNullFirst) {
  TVString null, empty(""), a("a"), ab("ab"), B("B");
  EXPECT_LT(null.compare(empty), 0);
  EXPECT_EQ(null.compare(null), 0);
  EXPECT_LT(empty.compare(a), 0);
  EXPECT_LT(a.compare(ab), 0);
  EXPECT_GT(a.compare(B), 0);
  EXPECT_LT(a.compare(B, false), 0);
  EXPECT_TRUE(null == empty);  // equality looks at text only
}

TEST(cmStringT, ConcatenationTreeMeasuresOnce) {
  cmString a("alpha"), b(std::string(40, 'b').c_str());
  cmPathString p("/path");
  cmThinString thin("thin");
  cmString r = a + "-" + b + p + thin + "!"_cms;
  EXPECT_EQ(std::string(r.getCString()), "alpha-" + std::string(40, 'b') + "/paththin!");
  // Reserved once: exactly the text plus terminator and a quarter.
  int64_t n = r.length();
  EXPECT_EQ(r.capacity(), n + (n + 4) / 4);

  cmString grow("x");
  grow.appendCat(grow + grow + "y");
  EXPECT_STREQ(grow.getCString(), "xxxy");
}

TEST(cmStringT, TVStringPlusEvaluatesAtOnce) {
  TVString a("a"), b("b");
  TVString r = a + b + "c" + 'd';
  EXPECT_EQ(r, "abcd");
  TVString null;
  EXPECT_TRUE((null + TVString()).isNull());
  EXPECT_EQ(a + null, "a");
}

TEST(cmStringT, ReadOnlyAndThinStrings) {
  cmROString ro("borrowed");
  EXPECT_EQ(ro.length(), 8);
  EXPECT_TRUE(ro.view().isUsingExternalBuffer());
  cmString owned = ro.toString();
  EXPECT_FALSE(owned.isUsingExternalBuffer());

  cmThinString t;
  EXPECT_TRUE(t.isEmpty());
  t = cmThinString("thin text");
  cmThinString u(t);
  EXPECT_STREQ(u.getCString(), "thin text");
  EXPECT_EQ(u.length(), 9);
}

TEST(cmStringT, CopiesReleaseSharedBlockAcrossThreads) {
  TVString shared(std::string(100, 's').c_str());
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&shared] {
      for (int i = 0; i < 2000; ++i) {
        TVString copy(shared);
        ASSERT_EQ(copy.length(), 100);
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(shared.blockPointer()->refCount.load(), 1u);
}

TEST(cmStringT, IntegrityHoldsThroughOperations) {
  TVString s;
  EXPECT_TRUE(s.checkIntegrity());
  s = "short";
  EXPECT_TRUE(s.checkIntegrity());
  s.append(std::string(60, 'x').c_str());
  EXPECT_TRUE(s.checkIntegrity());
  TVString slice = s.sub(10, 40);
  EXPECT_TRUE(slice.checkIntegrity());
  s.truncateCapacity();
  EXPECT_TRUE(s.checkIntegrity());
  EXPECT_EQ(s.capacity(), s.length() + 1);
}

TEST(cmStringT, InlineTextKeepsEveryByteThroughForms) {
  // 29 bytes reach into the part of the object that holds the capacity in
  // the long form; every way of making an inline string must keep them.
  std::string t29 = "abcdefghijklmnopqrstuvwxyz012";
  TVString direct(t29.c_str());
  TVString longer((t29 + "3456789").c_str());
  TVString sliced = longer.sub(0, 29);
  TVString shared(longer);
  shared.setLength(29);
  TVString assigned;
  assigned = t29.c_str();
  for (const TVString* s : {&direct, &sliced, &shared, &assigned}) {
    EXPECT_TRUE(s->isInline());
    EXPECT_EQ(std::string(s->getCString()), t29);
  }
}
