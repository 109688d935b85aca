// The hooks the XML handle functions call on the program that links the
// foundation. A host with an interpreter would collect search results into
// its variables and hear of bad handles; this foundation only declares
// them, and the program supplies the definitions (update/HostHooks.cpp, as
// stubs: there is no interpreter). The declarations live here so that the
// XML layer does not reach up into the program's folder; the signatures
// must stay identical to the program's.
//
// Threading: may be called from any thread holding the XML handle lock.
#pragma once

#include <cstdint>

// Element `index` of an interpreter array variable; 0 on success.
int32_t tvHvarArrayEl(void* arrayVariable, int32_t index, void** element);
// Integer and string setters of an interpreter variable; 0 on success.
int32_t tvHvarSetI(void* variable, int64_t value);
int32_t tvHvarSetB(void* variable, const char* bytes, int64_t length);
// Inserts a line into a host buffer.
void tvInsertLine(void* buffer, int64_t lineNumber, const char* text);
// Told the number of a failed handle lookup.
void tvXMLError(int32_t errorNumber);
