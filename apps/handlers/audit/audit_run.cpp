#include "apps/handlers/audit/audit_run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>

#include "apps/common/texts.h"
#include "util/basicutil/progress_api.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/taskcontext.h"

namespace velad {
namespace {

// Shares of the whole, in percent.
constexpr int kFormSpan = 5;
constexpr int kTypeSpan = 90;
constexpr int kCompareSpan = 5;

constexpr EndCodes kEndCodes = {AUDIT_ERR_CANCELED, AUDIT_ERR_STOPPING, AUDIT_ERR_TIMEOUT,
                                AUDIT_ERR_CLIENT_GONE};

}  // namespace

// The progress of one step, within the span that is open. Reports only what moves the whole mission by about
// a percent, so that the client is not flooded.
class AuditRun::Step {
 public:
  // `share`: of the whole mission, in percent.
  Step(NSTE_util::TETaskContext& context, std::string text, std::size_t records, float share)
      : m_context(context), m_info(text), m_records(records) {
    m_stride = share < 1 ? 100 : static_cast<int>(std::ceil(100 / share));
    m_context.SendProgress(0, m_info);
  }

  void RecordDone() {
    const auto percent = static_cast<int>(++m_done * 100 / m_records);
    if (percent < m_last + m_stride) return;
    m_last = percent;
    m_context.SendProgress(percent, m_info);
  }

 private:
  NSTE_util::TETaskContext& m_context;
  NSTE_util::TaskProgressInfo m_info;
  std::size_t m_records;
  std::size_t m_done = 0;
  int m_stride;
  int m_last = 0;
};

AuditRun::AuditRun(NSTE_util::TETaskContext& context, const std::vector<NERecord>& records,
                   const NETypes& types, std::uint32_t pauseMicroseconds)
    : m_context(context), m_watch(context), m_records(records), m_types(types), m_pause(pauseMicroseconds) {}

void AuditRun::Run() {
  if (CheckForms() && CheckTypes() && CompareAll())
    m_context.SendProgress(100, NSTE_util::TaskProgressInfo(apps::Text("AUDIT_DONE")));
  std::stable_sort(m_findings.begin(), m_findings.end(),
                   [](const Finding& a, const Finding& b) { return a.record < b.record; });
}

std::string AuditRun::Reason() const {
  if (m_errorCode == 0) return {};
  return apps::ErrorText(m_errorCode, {std::to_string(m_checked), std::to_string(m_records.size())});
}

bool AuditRun::CheckForms() {
  const NSTE_util::ProgressSpanGuard span(kFormSpan);
  Step step(m_context, apps::Text("AUDIT_READING", {std::to_string(m_records.size())}), m_records.size(),
            kFormSpan);
  for (std::size_t i = 0; i < m_records.size(); ++i) {
    if (Ended()) return false;
    CheckForm(m_records[i], i, m_findings);
    Report();
    step.RecordDone();
  }
  return true;
}

bool AuditRun::CheckTypes() {
  std::map<std::string, std::vector<std::size_t>> groups;  // unknown types together, under ""
  for (std::size_t i = 0; i < m_records.size(); ++i)
    groups[m_types.Find(m_records[i].type) != nullptr ? m_records[i].type : ""].push_back(i);

  const NSTE_util::ProgressSpanGuard all(kTypeSpan);
  for (const auto& [type, members] : groups) {
    const float share = 100.0F * static_cast<float>(members.size()) / static_cast<float>(m_records.size());
    const NSTE_util::ProgressSpanGuard one(share);
    const std::string what = type.empty() ? apps::Text("AUDIT_UNKNOWN_TYPES") : apps::TypeName(type);
    Step step(m_context, apps::Text("AUDIT_CHECKING", {what, std::to_string(members.size())}), members.size(),
              share * kTypeSpan / 100);
    for (const std::size_t i : members) {
      if (Ended()) return false;
      CheckType(m_records[i], i, m_types, m_findings);
      Report();
      Pause();
      ++m_checked;
      step.RecordDone();
    }
  }
  return true;
}

bool AuditRun::CompareAll() {
  const NSTE_util::ProgressSpanGuard span(kCompareSpan);
  Step step(m_context, apps::Text("AUDIT_COMPARING"), m_records.size(), kCompareSpan);
  CrossCheck check;
  for (std::size_t i = 0; i < m_records.size(); ++i) {
    if (Ended()) return false;
    check.Add(m_records[i], i, m_findings);
    Report();
    step.RecordDone();
  }
  return true;
}

void AuditRun::Report() {
  for (; m_reported < m_findings.size(); ++m_reported) {
    const Finding& finding = m_findings[m_reported];
    m_context.AppendResult({static_cast<std::uint32_t>(finding.fault), finding.text});
  }
}

bool AuditRun::Ended() {
  m_errorCode = CodeOf(m_watch.Ended(), kEndCodes);
  return m_errorCode != 0;
}

void AuditRun::Pause() {
  if (m_pause != 0) m_watch.PauseUntil(std::chrono::steady_clock::now() + std::chrono::microseconds(m_pause));
}

}  // namespace velad
