// ProductionUpdateServices: the services of a real run. Clock and time come
// from the platform and the date layer, the client run from RunSvn, the
// reading of the client's log from the log document reader (which hands the
// open cache session to the ingest passes), file removal from the file
// layer.
//
// Seams not yet linked answer with the documented failure of the operation
// they stand for, so that a run ends cleanly with the matching exit code:
//   openCache                  -1 (the cache could be neither opened nor made)
//   getLastUpdateTime          -1 with a stamp of 0
//   setLastUpdateTime          -1
//   localIsoText, localDateByPattern  -1 with an empty text
//
// Ownership: owns the cache session between openCache and closeCache.
// Threading: one run on one thread.
#pragma once

#include "update/UpdateServices.h"

class VCDataLayer;

class ProductionUpdateServices : public UpdateServices {
 public:
  ProductionUpdateServices() = default;
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
  void closeCache() override;
  int32_t parseSvnLog(const char* xmlFile) override;
  int32_t parseSvnLogForMaxRevision(const char* xmlFile) override;
  void deleteFile(const char* path) override;

 protected:
  // The open cache session that the ingest passes write to; null until the
  // cache is linked.
  VCDataLayer* cacheSession() const { return cache_; }

 private:
  VCDataLayer* cache_ = nullptr;
};
