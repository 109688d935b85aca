// The small read and write interfaces that file-like objects offer to the
// code that only streams bytes: the XML parser, the buffered file, the
// database. cmI_SimpleReader reads; cmI_FileSimpleReader adds seeking and
// cmI_FileReader the size. cmI_FileWriter writes and flushes.
//
// Failures are thrown as cmException with a negative number. An object that
// implements these is used by one thread at a time.
#pragma once

#include <cstdint>

class cmI_SimpleReader {
 public:
  // Bytes read, at most `length`; 0 at the end.
  virtual int64_t read(void* buffer, int64_t length) = 0;
  virtual ~cmI_SimpleReader() = default;
};

class cmI_FileSimpleReader : public cmI_SimpleReader {
 public:
  // origin 0 start, 1 current, 2 end; returns the new position.
  virtual int64_t seek(int64_t offset, int origin) = 0;
};

class cmI_FileReader : public cmI_FileSimpleReader {
 public:
  virtual int64_t getSize() = 0;
};

class cmI_FileWriter {
 public:
  // Writes all of `length` bytes or throws; returns `length`.
  virtual int64_t write(const void* buffer, int64_t length) = 0;
  virtual void flush() = 0;
  virtual ~cmI_FileWriter() = default;
};
