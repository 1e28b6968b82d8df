#include "apps/handlers/ems/ne_mission_book.h"

namespace velad {
namespace {

constexpr std::size_t kMostNews = 10000;

}  // namespace

NEPieceNews* NEMissionInbox::Entry(const Key& key) {
  const auto found = m_news.find(key);
  if (found != m_news.end()) return &found->second;
  return m_news.size() < kMostNews ? &m_news[key] : nullptr;
}

void NEMissionInbox::PutProgress(const Key& key, int percent) {
  const vela::MutexLock lock(m_mutex);
  if (NEPieceNews* news = Entry(key)) news->percent = percent;
  m_came.NotifyOne();
}

void NEMissionInbox::PutEnd(const Key& key, NEPieceEnd end) {
  const vela::MutexLock lock(m_mutex);
  if (NEPieceNews* news = Entry(key)) news->end = std::move(end);
  m_came.NotifyOne();
}

NEMissionInbox::News NEMissionInbox::Take(std::chrono::steady_clock::time_point deadline) {
  const vela::MutexLock lock(m_mutex);
  while (m_news.empty() && m_came.WaitUntil(m_mutex, deadline)) continue;
  return std::exchange(m_news, {});
}

NEMissionBook& NEMissionBook::Instance() {
  static NEMissionBook* book = new NEMissionBook;  // lives to the end: abandoned handlers may still use it
  return *book;
}

bool NEMissionBook::Enter(const NSTE_util::ClientMissionID& client) {
  const vela::MutexLock lock(m_mutex);
  return m_clients.insert(client).second;
}

void NEMissionBook::Leave(const NSTE_util::ClientMissionID& client) {
  const vela::MutexLock lock(m_mutex);
  m_clients.erase(client);
}

void NEMissionBook::Open(std::uint32_t mission, std::shared_ptr<NEMissionInbox> inbox) {
  const vela::MutexLock lock(m_mutex);
  m_inboxes[mission] = std::move(inbox);
}

void NEMissionBook::Close(std::uint32_t mission) {
  const vela::MutexLock lock(m_mutex);
  m_inboxes.erase(mission);
  if (m_inboxes.empty()) m_signs.clear();
}

std::shared_ptr<NEMissionInbox> NEMissionBook::Find(CProcID source, std::uint32_t subMission) {
  const vela::MutexLock lock(m_mutex);
  const auto found = m_inboxes.find(MissionOf(subMission));
  if (found == m_inboxes.end()) return nullptr;
  m_signs[source] = std::chrono::steady_clock::now();
  return found->second;
}

std::chrono::steady_clock::time_point NEMissionBook::LastSign(CProcID process) {
  const vela::MutexLock lock(m_mutex);
  const auto found = m_signs.find(process);
  return found != m_signs.end() ? found->second : std::chrono::steady_clock::time_point();
}

}  // namespace velad
