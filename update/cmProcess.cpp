#include "update/cmProcess.h"

#include <string>

#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "update/cmProcessPath.h"

namespace {

std::string toStd(const cmString& s) { return s.isEmpty() ? std::string() : std::string(s.data(), size_t(s.length())); }
cmString fromStd(const std::string& s) { return cmString(s.data(), int64_t(s.size())); }

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// One word of a command line from `pos`: leading blanks skipped, a word in
// double quotes runs to the closing quote. `raw` keeps the quotes; `word` is
// without them. `pos` is left behind the word.
struct Word {
  std::string raw;
  std::string word;
};

Word nextWord(const std::string& line, size_t& pos) {
  while (pos < line.size() && isBlank(line[pos])) ++pos;
  const size_t start = pos;
  Word w;
  if (pos < line.size() && line[pos] == '"') {
    const size_t close = line.find('"', pos + 1);
    const size_t end = close == std::string::npos ? line.size() : close;
    w.word = line.substr(pos + 1, end - pos - 1);
    pos = close == std::string::npos ? line.size() : close + 1;
  } else {
    while (pos < line.size() && !isBlank(line[pos])) ++pos;
    w.word = line.substr(start, pos - start);
  }
  w.raw = line.substr(start, pos - start);
  return w;
}

std::string lower(std::string s) {
  for (char& c : s)
    if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
  return s;
}

bool sameProgram(const std::string& a, const std::string& b) {
  return platform::programNamesIgnoreCase() ? lower(a) == lower(b) : a == b;
}

// Shell syntax outside double quotes, behind the line's first word.
bool hasShellSyntax(const std::string& line) {
  size_t pos = 0;
  nextWord(line, pos);
  for (; pos < line.size(); ++pos) {
    const char c = line[pos];
    if (c == '"') {
      const size_t close = line.find('"', pos + 1);
      if (close == std::string::npos) return false;
      pos = close;
    } else if (c == '|' || c == '&' || c == '<' || c == '>') {
      return true;
    } else if (c == '^' && pos + 1 < line.size() && line[pos + 1] == '^') {
      return true;
    }
  }
  return false;
}

std::string lowerExtension(const std::string& word) {
  std::string w = word;
  if (!w.empty() && w.back() == '"') w.pop_back();
  const size_t dot = w.rfind('.');
  return dot == std::string::npos ? std::string() : lower(w.substr(dot));
}

// For "<shell> <switch> <program> ...": the Windows-only rewrites of the
// program word (a hidden window for a shortcut, the short name of a quoted
// path). Where the platform has neither, the line stays as it is.
void adjustShellLine(std::string& line, uint32_t& options) {
  size_t pos = 0;
  const Word first = nextWord(line, pos);
  const Word second = nextWord(line, pos);
  if (lower(second.word) != lower(platform::shellRunSwitch())) return;
  const Word third = nextWord(line, pos);
  const std::string hidden = platform::hiddenWindowExtension();
  if (!hidden.empty() && lowerExtension(third.raw) == lower(hidden)) options |= CM_PROC_HIDE_WINDOW;
  if (third.raw.empty() || third.raw[0] != '"' || line.find('"', pos) == std::string::npos) return;
  const cmString found = FindProgramOnPath(fromStd(third.word), options, nullptr, true, false, nullptr);
  if (found.isEmpty()) return;
  char shortPath[1024];
  if (!platform::shortPathName(toStd(found).c_str(), shortPath, sizeof shortPath)) return;
  line = first.raw + " " + second.word + " " + shortPath + line.substr(pos);
}

}  // namespace

void cmProcess::closeHandle() {
  if (handle != platform::kNoProcess) platform::processRelease(handle);
  handle = platform::kNoProcess;
}

void cmProcess::reset() {
  closeHandle();
  processId = -1;
  isRunning = false;
  exitCode = -1;
  hasExited = false;
}

