#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/os/clock.h"

namespace vela::log {

struct Record {
  WallTime time;
  std::string_view log;  // "" = the module log
  int level;
  std::uint32_t threadId;
  std::string_view text;
};

// Appends "[time],Error,[H thread] text" and a line end. Control bytes are escaped; the further lines of the
// text begin with blanks, so no text can look like a record of its own. One line end at the end is dropped.
void AppendLine(std::string& out, const Record& record);

}  // namespace vela::log
