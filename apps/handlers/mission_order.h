#pragma once
#include <cstdint>

#include "platform/asncmd/asn_runtime.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/client_records.h"

namespace velad {

// What all clients say of a mission that they ask for.
struct MissionOrder {
  NSTE_util::ClientMissionID client;  // as the progress manager knows the mission
  int userID = 0;
  std::int64_t deadline = 0;  // seconds since 1970-01-01 UTC; 0: none
};

// When so many seconds are over from now on; 0, none, when they are not above 0.
std::int64_t DeadlineIn(const AsnInt& seconds);
// How long a request that goes on to another process may take then: 1 at least; 0 when there is no deadline.
AsnIntType SecondsUntil(std::int64_t deadline);

// From the request that the task serves.
template <class Request>
void ReadMissionOrder(const VelaGnlTask* task, const Request& request, MissionOrder& order) {
  order.client = NSTE_util::MakeMissionKey(task->GetCurReqMsg(), static_cast<int>(request.missionID));
  order.userID = static_cast<int>(request.userID);
  order.deadline = DeadlineIn(request.timeOut);
}

}  // namespace velad
