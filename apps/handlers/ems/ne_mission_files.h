#pragma once
#include <cstdint>
#include <set>
#include <string>

#include "apps/handlers/ems/ne_records.h"
#include "platform/message/proc_id.h"

namespace velad {

// Brings the configurations that NE managers have written to var/configs/ below this process's root, as text.
// Asks the managers: needs a current task and blocks it. The caller holds the NEs' locks.
class NEMissionFiles {
 public:
  // 0 with the file's new name, from the root on, in `result`; or why not, with no name there. What stood
  // there before stays until the new content is complete. A manager that did not answer once is not asked
  // again.
  std::uint32_t Fetch(CProcID manager, NEResult& result);

 private:
  std::set<CProcID> m_silent;
};

}  // namespace velad
