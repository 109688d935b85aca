// cmProcess: the state of one child process, and the operations that start a
// command and wait for it.
//
// A command text is resolved like the Windows interpreter would take it, on
// every system: its first word is the program, found on "PATH"; with
// CM_PROC_USE_SHELL, text with shell syntax outside double quotes (| & < >
// or "^^") runs as "<shell> <switch> <text>", which on POSIX is
// "/bin/sh -c <text>" (see GetShellPath for another shell). That is how the
// Subversion runner's " > file" redirection is carried out.
//
// Exit status: the child's own; a child ended by a signal gives 128 + the
// signal number, as shells report it, except the interrupt signal (control-C),
// which gives CM_PROC_STATUS_INTERRUPTED (3) like the Windows status for it.
// A status that cannot be collected gives CM_PROC_ERR_NO_EXIT_STATUS.
// The child's standard streams are this program's own.
//
// States of a cmProcess:
//   reset    no handle, processId -1, not running, exitCode -1, no exit seen
//   running  handle held, isRunning          (StartProcess)
//   exited   exitCode valid, handle released (ExecAndWait's wait)
// The object owns its handle and releases it on destruction; a child that
// is still running then goes on alone. One thread at a time per object.
#pragma once

#include <cstdint>

#include "platform/cmPlatformProcess.h"
#include "text/cmStringT.h"
#include "update/cmProcessEnv.h"
#include "update/cmProcessErrors.h"

class cmProcess {
 public:
  platform::ProcessHandle handle = platform::kNoProcess;
  int32_t processId = -1;
  bool isRunning = false;
  int32_t exitCode = -1;
  bool hasExited = false;

  cmProcess() = default;
  ~cmProcess() { closeHandle(); }
  cmProcess(const cmProcess&) = delete;
  cmProcess& operator=(const cmProcess&) = delete;

  // Releases the handle, if any, without waiting.
  void closeHandle();
  // Releases the handle and returns to the reset state.
  void reset();
};

// The resolved form of a command text: what is executed and with which line.
struct cmProcessCommand {
  cmString program;       // the file executed
  cmString commandLine;   // the full line, program first
  bool shellCommand = false;  // the line is "<shell> <switch> <text>"
  uint32_t options = 0;   // the options as they end up (shell bit cleared for a shell command)
};

// Resolves `command` under `options` without starting anything. Throws
// cmException(CM_ERR_FILE_NOT_FOUND, program) when the program is not found.
cmProcessCommand BuildProcessCommand(const cmString& command, uint32_t options);

// Starts the command. `workingDirectory` empty keeps the current one; the
// environment block is built only when `environment` has entries or
// `inherit` is false. Throws cmException: CM_ERR_FILE_NOT_FOUND for a program
// that is not found, else the platform's error class for the failure with
// CM_ERR_PROCESS_NOT_STARTED as the default; the text is the program.
void StartProcess(cmProcess& process, const cmString& command, uint32_t options, const cmString& workingDirectory,
                  cmProcessEnv& environment, bool inherit);

// Starts the command and waits without a limit; returns the exit status
// (see above). With CM_PROC_DETACHED the child is not waited for and the
// result is 0. Throws as StartProcess.
int32_t ExecAndWait(cmProcess& process, const cmString& command, uint32_t options,
                    const cmString& workingDirectory, cmProcessEnv& environment, bool inherit);
