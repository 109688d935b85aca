// cmXPathCompare: the comparisons (= != < <= > >=) of two values and the
// case-blind string equality of strieq and file-eq.
//
// Rules: two scalars of different type: the one of higher type number is
// converted down (string to integer or boolean, integer to boolean); same
// type: booleans and integers by difference, strings by bytes. A node set
// against a scalar: true if it holds for some node, each node's value
// converted to the scalar's type (a value that is no number doesn't match an
// integer; one that is no boolean is refused). Two node sets: false if one is
// empty; = and != through a hash set of the left values (!= is true at the
// first right value missing from it); orderings pairwise as strings.
//
// Stateless functions; the document is passed for node values (reading may
// decode entities lazily, which writes to the document).
#pragma once

#include <cstdint>
#include <string_view>

#include "xml/cmXPathItem.h"

// `op` is one of CM_XPOP_EQ .. CM_XPOP_GE.
bool cmXPathCompare(cmMiniXml& doc, const cmXPathItem& left, const cmXPathItem& right, int32_t op);
// Equal under full case folding of UTF-8 text.
bool cmXPathFoldEqual(std::string_view a, std::string_view b);
