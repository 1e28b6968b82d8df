#include "apps/handlers/spread/spread_work.h"

#include <algorithm>
#include <chrono>

#include "util/basicutil/progress_if.h"

namespace velad {
namespace {

// Shares of a piece, in percent.
constexpr int kFormShare = 20;
constexpr int kTypeShare = 80;

}  // namespace

SpreadWork::SpreadWork(RequestWatch& watch, long subMission, const std::vector<NERecord>& records,
                       const NETypes& types, unsigned pauseMicroseconds)
    : m_watch(watch),
      m_subMission(subMission),
      m_records(records),
      m_types(types),
      m_pause(pauseMicroseconds) {}

void SpreadWork::Run() {
  const NSTE_util::TEOperProgressRegister whole(m_subMission, this, 100, 0);
  NSTE_util::TEOperProgressIF::Instance()->SendProgress(this, 0, nullptr, true);  // it has begun
  CheckForms();
  if (m_end == RequestEnd::none) CheckTypes();
  // What rounding has left over.
  if (m_end == RequestEnd::none)
    NSTE_util::TEOperProgressIF::Instance()->SendProgress(this, 100, nullptr, true);
  std::stable_sort(m_findings.begin(), m_findings.end(),
                   [](const Finding& a, const Finding& b) { return a.record < b.record; });
}

void SpreadWork::Rest(unsigned microseconds) {
  m_watch.PauseUntil(std::chrono::steady_clock::now() + std::chrono::microseconds(microseconds));
}

bool SpreadWork::GoesOn() {
  m_end = m_watch.Ended();
  return m_end == RequestEnd::none;
}

// A section of the whole.
void SpreadWork::CheckForms() {
  NSTE_util::TEOperProgressIF* progress = NSTE_util::TEOperProgressIF::Instance();
  const auto total = static_cast<int>(m_records.size());
  progress->SetProgressSection(this, 0, kFormShare);
  for (int i = 0; i < total && GoesOn(); ++i) {
    CheckForm(m_records[static_cast<std::size_t>(i)], static_cast<std::size_t>(i), m_findings);
    progress->SendSectionStep(this, i + 1, total);
  }
}

// An operation inside the whole.
void SpreadWork::CheckTypes() {
  NSTE_util::TEOperProgressIF* progress = NSTE_util::TEOperProgressIF::Instance();
  const void* operation = &m_checked;
  const NSTE_util::TEOperProgressRegister inner(operation, this, kTypeShare);
  const auto total = static_cast<int>(m_records.size());
  for (int i = 0; i < total && GoesOn(); ++i) {
    CheckType(m_records[static_cast<std::size_t>(i)], static_cast<std::size_t>(i), m_types, m_findings);
    m_watch.PauseUntil(std::chrono::steady_clock::now() + std::chrono::microseconds(m_pause));
    ++m_checked;
    progress->SendSectionStep(operation, i + 1, total);
  }
}

}  // namespace velad
