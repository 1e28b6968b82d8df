#pragma once
#include <cstdint>
#include <string>

namespace velad {

// What a process reads again while it serves: the texts in its language, the debug switches, and which
// operations exclude each other. Each of the three is looked at before anything is changed.
struct ReloadFiles {
  std::string switches;  // full path; where no such file is, the switches stay
  std::string mutex;     // full path
};

// Those of this process.
ReloadFiles OwnReloadFiles();

// In `language` from now on; empty: as it is. 0, or a RELOAD_ERR_... with `reason`, one line: then all is as
// it was. One call at a time.
std::uint32_t Reload(const ReloadFiles& files, const std::string& language, std::string& reason);

}  // namespace velad
