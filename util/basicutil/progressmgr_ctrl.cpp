#include <algorithm>
#include <cmath>

#include "util/basicutil/progressmgr.h"

namespace NSTE_util {

TaskProgressInfo::TaskProgressInfo(const std::string& text) : m_strThird(text) {}
TaskProgressInfo::TaskProgressInfo(const char* text) : m_strThird(text != nullptr ? text : "") {}

MissionProgressCtrl::MissionProgressCtrl(int progress) : m_fProgress(static_cast<float>(progress)) {}

// The open interval holds exactly what cuts to 0..100; NaN is outside.
bool MissionProgressCtrl::IsSpan(float span) {
  return span > -1.0F && span < 101.0F;
}

void MissionProgressCtrl::SetProgressSpan(float span) {
  if (!IsSpan(span)) return;
  m_outer.push_back({m_current.weight, std::min(m_current.base + span, 100.0F)});
  m_current = {span / 100.0F * m_current.weight, 0.0F};
}

void MissionProgressCtrl::UpdateProgress(int progress) {
  const auto reported = static_cast<float>(progress);
  if (progress > 100 || reported < m_current.base) return;
  m_fProgress += (reported - m_current.base) * m_current.weight;
  if (std::fabs(m_fProgress - 100.0F) < 0.001F || m_fProgress >= 101.0F) m_fProgress = 100.0F;
  m_current.base = reported;
}

void MissionProgressCtrl::RestoreProgressSpan() {
  if (m_outer.empty()) return;
  UpdateProgress(100);
  m_current = m_outer.back();
  m_outer.pop_back();
}

int MissionProgressCtrl::GetCurProgress() const {
  return static_cast<int>(m_fProgress);
}

float MissionProgressCtrl::GetCurWeight() const {
  return m_current.weight;
}

}  // namespace NSTE_util
