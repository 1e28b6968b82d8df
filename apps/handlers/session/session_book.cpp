#include "apps/handlers/session/session_book.h"

#include <algorithm>

#include "apps/handlers/mission_messages.h"

namespace velad {
namespace {

bool IsSame(const SessionOper& a, const SessionOper& b) {
  return a.client == b.client && a.missionID == b.missionID && a.server == b.server;
}

bool HasDied(const SessionOper& oper) {
  return !oper.ended && (LifeOfProcess(oper.server) != oper.life || !IsProcessAlive(oper.client));
}

// Forgets the oldest of a kind.
void Bound(std::deque<SessionOper>& opers, bool ended, std::size_t most) {
  const auto isKind = [ended](const SessionOper& oper) { return oper.ended == ended; };
  if (static_cast<std::size_t>(std::count_if(opers.begin(), opers.end(), isKind)) > most)
    opers.erase(std::find_if(opers.begin(), opers.end(), isKind));
}

}  // namespace

SessionBook& SessionBook::Instance() {
  static SessionBook* book = new SessionBook;  // lives to the end: abandoned handlers may still use it
  return *book;
}

void SessionBook::Put(const SessionOper& oper) {
  const vela::MutexLock lock(m_mutex);
  std::erase_if(m_opers, [&](const SessionOper& known) { return !known.ended && IsSame(known, oper); });
  m_opers.push_back(oper);
  Bound(m_opers, oper.ended, oper.ended ? kMostEnded : kMostRunning);
}

std::vector<SessionOper> SessionBook::List() {
  const vela::MutexLock lock(m_mutex);
  std::erase_if(m_opers, HasDied);
  return {m_opers.rbegin(), m_opers.rend()};
}

}  // namespace velad
