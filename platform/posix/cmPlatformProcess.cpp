// POSIX child processes: posix_spawn, which reports a failed exec as its own
// error, so a program that cannot run is reported by processStart and never
// looks like a started child. A child that must end with this program is
// started by vfork instead (on Linux), since only the child itself can ask
// for that; a failed exec is reported the same way.
#include "platform/cmPlatformProcess.h"

#include "platform/cmPlatformFile.h"

#include <cerrno>
#include <cstdlib>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__linux__)
#include <sys/prctl.h>
#endif

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

#if defined(__linux__)
// Whether a shell text is one simple command that runs a program by its
// path, so that "exec" in front of it changes nothing but which process runs
// it: the first word names a file (no built-in, function, reserved word or
// assignment can hold a slash), and no control operator, subshell or
// substitution stands outside single quotes. Anything doubtful counts as not.
bool isOneSimpleCommand(const std::string& text) {
  const size_t start = text.find_first_not_of(" \t");
  if (start == std::string::npos) return false;
  const size_t firstEnd = text.find_first_of(" \t", start);
  const std::string first = text.substr(start, firstEnd == std::string::npos ? std::string::npos : firstEnd - start);
  if (first[0] == '-' || first.find('/') == std::string::npos || first.find('=') != std::string::npos) return false;

  const size_t n = text.size();
  for (size_t i = start; i < n; ++i) {
    const char c = text[i];
    const char next = i + 1 < n ? text[i + 1] : '\0';
    if (c == '\\') {
      ++i;
    } else if (c == '\'') {
      i = text.find('\'', i + 1);
      if (i == std::string::npos) return false;
    } else if (c == '"') {
      for (++i; i < n && text[i] != '"'; ++i) {
        if (text[i] == '\\') ++i;
        else if (text[i] == '`' || (text[i] == '$' && i + 1 < n && text[i + 1] == '(')) return false;
      }
      if (i >= n) return false;
    } else if (c == '&' && i > start && (text[i - 1] == '>' || text[i - 1] == '<')) {
      // ">&2" duplicates a descriptor; it is a redirection, not a list.
    } else if (c == ';' || c == '&' || c == '|' || c == '(' || c == ')' || c == '`' || c == '\n' || c == '#' ||
               (c == '$' && next == '(')) {
      return false;
    }
  }
  return true;
}

// vfork, then in the child: the death signal, the signal defaults, the group,
// the descriptors and the directory, then exec. vfork rather than fork: a
// fork would mark every page of the parent's block cache copy-on-write, and
// the parent would then take a page fault for each one it writes after the
// start. The child borrows the parent's memory until the exec, so it only
// makes system calls, with every signal blocked until its handlers are
// reset, and reports a failure through `childError`.
int32_t startEndingWithParent(const char* program, char* const* argv, char* const* envp, const char* dir,
                              uint32_t options, int32_t fallback, pid_t* childPid) {
  const pid_t parent = getpid();
  volatile int childError = 0;
  sigset_t all, saved;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &saved);
  const pid_t pid = vfork();
  if (pid == 0) {
    int err = 0;
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0) err = errno;
    // The parent may have ended before the request was made.
    if (err == 0 && getppid() != parent) _exit(127);
    for (int sig = 1; err == 0 && sig < NSIG; ++sig) {
      struct sigaction action{};
      if (sigaction(sig, nullptr, &action) != 0) continue;
      // An ignored SIGPIPE would survive the exec, and a caught signal would
      // run this program's handler in borrowed memory.
      const bool caught = (action.sa_flags & SA_SIGINFO) ||
                          (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
      if (sig == SIGPIPE || caught) {
        action = {};
        action.sa_handler = SIG_DFL;
        sigaction(sig, &action, nullptr);
      }
    }
    if (err == 0 && (options & kStartNewGroup) && setpgid(0, 0) != 0) err = errno;
    if (err == 0 && (options & kStartJoinStdErr) && dup2(1, 2) < 0) err = errno;
    if (err == 0 && dir && chdir(dir) != 0) err = errno;
    if (err == 0) {
      sigprocmask(SIG_SETMASK, &saved, nullptr);
      execve(program, argv, envp);
      err = errno;
    }
    childError = err;
    _exit(127);
  }
  const int forkError = pid < 0 ? errno : 0;
  pthread_sigmask(SIG_SETMASK, &saved, nullptr);
  if (forkError != 0) return fileErrorFromErrno(forkError, fallback);
  if (childError != 0) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return fileErrorFromErrno(childError, fallback);
  }
  *childPid = pid;
  return 0;
}
#endif

}  // namespace

int32_t processStart(const ProcessStart& start, int32_t fallback, ProcessHandle* handle,
                     uint32_t* processId) {
  *handle = kNoProcess;
  if (!start.program || !*start.program || !start.commandLine)
    return fileErrorFromErrno(ENOENT, fallback);

  // Everything the child needs is built before the spawn.
  std::vector<std::string> words = splitCommandLine(start.commandLine, start.shellCommand);
  if (words.empty()) words.emplace_back(start.program);
#if defined(__linux__)
  const bool endWithParent = (start.options & kStartEndWithParent) != 0;
  // The shell hands its process over to the command, which thereby inherits
  // the request to end with this program; a shell that stayed would end
  // alone and leave the command running.
  if (endWithParent && start.shellCommand && words.size() == 3 && isOneSimpleCommand(words[2]))
    words[2] = "exec " + words[2];
#endif
  std::vector<char*> argv;
  for (auto& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  char* const* envp = start.environment ? const_cast<char* const*>(start.environment) : environ;
  const char* dir =
      start.workingDirectory && *start.workingDirectory ? start.workingDirectory : nullptr;

#if defined(__linux__)
  if (endWithParent) {
    pid_t pid = 0;
    const int32_t rc = startEndingWithParent(start.program, argv.data(), envp, dir, start.options, fallback, &pid);
    if (rc != 0) return rc;
    *handle = ProcessHandle(pid);
    if (processId) *processId = uint32_t(pid);
    return 0;
  }
#endif

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
