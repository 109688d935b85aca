// RunSvn: runs the Subversion command-line client once and waits for it.
//
// The argument text carries its own redirection of standard output (" > "
// and a quoted file name), so the command always goes through the system
// shell; nothing of the child's output passes through this program, and the
// child's standard error is the program's own. There is no time limit.
//
// Result: the client's (or the shell's) exit status, 0 for success; a child
// ended by a signal gives 128 + the signal number, as shells report it,
// except the interrupt signal, which gives 3; a client that does not exist
// gives -2 and nothing is started; other failures to start give the number
// that the process layer maps them to (see update/cmProcess.h).
//
// Call from one thread at a time per child; the call blocks that thread.
#pragma once

#include <cstdint>

#if __has_include("text/cmStringT.h")
#include "text/cmStringT.h"
#else
template <typename CharT, int Encoding, int InlineSize>
class cmStringT;
#endif

// `svnPath` arrives as the driver quoted it (a path with blanks is already in
// double quotes); `arguments` begins with a blank, e.g.
// " log --xml -v \"file:///r\" -rHEAD > \"/tmp/out.xml\"".
int32_t RunSvn(cmStringT<char, 1, 30> svnPath, cmStringT<char, 1, 30> arguments);
