// Opens arbitrary bytes as a database file, read-only and then for writing,
// and walks what the header points at. Every path must end in a status;
// nothing may crash, hang or read outside its buffers.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "database/btBlockStorage.h"
#include "database/btDatabase.h"
#include "database/btSeekSet.h"
#include "database/btVariableLengthStorageBlock.h"

namespace {

class AnyObject : public btStoredObject {
 public:
  uint32_t storedSize() const override { return image ? 1 : 0; }
};

std::string scratchName() {
  static std::string name = [] {
    std::random_device rd;
    return (std::filesystem::temp_directory_path() / ("db_open_fuzz_" + std::to_string(rd()) + ".tvdb")).string();
  }();
  return name;
}

void walkReadOnly(btDatabase& db) {
  btCacheFile* cf = db.getCacheFile();
  uint64_t B = db.blockSize();
  // Free chain.
  btSeek s = db.header().freeBlockHead;
  for (int hops = 0; s && hops < 64; hops++) {
    uint64_t p = db.decodeSeek(s);
    uint8_t* data = cf->getBlockAt(p - p % B, 0);
    if (!data) break;
    s = btGet32(data + 4);
  }
  // Data chain and every slot in it.
  s = db.header().dataBlockHead;
  for (int hops = 0; s && hops < 64; hops++) {
    btVariableLengthStorageBlock area;
    if (loadObject(&area, cf, s, false) < 0) break;
    for (uint32_t slot = 0; slot < area.slotCount && slot < 64; slot++) {
      AnyObject obj;
      loadSlotObject(&obj, cf, s + slot, false);
    }
    s = area.next;
  }
  // Catalogue chain (raw positions).
  s = db.header().catalogueBlockHead;
  for (int hops = 0; s && hops < 64; hops++) {
    btVariableLengthStorageBlock area;
    if (s >= db.logicalFileSize() || loadObject(&area, cf, s, false, 0, true) < 0) break;
    s = area.next;
  }
  // Any block that could hold a stored list.
  for (uint64_t n = 1; n < 64 && (n + 1) * B <= db.logicalFileSize(); n++) {
    btSeekSet set;
    if (loadSlotObject(&set, cf, static_cast<btSeek>(n * B + 4), false) == 0) set.countAll(false);
  }
}

void changeSomething(btDatabase& db) {
  btCacheFile* cf = db.getCacheFile();
  int32_t status = 0;
  btSeek block = allocateBlock(&db, cf, BT_BLOCK_BTREE_NODE, &status);
  uint8_t bytes[40] = {40};
  btSeek seeks[3] = {};
  for (btSeek& seek : seeks) placeBytes(&db, cf, bytes, sizeof bytes, &seek, nullptr, nullptr, nullptr);
  if (seeks[1]) releaseSlot(&db, cf, seeks[1], nullptr);
  if (block) freeBlock(&db, cf, block);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string path = scratchName();
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return 0;
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  {
    btDatabase db;
    if (db.openDatabase(path.c_str(), 64 * 1024, 1, 1, 1) == 0) walkReadOnly(db);
    db.closeDatabase();
  }
  {
    btDatabase db;
    if (db.openDatabase(path.c_str(), 4 * 65536, 0, 0, 1) == 0) {
      walkReadOnly(db);
      // A header may claim up to 64 GiB; growing the file to that is what
      // a write would do, and is no use here.
      if (db.logicalFileSize() <= (1u << 20)) changeSomething(db);
    }
    db.closeDatabase();
  }
  std::remove(path.c_str());
  return 0;
}
