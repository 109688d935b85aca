// tvXMLCFGFindFirst and tvXMLCFGFindList: XPath queries over a handle's
// document, through the one search routine and its options record.
#include <cstdio>
#include <string>

#include "file/cmMapExceptionToStatus.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "xml/cmXPath.h"
#include "xml/cmXPathErrors.h"
#include "xml/tvXmlCfg.h"
#include "xml/tvXmlCfgHandleTable.h"
#include "xml/tvXmlCfgHostHooks.h"
#include "xml/tvXmlCfgInternal.h"

namespace {

// Hands one match to the host: as a line of a host buffer when the options
// name a line, else as the next element of an array variable, holding the
// node id or, with TVXMLCFG_SEARCH_VALUES, the node's value. False when a
// hook refused.
bool deliverToHost(cmMiniXml& doc, cmMiniXmlNode* n, tvXmlCfgSearchOptions& options) {
  std::string value;
  if (options.flags & TVXMLCFG_SEARCH_VALUES) {
    value = doc.nodeValue(n);
  } else {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%d", n->id);
    value = digits;
  }
  if (options.line > 0) {
    tvInsertLine(nullptr, int64_t(options.line) + options.matchCount, value.c_str());
  } else {
    void* element = nullptr;
    if (tvHvarArrayEl(nullptr, options.matchCount, &element) != 0) return false;
    int32_t refused = (options.flags & TVXMLCFG_SEARCH_VALUES)
                          ? tvHvarSetB(element, value.data(), static_cast<int64_t>(value.size()))
                          : tvHvarSetI(element, n->id);
    if (refused != 0) return false;
  }
  options.matchCount++;
  return true;
}

}  // namespace

namespace tvXmlCfgInternal {

int32_t search(int32_t handle, const char* query, int32_t node, tvXmlCfgSearchOptions& options,
               cmArray<int>* results, bool append, int64_t maxResults) {
  tvXmlCfgLock lock;
  tvXmlCfgEntry* e = tvXmlCfgTable::entry(handle);
  cmMiniXmlNode* context = tvXmlCfgTable::node(e, node);
  if (!context || !query) return TVXMLCFG_ERR_BAD_ARGUMENT;
  if (options.action == TVXMLCFG_ACTION_COLLECT && results && !append) results->clear(false);
  try {
    cmXPath xpath(e->doc);
    xpath.compile(query);
    cmXPathRunOptions run;
    run.firstOnly = (options.flags & TVXMLCFG_SEARCH_FIRST_ONLY) != 0;
    run.maxResults = maxResults;
    cmXPathItem item;
    xpath.run(context, run, item);
    if (item.type != cmXPathItem::NODE_SET) throw cmException(CM_XPATH_ERR_NOT_NODE_SET);
    const int64_t found = item.nodes ? item.nodes->size() : 0;
    switch (options.action) {
      case TVXMLCFG_ACTION_COLLECT:
        for (int64_t i = 0; i < found; ++i) {
          if (results) results->add((*item.nodes)[i]->id);
          options.matchCount++;
        }
        return 0;
      case TVXMLCFG_ACTION_RESULT:
        if (found == 0) return TVXMLCFG_NOT_FOUND;
        options.matchCount++;
        return (*item.nodes)[0]->id;
      default:
        for (int64_t i = 0; i < found; ++i) {
          if (!deliverToHost(e->doc, (*item.nodes)[i], options)) return TVXMLCFG_ERR_BAD_ARGUMENT;
          if (options.flags & TVXMLCFG_SEARCH_FIRST_ONLY) break;
        }
        return 0;
    }
  } catch (const cmException& ex) {
    return MapExceptionToStatus(ex.number(), TVXMLCFG_NOT_FOUND);
  }
}

}  // namespace tvXmlCfgInternal

int32_t tvXMLCFGFindFirst(int32_t handle, const char* query, int32_t node) {
  tvXmlCfgSearchOptions options;
  options.action = TVXMLCFG_ACTION_RESULT;
  options.flags = TVXMLCFG_SEARCH_FIRST_ONLY;
  return tvXmlCfgInternal::search(handle, query, node, options, nullptr, false, -1);
}

int32_t tvXMLCFGFindList(int32_t handle, const char* query, int32_t node, cmArray<int>& results, int32_t append,
                         int64_t maxResults) {
  tvXmlCfgSearchOptions options;
  options.action = TVXMLCFG_ACTION_COLLECT;
  return tvXmlCfgInternal::search(handle, query, node, options, &results, (append & 1) != 0, maxResults);
}
