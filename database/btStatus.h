// Status codes of the database engine. Every engine operation returns 0 or
// one of these negative numbers; the engine throws nothing. The values are
// stable: the program writes them to its log and uses some as exit codes.
// Foundation codes pass through as well: -8 for lack of memory or a failed
// block read, -34 for a failed write, -2 for a file that does not exist.
#pragma once

#include <cstdint>

constexpr int32_t BT_STATUS_OK = 0;

// Foundation codes that the engine hands on unchanged.
constexpr int32_t BT_STATUS_NO_MEMORY = -8;       // also: a block read failed
constexpr int32_t BT_STATUS_WRITE_FAILED = -34;   // a block or header write failed
constexpr int32_t BT_STATUS_FILE_NOT_FOUND = -2;  // open of a missing file

constexpr int32_t BT_STATUS_KEY_VIOLATION = -3900;          // unique key exists; auto-numbers used up
constexpr int32_t BT_STATUS_NOT_FOUND = -3901;              // key or record not found, end of a scan
constexpr int32_t BT_STATUS_NOT_CLOSED_CLEANLY = -3903;     // open-for-write marker set
constexpr int32_t BT_STATUS_BAD_VERSION = -3905;            // version outside 1000..2400
constexpr int32_t BT_STATUS_BAD_MAGIC = -3906;              // short header or wrong magic
constexpr int32_t BT_STATUS_UNSUPPORTED = -3908;            // no stored form; object too large for a new block
constexpr int32_t BT_STATUS_NOT_NULLABLE = -3909;           // null on a fixed field without flag 16
constexpr int32_t BT_STATUS_BLOCK_FULL = -3911;             // no room or no slot in a block
constexpr int32_t BT_STATUS_BAD_SLOT = -3912;               // slot number out of range or empty
constexpr int32_t BT_STATUS_BAD_BLOCK_SIZE = -3913;         // not a multiple of 512 or out of range
constexpr int32_t BT_STATUS_RECORD_REJECTED = -3914;        // a required field is null
constexpr int32_t BT_STATUS_BAD_FIELD = -3915;              // field number out of range; index not usable in insert
constexpr int32_t BT_STATUS_TABLE_NOT_LOADED = -3918;       // a table just added cannot be loaded
constexpr int32_t BT_STATUS_WRONG_FIELD_TYPE = -3920;       // accessor does not suit the field type
constexpr int32_t BT_STATUS_NO_SUCH_TABLE = -3921;
constexpr int32_t BT_STATUS_NO_SUCH_FIELD = -3923;
constexpr int32_t BT_STATUS_NO_SUCH_INDEX = -3924;
constexpr int32_t BT_STATUS_NOT_READY = -3925;              // no image yet, or conversion impossible
constexpr int32_t BT_STATUS_FIELD_NOT_INDEXABLE = -3926;
constexpr int32_t BT_STATUS_DUPLICATE_FIELD = -3927;
constexpr int32_t BT_STATUS_DUPLICATE_INDEX = -3928;
constexpr int32_t BT_STATUS_DUPLICATE_TABLE = -3929;
constexpr int32_t BT_STATUS_NULL_FIELD_NAME = -3930;
constexpr int32_t BT_STATUS_NULL_INDEX_NAME = -3931;
constexpr int32_t BT_STATUS_NOT_AUTONUMBERED = -3934;
constexpr int32_t BT_STATUS_NO_DATABASE = -3935;            // table without database or cache
constexpr int32_t BT_STATUS_NO_TABLE = -3937;               // null table, or an index without one
constexpr int32_t BT_STATUS_NO_INDEX_ROOT = -3938;
constexpr int32_t BT_STATUS_BAD_ADDRESS = -3939;            // position outside the file, or a bad slot seek
constexpr int32_t BT_STATUS_READ_ONLY = -3942;
constexpr int32_t BT_STATUS_BLOCK_TOO_LARGE = -3944;        // block size above the cache's
constexpr int32_t BT_STATUS_STORED_FIELD_LIMIT = -3945;     // stored table with more than 1024 fields
constexpr int32_t BT_STATUS_TABLE_FULL = -3946;             // 256 fields or indexes
constexpr int32_t BT_STATUS_TOO_MANY_TABLES = -3947;        // 64 tables
constexpr int32_t BT_STATUS_BAD_NODE = -3948;               // B-tree node leaf or compact byte above 1
constexpr int32_t BT_STATUS_BAD_TABLE_INFO = -3949;         // fixed part not smaller than the block
constexpr int32_t BT_STATUS_BAD_FILE_SIZE = -3950;          // logical size out of range
constexpr int32_t BT_STATUS_BAD_BLOCK = -3951;              // bad slotted block header, or a missing block
constexpr int32_t BT_STATUS_BAD_LIST = -3952;               // btSeekSet count above capacity
constexpr int32_t BT_STATUS_NOT_IN_LIST = -3953;
constexpr int32_t BT_STATUS_ALREADY_IN_LIST = -3954;
constexpr int32_t BT_STATUS_CACHE_TOO_SMALL = -3956;        // budget below 4 blocks
constexpr int32_t BT_STATUS_NO_REBUILD_SOURCE = -3969;
constexpr int32_t BT_STATUS_NO_ITERABLE_INDEX = -3971;
constexpr int32_t BT_STATUS_FILE_FULL = -3983;              // size limit of the file reached
constexpr int32_t BT_STATUS_OBJECT_OVERRUNS_BLOCK = -3987;
constexpr int32_t BT_STATUS_OLD_VERSION = -3988;            // read-write open of an older version
constexpr int32_t BT_STATUS_HASH_COLLISION = -3989;
constexpr int32_t BT_STATUS_COMPRESSION_FAILED = -3990;
