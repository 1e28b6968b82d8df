#include "apps/velactl/audit_report.h"

#include <cstdint>
#include <string_view>

#include "apps/asn1/audit_codes.h"
#include "apps/common/texts.h"
#include "apps/velactl/asn_values.h"
#include "apps/velactl/json.h"
#include "apps/velactl/table.h"
#include "asn1/audit.h"
#include "platform/asncmd/asn_fwd.h"

namespace velactl {
namespace {

struct Line {
  std::string_view fault;
  const apps::InventoryRow* row;
  const apps::InventoryRow* other;  // null: none
  std::string name;
  std::string text;
};

const apps::InventoryRow* RowAt(const AsnInt& index, const std::vector<apps::InventoryRow>& rows) {
  const auto i = static_cast<std::int64_t>(static_cast<AsnIntType>(index));
  return i < 0 || i >= static_cast<std::int64_t>(rows.size()) ? nullptr : &rows[static_cast<std::size_t>(i)];
}

std::vector<Line> Lines(const AsnAuditRsp& response, const std::vector<apps::InventoryRow>& rows) {
  std::vector<Line> lines;
  for (const AsnAuditFinding& finding : response.findings) {
    const apps::InventoryRow* row = RowAt(finding.record, rows);
    if (row == nullptr) continue;
    const auto code = static_cast<std::uint32_t>(static_cast<AsnIntType>(finding.errorCode));
    lines.push_back({AuditFaultName(code), row, RowAt(finding.otherRecord, rows), finding.neName.data(),
                     finding.text.data()});
  }
  return lines;
}

}  // namespace

std::string AuditTable(const AsnAuditRsp& response, const std::vector<apps::InventoryRow>& rows) {
  const std::vector<Line> lines = Lines(response, rows);
  Table table({apps::Text("AUDIT_HEAD_LINE"), apps::Text("AUDIT_HEAD_FAULT"), apps::Text("AUDIT_HEAD_NE"),
               apps::Text("AUDIT_HEAD_NAME"), apps::Text("AUDIT_HEAD_TEXT")});
  for (const Line& line : lines) {
    table.Add({std::to_string(line.row->line), std::string(line.fault), line.row->identifier, line.name,
               line.other != nullptr
                   ? apps::Text("AUDIT_OTHER_LINE", {line.text, std::to_string(line.other->line)})
                   : line.text});
  }
  std::string text = lines.empty() ? "" : table.Text() + '\n';
  text += apps::Text("AUDIT_SUMMARY", {std::to_string(Number(response.checked)), std::to_string(rows.size()),
                                       std::to_string(lines.size())}) +
          '\n';
  if (Number(response.omitted) > 0)
    text += apps::Text("AUDIT_OMITTED", {std::to_string(Number(response.omitted))}) + '\n';
  return text;
}

std::string AuditJson(const AsnAuditRsp& response, const std::string& file,
                      const std::vector<apps::InventoryRow>& rows) {
  std::string text = "{\"file\": " + JsonString(file) + ", \"records\": " + std::to_string(rows.size()) +
                     ", \"checked\": " + std::to_string(Number(response.checked)) +
                     ", \"errorCode\": " + std::to_string(Number(response.errorCode)) + ", \"reason\": " +
                     JsonString(response.reason != nullptr ? response.reason->data() : std::string()) +
                     ", \"omitted\": " + std::to_string(Number(response.omitted)) + ", \"findings\": [";
  const char* separator = "\n";
  for (const Line& line : Lines(response, rows)) {
    text += separator;
    text += "{\"line\": " + std::to_string(line.row->line) + ", \"fault\": " + JsonString(line.fault) +
            ", \"identifier\": " + JsonString(line.row->identifier) +
            ", \"name\": " + JsonString(line.row->name) +
            ", \"otherLine\": " + (line.other != nullptr ? std::to_string(line.other->line) : "null") +
            ", \"text\": " + JsonString(line.text) + "}";
    separator = ",\n";
  }
  return text + "\n]}\n";
}

}  // namespace velactl
