// cmXPathDump: a compact text form of a compiled program, one token per
// opcode, for tests, fuzz triage and debugging. Entry point: cmXPathDump().
//
// Format per opcode: the code number, then `:name` for a name test, `'text'`
// for a string constant, `=n` for an integer constant, `/mN` for a step's
// mask when it isn't 3 (elements), `#` for countFirst and `>N` for a jump.
// Opcodes are separated by one space. Stateless; callable from any thread.
#pragma once

#include <string>

#include "xml/cmXPathOpcode.h"

std::string cmXPathDump(const cmXPathProgram& program);
