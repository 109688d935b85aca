// TVString: building and cutting.
#include <cstring>

#include "text/TVArray.h"
#include "text/TVString.h"

namespace tolvane {

namespace {

bool inSet(const cmTextRef& set, char c) {
  return set.length() > 0 && std::memchr(set.data(), c, static_cast<size_t>(set.length())) != nullptr;
}

}  // namespace

// ---- building ---------------------------------------------------------------

int TVString::append(const cmTextRef& text) {
  if (text.isNull() || text.isEmpty()) return 0;
  return Base::append(text.data(), static_cast<size_t>(text.length()));
}

int TVString::insert(int64_t position, const cmTextRef& text) {
  int64_t n = text.length();
  if (n == 0) return 0;
  int64_t len = length();
  if (position < 0) position = 0;
  if (position > len) position = len;
  TVString src(text);  // stable even when text points into this string
  char* d = makeRoom(static_cast<size_t>(len + n), true);
  std::memmove(d + position + n, d + position, static_cast<size_t>(len - position));
  std::memcpy(d + position, src.data(), static_cast<size_t>(n));
  setLengthRaw(static_cast<size_t>(len + n));
  return 0;
}

int TVString::insert(int64_t position, char c) { return insert(position, cmTextRef(&c, 1)); }

int TVString::prepend(const cmTextRef& text) { return insert(0, text); }

int TVString::prepend(char c) { return insert(0, c); }

int TVString::appendArray(const TVArray* items, const cmTextRef& separator, bool withTrailing) {
  if (!items) return 0;
  for (int64_t i = 0; i < items->count(); ++i) {
    append(cmTextRef((*items)[i]));
    // Kept as the callers know it: the separator follows each item but the first.
    if (i > 0) append(separator);
  }
  if (withTrailing && items->count() > 0) append(separator);
  return 0;
}

int TVString::pad(int64_t len, char c) {
  int64_t cur = length();
  if (len <= cur) return 0;
  return setLength(len, c);
}

int TVString::surround(const cmTextRef& front, const cmTextRef& back) {
  TVString f(front), b(back);
  insert(0, f);
  append(b);
  if (isNull()) makeEmpty();
  return 0;
}

int TVString::surround(char front, char back) {
  if (back == 0) back = front;
  insert(0, front);
  Base::append(back);
  return 0;
}

int TVString::maybeSurround(const cmTextRef& front, const cmTextRef& back) {
  const cmTextRef& b = back.isEmpty() ? front : back;
  if (beginsWith(front) && endsWith(b)) return 0;
  TVString f(front), e(b);
  insert(0, f);
  append(e);
  return 0;
}

int TVString::maybeSurround(char front, char back) {
  if (back == 0) back = front;
  if (isNotEmpty() && first_char() == front && last_char() == back) return 0;
  return surround(front, back);
}

int TVString::maybeAppend(char c, bool evenIfEmpty) {
  if (isEmpty()) return evenIfEmpty ? Base::append(c) : 0;
  return last_char() == c ? 0 : Base::append(c);
}

int TVString::maybePrepend(char c, bool evenIfEmpty) {
  if (isEmpty()) return evenIfEmpty ? Base::append(c) : 0;
  return first_char() == c ? 0 : insert(0, c);
}

int TVString::maybeAppendFileSep() {
  if (isEmpty() || last_char() == '\\') return 0;
  return Base::append('\\');
}

// ---- cutting ----------------------------------------------------------------

int TVString::remove(int64_t start, int64_t count) {
  int64_t len = length();
  if (start < 0) start = 0;
  if (start >= len || count <= 0) return 0;
  if (count > len) count = len;
  if (count > len - start) count = len - start;
  char* d = makeRoom(static_cast<size_t>(len));
  std::memmove(d + start, d + start + count, static_cast<size_t>(len - start - count));
  setLengthRaw(static_cast<size_t>(len - count));
  return 0;
}

int TVString::removeEnd(int64_t count) {
  int64_t len = length();
  if (count <= 0 || len == 0) return 0;
  if (count > len) count = len;
  return remove(len - count, count);
}

int TVString::trim() { return strip(" \t\r\n", 'B', 1); }

int TVString::replace(int64_t start, int64_t count, const cmTextRef& to) {
  int64_t len = length();
  if (start < 0) start = 0;
  if (start > len) start = len;
  if (count < 0 || count > len - start) count = len - start;
  TVString r(static_cast<uint64_t>(len - count + to.length()));
  r.Base::append(data(), static_cast<size_t>(start));
  r.append(to);
  r.Base::append(data() + start + count, static_cast<size_t>(len - start - count));
  *this = static_cast<TVString&&>(r);
  return 0;
}

int TVString::replace(const cmTextRef& from, const cmTextRef& to, int64_t start) {
  int64_t at = pos(from, start);
  if (at < 0) return 0;
  return replace(at, from.length(), to);
}

int TVString::replaceAll(const cmTextRef& from, const cmTextRef& to) {
  int64_t n = from.length();
  int64_t at = pos(from, 0);
  if (n == 0 || at < 0) return 0;
  int64_t len = length();
  TVString r(static_cast<uint64_t>(len));
  int64_t done = 0;
  while (at >= 0) {
    r.Base::append(data() + done, static_cast<size_t>(at - done));
    r.append(to);
    done = at + n;
    at = pos(from, done);
  }
  r.Base::append(data() + done, static_cast<size_t>(len - done));
  *this = static_cast<TVString&&>(r);
  return 0;
}

int TVString::replaceAll(char from, char to) {
  if (pos(from, 0) < 0) return 0;
  char* d = getMutableCString();
  for (int64_t i = 0, len = length(); i < len; ++i)
    if (d[i] == from) d[i] = to;
  return 0;
}

int TVString::strip(const cmTextRef& set, char option, int all) {
  bool leading, trailing;
  switch (option) {
    case 'B': case 'b': leading = trailing = true; break;
    case 'L': case 'l': leading = true; trailing = false; break;
    case 'T': case 't': leading = false; trailing = true; break;
    default: return 0;
  }
  int64_t len = length();
  if (len == 0 || set.isEmpty()) return 0;
  const char* d = data();
  int64_t from = 0, to = len;
  if (leading)
    while (from < to && inSet(set, d[from])) {
      ++from;
      if (!all) break;
    }
  if (trailing)
    while (to > from && inSet(set, d[to - 1])) {
      --to;
      if (!all) break;
    }
  if (from == 0 && to == len) return 0;
  *this = sub(from, to - from);
  return 0;
}

int TVString::strip(char first, char second, char option, int all) {
  char set[2] = {first, second};
  return strip(cmTextRef(set, 2), option, all);
}

int TVString::stripQuotes(bool matchingOnly) {
  int64_t len = length();
  if (len == 0) return 0;
  char f = first_char(), l = last_char();
  auto isQuote = [](char c) { return c == '"' || c == '\''; };
  if (f == l) {
    if (!isQuote(f)) return 0;
    if (len == 1) return makeEmpty();
    *this = sub(1, len - 2);
    return 0;
  }
  if (matchingOnly) return 0;
  int64_t from = isQuote(f) ? 1 : 0;
  int64_t to = isQuote(l) ? len - 1 : len;
  if (from == 0 && to == len) return 0;
  *this = sub(from, to - from);
  return 0;
}

TVString TVString::parse(char separator, TVString& rest, int64_t start) const {
  return parse(cmTextRef(&separator, 1), rest, start);
}

TVString TVString::parse(const cmTextRef& separator, TVString& rest, int64_t start) const {
  if (isNull()) {
    rest.makeNull();
    return TVString("");
  }
  if (start < 0) start = 0;
  int64_t at = pos(separator, start);
  if (at < 0) {
    TVString part = sub(start, -1);
    part.makeNotNull();
    rest.makeNull();
    return part;
  }
  TVString part = sub(start, at - start);
  TVString after = sub(at + separator.length(), -1);
  part.makeNotNull();
  after.makeNotNull();
  rest = static_cast<TVString&&>(after);
  return part;
}

TVString TVString::parseLast(char separator, TVString& rest) const {
  int64_t at = lastpos(separator, -1);
  if (at < 0) {
    TVString whole(*this);
    rest.makeNull();
    return whole;
  }
  TVString part = sub(at + 1, -1);
  TVString front = sub(0, at);
  part.makeNotNull();
  front.makeNotNull();
  rest = static_cast<TVString&&>(front);
  return part;
}

int TVString::split(char separator, TVArray& items, bool clearFirst) const {
  return split(cmTextRef(&separator, 1), items, clearFirst);
}

int TVString::split(const cmTextRef& separator, TVArray& items, bool clearFirst) const {
  if (isEmpty()) return 0;
  if (clearFirst) items.clear();
  int64_t n = separator.length();
  if (n == 0) {
    items.add(*this);
    return 0;
  }
  const char* d = data();
  int64_t len = length();
  int64_t from = 0;
  while (true) {
    int64_t at;
    if (n == 1) {
      const void* hit = std::memchr(d + from, separator.data()[0], static_cast<size_t>(len - from));
      at = hit ? static_cast<const char*>(hit) - d : -1;
    } else {
      at = from < len ? pos(separator, from) : -1;
    }
    TVString& piece = items.addNull();
    subInto(piece, from, at < 0 ? -1 : at - from);
    piece.makeNotNull();
    if (at < 0) break;
    from = at + n;
  }
  return 0;
}

int TVString::splitLines(TVArray& items) const {
  int64_t len = length();
  if (len == 0) return 0;
  items.reserve(items.count() + len / 512 + 1);
  const char* d = data();
  int64_t from = 0;
  for (int64_t i = 0; i < len; ++i) {
    if (d[i] != '\n' && d[i] != '\r') continue;
    TVString line = sub(from, i - from);
    line.makeNotNull();
    items.add(static_cast<TVString&&>(line));
    if (d[i] == '\r' && i + 1 < len && d[i + 1] == '\n') ++i;
    from = i + 1;
  }
  if (from < len) {
    TVString line = sub(from, -1);
    items.add(static_cast<TVString&&>(line));
  }
  return 0;
}

}  // namespace tolvane
