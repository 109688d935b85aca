#include "update/ProductionUpdateServices.h"

#include "file/cmFileHandle.h"
#include "ingest/SvnLogReader.h"
#include "platform/cmPlatform.h"
#include "text/cmDateParts.h"
#include "text/cmDateText.h"
#include "update/RunSvn.h"
#include "vcache/VCDataLayer.h"

using tolvane::TVString;

// What the time calls answer when no cache session is open.
static constexpr int32_t kNoSession = -1;

// Out of line, where the session type is complete.
ProductionUpdateServices::ProductionUpdateServices() = default;
ProductionUpdateServices::~ProductionUpdateServices() { closeCache(); }

uint32_t ProductionUpdateServices::tickCount() { return platform::tickCount(); }

cmDateStamp ProductionUpdateServices::currentTime() { return cmDateParts::nowStamp(); }

int32_t ProductionUpdateServices::localIsoText(cmDateStamp stamp, TVString& text) {
  text = cmDateText::toText(cmDateParts::fromStampLocal(stamp), 3);
  return 0;
}

int32_t ProductionUpdateServices::localDateByPattern(cmDateStamp stamp, const char* pattern, TVString& text) {
  text = cmDateText::format(cmDateParts::fromStampLocal(stamp), pattern);
  return 0;
}

int32_t ProductionUpdateServices::runSvn(const TVString& svnPath, const TVString& arguments) {
  return RunSvn(svnPath.getCMString(), arguments.getCMString());
}

int32_t ProductionUpdateServices::openCache(const TVString& repositoryUrl, const TVString& databaseFile,
                                           int32_t dbVersion) {
  closeCache();
  cache_ = std::make_unique<VCDataLayer>(repositoryUrl, databaseFile, static_cast<uint32_t>(dbVersion));
  int32_t status = cache_->open();
  // A failed session is closed already; the object has nothing more to do.
  if (status != 0) cache_.reset();
  return status;
}

int32_t ProductionUpdateServices::getLastUpdateTime(cmDateStamp& stamp) {
  stamp = 0;
  return cache_ ? cache_->getLastUpdateTime(stamp) : kNoSession;
}

int32_t ProductionUpdateServices::setLastUpdateTime(cmDateStamp stamp) {
  return cache_ ? cache_->setLastUpdateTime(stamp) : kNoSession;
}

int32_t ProductionUpdateServices::closeCache() {
  if (!cache_) return 0;
  cache_->close();
  int32_t status = cache_->lastCloseStatus();
  cache_.reset();
  return status;
}

int32_t ProductionUpdateServices::parseSvnLog(const char* xmlFile) { return ParseSvnLog(cache_.get(), xmlFile); }

int32_t ProductionUpdateServices::parseSvnLogForMaxRevision(const char* xmlFile) {
  return ParseSvnLogForMaxRevision(cache_.get(), xmlFile);
}

void ProductionUpdateServices::deleteFile(const char* path) { fileDelete(cmPathString(path)); }
