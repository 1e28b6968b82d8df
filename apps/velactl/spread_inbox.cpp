#include "apps/velactl/spread_inbox.h"

#include <utility>

#include "apps/velactl/inbox.h"
#include "platform/asncmd/asn_runtime.h"

namespace velactl {

SpreadInbox& SpreadInbox::Instance() {
  static SpreadInbox* inbox =
      new SpreadInbox;  // lives to the end: platform threads may still leave something
  return *inbox;
}

void SpreadInbox::Leave(PartReport report) {
  {
    const vela::MutexLock lock(m_mutex);
    m_reports.push_back(std::move(report));
  }
  Inbox::Instance().Wake();
}

void SpreadInbox::Leave(CProcID from, const AsnSpreadEnd& end) {
  {
    const vela::MutexLock lock(m_mutex);
    m_ends.push_back({from, std::make_unique<AsnSpreadEnd>(end)});
  }
  Inbox::Instance().Wake();
}

std::vector<PartReport> SpreadInbox::TakeReports() {
  const vela::MutexLock lock(m_mutex);
  return std::exchange(m_reports, {});
}

std::unique_ptr<AsnSpreadEnd> SpreadInbox::TakeEnd(CProcID from, std::int32_t missionID) {
  const vela::MutexLock lock(m_mutex);
  for (End& end : std::exchange(m_ends, {}))
    if (end.from == from && static_cast<std::int32_t>(end.message->missionID) == missionID)
      return std::move(end.message);
  return nullptr;
}

}  // namespace velactl
