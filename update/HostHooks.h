// Operations that the foundation expects of the program hosting it. The
// foundation was written to run inside a host with an interpreter; this
// program is no such host, so each hook is a stub that ends the call
// harmlessly: most say that they were called in error and report failure.
// Only the XML error hook and the idle-time hook are reached in a normal run.
//
// Threading: all hooks may be called from any thread; they keep no state.
#pragma once

#include <cstdint>

#include "text/TVString.h"

// Text value of an interpreter variable: there is none; an empty string
// made from a null text (a null string).
tolvane::TVString tvHvarGetS(void* variable);
tolvane::TVString tvHvarGetString(void* variable);
// Array element of an interpreter variable, for XML search results.
int32_t tvHvarArrayEl(void* arrayVariable, int32_t index, void** element);
// Integer and string setters of an interpreter variable.
int32_t tvHvarSetI(void* variable, int64_t value);
int32_t tvHvarSetB(void* variable, const char* bytes, int64_t length);
// Inserts a line into a host buffer.
void tvInsertLine(void* buffer, int64_t lineNumber, const char* text);
// Told the error number of a bad XML handle; nothing to do here.
void tvXMLError(int32_t errorNumber);
// Sets a property of an XML object in the host's language; not available.
void tvLangSetPropertyMiniXml(void* object, const char* property, const char* value);
// Milliseconds since the user's last action; a constant here.
uint32_t idleMilliseconds();
