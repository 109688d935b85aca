// VCCacheDump: reads a whole version cache file, read-only, through the
// engine, and renders its tables as text or JSON. It is the inspection
// path for the cache format: the reader program `revhoard-dump` is a thin
// shell around it.
//
// load() opens the file read-only, refuses what isn't a clean cache file of
// the current format with one line of explanation, copies every row of
// every table (in catalogue order, rows in chain order) into memory and
// closes the file again. Rendering works on that copy only, so a failure
// half way never leaves half a document behind.
//
// Value forms: text fields as they are, uint fields as numbers, cmdate
// fields as ISO text in UTC ("YYYY-MM-DDTHH:mm:ssZ"); a null field, and a
// stamp of 0, render as null in JSON and as "(null)" in text.
//
// Ownership: plain values; the database lives only inside load().
// Threading: one object per thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class VCCacheDump {
 public:
  enum class Kind { Null, Text, Number, Stamp };
  struct Value {
    Kind kind = Kind::Null;
    std::string text;     // Text, and Stamp as ISO text
    uint64_t number = 0;  // Number
  };
  struct Table {
    std::string name;
    std::vector<std::string> fields;
    std::vector<std::vector<Value>> rows;
  };

  // 0, or a negative engine status with `error` set to one line (no line
  // end) that says what is wrong with the file.
  int32_t load(const char* fileName);
  const std::string& error() const { return error_; }
  const std::vector<Table>& tables() const { return tables_; }

  std::string renderText() const;
  std::string renderJson() const;

 private:
  int32_t fail(int32_t status, const std::string& line);

  std::vector<Table> tables_;
  std::string error_;
};
