#include "update/ProductionUpdateServices.h"

#include "file/cmFileHandle.h"
#include "ingest/SvnLogReader.h"
#include "platform/cmPlatform.h"
#include "text/cmDateParts.h"
#include "text/cmDateText.h"
#include "update/RunSvn.h"

using tolvane::TVString;

// What a seam answers until the layer behind it is linked in.
static constexpr int32_t kNotLinked = -1;

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

int32_t ProductionUpdateServices::openCache(const TVString&, const TVString&, int32_t) { return kNotLinked; }

int32_t ProductionUpdateServices::getLastUpdateTime(cmDateStamp& stamp) {
  stamp = 0;
  return kNotLinked;
}

int32_t ProductionUpdateServices::setLastUpdateTime(cmDateStamp) { return kNotLinked; }

void ProductionUpdateServices::closeCache() {}

int32_t ProductionUpdateServices::parseSvnLog(const char* xmlFile) { return ParseSvnLog(cache_, xmlFile); }

int32_t ProductionUpdateServices::parseSvnLogForMaxRevision(const char* xmlFile) {
  return ParseSvnLogForMaxRevision(cache_, xmlFile);
}

void ProductionUpdateServices::deleteFile(const char* path) { fileDelete(cmPathString(path)); }
