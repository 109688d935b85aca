// The program-name operations of the process layer: quoting a program for
// the head of a command line, the path of the system shell, and finding a
// program on "PATH". The system's own conventions (the shell's default path
// and variable, the list separator, extension lists, built-in commands) come
// from platform/cmPlatformProcess.h, so the same code serves every system.
//
// Stateless apart from reading the environment; any thread.
#pragma once

#include <cstdint>

#include "text/cmStringT.h"

// Trims blanks and tabs. A text that begins with a double quote is made to
// end with one; a text with a blank, an ampersand or "^^" is put in double
// quotes; anything else is returned trimmed. An empty text stays.
cmString QuoteProgram(const cmString& text);

// The command interpreter: the value of the platform's shell variable
// ("TOLVANESHELL" on POSIX, where "SHELL" names the user's interactive shell
// and may not understand sh syntax) when it is set and not empty, otherwise
// the platform's default, "/bin/sh". The value is executed as it stands, so
// it must be a path, not a bare name to be looked up.
cmString GetShellPath();

// Finds `name` and returns its path, or an empty string.
//   options          CM_PROC_USE_SHELL: built-in commands of the shell and the
//                    system's extension list apply; CM_PROC_EXTENDED_EXT adds
//                    the foundation's script extensions
//   pathVariableName the list to search; nullptr or "" means "PATH"
//   searchHereFirst  try the name as it stands (relative to the current
//                    directory) before the list
//   wrapInShell      a file that only the shell can run comes back as
//                    "<shell> <switch> <file>"
//   extensionList    blank-separated extensions to try; nullptr or "" takes
//                    the platform's list for the options
// A name with a directory part is only tried as it stands. A candidate must
// be a regular file that this process may execute.
cmString FindProgramOnPath(const cmString& name, uint32_t options, const char* pathVariableName,
                           bool searchHereFirst, bool wrapInShell, const char* extensionList);
