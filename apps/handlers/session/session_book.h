#pragma once
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "platform/message/proc_id.h"
#include "platform/os/mutex.h"

namespace velad {

// A mission of a client on NEs.
struct SessionOper {
  CProcID client;
  int userID = 0;
  int missionID = 0;
  std::uint32_t operation = 0;
  int nes = 0;
  bool ended = false;
  std::uint32_t errorCode = 0;  // of its end
  std::int64_t time = 0;        // of its begin or end, seconds since 1970-01-01 UTC
  CProcID server = {};          // that runs it
  std::uint64_t life = 0;       // of that process
};

// Who does what: the missions under way, and the last kMostEnded that have ended. Thread-safe.
class SessionBook {
 public:
  static constexpr std::size_t kMostEnded = 200;
  static constexpr std::size_t kMostRunning = 2000;  // more: the oldest is forgotten

  static SessionBook& Instance();

  // A begin adds a mission, in place of the same one of before; an end ends it, also when nothing is known of
  // its begin. It is the same with the same server, client and number.
  void Put(const SessionOper& oper);

  // Newest first, by their last report. What asks: a mission whose client or server has died is not under way
  // any more and is forgotten.
  std::vector<SessionOper> List();

 private:
  vela::Mutex m_mutex;
  // Oldest first.
  std::deque<SessionOper> m_opers VELA_GUARDED_BY(m_mutex);
};

}  // namespace velad
