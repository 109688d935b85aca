// Stores arbitrary bytes as the client's log in a fresh cache, the way a run
// does, then reads the cache back through the reader path. The parse must
// end in one of its documented results, the cache must close cleanly and
// reopen whole; nothing may crash or read outside its buffers.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "ingest/SvnLogReader.h"
#include "update/RunLog.h"
#include "vcache/VCCacheDump.h"
#include "vcache/VCDataLayer.h"

namespace {

std::string scratch(const char* extension) {
  static const std::string stem = [] {
    std::random_device rd;
    std::filesystem::path dir = std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
    return (dir / ("ingest_log_fuzz_" + std::to_string(rd()))).string();
  }();
  return stem + extension;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SetVerboseLog(false);
  const std::string xml = scratch(".xml"), cache = scratch(".db");
  std::FILE* f = std::fopen(xml.c_str(), "wb");
  if (!f) return 0;
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  std::remove(cache.c_str());
  {
    VCDataLayer layer("file:///fuzz/repo", cache.c_str(), 1);
    if (layer.open() != 0) std::abort();
    int32_t parsed = ParseSvnLog(&layer, xml.c_str());
    // 0 stored, -1 not readable as XML, -2 no entries.
    if (parsed != 0 && parsed != -1 && parsed != -2) std::abort();
    layer.close();
    if (layer.lastCloseStatus() != 0) std::abort();
  }
  VCCacheDump dump;
  if (dump.load(cache.c_str()) != 0) std::abort();
  dump.renderJson();
  std::remove(xml.c_str());
  std::remove(cache.c_str());
  return 0;
}
