// What the files of the tvXMLCFG family share and nobody else calls: the
// search options record and the one search routine behind
// tvXMLCFGFindFirst and tvXMLCFGFindList, closing under the lock, file-name
// resolution and the unindent rule. Tests reach the search routine here to
// see what a host delivery would do.
//
// Threading: functions named ...Locked expect the family's lock held; the
// others take it themselves or need none.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/cmArray.h"

// The record a search runs with. `action` -1 collects ids into the caller's
// array; 0 delivers the first match as the result; any other action would
// hand each match to the interpreter variable of an embedding host, which
// this program doesn't have: the host's hooks are called and refuse.
struct tvXmlCfgSearchOptions {
  int32_t action = -1;
  int32_t matchCount = 0;  // matches delivered so far
  int32_t flags = 0;
  int32_t line = 0;        // host buffer line to insert at, for line delivery
  int32_t indent = 0;
};

constexpr int32_t TVXMLCFG_SEARCH_VALUES = 2;      // deliver node values, not ids
constexpr int32_t TVXMLCFG_SEARCH_FIRST_ONLY = 4;  // stop at the first match
constexpr int32_t TVXMLCFG_ACTION_COLLECT = -1;
constexpr int32_t TVXMLCFG_ACTION_RESULT = 0;

namespace tvXmlCfgInternal {

// Runs `query` from `node` of the document of `handle`. Action -1: ids go to
// *results (cleared unless `append`), result 0; action 0: result is the
// first match's id or -1. Thrown codes map with default -1; other actions
// give -3015 once a host hook refuses. Takes the lock.
int32_t search(int32_t handle, const char* query, int32_t node, tvXmlCfgSearchOptions& options,
               cmArray<int>* results, bool append, int64_t maxResults);

// `fileName` made absolute and normalised into `out`; "" stays "". False
// for a null name.
bool absoluteFileName(const char* fileName, std::string& out);

// tvXMLCFGClose with the lock held.
int32_t closeLocked(int32_t handle);

// A value with the common indentation of pretty-printed text taken away.
std::string unindent(std::string_view value);

}  // namespace tvXmlCfgInternal