cmProcessCommand BuildProcessCommand(const cmString& commandText, uint32_t options) {
  const std::string command = toStd(commandText);
  const std::string shell = toStd(GetShellPath());
  const std::string shellHead = toStd(QuoteProgram(GetShellPath())) + " " + platform::shellRunSwitch() + " ";

  size_t afterProgram = 0;
  const std::string program = nextWord(command, afterProgram).word;
  const bool commandIsShell = sameProgram(program, shell);

  const std::string found =
      toStd(FindProgramOnPath(fromStd(program), options, nullptr, true, true, nullptr));
  if (found.empty()) throw cmException(CM_ERR_FILE_NOT_FOUND, program.c_str());

  // A wrapped result ("<shell> <switch> <file>") makes the shell the program.
  const bool wrapped = found.compare(0, shellHead.size(), shellHead) == 0;
  std::string resolved = found;
  if (wrapped) {
    size_t p = 0;
    resolved = nextWord(found, p).word;
  }

  cmProcessCommand out;
  std::string line;
  bool shellCommand = false;
  if (sameProgram(resolved, shell)) {
    options &= ~CM_PROC_USE_SHELL;
    shellCommand = true;
    line = commandIsShell ? toStd(QuoteProgram(fromStd(resolved))) : found;
  } else {
    line = toStd(QuoteProgram(fromStd(resolved)));
  }

  size_t rest = afterProgram;
  while (rest < command.size() && isBlank(command[rest])) ++rest;
  if (rest < command.size()) line += " " + command.substr(rest);

  if ((options & CM_PROC_USE_SHELL) && hasShellSyntax(line)) {
    resolved = shell;
    line = shellHead + line;
    shellCommand = true;
  }
  if (shellCommand) adjustShellLine(line, options);

  out.program = fromStd(resolved);
  out.commandLine = fromStd(line);
  out.shellCommand = shellCommand;
  out.options = options;
  return out;
}

void StartProcess(cmProcess& process, const cmString& command, uint32_t options, const cmString& workingDirectory,
                  cmProcessEnv& environment, bool inherit) {
  process.reset();
  const cmProcessCommand resolved = BuildProcessCommand(command, options);
  const std::string program = toStd(resolved.program);
  const std::string line = toStd(resolved.commandLine);
  const std::string directory = toStd(workingDirectory);

  platform::ProcessStart start;
  start.program = program.c_str();
  start.commandLine = line.c_str();
  start.shellCommand = resolved.shellCommand;
  start.environment = (!environment.isEmpty() || !inherit) ? environment.getProcessEnv(inherit) : nullptr;
  start.workingDirectory = directory.empty() ? nullptr : directory.c_str();
  start.options = resolved.options;

  platform::ProcessHandle handle = platform::kNoProcess;
  uint32_t id = 0;
  const int32_t rc = platform::processStart(start, CM_ERR_PROCESS_NOT_STARTED, &handle, &id);
  if (rc != 0) throw cmException(rc, program.c_str());
  process.handle = handle;
  process.processId = int32_t(id);
  process.isRunning = true;
}

int32_t ExecAndWait(cmProcess& process, const cmString& command, uint32_t options, const cmString& workingDirectory,
                    cmProcessEnv& environment, bool inherit) {
  // A child that this thread waits for ends with the program, so a killed
  // run leaves no client behind.
  const uint32_t startOptions = (options & CM_PROC_DETACHED) ? options : options | platform::kStartEndWithParent;
  StartProcess(process, command, startOptions, workingDirectory, environment, inherit);
  if (options & CM_PROC_DETACHED) {
    process.closeHandle();
    process.isRunning = false;
    return 0;
  }
  if (process.isRunning && !process.hasExited) {
    int32_t status = 0;
    bool interrupted = false;
    if (platform::processWait(process.handle, &status, &interrupted) != 0)
      status = CM_PROC_ERR_NO_EXIT_STATUS;
    else if (interrupted)
      status = CM_PROC_STATUS_INTERRUPTED;
    // The wait has released the handle.
    process.handle = platform::kNoProcess;
    process.exitCode = status;
    process.hasExited = true;
    process.isRunning = false;
  }
  return process.exitCode;
}
