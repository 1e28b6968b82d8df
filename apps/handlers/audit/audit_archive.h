#pragma once
#include <cstdint>
#include <vector>

#include "apps/handlers/audit/audit_rules.h"
#include "platform/message/proc_id.h"

namespace velad {

class AuditRun;

// Writes what an audit has found to a file var/reports/audit_<UTC>_<client>_<mission>.csv below the root, for
// users to fetch, and removes the oldest ones but `kept`; 0: writes none. The first line, behind "#", tells
// how far the audit came; the next one names the columns. A failure is logged. Any thread.
void ArchiveAudit(const AuditRun& run, const std::vector<NERecord>& records, CProcID client,
                  std::int32_t missionID, int kept);

}  // namespace velad
