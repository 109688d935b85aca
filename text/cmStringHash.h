// cmHashKey: the one 32-bit string hash of the foundation. It ignores case,
// so that texts equal but for case hash alike, and it is what strings cache
// in their blocks, what dictionaries bucket by and what hash indexes store on
// disk: the value must never change. A stateless function, safe from any
// thread.
//
// It is xxHash32 with seed 0, with every byte masked by 0xDF in the 16- and
// 4-byte rounds while the text is ASCII, and the rest read by code points
// through the upper-case table once a byte of 0x80 or above shows up.
#pragma once

#include <cstddef>
#include <cstdint>

// A null pointer gives 0.
uint32_t cmHashKey(const char* text, size_t length);
// Zero-terminated form; a null pointer gives 0.
uint32_t cmHashKey(const char* text);
