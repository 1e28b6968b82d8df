#pragma once
#include <chrono>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "platform/os/clock.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/export.h"
#include "util/basicutil/mutex.h"

// What an operator asks about the locks of this process: what runs, and who is in the way. Any thread. What
// was granted is described as of the time of the grant; only the progress is of now.
namespace NSTE_util {

// One granted LockOper of which something is still held.
struct BASIC_UTIL_EXPORT TERunningOper {
  int m_nOperCode = 0;
  vela::WallTime m_since;             // of the grant, by the clock of the day
  std::chrono::microseconds m_age{};  // 0 when the clock was set back
  std::uint16_t m_wTaskID = 0;        // 0: locked outside of any task
  std::string m_strTaskName;
  int m_nUserID = -1;         // of the request's task context; -1: unknown
  ClientMissionID m_mission;  // the client, and its mission if there is one
  bool m_bMission = false;    // the mission was set before the lock was taken
  int m_nProgress = -1;       // percent; -1 without a mission, or when it has ended
};

// With what it holds.
struct BASIC_UTIL_EXPORT TERunningOperObjects : TERunningOper {
  std::vector<TEOperObject> m_objects;  // sorted; what is held twice is there twice
};

// With what stands in the way.
struct BASIC_UTIL_EXPORT TEBlockingOper : TERunningOper {
  std::uint32_t m_nErrorCode = 0;        // what LockOper answers
  TEOperObject m_wantedObject{0, 0, 0};  // the first of the list that is in conflict
  TEOperObject m_heldObject{0, 0, 0};    // what it is in conflict with
};

// The operation because of which LockOper would refuse now. False, and `blocker` untouched, when it would
// grant: whoever was refused may try again. Nothing is locked, and nothing traced.
// A wanted object with keys of 0 may have to be compared with everything that is held.
BASIC_UTIL_EXPORT bool FindBlockingOper(int operCode, const std::list<TEOperObject>& objs,
                                        TEBlockingOper& blocker);

// All that runs, by operation code and then by age, the oldest first. Copies every held object under the
// manager's mutex: meant for a console. False, and `opers` empty, when there is no memory for it.
BASIC_UTIL_EXPORT bool GetRunningOpers(std::vector<TERunningOperObjects>& opers);

}  // namespace NSTE_util
