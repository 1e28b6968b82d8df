#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "asn1/spread.h"
#include "platform/message/proc_id.h"
#include "platform/os/mutex.h"

namespace velactl {

struct PartReport {
  std::int32_t missionID;
  int percent;  // of the whole
  std::string part;
  std::string detail;
  CProcID from;
};

// Where the threads of the platform leave what owners of spread missions send. Who leaves something wakes the
// Inbox. Thread-safe.
class SpreadInbox {
 public:
  static SpreadInbox& Instance();

  void Leave(PartReport report);
  void Leave(CProcID from, const AsnSpreadEnd& end);
  std::vector<PartReport> TakeReports();
  // The result of that mission from that process; null when it is not there.
  std::unique_ptr<AsnSpreadEnd> TakeEnd(CProcID from, std::int32_t missionID);

 private:
  struct End {
    CProcID from;
    std::unique_ptr<AsnSpreadEnd> message;
  };

  vela::Mutex m_mutex;
  std::vector<PartReport> m_reports VELA_GUARDED_BY(m_mutex);
  std::vector<End> m_ends VELA_GUARDED_BY(m_mutex);
};

}  // namespace velactl
