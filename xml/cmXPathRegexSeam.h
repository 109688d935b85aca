// The one place where the XPath function `contains` reaches the regular
// expression engine. The engine is made on first use from the pattern and
// the option letters and cached in the opcode (`regex`), which owns it.
//
// Until the regular-expression engine exists in this build the match throws
// CM_STR_NO_PATTERN_ENGINE with the parameter "contains"; queries that use
// `contains` compile, and fail only when the function is evaluated.
// Single-threaded: a cached engine belongs to its opcode and so to one query.
#pragma once

#include <string_view>

// True when `pattern` matches anywhere in `text`. `*cache` holds the engine
// between calls (null at first).
bool cmXPathRegexContains(void** cache, std::string_view text, std::string_view pattern,
                          std::string_view options);
// Frees an engine cached by cmXPathRegexContains.
void cmXPathRegexRelease(void* engine);
