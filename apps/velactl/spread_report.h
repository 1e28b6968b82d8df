#pragma once
#include <string>
#include <vector>

#include "apps/common/inventory.h"
#include "asn1/spread.h"

namespace velactl {

// The result of a spread mission as text: the table of findings as an audit prints it, then a table of the
// processes and what each did.
std::string SpreadTable(const AsnSpreadEnd& end, const std::vector<apps::InventoryRow>& rows);

// One object: the audit's as "audit", and the array "parts".
std::string SpreadJson(const AsnSpreadEnd& end, const std::string& file,
                       const std::vector<apps::InventoryRow>& rows);

// The live missions of a process: columns MISSION, OWNER, CLIENT, DONE, AGE, PARTS.
std::string MissionTable(const AsnMissionListRsp& list);

}  // namespace velactl
