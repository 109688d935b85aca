// ProductionUpdateServices: the services of a real run. Clock and time come
// from the platform and the date layer, the client run from RunSvn, the
// reading of the client's log from the log document reader (which hands the
// open cache session to the ingest passes), file removal from the file
// layer.
//
// The cache session is a VCDataLayer made and opened by openCache and
// closed and destroyed by closeCache. Without an open session the time
// calls answer -1 (getLastUpdateTime with a stamp of 0), and the parse
// calls hand the passes a null cache.
//
// Ownership: owns the cache session between openCache and closeCache.
// Threading: one run on one thread.
#pragma once

#include <memory>

#include "update/UpdateServices.h"

class VCDataLayer;

class ProductionUpdateServices : public UpdateServices {
 public:
  ProductionUpdateServices();
  ~ProductionUpdateServices() override;
  ProductionUpdateServices(const ProductionUpdateServices&) = delete;
  ProductionUpdateServices& operator=(const ProductionUpdateServices&) = delete;

  uint32_t tickCount() override;
  cmDateStamp currentTime() override;
  int32_t localIsoText(cmDateStamp stamp, tolvane::TVString& text) override;
  int32_t localDateByPattern(cmDateStamp stamp, const char* pattern, tolvane::TVString& text) override;
  int32_t runSvn(const tolvane::TVString& svnPath, const tolvane::TVString& arguments) override;
  int32_t openCache(const tolvane::TVString& repositoryUrl, const tolvane::TVString& databaseFile,
                    int32_t dbVersion) override;
  int32_t getLastUpdateTime(cmDateStamp& stamp) override;
  int32_t setLastUpdateTime(cmDateStamp stamp) override;
  int32_t closeCache() override;
  int32_t parseSvnLog(const char* xmlFile) override;
  int32_t parseSvnLogForMaxRevision(const char* xmlFile) override;
  void deleteFile(const char* path) override;

 protected:
  // The open cache session that the ingest passes write to; null when none
  // is open.
  VCDataLayer* cacheSession() const { return cache_.get(); }

 private:
  std::unique_ptr<VCDataLayer> cache_;
};
