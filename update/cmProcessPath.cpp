#include "update/cmProcessPath.h"

#include <cstring>
#include <string>

#include "platform/cmPlatform.h"
#include "platform/cmPlatformProcess.h"
#include "update/cmProcessErrors.h"

namespace {

std::string toStd(const cmString& s) { return s.isEmpty() ? std::string() : std::string(s.data(), size_t(s.length())); }
cmString fromStd(const std::string& s) { return cmString(s.data(), int64_t(s.size())); }

std::string trim(const std::string& s, const char* set) {
  const size_t b = s.find_first_not_of(set);
  if (b == std::string::npos) return std::string();
  const size_t e = s.find_last_not_of(set);
  return s.substr(b, e - b + 1);
}

bool hasDirectoryPart(const std::string& name) {
  return name.find_first_of(platform::directorySeparators()) != std::string::npos;
}

// The extension of the last path segment, with its dot, or "".
std::string extensionOf(const std::string& path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string::npos) return std::string();
  const size_t sep = path.find_last_of(platform::directorySeparators());
  if (sep != std::string::npos && sep > dot) return std::string();
  return path.substr(dot);
}

std::string fold(std::string s) {
  if (platform::programNamesIgnoreCase())
    for (char& c : s)
      if (c >= 'a' && c <= 'z') c = char(c - 'a' + 'A');
  return s;
}

// `ext` (with its dot) is an item of the blank-separated `list`.
bool inList(const std::string& list, const std::string& ext) {
  if (ext.empty()) return false;
  const std::string padded = " " + fold(list) + " ";
  return padded.find(" " + fold(ext) + " ") != std::string::npos;
}

std::string shellWrapped(const std::string& file) {
  return toStd(QuoteProgram(GetShellPath())) + " " + platform::shellRunSwitch() + " " +
         toStd(QuoteProgram(fromStd(file)));
}

// Tests one candidate path; returns the path that is meant, or "".
std::string testCandidate(const std::string& candidate, const std::string& extensions, uint32_t options,
                          bool wrapInShell) {
  std::string hit;
  const std::string own = extensionOf(candidate);
  if (extensions.empty()) {
    if (platform::isExecutableFile(candidate.c_str())) hit = candidate;
  } else if (inList(extensions, own) && platform::isExecutableFile(candidate.c_str())) {
    hit = candidate;
  } else if ((options & CM_PROC_USE_SHELL) && !own.empty() && !inList(extensions, own)) {
    return std::string();
  } else {
    // The first extension of the list under which the file exists.
    size_t at = 0;
    while (hit.empty() && at < extensions.size()) {
      const size_t end = extensions.find(' ', at);
      const std::string ext = extensions.substr(at, end == std::string::npos ? std::string::npos : end - at);
      at = end == std::string::npos ? extensions.size() : end + 1;
      if (!ext.empty() && platform::isExecutableFile((candidate + ext).c_str())) hit = candidate + ext;
    }
  }
  if (!hit.empty() && wrapInShell && inList(platform::shellScriptExtensions(), extensionOf(hit)))
    return shellWrapped(hit);
  return hit;
}

}  // namespace

cmString QuoteProgram(const cmString& text) {
  if (text.isEmpty()) return text;
  std::string s = trim(toStd(text), " \t");
  if (!s.empty() && s[0] == '"') {
    if (s.size() == 1 || s.back() != '"') s += '"';
    return fromStd(s);
  }
  if (s.find(' ') != std::string::npos || s.find('&') != std::string::npos ||
      s.find("^^") != std::string::npos)
    return fromStd("\"" + s + "\"");
  return fromStd(s);
}

cmString GetShellPath() {
  const char* value = platform::getEnv(platform::shellPathVariable());
  return cmString(value && *value ? value : platform::shellDefaultPath());
}

cmString FindProgramOnPath(const cmString& name, uint32_t options, const char* pathVariableName,
                           bool searchHereFirst, bool wrapInShell, const char* extensionList) {
  const std::string program = toStd(name);
  if (program.empty()) return cmString("");
  const bool withDirectory = hasDirectoryPart(program);

  if ((options & CM_PROC_USE_SHELL) && !withDirectory) {
    std::string upper = program;
    for (char& c : upper)
      if (c >= 'a' && c <= 'z') c = char(c - 'a' + 'A');
    for (const char* const* b = platform::shellBuiltinCommands(); *b; ++b) {
      if (upper == *b)
        return wrapInShell ? fromStd(toStd(QuoteProgram(GetShellPath())) + " " + platform::shellRunSwitch() + " " +
                                     program)
                           : name;
    }
  }

  std::string extensions;
  if (extensionList && *extensionList)
    extensions = std::string(extensionList) + " ";
  else if (options & CM_PROC_EXTENDED_EXT)
    extensions = platform::defaultProgramExtensions(true);
  else if (options & CM_PROC_USE_SHELL)
    extensions = platform::defaultProgramExtensions(false);
  extensions = trim(extensions, " ");

  if (withDirectory || searchHereFirst) {
    const std::string hit = testCandidate(program, extensions, options, wrapInShell);
    if (!hit.empty() || withDirectory) return fromStd(hit);
  }

  const char* list = platform::getEnv(pathVariableName && *pathVariableName ? pathVariableName : "PATH");
  if (!list) return cmString("");
  const std::string entries(list);
  const char sep = platform::pathListSeparator();
  const char preferred = platform::directorySeparators()[0];
  size_t at = 0;
  while (at <= entries.size()) {
    size_t end = entries.find(sep, at);
    if (end == std::string::npos) end = entries.size();
    std::string dir = trim(entries.substr(at, end - at), " ");
    at = end + 1;
    if (dir.empty()) continue;
    if (std::strchr(platform::directorySeparators(), dir.back()) == nullptr) dir += preferred;
    const std::string hit = testCandidate(dir + program, extensions, options, wrapInShell);
    if (!hit.empty()) return fromStd(hit);
  }
  return cmString("");
}
