#include "vcache/VCCacheDump.h"

#include <cstdio>

#include "database/btDatabase.h"
#include "database/btFieldType.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/btTableIterator.h"
#include "text/cmDateParts.h"
#include "text/cmDateText.h"
#include "vcache/VCSchema.h"

namespace {

constexpr uint16_t kFormatVersion = 2400;

std::string isoText(cmDateStamp stamp) {
  cmString text = cmDateText::toText(cmDateParts::fromStamp(stamp), 3);
  return std::string(text.data(), static_cast<size_t>(text.length()));
}

VCCacheDump::Value readValue(const btStoredRecord& record, uint32_t field, uint32_t type) {
  VCCacheDump::Value v;
  if (isNull(&record, field)) return v;
  if (type == BT_FIELD_CMDATE || type == BT_FIELD_DATE) {
    cmDateStamp stamp = 0;
    if (getDate(&record, field, &stamp) == 0 && stamp != 0) {
      v.kind = VCCacheDump::Kind::Stamp;
      v.text = isoText(stamp);
    }
    return v;
  }
  const btFieldTypeInfo* info = btFieldTypeOf(type);
  if (info && info->text) {
    tolvane::TVString text;
    if (getText(&record, field, &text) == 0 && !text.isNull()) {
      v.kind = VCCacheDump::Kind::Text;
      v.text.assign(text.data(), static_cast<size_t>(text.length()));
    }
    return v;
  }
  v.kind = VCCacheDump::Kind::Number;
  v.number = getUnsigned(&record, field);
  return v;
}

void appendJsonString(std::string& out, const std::string& text) {
  out += '"';
  for (unsigned char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", c);
          out += buf;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  out += '"';
}

// Text form of a value: line ends and tabs of comments are written as
// escapes so that every field stays on its line.
void appendPlain(std::string& out, const VCCacheDump::Value& v) {
  switch (v.kind) {
    case VCCacheDump::Kind::Null: out += "(null)"; return;
    case VCCacheDump::Kind::Number: out += std::to_string(v.number); return;
    case VCCacheDump::Kind::Stamp: out += v.text; return;
    case VCCacheDump::Kind::Text: break;
  }
  for (char c : v.text) {
    if (c == '\n') out += "\\n";
    else if (c == '\r') out += "\\r";
    else if (c == '\t') out += "\\t";
    else if (c == '\\') out += "\\\\";
    else out += c;
  }
}

}  // namespace

int32_t VCCacheDump::fail(int32_t status, const std::string& line) {
  tables_.clear();
  error_ = line;
  return status;
}

int32_t VCCacheDump::load(const char* fileName) {
  tables_.clear();
  error_.clear();
  std::string name(fileName);
  btDatabase db(nullptr);
  int32_t status = db.openDatabase(fileName, VC_CACHE_BYTES, 1, 0, 1);
  switch (status) {
    case 0: break;
    case BT_STATUS_FILE_NOT_FOUND:
      return fail(status, name + ": no such file");
    case BT_STATUS_BAD_MAGIC:
      return fail(status, name + ": not a database file (short header or wrong magic)");
    case BT_STATUS_BAD_VERSION:
      return fail(status, name + ": unknown database format version");
    case BT_STATUS_NOT_CLOSED_CLEANLY:
      return fail(status, name + ": the file was not closed cleanly (open-for-write marker set)");
    default:
      return fail(status, name + ": cannot be opened as a database (status " + std::to_string(status) + ")");
  }
  if (db.header().version != kFormatVersion) {
    int version = db.header().version;
    db.closeDatabase();
    return fail(BT_STATUS_OLD_VERSION, name + ": older database format " + std::to_string(version) +
                                           ", this reader knows " + std::to_string(kFormatVersion));
  }
  if (!db.getTable("repository")) {
    db.closeDatabase();
    return fail(BT_STATUS_NO_SUCH_TABLE, name + ": not a version cache (no repository table)");
  }

  btCatalog* catalog = db.catalog();
  for (uint32_t t = 0; t < catalog->count(); ++t) {
    btTableInfo* info = catalog->table(t);
    if (!info) {
      db.closeDatabase();
      return fail(BT_STATUS_BAD_TABLE_INFO, name + ": damaged catalogue at table " + std::to_string(t));
    }
    Table table;
    table.name = info->name();
    for (uint32_t f = 0; f < info->fieldCount(); ++f) table.fields.emplace_back(info->field(f)->name);
    uint32_t expected = info->hdr.recordCount;
    {
      btTableIterator it(info);
      btStoredRecord record;
      int32_t rc = expected == 0 ? BT_STATUS_NOT_FOUND : seekToFirst(&db, &it, &record);
      while (rc == 0) {
        std::vector<Value> row;
        for (uint32_t f = 0; f < info->fieldCount(); ++f) row.push_back(readValue(record, f, info->field(f)->type));
        table.rows.push_back(std::move(row));
        // A damaged chain could loop; the record count bounds the walk.
        if (table.rows.size() > expected) break;
        rc = seekToNext(&db, &it, &record);
      }
      if (rc != 0 && rc != BT_STATUS_NOT_FOUND) status = rc;
    }
    if (status != 0 || table.rows.size() != expected) {
      db.closeDatabase();
      return fail(status != 0 ? status : BT_STATUS_BAD_LIST,
                  name + ": damaged table " + table.name + " (" + std::to_string(table.rows.size()) + " of " +
                      std::to_string(expected) + " rows readable)");
    }
    tables_.push_back(std::move(table));
  }
  db.closeDatabase();
  return 0;
}

std::string VCCacheDump::renderText() const {
  std::string out;
  for (const Table& t : tables_) {
    out += "table " + t.name + " (" + std::to_string(t.rows.size()) + (t.rows.size() == 1 ? " row)\n" : " rows)\n");
    for (size_t r = 0; r < t.rows.size(); ++r) {
      out += "  row " + std::to_string(r) + "\n";
      for (size_t f = 0; f < t.fields.size(); ++f) {
        out += "    " + t.fields[f] + ": ";
        appendPlain(out, t.rows[r][f]);
        out += '\n';
      }
    }
  }
  return out;
}

std::string VCCacheDump::renderJson() const {
  std::string out = "{";
  for (size_t i = 0; i < tables_.size(); ++i) {
    const Table& t = tables_[i];
    out += i ? ",\n  " : "\n  ";
    appendJsonString(out, t.name);
    out += ": [";
    for (size_t r = 0; r < t.rows.size(); ++r) {
      out += r ? ",\n    {" : "\n    {";
      for (size_t f = 0; f < t.fields.size(); ++f) {
        if (f) out += ", ";
        appendJsonString(out, t.fields[f]);
        out += ": ";
        const Value& v = t.rows[r][f];
        switch (v.kind) {
          case Kind::Null: out += "null"; break;
          case Kind::Number: out += std::to_string(v.number); break;
          case Kind::Text:
          case Kind::Stamp: appendJsonString(out, v.text); break;
        }
      }
      out += "}";
    }
    out += t.rows.empty() ? "]" : "\n  ]";
  }
  out += tables_.empty() ? "}\n" : "\n}\n";
  return out;
}
