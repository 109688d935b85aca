// POSIX child processes: fork and execve with a close-on-exec pipe that
// carries a failed exec's errno back, so a program that cannot run is
// reported by processStart and never looks like a started child.
#include "platform/cmPlatformProcess.h"

#include "platform/cmPlatformFile.h"

#include <cerrno>
#include <cstdlib>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
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

void writeAll(int fd, const void* data, size_t n) {
  const char* p = static_cast<const char*>(data);
  while (n > 0) {
    ssize_t w = write(fd, p, n);
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return;
    p += w;
    n -= size_t(w);
  }
}

}  // namespace

int32_t processStart(const ProcessStart& start, int32_t fallback, ProcessHandle* handle,
                     uint32_t* processId) {
  *handle = kNoProcess;
  if (!start.program || !*start.program || !start.commandLine)
    return fileErrorFromErrno(ENOENT, fallback);

  // Everything the child needs is built before the fork: after it, only
  // async-signal-safe calls are allowed.
  std::vector<std::string> words = splitCommandLine(start.commandLine, start.shellCommand);
  if (words.empty()) words.emplace_back(start.program);
  std::vector<char*> argv;
  for (auto& w : words) argv.push_back(w.data());
  argv.push_back(nullptr);
  char* const* envp = start.environment ? const_cast<char* const*>(start.environment) : environ;
  const char* dir =
      start.workingDirectory && *start.workingDirectory ? start.workingDirectory : nullptr;

  int errPipe[2];
  if (pipe2(errPipe, O_CLOEXEC) != 0) return fileErrorFromErrno(errno, fallback);

  pid_t pid = fork();
  if (pid < 0) {
    int err = errno;
    close(errPipe[0]);
    close(errPipe[1]);
    return fileErrorFromErrno(err, fallback);
  }
  if (pid == 0) {
    close(errPipe[0]);
    if (start.options & kStartNewGroup) setpgid(0, 0);
    if (start.options & kStartJoinStdErr) dup2(1, 2);
    // An ignored SIGPIPE would survive the exec; the child gets the default.
    struct sigaction dfl{};
    dfl.sa_handler = SIG_DFL;
    sigaction(SIGPIPE, &dfl, nullptr);
    if (!dir || chdir(dir) == 0) execve(start.program, argv.data(), envp);
    int err = errno;
    writeAll(errPipe[1], &err, sizeof err);
    _exit(127);
  }

  close(errPipe[1]);
  int childErr = 0;
  ssize_t got;
  do {
    got = read(errPipe[0], &childErr, sizeof childErr);
  } while (got < 0 && errno == EINTR);
  close(errPipe[0]);
  if (got > 0) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return fileErrorFromErrno(childErr, fallback);
  }
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
