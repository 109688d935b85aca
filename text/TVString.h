// TVString: the public string of the foundation, the same 32-byte object as
// cmStringT<char, 1, 30> (it adds no member and no virtual operation) with
// the richer operations under stable names: search, building, cutting, case,
// numbers, the foundation's own base64 and the case-blind hash. Positions are
// 0-based and lengths 64-bit; mutators return 0. Searches that find nothing
// return -3022. Allocation failure throws cmException(-102692).
//
// Every "text" parameter is a cmTextRef, which takes any of the foundation's
// text forms. Ownership and threading are those of cmStringT: a TVString
// owns a counted share of its block; copies may live on different threads,
// one object may not.
#pragma once

#include <cstdint>

#include "text/TVStringTypes.h"
#include "text/cmStringT.h"
#include "text/cmTextRef.h"

namespace tolvane {

class TVArray;

class TVString : public cmStringT<char, 1, 30> {
 public:
  using Base = cmStringT<char, 1, 30>;

  // ---- construction -------------------------------------------------------
  TVString() = default;
  TVString(const char* text) : Base(text) {}  // NOLINT: null gives null
  TVString(const char* text, int64_t len) : Base(text, len) {}
  TVString(const Base& s) : Base(s) {}  // NOLINT
  TVString(Base&& s) : Base(static_cast<Base&&>(s)) {}  // NOLINT
  TVString(const cmTextRef& text);  // NOLINT
  template <int E, int N>
  TVString(const cmStringCatHelperT<char, E, N>& cat) : Base(cat) {}  // NOLINT
  explicit TVString(char c) : Base(&c, 1) {}
  // Decimal text of the value.
  explicit TVString(int value);
  // An empty string with room for `capacity` bytes.
  explicit TVString(uint64_t capacity);
  TVString(const TVString&) = default;
  TVString(TVString&&) = default;
  TVString& operator=(const TVString&) = default;
  TVString& operator=(TVString&&) = default;
  TVString& operator=(const Base& s) {
    Base::operator=(s);
    return *this;
  }
  TVString& operator=(Base&& s) {
    Base::operator=(static_cast<Base&&>(s));
    return *this;
  }
  TVString& operator=(const char* text) {
    Base::operator=(text);
    return *this;
  }
  TVString& operator=(const cmTextRef& text);
  template <int E, int N>
  TVString& operator=(const cmStringCatHelperT<char, E, N>& cat) {
    Base::operator=(cat);
    return *this;
  }

  // ---- state --------------------------------------------------------------
  // Reserves room for `cap` bytes of text; never shrinks below the length.
  int setCapacity(int64_t cap);
  // Gives back unused room: the block shrinks to the text, or goes inline.
  int truncateCapacity();
  // Length 0, storage kept.
  int resetLength();
  // Cuts to `len`, or grows to it: with `fill` the new bytes are that
  // character, without it they are whatever the buffer holds.
  int setLength(int64_t len);
  int setLength(int64_t len, char fill);
  // Debug aid: true when the object's fields are consistent.
  bool checkIntegrity() const;

 private:
  bool shortenShared(int64_t len);

 public:

  // ---- access -------------------------------------------------------------
  // Byte at i; 0 outside the text.
  char operator[](int64_t i) const { return charAt(i); }
  char charAt(int64_t i) const { return (i >= 0 && i < length()) ? data()[i] : 0; }
  char first_char() const { return isEmpty() ? 0 : data()[0]; }
  char last_char() const { return isEmpty() ? 0 : data()[length() - 1]; }
  const unsigned char* getUCString() const { return reinterpret_cast<const unsigned char*>(getCString()); }
  // Writable, terminated, private text (a null string becomes empty).
  char* getMutableCString();
  unsigned char* getMutableUCString() { return reinterpret_cast<unsigned char*>(getMutableCString()); }
  Base& getCMString() { return *this; }
  const Base& getCMString() const { return *this; }
  const char* getLengthAndPointer(int64_t& len) const {
    len = length();
    return isNull() ? "" : data();
  }

  // ---- external buffers ---------------------------------------------------
  using Base::setExternalBuffer;
  // Borrows [start, start + len) of `source`'s bytes without a reference:
  // `source` must outlive this string and stay unchanged.
  int subExternalBuffer(const Base& source, int64_t start, int64_t len);
  // Makes a private copy of borrowed or shared text.
  int breakLinkToExternalBuffer() { return breakLink(); }
  // Moves inline text into a block of its own.
  int doNotUseInternalBuffer();

  // ---- copies out (allocated by cmAlloc; the caller frees with cmFree) ----
  char* dupCString() const;
  TVLSTR* dup_lstr() const;
  char* dup_sub(int64_t start, int64_t len) const;
  // UTF-16, zero-terminated.
  char16_t* dup_wide() const;
  // Copies at most bufSize - 1 bytes and a NUL; returns the bytes copied.
  int64_t exportStr(char* buf, int64_t bufSize) const;
  // Fills a TVLSTR whose text area holds `maxBytes`; returns bytes copied.
  int64_t export_lstr(TVLSTR* out, int64_t maxBytes) const;

