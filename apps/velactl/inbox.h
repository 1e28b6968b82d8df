#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "platform/message/proc_id.h"
#include "platform/os/mutex.h"

namespace velactl {

// A progress report as it came.
struct ProgressReport {
  std::int32_t missionID;
  int percent;
  std::string step;
  std::uint32_t sn;  // of the request that it belongs to; 0: a periodic report
  CProcID from;
};

// Where the threads of the platform leave what the main thread waits for. Thread-safe.
class Inbox {
 public:
  static Inbox& Instance();

  // Readable when something was left; Take empties it.
  int Descriptor() const { return m_event; }

  void Leave(ProgressReport report);
  void Wake();
  std::vector<ProgressReport> Take();

 private:
  Inbox();

  const int m_event;
  vela::Mutex m_mutex;
  std::vector<ProgressReport> m_reports VELA_GUARDED_BY(m_mutex);
};

}  // namespace velactl
