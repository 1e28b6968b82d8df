#include "apps/velactl/spread_report.h"

#include <cstdint>

#include "apps/common/asn_values.h"
#include "apps/common/texts.h"
#include "apps/velactl/asn_values.h"
#include "apps/velactl/audit_report.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/json.h"
#include "apps/velactl/table.h"
#include "asn1/audit.h"
#include "platform/asncmd/asn_runtime.h"

namespace velactl {
namespace {

using apps::SetText;

std::string Address(const AsnInt& process, const AsnInt& handle) {
  return AddressText(Process(process, handle));
}

void FillAudit(const AsnSpreadEnd& end, const std::vector<apps::InventoryRow>& rows, AsnAuditRsp& audit) {
  audit.checked = end.checked;
  audit.errorCode = end.errorCode;
  audit.omitted = end.omitted;
  if (Number(end.errorCode) != 0) audit.reason = new AsnOcts(end.reason);
  for (const AsnSpreadFinding& finding : end.findings) {
    AsnAuditFinding& one = *audit.findings.append();
    one.errorCode = finding.errorCode;
    one.record = finding.record;
    one.otherRecord = finding.otherRecord;
    one.text = finding.text;
    const auto record = static_cast<std::size_t>(Number(finding.record));
    if (record < rows.size()) SetText(one.neName, rows[record].name);
  }
}

std::string PartTable(const AsnSpreadEnd& end) {
  Table table({apps::Text("SPREAD_HEAD_PROCESS"), apps::Text("SPREAD_HEAD_RECORDS"),
               apps::Text("SPREAD_HEAD_CHECKED"), apps::Text("SPREAD_HEAD_MOVED"),
               apps::Text("SPREAD_HEAD_STATE")});
  for (const AsnSpreadPart& part : end.parts)
    table.Add({Address(part.process, part.handle), NumberText(part.records), NumberText(part.checked),
               NumberText(part.moved),
               Number(part.errorCode) == 0 ? apps::Text("SPREAD_PART_DONE") : std::string(part.text.data())});
  return table.Text();
}

// "101/1 45%, 102/1 20% 0x4101F022"
std::string Parts(const AsnMission& mission) {
  std::string text;
  for (const AsnMissionPart& part : mission.parts) {
    if (!text.empty()) text += ", ";
    text += Address(part.process, part.handle) + ' ' + NumberText(part.percent) + '%';
    if (Number(part.errorCode) != 0)
      text += ' ' + HexCode(Unsigned(part.errorCode));
    else if (Number(part.stopped) != 0)
      text += ' ' + apps::Text("MISSIONS_STOPPED");
  }
  return text;
}

}  // namespace

std::string SpreadTable(const AsnSpreadEnd& end, const std::vector<apps::InventoryRow>& rows) {
  AsnAuditRsp audit;
  FillAudit(end, rows, audit);
  return AuditTable(audit, rows) + '\n' + PartTable(end);
}

std::string SpreadJson(const AsnSpreadEnd& end, const std::string& file,
                       const std::vector<apps::InventoryRow>& rows) {
  AsnAuditRsp audit;
  FillAudit(end, rows, audit);
  std::string text = "{\"audit\": " + AuditJson(audit, file, rows) + ", \"parts\": [";
  const char* separator = "\n";
  for (const AsnSpreadPart& part : end.parts) {
    text += separator;
    text += "{\"process\": " + JsonString(Address(part.process, part.handle)) +
            ", \"records\": " + NumberText(part.records) + ", \"checked\": " + NumberText(part.checked) +
            ", \"moved\": " + NumberText(part.moved) + ", \"errorCode\": " + NumberText(part.errorCode) +
            ", \"text\": " + JsonString(part.text.data()) + '}';
    separator = ",\n";
  }
  return text + "\n]}\n";
}

std::string MissionTable(const AsnMissionListRsp& list) {
  if (list.missions.size() == 0) return apps::Text("MISSIONS_NONE") + '\n';
  Table table({apps::Text("MISSIONS_HEAD_MISSION"), apps::Text("MISSIONS_HEAD_OWNER"),
               apps::Text("MISSIONS_HEAD_CLIENT"), apps::Text("MISSIONS_HEAD_DONE"),
               apps::Text("MISSIONS_HEAD_AGE"), apps::Text("MISSIONS_HEAD_PARTS")});
  for (const AsnMission& mission : list.missions)
    table.Add({HexCode(Unsigned(mission.missionID)), mission.owner.data(),
               Address(mission.client, mission.clientHandle), NumberText(mission.percent) + '%',
               apps::Text("MISSIONS_AGE", {NumberText(mission.age)}), Parts(mission)});
  return table.Text();
}

}  // namespace velactl
