// MapExceptionToStatus: turns a number carried by cmException into the
// public status number that the outer layers (numbered file handles, the XML
// handle functions, the command runner) return. Numbers the table does not
// know give `fallback`. Pure; callable from any thread.
#pragma once

#include <cstdint>

int32_t MapExceptionToStatus(int32_t code, int32_t fallback);
