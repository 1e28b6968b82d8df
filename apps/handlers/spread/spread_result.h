#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "apps/handlers/audit/audit_rules.h"
#include "asn1/spread.h"
#include "platform/message/proc_id.h"

// Records and findings as they stand in the messages of spread missions.
namespace velad {

void FillRecords(const std::vector<NERecord>& records, std::size_t begin, std::size_t end,
                 AsnSpreadNEList& out);
std::vector<NERecord> ReadRecords(const AsnSpreadNEList& records);

// As many findings as a message may hold under the limits that its receiver checks it against; the number of
// the rest.
std::size_t FillFindings(const std::vector<Finding>& findings, AsnSpreadFindingList& out);
// The findings of `size` records that begin at `first`; those of others are left out.
void AddFindings(const AsnSpreadFindingList& findings, std::size_t first, std::size_t size,
                 std::vector<Finding>& out);

// What one process did.
struct SpreadPart {
  CProcID process;
  std::size_t records;
  std::size_t checked;
  std::size_t moved;
  std::uint32_t errorCode;
  std::string text;
};
void AddPart(AsnSpreadEnd& end, const SpreadPart& part);

}  // namespace velad
