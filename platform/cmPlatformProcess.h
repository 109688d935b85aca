// Child processes and the facts about the system's command interpreter that
// the process layer (update/cmProcess.h) builds its command lines from.
//
// The process layer is written once for every system: it asks this header
// for the shell's default path and switch, the separator of the "PATH" list,
// and for the lists that only the Windows interpreter has (its built-in
// commands, the extensions that it runs itself, short 8.3 names). On POSIX
// those lists are empty and the short-name call reports failure, so the
// shared logic passes over them.
//
// A ProcessHandle is owned by whoever started the child: processWait
// collects the exit and releases it, processRelease gives it up without
// waiting. On POSIX the handle is the process id; a child released without a
// wait stays a zombie until this program ends.
//
// All functions are safe to call from any thread; one handle must not be
// waited for by two threads.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

using ProcessHandle = int64_t;
constexpr ProcessHandle kNoProcess = -1;

// ---- The command interpreter and program names -------------------------

// Path of the interpreter when the environment names none: "/bin/sh".
const char* shellDefaultPath();
// The variable that may name another interpreter. The Windows value is
// "COMSPEC"; POSIX has no variable with that meaning ("SHELL" is the user's
// interactive shell, which need not understand sh syntax), so the
// foundation's own "TOLVANESHELL" is read.
const char* shellPathVariable();
// The switch that makes the interpreter run the rest of the line: "-c".
const char* shellRunSwitch();
// Separator of the entries of "PATH": ':'.
char pathListSeparator();
// Whether two program paths that differ only in case name the same file.
bool programNamesIgnoreCase();

// Commands that exist only inside the interpreter, upper case, ending with
// nullptr. Empty on POSIX: every sh built-in worth calling has a program of
// the same name, and a line with shell syntax goes through the shell anyway.
const char* const* shellBuiltinCommands();
// Extensions under which a bare program name is searched, each followed by a
// blank (".com .exe .bat .cmd .lnk " on Windows). `extended` adds the
// foundation's own script extensions. Empty on POSIX, where the name is the
// file and the executable bit decides.
const char* defaultProgramExtensions(bool extended);
// Extensions of files that only the interpreter can run (".bat .cmd .lnk "),
// and the one extension whose target is started with a hidden window
// (".lnk"). Both empty on POSIX.
const char* shellScriptExtensions();
const char* hiddenWindowExtension();
// The short 8.3 form of an existing path; false where the system has none
// (always on POSIX) or the call fails.
bool shortPathName(const char* path, char* out, size_t outSize);

// Characters that separate directories in a path ("/" on POSIX).
const char* directorySeparators();

// A regular file that this process may execute.
bool isExecutableFile(const char* path);

// ---- The environment ---------------------------------------------------

// This process's "NAME=value" entries, ending with nullptr. Valid until the
// environment is next changed.
const char* const* environmentEntries();
// Sets a variable of this process (nullptr removes it). Not thread-safe
// against readers of the environment on other threads.
void setEnvironmentVariable(const char* name, const char* value);

// ---- Starting and waiting ----------------------------------------------

// Start option bits that the platform itself honours (the caller's full
// option set is passed; other bits are ignored here).
constexpr uint32_t kStartJoinStdErr = 0x008;   // standard error joins output
constexpr uint32_t kStartNewGroup = 0x020;     // own process group
constexpr uint32_t kStartNewConsole = 0x040;   // Windows only
constexpr uint32_t kStartNoWindow = 0x080;     // Windows only
constexpr uint32_t kStartStdHandles = 0x100;   // Windows: pass the standard handles
constexpr uint32_t kStartHideWindow = 0x200;   // Windows only
// The child, and a command that the shell runs for it, end when this program
// ends, even by a kill that leaves no time to clean up: a stray client must
// not go on writing into a file that the next run uses. Only for a child that
// the starting thread waits for, since POSIX systems tie the end to the
// thread that started the child. A shell line that is one simple command runs
// with the shell replaced by the command, so the command itself is the
// child. (A job object would do the same on Windows.)
constexpr uint32_t kStartEndWithParent = 0x10000;

struct ProcessStart {
  // Path of the file to run; the command line's first word is only its
  // name as the child sees it.
  const char* program = nullptr;
  // The whole command line. Words are separated by blanks or tabs; double
  // quotes group, and a doubled quote inside quotes is one quote character.
  const char* commandLine = nullptr;
  // The line is "<shell> <switch> <text>": the text behind the switch is
  // handed to the shell unchanged, as the Windows interpreter takes it.
  bool shellCommand = false;
  // "NAME=value" entries ending with nullptr, or nullptr to inherit.
  const char* const* environment = nullptr;
  // nullptr or "" keeps the current directory.
  const char* workingDirectory = nullptr;
  uint32_t options = 0;
};

// Starts the child with this program's standard streams. Returns 0, or a
// negative number from fileErrorFromErrno with `fallback` for errors without
// a class: a missing file is -102698, permission -102695. A child that could
// not be executed is never reported as started.
int32_t processStart(const ProcessStart& start, int32_t fallback, ProcessHandle* handle,
                     uint32_t* processId);

// Blocks until the child ends and releases the handle. *exitStatus gets the
// exit status, or 128 + the signal number for a child ended by a signal, as
// shells report it; *interrupted is true when that signal was the interrupt
// (control-C). Returns 0, or -1 when the status could not be collected.
int32_t processWait(ProcessHandle handle, int32_t* exitStatus, bool* interrupted);

// Gives up the handle without waiting.
void processRelease(ProcessHandle handle);

}  // namespace platform