  // ---- comparison ---------------------------------------------------------
  using Base::compare;
  using Base::equalTo;
  bool equalTo(const cmTextRef& text, bool caseSensitive = true) const;
  // Null and empty are the same text here.
  bool equalToIgnoreNull(const cmTextRef& text, bool caseSensitive = true) const;
  int compare(const cmTextRef& text, bool caseSensitive = true) const;
  static int compareString(const cmTextRef& a, const cmTextRef& b);
  static int compareStringI(const cmTextRef& a, const cmTextRef& b);
  // File names: null first, separators alike, case by the platform's rule.
  static int compareFilenames(const cmTextRef& a, const cmTextRef& b);
  int fileCmp(const cmTextRef& other) const;
  // As fileCmp, and with case ignored: for names seen from both kinds of
  // file system.
  int fileCmpBoth(const cmTextRef& other) const;
  bool fileEq(const cmTextRef& other) const { return fileCmp(other) == 0; }

  // ---- search -------------------------------------------------------------
  int64_t pos(const cmTextRef& text, int64_t start = 0) const;
  // Pattern search: `options` are the search flags of the pattern engine;
  // with no syntax bit the pattern is plain text (bit 0x1 ignores case).
  int64_t pos(const cmTextRef& pattern, int64_t start, uint64_t options, str_match_t* match = nullptr) const;
  int64_t pos(char c, int64_t start = 0) const;
  // Last occurrence that starts at or before `start` (-1: the end).
  int64_t lastpos(const cmTextRef& text, int64_t start = -1) const;
  int64_t lastpos(char c, int64_t start = -1) const;
  // First / last byte at or from `start` that is in `set`.
  int64_t cpos(const cmTextRef& set, int64_t start = 0) const;
  int64_t clastpos(const cmTextRef& set, int64_t start = -1) const;
  bool beginsWith(const cmTextRef& text, bool ignoreCase = false) const;
  bool beginsWith(const cmTextRef& pattern, uint64_t options, str_match_t* match) const;
  bool endsWith(const cmTextRef& text, bool ignoreCase = false) const;
  bool endsWith(const cmTextRef& pattern, uint64_t options, str_match_t* match) const;
  bool beginsWith(char c) const { return first_char() == c && isNotEmpty(); }
  bool endsWith(char c) const { return last_char() == c && isNotEmpty(); }
  bool isInList(const cmTextRef& list, char separator) const;
  // Occurrences that don't overlap.
  int64_t countAll(const cmTextRef& text) const;
  int64_t countAll(char c) const;

  // ---- building -----------------------------------------------------------
  using Base::append;
  int append(const cmTextRef& text);
  int prepend(const cmTextRef& text);
  int prepend(char c);
  int insert(int64_t position, const cmTextRef& text);
  int insert(int64_t position, char c);
  TVString& operator+=(const cmTextRef& text) {
    append(text);
    return *this;
  }
  TVString& operator+=(char c) {
    Base::append(c);
    return *this;
  }
  int appendNumber(int value, int base = 10) { return appendNumber(static_cast<long long>(value), base); }
  int appendNumber(long value, int base = 10) { return appendNumber(static_cast<long long>(value), base); }
  int appendNumber(long long value, int base = 10);
  int appendNumber(unsigned value, int base = 10) { return appendNumber(static_cast<unsigned long long>(value), base); }
  int appendNumber(unsigned long value, int base = 10) {
    return appendNumber(static_cast<unsigned long long>(value), base);
  }
  int appendNumber(unsigned long long value, int base = 10);
  // Items in order, the separator behind each item but the first (so two
  // items come out as item, item, separator); withTrailing adds one more.
  int appendArray(const TVArray* items, const cmTextRef& separator, bool withTrailing = false);
  template <typename T>
  int fromNumber(T value, int base = 10) {
    makeEmpty();
    return appendNumber(value, base);
  }
  int pad(int64_t len, char c = ' ');
  int surround(const cmTextRef& front, const cmTextRef& back);
  int surround(char front, char back = 0);
  int maybeSurround(const cmTextRef& front, const cmTextRef& back);
  int maybeSurround(char front, char back = 0);
  int maybeAppend(char c, bool evenIfEmpty = true);
  int maybePrepend(char c, bool evenIfEmpty = true);
  int maybeAppendFileSep();

