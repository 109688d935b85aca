// VCSchema: the layout of a version cache file as constant data: the
// creation parameters of the database, and its ten tables with their
// fields and indexes in the order in which they are created. Every number
// here is stored in the file's catalogue and read by other programs, so it
// is part of the file format and never changes.
//
// createCacheSchema builds a new file by this description; the session
// (VCDataLayer) and the tests use it, the dump tool reads the same names.
//
// Constant data; any thread. createCacheSchema runs on the session's thread.
#pragma once

#include <cstdint>

class btDatabase;

// Creation parameters.
constexpr const char* VC_TYPE_TAG = "CACHE_DATABASE";
constexpr uint32_t VC_BLOCK_SIZE = 8192;
constexpr uint64_t VC_CACHE_BYTES = 0x1000000;
constexpr uint16_t VC_APPLICATION_VERSION = 20000;
constexpr const char* VC_DESCRIPTION = "Tolvane Version Control Cache Database";

struct VCFieldSpec {
  const char* name;
  uint32_t type;    // field type code: 0 string, 8 uint, 21 cmdate
  uint32_t length;  // characters of a string, 1 otherwise
  uint8_t flags;    // 2 for key fields
};

struct VCIndexSpec {
  const char* name;
  uint8_t kind;        // 0 B-tree, 4 block hash table
  uint8_t flags;       // 1 duplicates, 2 key flag, 16/32 summary width
  uint32_t threshold;
  const char* key;
};

struct VCTableSpec {
  const char* name;
  const VCFieldSpec* fields;
  uint32_t fieldCount;
  const VCIndexSpec* indexes;
  uint32_t indexCount;
  int32_t failure;          // what creation returns when this table fails
  const char* failureText;  // log line, "%i" is the step number
};

// The tables in the order of their creation.
constexpr uint32_t VC_TABLE_COUNT = 10;
const VCTableSpec* vcSchemaTables();
// The table of that name (exact spelling), or null.
const VCTableSpec* vcSchemaTable(const char* name);

// Creates `fileName` with the parameters and tables above, logging as it
// goes. 0, VC_CREATE_DATABASE_FAILED, or the failure number of the first
// table that could not be made (tables made before it stay in the file).
int32_t createCacheSchema(btDatabase* database, const char* fileName);
