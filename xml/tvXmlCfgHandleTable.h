// The process-wide table behind the tvXMLCFG handles, and what every function
// of the family needs to reach a document and a node through it.
//
// A handle is the index of a slot in one cmSlotTable (growth
// max(capacity + capacity/4, 10), free slots chained through the table and
// reused, latest freed first). A slot holds a tvXmlCfgEntry: the document,
// its own slot number and a reference count. The table owns its entries; an
// entry owns its document.
//
// Threading: one recursive lock guards the table and every operation on a
// handle. Take it with tvXmlCfgLock for the length of an operation; the
// helpers below expect it held. The lock is made on first use.
#pragma once

#include <cstdint>

#include "platform/cmPlatformThread.h"
#include "xml/cmMiniXml.h"

struct tvXmlCfgEntry {
  int32_t handle = -1;  // its own slot
  cmMiniXml doc;
  int32_t refCount = 0;
};

// Holds the family's lock for its lifetime.
class tvXmlCfgLock {
 public:
  tvXmlCfgLock();
  ~tvXmlCfgLock();
  tvXmlCfgLock(const tvXmlCfgLock&) = delete;
  tvXmlCfgLock& operator=(const tvXmlCfgLock&) = delete;
};

namespace tvXmlCfgTable {

// A new entry in a fresh slot, its document empty with node ids on, named
// nothing and UTF-8. Throws CM_ERR_OUT_OF_MEMORY.
tvXmlCfgEntry* newEntry();
// Frees the slot of `entry` and destroys it with its document.
void freeEntry(tvXmlCfgEntry* entry);
// The entry of `handle`, or null; null also records TVXMLCFG_ERR_BAD_HANDLE
// as the last status and tells the host's error hook.
tvXmlCfgEntry* entry(int32_t handle);
// The node `node` of the entry's document, or null with the last status
// TVXMLCFG_ERR_BAD_NODE. The declaration node id gives null without status:
// callers that accept it test for it first.
cmMiniXmlNode* node(tvXmlCfgEntry* entry, int32_t node);
// The first entry whose document has this file name (compared as the file
// system compares names), or null.
tvXmlCfgEntry* findByFileName(const char* absoluteName);
// The number of live handles, for tests.
int64_t liveCount();

// The last lookup failure: TVXMLCFG_ERR_BAD_HANDLE, TVXMLCFG_ERR_BAD_NODE
// or 0. Process-wide, like the table.
int32_t lastStatus();
void setLastStatus(int32_t status);

}  // namespace tvXmlCfgTable
