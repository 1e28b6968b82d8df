#include "apps/handlers/audit/audit_archive.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <string>

#include "apps/common/texts.h"
#include "apps/handlers/audit/audit_run.h"
#include "platform/log/log_process.h"
#include "platform/os/beneath.h"
#include "platform/os/clock.h"
#include "platform/os/vela_os.h"

namespace velad {
namespace {

constexpr const char* kFolder = "var/reports";
constexpr const char* kPrefix = "audit_";

// Names in the order of time.
std::string ReportName(CProcID client, std::int32_t missionID) {
  const std::time_t now = vela::NowSeconds();
  std::tm utc{};
  gmtime_r(&now, &utc);
  char time[32];
  std::strftime(time, sizeof time, "%Y%m%dT%H%M%SZ", &utc);
  return kPrefix + std::string(time) + "_" + std::to_string(client.Number()) + "-" +
         std::to_string(client.Handle()) + "_" + std::to_string(missionID) + ".csv";
}

std::string Field(const std::string& value) {
  std::string field = "\"";
  for (const char c : value) field += c == '"' ? std::string("\"\"") : std::string(1, c);
  return field + '"';
}

std::string Report(const AuditRun& run, const std::vector<NERecord>& records) {
  std::string text =
      "# " + apps::Text("AUDIT_SUMMARY", {std::to_string(run.Checked()), std::to_string(records.size()),
                                          std::to_string(run.Findings().size())});
  if (run.ErrorCode() != 0) text += "; " + run.Reason();
  text += "\nidentifier,name,fault,text\n";
  for (const Finding& finding : run.Findings()) {
    const NERecord& record = records[finding.record];
    text += Field(Shown(record.identifier)) + ',' + Field(Shown(record.name, 128)) + ',' +
            std::string(AuditFaultName(static_cast<std::uint32_t>(finding.fault))) + ',' +
            Field(finding.text) + '\n';
  }
  return text;
}

// 0 or errno.
int Write(const std::string& name, const std::string& text) {
  vela::BeneathReplacement file(vela::BeneathFolder(vela::InstallRoot()), name);
  if (file.File() != nullptr && VELA_OS::fwrite(text.data(), 1, text.size(), file.File()) != text.size())
    return errno;
  return file.Commit();
}

void RemoveOldest(std::size_t kept) {
  const vela::BeneathFolder root(vela::InstallRoot());
  std::vector<std::string> names;
  const auto keep = [&names](const std::string& name) {
    if (name.starts_with(kPrefix)) names.push_back(name);
    return true;
  };
  root.List(kFolder, keep);
  std::sort(names.begin(), names.end());
  for (std::size_t i = 0; i + kept < names.size(); ++i) root.Remove(std::string(kFolder) + '/' + names[i]);
}

}  // namespace

void ArchiveAudit(const AuditRun& run, const std::vector<NERecord>& records, CProcID client,
                  std::int32_t missionID, int kept) {
  if (kept <= 0) return;
  const std::string name = std::string(kFolder) + '/' + ReportName(client, missionID);
  const int error = Write(name, Report(run, records));
  if (error != 0) LogProcess::Error(name + " cannot be written: " + std::strerror(error));
  RemoveOldest(static_cast<std::size_t>(kept));
}

}  // namespace velad
