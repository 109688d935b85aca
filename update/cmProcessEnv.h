// cmProcessEnv: the environment handed to a child process, as names and
// values. An empty one with "inherit" means that the child gets this
// program's environment unchanged and no block is built at all.
//
// The entries are meant to live in the foundation's cmSortedDictionary of
// strings; until that container is in runtime/ they are kept in a standard
// ordered map behind the same operations, so callers are unaffected.
//
// Owned by the caller of the start; one thread at a time.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "text/cmStringT.h"

class cmProcessEnv {
 public:
  void set(const cmString& name, const cmString& value);
  bool isEmpty() const { return entries_.empty(); }

  // The "NAME=value" block for the child: with `inherit`, this program's
  // environment with the entries laid over it; without, the entries alone.
  // The returned array ends with nullptr and lives as long as this object or
  // until the next call.
  const char* const* getProcessEnv(bool inherit);

 private:
  std::map<std::string, std::string> entries_;
  std::vector<std::string> block_;
  std::vector<const char*> pointers_;
};
