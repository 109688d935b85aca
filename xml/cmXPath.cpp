#include "xml/cmXPath.h"

#include "runtime/cmException.h"
#include "xml/cmXPathCompiler.h"
#include "xml/cmXPathErrors.h"

void cmXPath::compile(std::string_view query) {
  cmXPathCompiler().compile(query.data(), static_cast<int64_t>(query.size()), program_);
}

void cmXPath::run(cmMiniXmlNode* context, const cmXPathRunOptions& options, cmXPathItem& result) {
  eval_.run(program_, context, options, result);
}

cmMiniXmlNode* cmXPath::findFirst(cmMiniXml& doc, std::string_view query, cmMiniXmlNode* context,
                                  bool createIfMissing) {
  cmXPath x(doc);
  x.compile(query);
  cmXPathRunOptions options;
  options.firstOnly = true;
  options.createIfMissing = createIfMissing;
  cmXPathItem result;
  x.run(context, options, result);
  if (result.type != cmXPathItem::NODE_SET || result.nodes->size() > 1)
    throw cmException(CM_XPATH_ERR_FIRST_NOT_SINGLE);
  return result.nodes->empty() ? nullptr : (*result.nodes)[0];
}

void cmXPath::findAll(cmMiniXml& doc, std::string_view query, cmXPathNodeList& results, cmMiniXmlNode* context,
                      bool append) {
  cmXPathItem result;
  evaluate(doc, query, result, context, -1);
  if (!append) {
    results.swap(*result.nodes);
    return;
  }
  for (cmMiniXmlNode* n : *result.nodes) results.push(n);
}

void cmXPath::evaluate(cmMiniXml& doc, std::string_view query, cmXPathItem& result, cmMiniXmlNode* context,
                       int64_t maxResults) {
  cmXPath x(doc);
  x.compile(query);
  cmXPathRunOptions options;
  options.maxResults = maxResults;
  x.run(context, options, result);
  if (result.type != cmXPathItem::NODE_SET) throw cmException(CM_XPATH_ERR_NOT_NODE_SET);
}