  // ---- cutting ------------------------------------------------------------
  TVString sub(int64_t start, int64_t len = -1) const {
    TVString r;
    subInto(r, start, len);
    return r;
  }
  TVString tail(int64_t start) const { return sub(start, -1); }
  int remove(int64_t start, int64_t count);
  int removeEnd(int64_t count);
  // Drops blanks, tabs and line ends at both ends.
  int trim();
  // Replaces the first occurrence of `from` at or behind `start`.
  int replace(const cmTextRef& from, const cmTextRef& to, int64_t start = 0);
  // Replaces [start, start + count) by `to`.
  int replace(int64_t start, int64_t count, const cmTextRef& to);
  int replaceAll(const cmTextRef& from, const cmTextRef& to);
  int replaceAll(char from, char to);
  // option 'B' both ends, 'L' leading, 'T' trailing (either case); other
  // letters leave the string. all: every set character at that end, else one.
  int strip(const cmTextRef& set, char option = 'B', int all = 1);
  int strip(char first, char second, char option = 'B', int all = 1);
  int stripSpaces(char option = 'B') { return strip(" \t", option, 1); }
  int stripQuotes(bool matchingOnly = true);
  TVString parse(char separator, TVString& rest, int64_t start = 0) const;
  TVString parse(const cmTextRef& separator, TVString& rest, int64_t start = 0) const;
  TVString parseLast(char separator, TVString& rest) const;
  // Cuts at every separator, empty pieces kept. clearFirst empties the array
  // before adding (not when the source is empty).
  int split(char separator, TVArray& items, bool clearFirst = true) const;
  int split(const cmTextRef& separator, TVArray& items, bool clearFirst = true) const;
  int splitLines(TVArray& items) const;

  // ---- case (Unicode-aware) -----------------------------------------------
  int upcase();
  int lowcase();
  // First character upper case, the rest lower case.
  int capitalize();
  TVString toUpcase() const;
  TVString toLowcase() const;
  TVString toCap() const;
  // Reverses by code points.
  int reverse();
  TVString toReverse() const;

  // ---- numbers ------------------------------------------------------------
  // The core reader: 0x hexadecimal, 0b binary, leading 0 octal, optional
  // sign and U/L suffixes. Returns true and stores the value on success.
  static bool TVStringToInt64(const char* text, int64_t len, int64_t* result, bool allowSuffix, bool allowSign);
  int32_t toInt32(bool allowSuffix = true, bool allowSign = true) const;
  bool toInt32(int32_t& value, bool allowSuffix = true, bool allowSign = true) const;
  int64_t toInt64(bool allowSuffix = true, bool allowSign = true) const;
  bool toInt64(int64_t& value, bool allowSuffix = true, bool allowSign = true) const;
  int toInt() const { return toInt32(); }
  double toFloat() const;
  // The whole text as a number in the base64 alphabet; empty gives 0.
  bool toIntBase64(int64_t& value) const;
  // Digits from `position` on, which moves behind them. -1 on failure.
  int64_t parseDecimalInt(int64_t& position, int32_t length = -1, const char* terminators = nullptr) const;
  int64_t parseHexInt(int64_t& position, int32_t length = -1, const char* terminators = nullptr) const;
  int64_t parseOctalInt(int64_t& position, int32_t length = -1, const char* terminators = nullptr) const;

  // ---- encoding -----------------------------------------------------------
  // The foundation's own base64 variant (not the published text form).
  TVString getBase64EncodedString(int64_t lineLength = 0) const;
  TVString getBase64DecodedString() const;

  // ---- hashing ------------------------------------------------------------
  using Base::hash;
  static uint32_t hashString(const char* text) { return cmHashKey(text); }
  static uint32_t hashString(const char* text, int64_t len) {
    return cmHashKey(text, static_cast<size_t>(len));
  }
  static uint32_t hashStringUTF8(const char* text, int64_t len) {
    return cmHashKey(text, static_cast<size_t>(len));
  }
};

static_assert(sizeof(TVString) == 32, "TVString keeps the string's layout");

// Comparisons: case-sensitive, null equals empty.
inline bool operator==(const TVString& a, const TVString& b) { return a.equalTo(static_cast<const TVString::Base&>(b)); }
inline bool operator!=(const TVString& a, const TVString& b) { return !(a == b); }
inline bool operator==(const TVString& a, const char* b) { return a.Base::equalTo(b); }
inline bool operator!=(const TVString& a, const char* b) { return !(a == b); }
inline bool operator<(const TVString& a, const TVString& b) { return a.compare(static_cast<const TVString::Base&>(b)) < 0; }
inline bool operator<=(const TVString& a, const TVString& b) { return a.compare(static_cast<const TVString::Base&>(b)) <= 0; }
inline bool operator>(const TVString& a, const TVString& b) { return a.compare(static_cast<const TVString::Base&>(b)) > 0; }
inline bool operator>=(const TVString& a, const TVString& b) { return a.compare(static_cast<const TVString::Base&>(b)) >= 0; }

// Concatenation with a TVString on either side is evaluated at once.
TVString operator+(const TVString& a, const TVString& b);
TVString operator+(const TVString& a, const char* b);
TVString operator+(const char* a, const TVString& b);
TVString operator+(const TVString& a, char b);
TVString operator+(const TVString& a, const cmString& b);
TVString operator+(const cmString& a, const TVString& b);

}  // namespace tolvane
