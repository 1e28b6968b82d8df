#include <algorithm>
#include <cmath>

#include "util/basicutil/progressmgr.h"

namespace NSTE_util {

TaskProgressInfo::TaskProgressInfo(const std::string& text) : m_strThird(text) {}
TaskProgressInfo::TaskProgressInfo(const char* text) : m_strThird(text != nullptr ? text : "") {}

MissionProgressCtrl::MissionProgressCtrl(int progress)
    : m_fProgress(static_cast<float>(progress)), m_weights{1.0F}, m_bases{0.0F} {}

// The open interval holds exactly what cuts to 0..100; NaN is outside.
bool MissionProgressCtrl::IsSpan(float span) {
  return span > -1.0F && span < 101.0F;
}

void MissionProgressCtrl::SetProgressSpan(float span) {
  if (!IsSpan(span)) return;
  m_weights.push_back(span / 100.0F * m_weights.back());
  m_bases.back() = std::min(m_bases.back() + span, 100.0F);
  m_bases.push_back(0.0F);
}

void MissionProgressCtrl::UpdateProgress(int progress) {
  const auto reported = static_cast<float>(progress);
  if (progress > 100 || reported < m_bases.back()) return;
  m_fProgress += (reported - m_bases.back()) * m_weights.back();
  if (std::fabs(m_fProgress - 100.0F) < 0.001F || m_fProgress >= 101.0F) m_fProgress = 100.0F;
  m_bases.back() = reported;
}

void MissionProgressCtrl::RestoreProgressSpan() {
  if (m_weights.size() < 2 || m_bases.size() < 2) return;
  UpdateProgress(100);
  m_bases.pop_back();
  m_weights.pop_back();
}

int MissionProgressCtrl::GetCurProgress() const {
  return static_cast<int>(m_fProgress);
}

float MissionProgressCtrl::GetCurWeight() const {
  return m_weights.back();
}

}  // namespace NSTE_util
