#include "platform/config/frame_util.h"

#include <sqlite3.h>

#include <initializer_list>
#include <memory>

#include "platform/os/vela_os.h"

namespace {

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
struct EndStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;
using Statement = std::unique_ptr<sqlite3_stmt, EndStatement>;

constexpr int kFailed = -1;
constexpr int kBusyMilliseconds = 1000;

// Null when there is no installation root or the file cannot be opened.
Database Open(int flags) {
  const std::string root = vela::InstallRoot();
  if (root.empty()) return nullptr;
  sqlite3* opened = nullptr;
  const int result = sqlite3_open_v2((root + "var/db/usercfg.db").c_str(), &opened, flags, nullptr);
  Database database(opened);  // even a failed open leaves something to close
  if (result != SQLITE_OK) return nullptr;
  sqlite3_busy_timeout(opened, kBusyMilliseconds);
  return database;
}

// The statement with its texts bound; null on failure. The texts must outlive it.
Statement Prepare(const Database& database, const char* sql,
                  std::initializer_list<const std::string*> texts) {
  sqlite3_stmt* prepared = nullptr;
  if (sqlite3_prepare_v2(database.get(), sql, -1, &prepared, nullptr) != SQLITE_OK) return nullptr;
  Statement statement(prepared);
  int index = 0;
  for (const std::string* text : texts) {
    if (sqlite3_bind_text64(prepared, ++index, text->data(), text->size(), SQLITE_STATIC, SQLITE_UTF8) !=
        SQLITE_OK)
      return nullptr;
  }
  return statement;
}

}  // namespace

int FrameUtil::GetUserCfgInfo(const std::string& section, const std::string& item, std::string& value) {
  value.clear();
  const Database database = Open(SQLITE_OPEN_READONLY);
  if (!database) return kFailed;
  const Statement query = Prepare(
      database, "select value from tbl_usercfg_param where section = ?1 and item = ?2 order by rowid limit 1",
      {&section, &item});
  if (!query || sqlite3_step(query.get()) != SQLITE_ROW) return kFailed;
  const void* const text = sqlite3_column_blob(query.get(), 0);
  const int length = sqlite3_column_bytes(query.get(), 0);
  if (sqlite3_column_type(query.get(), 0) == SQLITE_NULL) return kFailed;
  if (length > 0) value.assign(static_cast<const char*>(text), static_cast<std::size_t>(length));
  return 0;
}

int FrameUtil::SetUserCfgInfo(const std::string& section, const std::string& item, const std::string& value) {
  const Database database = Open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  if (!database) return kFailed;
  const Statement table =
      Prepare(database,
              "create table if not exists tbl_usercfg_param (section text not null, item text not "
              "null, value text, primary key (section, item))",
              {});
  if (!table || sqlite3_step(table.get()) != SQLITE_DONE) return kFailed;
  const Statement write = Prepare(database, "insert or replace into tbl_usercfg_param values (?1, ?2, ?3)",
                                  {&section, &item, &value});
  return write && sqlite3_step(write.get()) == SQLITE_DONE ? 0 : kFailed;
}
