// The unindent rule of tvXMLCFGGetValueUnindentString. It undoes only the
// shape a pretty-printer leaves around a multi-line value: a line break
// right after the opening tag, every line indented, and the closing tag on
// a line of its own. Anything else comes back as it was.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "xml/tvXmlCfgInternal.h"

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

namespace tvXmlCfgInternal {

std::string unindent(std::string_view value) {
  size_t begin = 0;
  while (begin < value.size() && isBlank(value[begin])) ++begin;
  if (begin >= value.size() || (value[begin] != '\r' && value[begin] != '\n')) return std::string(value);
  if (value[begin] == '\r' && begin + 1 < value.size() && value[begin + 1] == '\n')
    begin += 2;
  else
    begin += 1;

  size_t end = value.size();
  size_t back = end;
  while (back > begin && isBlank(value[back - 1])) --back;
  if (back > begin && value[back - 1] == '\n') {
    end = back - 1;
    if (end > begin && value[end - 1] == '\r') --end;
  }
  if (end <= begin) return std::string();

  std::string_view body = value.substr(begin, end - begin);
  std::vector<std::string_view> lines;
  for (size_t pos = 0;;) {
    size_t lf = body.find('\n', pos);
    std::string_view line = body.substr(pos, lf == std::string_view::npos ? std::string_view::npos : lf - pos);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back(line);
    if (lf == std::string_view::npos) break;
    pos = lf + 1;
  }

  size_t least = std::string_view::npos;
  for (std::string_view line : lines) {
    size_t indent = 0;
    while (indent < line.size() && isBlank(line[indent])) ++indent;
    if (indent == line.size()) continue;  // blank lines don't count
    if (indent == 0) return std::string(body);
    if (indent < least) least = indent;
  }
  if (least == std::string_view::npos) least = 0;

  std::string out;
  out.reserve(body.size());
  for (size_t i = 0; i < lines.size(); ++i) {
    if (i) out += '\n';
    std::string_view line = lines[i];
    size_t indent = 0;
    while (indent < line.size() && isBlank(line[indent])) ++indent;
    if (indent == line.size()) continue;
    out.append(line.substr(least));
  }
  return out;
}

}  // namespace tvXmlCfgInternal
