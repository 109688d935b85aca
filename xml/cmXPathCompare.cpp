#include "xml/cmXPathCompare.h"

#include <string>

#include "runtime/cmException.h"
#include "text/cmCaseTable.h"
#include "xml/cmMiniXml.h"
#include "xml/cmXPathErrors.h"
#include "xml/cmXPathOpcode.h"
#include "xml/cmXPathStringSet.h"

namespace {

bool holds(int32_t op, int c) {
  switch (op) {
    case CM_XPOP_EQ: return c == 0;
    case CM_XPOP_NE: return c != 0;
    case CM_XPOP_LT: return c < 0;
    case CM_XPOP_LE: return c <= 0;
    case CM_XPOP_GT: return c > 0;
    default: return c >= 0;
  }
}

int order(int64_t a, int64_t b) { return a < b ? -1 : a > b ? 1 : 0; }
int order(std::string_view a, std::string_view b) {
  int c = a.compare(b);
  return c < 0 ? -1 : c > 0 ? 1 : 0;
}

// A scalar in the type of another: the target type is the lower one.
struct Scalar {
  int32_t type;
  bool boolean;
  int64_t integer;
  std::string_view text;
};

Scalar scalarOf(const cmXPathItem& item) {
  return Scalar{item.type, item.boolean != 0, item.integer, item.text};
}

Scalar convertDown(const Scalar& s, int32_t type) {
  if (s.type == type) return s;
  Scalar out{type, false, 0, {}};
  if (type == cmXPathItem::BOOLEAN)
    out.boolean = s.type == cmXPathItem::INTEGER ? s.integer != 0 : cmXPathConvert::textToBoolean(s.text);
  else
    out.integer = cmXPathConvert::textToInteger(s.text);
  return out;
}

int compareSame(const Scalar& a, const Scalar& b) {
  switch (a.type) {
    case cmXPathItem::BOOLEAN: return order(int64_t(a.boolean), int64_t(b.boolean));
    case cmXPathItem::INTEGER: return order(a.integer, b.integer);
    default: return order(a.text, b.text);
  }
}

bool compareScalars(const cmXPathItem& left, const cmXPathItem& right, int32_t op) {
  Scalar l = scalarOf(left), r = scalarOf(right);
  if (l.type > r.type) l = convertDown(l, r.type);
  else if (r.type > l.type) r = convertDown(r, l.type);
  return holds(op, compareSame(l, r));
}

// Some node of `set` compares true against `scalar`; `setOnLeft` keeps the
// operands' order for the orderings.
bool compareSetToScalar(cmMiniXml& doc, const cmXPathItem& set, const cmXPathItem& scalar, int32_t op,
                        bool setOnLeft) {
  if (!set.nodes) return false;
  Scalar s = scalarOf(scalar);
  std::string scratch;
  for (cmMiniXmlNode* n : *set.nodes) {
    Scalar v{cmXPathItem::STRING, false, 0, cmXPathConvert::nodeValue(doc, n, scratch)};
    if (s.type == cmXPathItem::INTEGER) {
      // A value that is no number just doesn't match.
      if (!cmXPathConvert::parseInteger(v.text, &v.integer)) continue;
      v.type = cmXPathItem::INTEGER;
    } else if (s.type == cmXPathItem::BOOLEAN) {
      v = convertDown(v, cmXPathItem::BOOLEAN);
    }
    int c = setOnLeft ? compareSame(v, s) : compareSame(s, v);
    if (holds(op, c)) return true;
  }
  return false;
}

bool compareSets(cmMiniXml& doc, const cmXPathItem& left, const cmXPathItem& right, int32_t op) {
  if (!left.nodes || !right.nodes || left.nodes->empty() || right.nodes->empty()) return false;
  std::string a, b;
  if (op == CM_XPOP_EQ || op == CM_XPOP_NE) {
    cmXPathStringSet values;
    for (cmMiniXmlNode* n : *left.nodes) values.insert(cmXPathConvert::nodeValue(doc, n, a));
    for (cmMiniXmlNode* n : *right.nodes) {
      bool found = values.contains(cmXPathConvert::nodeValue(doc, n, b));
      if (found == (op == CM_XPOP_EQ)) return true;
    }
    return false;
  }
  for (cmMiniXmlNode* l : *left.nodes) {
    for (cmMiniXmlNode* r : *right.nodes) {
      // Read the right value second: the left view may live in `a`.
      std::string_view lv = cmXPathConvert::nodeValue(doc, l, a);
      std::string_view rv = cmXPathConvert::nodeValue(doc, r, b);
      if (holds(op, order(lv, rv))) return true;
    }
  }
  return false;
}

uint32_t nextFolded(const char*& p, const char* end) {
  unsigned char c = static_cast<unsigned char>(*p);
  uint32_t cp;
  if (c < 0x80) {
    cp = c;
    ++p;
  } else {
    p = cmCaseTable::decodeUtf8(p, end, &cp);
  }
  return cmCaseTable::fold(cp);
}

}  // namespace

bool cmXPathCompare(cmMiniXml& doc, const cmXPathItem& left, const cmXPathItem& right, int32_t op) {
  bool ls = left.type == cmXPathItem::NODE_SET, rs = right.type == cmXPathItem::NODE_SET;
  if (!ls && !rs) return compareScalars(left, right, op);
  if (ls && rs) return compareSets(doc, left, right, op);
  return ls ? compareSetToScalar(doc, left, right, op, true) : compareSetToScalar(doc, right, left, op, false);
}

bool cmXPathFoldEqual(std::string_view a, std::string_view b) {
  const char* p = a.data();
  const char* pe = p + a.size();
  const char* q = b.data();
  const char* qe = q + b.size();
  while (p < pe && q < qe)
    if (nextFolded(p, pe) != nextFolded(q, qe)) return false;
  return p == pe && q == qe;
}
