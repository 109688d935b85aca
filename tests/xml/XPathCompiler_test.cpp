// The compiler in isolation: query text in, opcode array out (in the compact
// form of cmXPathDump), and the numbers it refuses with.
#include <gtest/gtest.h>

#include <string>

#include "runtime/cmException.h"
#include "xml/cmXPathCompiler.h"
#include "xml/cmXPathDump.h"
#include "xml/cmXPathErrors.h"

namespace {

std::string compiled(const std::string& query) {
  cmXPathProgram program;
  cmXPathCompiler().compile(query.c_str(), -1, program);
  return cmXPathDump(program);
}

int32_t refusal(const std::string& query) {
  try {
    cmXPathProgram program;
    cmXPathCompiler().compile(query.c_str(), static_cast<int64_t>(query.size()), program);
  } catch (const cmException& e) {
    return e.number();
  }
  return 0;
}

struct Shape {
  const char* query;
  const char* program;
};

// The program's own queries, opcode for opcode.
const Shape kProgramQueries[] = {
    {"//logentry", "2>3 8:logentry 3 41"},
    {"paths/path[@kind='dir'][@action='A']",
     "0>12 7:paths 7:path 6:kind/m64>1 24'dir' 25 21 6:action/m64>1 24'A' 25 21 3 41"},
    {"paths/path[@action='D']", "0>8 7:paths 7:path 6:action/m64>1 24'D' 25 21 3 41"},
    {"paths/path[@kind='file'][not(@action='D')][not(@copyfrom-path)]",
     "0>16 7:paths 7:path 6:kind/m64>1 24'file' 25 21 6:action/m64>1 24'D' 25 31 21 "
     "6:copyfrom-path/m64>1 31 21 3 41"},
};

TEST(XPathCompiler, ProgramQueriesCompileToTheirKnownShape) {
  for (const Shape& s : kProgramQueries) EXPECT_EQ(compiled(s.query), s.program) << s.query;
}

// Paths, steps, fused codes.
const Shape kPaths[] = {
    {"a", "6:a>1 41"},                          // 0 and 7 fused
    {"@x", "6:x/m64>1 41"},
    {"*", "6>1 41"},
    {"@*", "6/m64>1 41"},
    {"text()", "6/m384>1 41"},
    {"comment()", "6/m16>1 41"},
    {"node()", "6/m4294967195>1 41"},
    {"processing-instruction()", "6/m8>1 41"},
    {"processing-instruction( x )", "6:x/m8>1 41"},
    {"/", "1>2 3 41"},
    {"/a", "1>3 7:a 3 41"},
    {"a/b", "0>4 7:a 7:b 3 41"},
    {"a/@b", "0>4 42:a 7:b/m64 3 41"},           // fused attribute of a child
    {"//a/@b", "2>4 43:a 7:b/m64 3 41"},         // ... of a descendant
    {"a/@*", "0>4 7:a 7/m64 3 41"},              // no name: no fusion
    {"a//b", "0>4 7:a 8:b 3 41"},
    {"//*", "2>3 8 3 41"},
    {"a//@b", "0>5 7:a 9 7:b/m64 3 41"},
    {"//.", "2>4 9 17/m4294967295 3 41"},
    {"//..", "2>4 9 14/m4294967295 3 41"},
    {".", "0>3 17/m4294967295 3 41"},
    {"..", "0>3 14/m4294967295 3 41"},
    {"a/..", "0>4 7:a 14/m4294967295 3 41"},
    {"//ancestor::x", "2>4 9 4:x 3 41"},
    {"child::a", "6:a>1 41"},
    {"attribute::a", "6:a/m64>1 41"},
    {"attribute::node()", "6/m64>1 41"},
    {"ancestor::a", "0>3 4:a 3 41"},
    {"ancestor-or-self::a", "0>3 5:a 3 41"},
    {"descendant::a", "0>3 10:a 3 41"},
    {"descendant-or-self::node()", "0>3 11/m4294967195 3 41"},
    {"following::a", "0>3 12:a 3 41"},
    {"following-sibling::a", "0>3 13:a 3 41"},
    {"parent::a", "0>3 14:a 3 41"},
    {"preceding::a", "0>3 15:a 3 41"},
    {"preceding-sibling::a", "0>3 16:a 3 41"},
    {"self::a", "0>3 17:a 3 41"},
    {"self::document-node()", "0>3 17/m512 3 41"},
    {"a:b/c-d.e", "0>4 7:a:b 7:c-d.e 3 41"},     // colon and dash are name characters
    {" a / b ", "0>4 7:a 7:b 3 41"},
};

TEST(XPathCompiler, PathsAndAxes) {
  for (const Shape& s : kPaths) EXPECT_EQ(compiled(s.query), s.program) << s.query;
}

// Predicates, operators, constants and functions.
const Shape kExpressions[] = {
    {"a[1]", "0>7 7:a 23=1 35 25 21 3 41"},
    {"a[1+1]", "0>9 7:a 23=1 23=1 44 35 25 21 3 41"},
    {"a[last()]", "0>7 7:a# 34 35 25 21 3 41"},
    {"a[position()=last()]", "0>7 7:a# 35 34 25 21 3 41"},
    {"a[b[last()]]", "0>11 7:a 0>7 7:b# 34 35 25 21 3 21 3 41"},
    {"a['x']", "0>5 7:a 24'x' 21 3 41"},
    {"a[@x]", "0>5 7:a 6:x/m64>1 21 3 41"},
    {"a[@x][2]", "0>9 7:a 6:x/m64>1 21 23=2 35 25 21 3 41"},
    {"a[@x and @y]", "0>7 7:a 6:x/m64>1 21 6:y/m64>1 21 3 41"},
    {"a[@x or @y]", "0>7 7:a 6:x/m64>1 19>3 6:y/m64>1 21 3 41"},
    {"a[@x and @y or @z]", "0>10 7:a 6:x/m64>1 18>4 6:y/m64>1 18>2 20>3 6:z/m64>1 21 3 41"},
    {"a[@x or @y and @z]", "0>9 7:a 6:x/m64>1 19>5 6:y/m64>1 21 6:z/m64>1 21 3 41"},
    {"@x = 1 or @y", "6:x/m64>1 23=1 25 19>3 6:y/m64>1 18>3 38 20>2 39 41"},
    {"@x and @y", "6:x/m64>1 18>5 6:y/m64>1 18>3 38 20>2 39 41"},
    {"(@x or @y) and @z", "6:x/m64>1 19>3 6:y/m64>1 18>5 6:z/m64>1 18>3 38 20>2 39 41"},
    {"not(@x and @y)", "6:x/m64>1 18>5 6:y/m64>1 18>3 38 20>2 39 31 41"},
    {"1", "23=1 41"},
    {"'x'", "24'x' 41"},
    {"\"it's\"", "24'it's' 41"},
    {"-1", "23=-1 41"},
    {"- - 2", "23=2 41"},
    {"+3", "23=3 41"},
    {"-a", "6:a>1 46 41"},
    {"+a", "6:a>1 47 41"},
    {"-'5'", "24'5' 46 41"},
    {"1 - 1", "23=1 23=1 45 41"},
    {"a - 1", "6:a>1 23=1 45 41"},
    {"a-1", "6:a-1>1 41"},
    {"1-1", "23=1 23=1 45 41"},
    {"1 + 2 - 3", "23=1 23=2 44 23=3 45 41"},
    {"1 + 2 = 3", "23=1 23=2 44 23=3 25 41"},
    {"a = b", "6:a>1 6:b>1 25 41"},
    {"a != b", "6:a>1 6:b>1 26 41"},
    {"a < b", "6:a>1 6:b>1 27 41"},
    {"a <= b", "6:a>1 6:b>1 28 41"},
    {"a > b", "6:a>1 6:b>1 29 41"},
    {"a >= b", "6:a>1 6:b>1 30 41"},
    {"a eq b", "6:a>1 6:b>1 25 41"},
    {"a ne b", "6:a>1 6:b>1 26 41"},
    {"a lt b", "6:a>1 6:b>1 27 41"},
    {"a le b", "6:a>1 6:b>1 28 41"},
    {"a gt b", "6:a>1 6:b>1 29 41"},
    {"a ge b", "6:a>1 6:b>1 30 41"},
    {"concat('a', b, 1)", "24'a' 6:b>1 23=1 32 41"},
    {"contains(a, 'x+')", "6:a>1 24'x+' 33 41"},
    {"contains(a, 'x', 'I')", "6:a>1 24'x' 24'I' 33 41"},
    {"strieq(a, 'x')", "6:a>1 24'x' 37 41"},
    {"file-eq(a, 'x')", "6:a>1 24'x' 36 41"},
    {"position()", "35 41"},
    {"last()", "34 41"},
    {"name()", "48 41"},
    {"*[name() = 'a']", "0>7 7 48 24'a' 25 21 3 41"},
};

TEST(XPathCompiler, PredicatesOperatorsFunctions) {
  for (const Shape& s : kExpressions) EXPECT_EQ(compiled(s.query), s.program) << s.query;
}

TEST(XPathCompiler, EmptyQueryGivesEmptyProgram) {
  EXPECT_EQ(compiled(""), "");
  EXPECT_EQ(compiled(" \t\r\n"), "");
  // The text ends at a zero byte whatever length is given.
  cmXPathProgram program;
  cmXPathCompiler().compile("a\0/b", 4, program);
  EXPECT_EQ(cmXPathDump(program), "6:a>1 41");
}

struct Refusal {
  const char* query;
  int32_t code;
};

const Refusal kRefusals[] = {
    {"!", CM_XPATH_ERR_BAD_CHARACTER},
    {"a ! b", CM_XPATH_ERR_BAD_CHARACTER},
    {"$x", CM_XPATH_ERR_BAD_CHARACTER},
    {"'abc", CM_XPATH_ERR_OPEN_LITERAL},
    {"a['x\"]", CM_XPATH_ERR_OPEN_LITERAL},
    {"a:", CM_XPATH_ERR_NAME_ENDS_IN_COLON},
    {"a:/b", CM_XPATH_ERR_NAME_ENDS_IN_COLON},
    {"foo::a", CM_XPATH_ERR_UNKNOWN_AXIS},
    {"Child::a", CM_XPATH_ERR_UNKNOWN_AXIS},
    {"namespace::a", CM_XPATH_ERR_UNKNOWN_AXIS},
    {"foo()", CM_XPATH_ERR_UNKNOWN_KIND_TEST},
    {"a/count()", CM_XPATH_ERR_UNKNOWN_KIND_TEST},
    {"string(a)", CM_XPATH_ERR_UNKNOWN_KIND_TEST},
    {"processing-instruction('x')", CM_XPATH_ERR_BAD_PI_ARGUMENT},
    {"(a", CM_XPATH_ERR_MISSING_PAREN},
    {"text(", CM_XPATH_ERR_MISSING_PAREN},
    {"text(x)", CM_XPATH_ERR_MISSING_PAREN},
    {"(a)[1]", CM_XPATH_ERR_PREDICATE_ON_PAREN},
    {"a * 2", CM_XPATH_ERR_NOT_IMPLEMENTED},
    {"1 * 2 + 3", CM_XPATH_ERR_NOT_IMPLEMENTED},
    {"a/", CM_XPATH_ERR_NAME_TEST_MISSING},
    {"@", CM_XPATH_ERR_NAME_TEST_MISSING},
    {"a and", CM_XPATH_ERR_NAME_TEST_MISSING},
    {")", CM_XPATH_ERR_NAME_TEST_MISSING},
    {"//", CM_XPATH_ERR_NAME_TEST_MISSING},
    {"a[1", CM_XPATH_ERR_MISSING_BRACKET},
    {"a[1)", CM_XPATH_ERR_MISSING_BRACKET},
    {"concat('a')", CM_XPATH_ERR_TOO_FEW_ARGUMENTS},
    {"contains(a)", CM_XPATH_ERR_TOO_FEW_ARGUMENTS},
    {"not()", CM_XPATH_ERR_TOO_FEW_ARGUMENTS},
    {"name(.)", CM_XPATH_ERR_TOO_MANY_ARGUMENTS},
    {"last(1)", CM_XPATH_ERR_TOO_MANY_ARGUMENTS},
    {"strieq('a', 'b', 'c')", CM_XPATH_ERR_TOO_MANY_ARGUMENTS},
    {"concat('a' 'b')", CM_XPATH_ERR_BAD_SEPARATOR},
    {"concat('a', 'b']", CM_XPATH_ERR_BAD_SEPARATOR},
    {"a | b", CM_XPATH_ERR_TEXT_LEFT},
    {"a div 2", CM_XPATH_ERR_TEXT_LEFT},
    {"a mod 2", CM_XPATH_ERR_TEXT_LEFT},
    {"a union b", CM_XPATH_ERR_TEXT_LEFT},
    {"a AND b", CM_XPATH_ERR_TEXT_LEFT},  // word operators are lower case only
    {"1 2", CM_XPATH_ERR_TEXT_LEFT},
    {"a]", CM_XPATH_ERR_TEXT_LEFT},
    {"./.[1]", CM_XPATH_ERR_TEXT_LEFT},
};

TEST(XPathCompiler, Refusals) {
  for (const Refusal& r : kRefusals) EXPECT_EQ(refusal(r.query), r.code) << r.query;
}

// Input never chooses the depth of the compiler's recursion or of the run's
// chain of calls: both are bounded and refused with their own numbers.
TEST(XPathCompiler, NestingAndLengthAreBounded) {
  auto nested = [](int depth, const char* open, const char* middle, const char* close) {
    std::string q;
    for (int i = 0; i < depth; ++i) q += open;
    q += middle;
    for (int i = 0; i < depth; ++i) q += close;
    return q;
  };
  EXPECT_EQ(refusal(nested(20, "(", "1", ")")), 0);
  EXPECT_EQ(refusal(nested(20, "a[", "1", "]")), 0);
  for (int depth : {60, 100000}) {
    EXPECT_EQ(refusal(nested(depth, "(", "1", ")")), CM_XPATH_ERR_TOO_MANY_PENDING) << depth;
    EXPECT_EQ(refusal(nested(depth, "a[", "1", "]")), CM_XPATH_ERR_TOO_MANY_PENDING) << depth;
    EXPECT_EQ(refusal(nested(depth, "not(", "1", ")")), CM_XPATH_ERR_TOO_MANY_PENDING) << depth;
    EXPECT_EQ(refusal(nested(depth, "-", "a", "")), CM_XPATH_ERR_TOO_MANY_PENDING) << depth;
    EXPECT_EQ(refusal(nested(depth, "concat(1,", "1", ")")), CM_XPATH_ERR_TOO_MANY_PENDING) << depth;
  }
  // Left-associative chains don't pile up operators, however long.
  std::string chain = "a";
  for (int i = 0; i < 200; ++i) chain += " = a";
  EXPECT_EQ(refusal(chain), 0);
  std::string path = "a";
  for (int i = 0; i < 5000; ++i) path += "/a";
  EXPECT_EQ(refusal(path), CM_XPATH_ERR_TOO_LONG);
}

TEST(XPathCompiler, RefusalCarriesTheOffendingName) {
  for (const char* q : {"foo::a", "foo()"}) {
    try {
      cmXPathProgram program;
      cmXPathCompiler().compile(q, -1, program);
      ADD_FAILURE() << q;
    } catch (const cmException& e) {
      EXPECT_STREQ(e.param(), "foo") << q;
    }
  }
}

}  // namespace
