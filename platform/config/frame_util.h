#pragma once
#include <string>

#include "platform/export.h"

// User configuration: table tbl_usercfg_param (section, item, value) of the database var/db/usercfg.db under
// the root (SQLite). The database is optional and opened for each call, which waits at most a second for a
// writer in another process; safe in any thread.
class VELA_EXPORT FrameUtil {
 public:
  // 0 and the value; non-zero (and an empty value) when the database, the table or the item is missing.
  static int GetUserCfgInfo(const std::string& section, const std::string& item, std::string& value);

  // Writes the item, making database and table when they are missing; 0, or non-zero when it cannot be
  // written.
  static int SetUserCfgInfo(const std::string& section, const std::string& item, const std::string& value);
};
