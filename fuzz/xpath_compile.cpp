// Fuzz target for the XPath compiler: any bytes as a query. A query that
// compiles is also dumped, and, when its program is short and walks few
// descendant axes (so that a run stays small), run over a fixed document.
// Refusals are thrown as cmException and are fine; anything else (a crash, a
// sanitizer report, another exception) is a finding.
#include <cstddef>
#include <cstdint>
#include <string>

#include "runtime/cmException.h"
#include "xml/cmMiniXml.h"
#include "xml/cmXPath.h"
#include "xml/cmXPathCompiler.h"
#include "xml/cmXPathDump.h"

namespace {

const char* const kDoc =
    "<?pi v?><r id='r'><a id='a1' x='1'><b y='2'>t&amp;1</b><b/></a><!--c-->"
    "<a id='a2' x='2'><c><b y='3'/></c>text</a><![CDATA[cd]]></r>";

// A run's cost is at most the product of its steps' fan-outs (nested paths
// in predicates multiply too); keep it small so that every input runs fast.
bool smallEnough(const cmXPathProgram& p) {
  double cost = 1;
  for (int64_t i = 0; i < p.size(); ++i) {
    switch (p[i].code) {
      case CM_XPOP_PARENT:
      case CM_XPOP_SELF:
        break;
      case CM_XPOP_DESCENDANTS:
      case CM_XPOP_SELF_AND_ELEMENTS:
      case CM_XPOP_DESCENDANT:
      case CM_XPOP_DESCENDANT_OR_SELF:
      case CM_XPOP_FOLLOWING:
      case CM_XPOP_PRECEDING:
      case CM_XPOP_DESCENDANT_ATTRIBUTE:
        cost *= 30;
        break;
      default:
        if (p[i].code <= CM_XPOP_SELF || p[i].code == CM_XPOP_CHILD_ATTRIBUTE) cost *= 8;
        break;
    }
  }
  return cost <= 1e6;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string query(reinterpret_cast<const char*>(data), size);
  static cmMiniXml* doc = [] {
    auto* d = new cmMiniXml();
    d->loadString(kDoc, CMXML_PARSE_KEEP_NONBLANK_TEXT);
    return d;
  }();
  try {
    cmXPath x(*doc);
    x.compile(query);
    std::string dumped = cmXPathDump(x.program());
    if (x.program().empty() || !smallEnough(x.program())) return 0;
    cmXPathItem result;
    cmXPathRunOptions options;
    options.maxResults = 1000;
    x.run(nullptr, options, result);
    cmXPathRunOptions first;
    first.firstOnly = true;
    x.run(doc->rootElement(), first, result);
  } catch (const cmException&) {
  }
  return 0;
}
