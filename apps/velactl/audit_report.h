#pragma once
#include <string>
#include <vector>

#include "apps/common/inventory.h"

namespace SNACC {
class AsnAuditRsp;
}

namespace velactl {

// The answer of an audit as text. Findings that name records which were not sent are left out.

// Columns LINE, FAULT, NE, NAME, TEXT, then one line that sums up.
std::string AuditTable(const SNACC::AsnAuditRsp& response, const std::vector<apps::InventoryRow>& rows);

// One object; each finding on a line of its own.
std::string AuditJson(const SNACC::AsnAuditRsp& response, const std::string& file,
                      const std::vector<apps::InventoryRow>& rows);

}  // namespace velactl
