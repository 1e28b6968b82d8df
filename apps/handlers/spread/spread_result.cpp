#include "apps/handlers/spread/spread_result.h"

#include "apps/common/asn_values.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_runtime.h"

namespace velad {

using apps::SetText;
using apps::Unsigned;
void FillRecords(const std::vector<NERecord>& records, std::size_t begin, std::size_t end,
                 AsnSpreadNEList& out) {
  for (std::size_t i = begin; i < end; ++i) {
    AsnSpreadNE& record = *out.append();
    SetText(record.identifier, records[i].identifier);
    SetText(record.name, records[i].name);
    SetText(record.type, records[i].type);
    SetText(record.address, records[i].address);
    SetText(record.version, records[i].version);
  }
}

std::vector<NERecord> ReadRecords(const AsnSpreadNEList& records) {
  std::vector<NERecord> read;
  read.reserve(records.size());
  for (const AsnSpreadNE& r : records)
    read.push_back(
        {r.identifier.data(), r.name.data(), r.type.data(), r.address.data(), r.version.data(), {}});
  return read;
}

std::size_t FillFindings(const std::vector<Finding>& findings, AsnSpreadFindingList& out) {
  constexpr std::size_t elementsEach = 5;
  constexpr std::size_t bytesAround = 48;
  const vela::AsnLimits& limits = vela::ConfiguredAsnLimits();
  std::size_t elements = 1000;  // for what stands around the list
  std::size_t bytes = limits.maxBytes / 8;
  std::size_t written = 0;
  for (const Finding& finding : findings) {
    elements += elementsEach;
    bytes += bytesAround + finding.text.size();
    if (elements > limits.maxElements || bytes > limits.maxBytes) break;
    AsnSpreadFinding& one = *out.append();
    one.errorCode = static_cast<AsnIntType>(finding.fault);
    one.record = static_cast<AsnIntType>(finding.record);
    one.otherRecord = finding.other ? static_cast<AsnIntType>(*finding.other) : -1;
    SetText(one.text, finding.text);
    ++written;
  }
  return findings.size() - written;
}

void AddFindings(const AsnSpreadFindingList& findings, std::size_t first, std::size_t size,
                 std::vector<Finding>& out) {
  for (const AsnSpreadFinding& finding : findings) {
    const auto record = static_cast<std::size_t>(static_cast<AsnIntType>(finding.record));
    if (record >= size) continue;
    const auto code = Unsigned(finding.errorCode);
    out.push_back({static_cast<AuditFault>(code), first + record, {}, finding.text.data()});
  }
}

void AddPart(AsnSpreadEnd& end, const SpreadPart& part) {
  AsnSpreadPart& one = *end.parts.append();
  one.process = part.process.Number();
  one.handle = part.process.Handle();
  one.records = static_cast<AsnIntType>(part.records);
  one.checked = static_cast<AsnIntType>(part.checked);
  one.moved = static_cast<AsnIntType>(part.moved);
  one.errorCode = static_cast<AsnIntType>(part.errorCode);
  SetText(one.text, part.text);
}

}  // namespace velad
