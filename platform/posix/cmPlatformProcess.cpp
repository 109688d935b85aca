// POSIX child processes: posix_spawn, which reports a failed exec as its own
// error, so a program that cannot run is reported by processStart and never
// looks like a started child.
#include "platform/cmPlatformProcess.h"

#include "platform/cmPlatformFile.h"

#include <cerrno>
#include <cstdlib>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace platform {

const char* shellDefaultPath() { return "/bin/sh"; }
const char* shellPathVariable() { return "TOLVANESHELL"; }
const char* shellRunSwitch() { return "-c"; }
char pathListSeparator() { return ':'; }
bool programNamesIgnoreCase() { return false; }

const char* const* shellBuiltinCommands() {
  static const char* const kNone[] = {nullptr};
  return kNone;
}
const char* defaultProgramExtensions(bool) { return ""; }
const char* shellScriptExtensions() { return ""; }
const char* hiddenWindowExtension() { return ""; }
bool shortPathName(const char*, char*, size_t) { return false; }

bool isExecutableFile(const char* path) {
  struct stat st{};
  if (!path || !*path || stat(path, &st) != 0) return false;
  return S_ISREG(st.st_mode) && access(path, X_OK) == 0;
}

const char* directorySeparators() { return "/"; }

const char* const* environmentEntries() { return environ; }

void setEnvironmentVariable(const char* name, const char* value) {
  if (value)
    setenv(name, value, 1);
  else
    unsetenv(name);
}

namespace {

// Splits a command line the way the process layer quoted it: blanks and
// tabs separate, double quotes group, "" inside quotes is a literal quote.
// `pos` is left behind the word and the blanks that follow it.
bool nextWord(const char* line, size_t& pos, std::string& word) {
  word.clear();
  while (line[pos] == ' ' || line[pos] == '\t') ++pos;
  if (!line[pos]) return false;
  bool quoted = false;
  for (; line[pos]; ++pos) {
    char c = line[pos];
    if (c == '"') {
      if (quoted && line[pos + 1] == '"') {
        word += '"';
        ++pos;
      } else {
        quoted = !quoted;
      }
    } else if (!quoted && (c == ' ' || c == '\t')) {
      break;
    } else {
      word += c;
    }
  }
  while (line[pos] == ' ' || line[pos] == '\t') ++pos;
  return true;
}

std::vector<std::string> splitCommandLine(const char* line, bool shellCommand) {
  std::vector<std::string> words;
  std::string word;
  size_t pos = 0;
  while (nextWord(line, pos, word)) {
    words.push_back(word);
    if (shellCommand && words.size() == 2) {
      // The shell parses the rest itself, quotes and redirections included.
      words.emplace_back(line + pos);
      break;
    }
  }
  return words;
}

}  // namespace

int32_t processStart(const ProcessStart& start, int32_t fallback, ProcessHandle* handle,
                     uint32_t* processId) {
  *handle = kNoProcess;
  if (!start.program || !*start.program || !start.commandLine)
    return fileErrorFromErrno(ENOENT, fallback);

  // Everything the child needs is built before the spawn.
  std::vector<std::string> words = splitCommandLine(start.commandLine, start.shellCommand);
  if (words.empty()) words.emplace_back(start.program);
  std::vector<char*> argv;
  for (auto& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  char* const* envp = start.environment ? const_cast<char* const*>(start.environment) : environ;
  const char* dir =
      start.workingDirectory && *start.workingDirectory ? start.workingDirectory : nullptr;

  // posix_spawn rather than fork: the child shares the parent's memory
  // until it execs, so starting the client costs no copy of a large
  // parent's page tables, and a program that cannot run comes back as the
  // call's own error.
  posix_spawnattr_t attr;
  posix_spawn_file_actions_t actions;
  if (posix_spawnattr_init(&attr) != 0) return fileErrorFromErrno(ENOMEM, fallback);
  if (posix_spawn_file_actions_init(&actions) != 0) {
    posix_spawnattr_destroy(&attr);
    return fileErrorFromErrno(ENOMEM, fallback);
  }
  short flags = POSIX_SPAWN_SETSIGDEF;
  // An ignored SIGPIPE would survive the exec; the child gets the default.
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigdefault(&attr, &defaults);
  if (start.options & kStartNewGroup) {
    flags |= POSIX_SPAWN_SETPGROUP;
    posix_spawnattr_setpgroup(&attr, 0);
  }
  posix_spawnattr_setflags(&attr, flags);
  if (start.options & kStartJoinStdErr) posix_spawn_file_actions_adddup2(&actions, 1, 2);
  if (dir) posix_spawn_file_actions_addchdir_np(&actions, dir);
  pid_t pid = 0;
  int err = posix_spawn(&pid, start.program, &actions, &attr, argv.data(), envp);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  if (err != 0) return fileErrorFromErrno(err, fallback);
  *handle = ProcessHandle(pid);
  if (processId) *processId = uint32_t(pid);
  return 0;
}

int32_t processWait(ProcessHandle handle, int32_t* exitStatus, bool* interrupted) {
  *interrupted = false;
  if (handle == kNoProcess) return -1;
  int status = 0;
  pid_t r;
  do {
    r = waitpid(pid_t(handle), &status, 0);
  } while (r < 0 && errno == EINTR);
  if (r < 0) return -1;
  if (WIFEXITED(status)) {
    *exitStatus = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    *exitStatus = 128 + WTERMSIG(status);
    *interrupted = WTERMSIG(status) == SIGINT;
  } else {
    return -1;
  }
  return 0;
}

void processRelease(ProcessHandle) {}

}  // namespace platform
