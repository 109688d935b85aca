// The numbers that the version cache returns. Opening a session returns 0,
// one of the session numbers below, or a database status passed on as it
// is; creating a new file returns one of the creation numbers; the writers
// return 0, -1 (the row was stored already or refused by a key) or -2.
//
// These numbers reach the driver's exit code and the run log, so they never
// change.
#pragma once

#include <cstdint>

// Session (open).
constexpr int32_t VC_OPEN_OK = 0;
constexpr int32_t VC_OPEN_CREATE_FAILED = -1;
constexpr int32_t VC_OPEN_VERSION_MISMATCH = -2;
constexpr int32_t VC_OPEN_URL_MISMATCH = -3;
constexpr int32_t VC_OPEN_NO_REPOSITORY_ROW = -4;
constexpr int32_t VC_OPEN_NO_HANDLES = -5;
constexpr int32_t VC_OPEN_ROW_NOT_WRITTEN = -6;

// Creation of a new file: the database itself, then one number per table in
// the order of creation.
constexpr int32_t VC_CREATE_DATABASE_FAILED = -100;
constexpr int32_t VC_CREATE_REPOSITORY_FAILED = -101;
constexpr int32_t VC_CREATE_FILE_FAILED = -102;
constexpr int32_t VC_CREATE_REVISION_FAILED = -103;
constexpr int32_t VC_CREATE_BRANCH_FAILED = -104;
constexpr int32_t VC_CREATE_LABEL_FAILED = -105;
constexpr int32_t VC_CREATE_FILE_REVISION_XREF_FAILED = -106;
constexpr int32_t VC_CREATE_BRANCH_REVISION_XREF_FAILED = -107;
constexpr int32_t VC_CREATE_LABEL_REVISION_XREF_FAILED = -108;
constexpr int32_t VC_CREATE_BRANCH_EXCLUSION_FAILED = -109;
constexpr int32_t VC_CREATE_LABEL_EXCLUSION_FAILED = -110;
// Step numbers within one table: the first field is -200, each further
// field or index one lower, addTable the last.
constexpr int32_t VC_CREATE_STEP_BASE = -200;

// Writers.
constexpr int32_t VC_INSERT_NEW = 0;
constexpr int32_t VC_INSERT_EXISTS = -1;
constexpr int32_t VC_INSERT_FAILED = -2;
