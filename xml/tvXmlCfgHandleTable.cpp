#include "xml/tvXmlCfgHandleTable.h"

#include <cstring>
#include <new>

#include "platform/cmPlatformFile.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "text/cmStringCompare.h"
#include "xml/cmSlotTable.h"
#include "xml/tvXmlCfgErrors.h"
#include "xml/tvXmlCfgHostHooks.h"

namespace {

// The family's shared state: the table of handles, its lock and the last
// lookup status. Constant-initialised so that it exists before any
// constructor runs; the slot table is built on first use.
platform::Mutex gLock;
cmSlotTable* gSlots = nullptr;
int32_t gLastStatus = 0;

cmSlotTable& slots() {
  if (!gSlots) {
    gSlots = new (std::nothrow) cmSlotTable();
    if (!gSlots) throw cmException(CM_ERR_OUT_OF_MEMORY);
  }
  return *gSlots;
}

}  // namespace

tvXmlCfgLock::tvXmlCfgLock() {
  if (!gLock.initialised()) gLock.init(true);
  gLock.lock();
}

tvXmlCfgLock::~tvXmlCfgLock() { gLock.unlock(); }

namespace tvXmlCfgTable {

tvXmlCfgEntry* newEntry() {
  tvXmlCfgEntry* e = new (std::nothrow) tvXmlCfgEntry();
  if (!e) throw cmException(CM_ERR_OUT_OF_MEMORY);
  try {
    e->doc.setIdsEnabled(true);
    e->doc.reset(nullptr, CMXML_ENCODING_UTF8);
    e->handle = slots().add(e);
  } catch (...) {
    delete e;
    throw;
  }
  return e;
}

void freeEntry(tvXmlCfgEntry* e) {
  if (!e) return;
  if (gSlots && gSlots->get(e->handle) == e) gSlots->release(e->handle);
  delete e;
}

tvXmlCfgEntry* entry(int32_t handle) {
  tvXmlCfgEntry* e = gSlots ? static_cast<tvXmlCfgEntry*>(gSlots->get(handle)) : nullptr;
  if (!e) {
    gLastStatus = TVXMLCFG_ERR_BAD_HANDLE;
    tvXMLError(TVXMLCFG_ERR_BAD_HANDLE);
  }
  return e;
}

cmMiniXmlNode* node(tvXmlCfgEntry* e, int32_t id) {
  if (!e) return nullptr;
  if (id == TVXMLCFG_DECLARATION_NODE) return nullptr;
  cmMiniXmlNode* n = e->doc.nodeFromId(id);
  if (!n) gLastStatus = TVXMLCFG_ERR_BAD_NODE;
  return n;
}

tvXmlCfgEntry* findByFileName(const char* absoluteName) {
  if (!gSlots || !absoluteName) return nullptr;
  const size_t n = std::strlen(absoluteName);
  const bool caseSensitive = platform::fileSystemIsCaseSensitive();
  for (int64_t i = 0; i < gSlots->usedCount(); ++i) {
    auto* e = static_cast<tvXmlCfgEntry*>(gSlots->get(static_cast<int32_t>(i)));
    if (!e) continue;
    std::string_view name = e->doc.fileName();
    if (name.size() != n) continue;
    bool same = caseSensitive ? std::memcmp(name.data(), absoluteName, n) == 0
                              : cmStringCompare::equalFolded(name.data(), n, absoluteName, n);
    if (same) return e;
  }
  return nullptr;
}

int64_t liveCount() { return gSlots ? gSlots->liveCount() : 0; }

int32_t lastStatus() { return gLastStatus; }
void setLastStatus(int32_t status) { gLastStatus = status; }

}  // namespace tvXmlCfgTable
