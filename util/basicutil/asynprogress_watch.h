#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/message/proc_id.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/export.h"

// What the owner of a mission that is spread over processes (asynprogressmgr.h) learns about its parts, and
// the operator about all missions. A part is a process with its sub-missions.
//
// A sub-mission has failed when the process that runs it ended before it was done (noticed by
// CheckMissionProcesses, which InitAsynProgressTask calls again and again), or said so itself
// (SendSubMissionFailure). It keeps the progress that it had. Its mission's owner may
//   stop       AsynProgressMgr::MissionStop
//   hand over  AsynProgressMgr::MoveSubMission to another process, which is told by the owner's own request
//   go on      GoOnWithout: the part counts as complete
// or unregister the mission. A report of progress for it takes the failure back.
//
// Thread-safe.
namespace NSTE_util {

// What has failed in one process.
struct PartFailure {
  std::uint32_t missionId = 0;
  ClientMissionID client;
  CProcID process;                         // as it was registered
  std::uint32_t errorCode = 0;             // VELA_ERR_NO_RECEIVER: the process has ended
  std::string text;                        // as the process gave it, or what was noticed
  std::vector<std::uint32_t> subMissions;  // what has failed, ascending
};

// Called once for each failure, in the thread and task that noticed it, without any lock held; may call
// everything, and must not block for long. It may still run while the mission is unregistered: it owns what
// it uses. An exception is traced and dropped.
using PartFailureHandler = std::function<void(const PartFailure&)>;

// Replaces the handler of a mission; an empty one is none. Without one the failure is logged, and the client
// told, all the same. False when the mission is not registered.
BASIC_UTIL_EXPORT bool SetPartFailureHandler(unsigned long missionId, PartFailureHandler handler);
// What has failed and was not taken back, by process; the code and text of its first sub-mission.
BASIC_UTIL_EXPORT std::vector<PartFailure> GetFailedParts(unsigned long missionId);
// The process (as it was registered) counts as complete, and its reports are refused from now on. False when
// the mission has no such process.
BASIC_UTIL_EXPORT bool GoOnWithout(unsigned long missionId, const CProcID& process);

// The next number of a sub-mission (the lower 16 bits of its id); 1 when this was never called. Ids of
// missions begin anew in each life of a process: one that chooses another number at its start is not told, by
// who still works for its last life, about a part of this one.
BASIC_UTIL_EXPORT void SetFirstSubMission(std::uint16_t number);

// Asks the bus for the processes of all missions. The number of failed sub-missions that were noticed.
BASIC_UTIL_EXPORT int CheckMissionProcesses();

// What one process has of a mission.
struct MissionPart {
  CProcID process;  // handle 0: any instance
  float weight = 0;
  int percent = 0;
  std::uint32_t subMissions = 0;
  bool stopped = false;
  std::uint32_t errorCode = 0;  // of its first failed sub-mission; 0: none
};

// A mission as an operator sees it.
struct MissionStatus {
  std::uint32_t missionId = 0;
  ClientMissionID client;
  std::string owner;               // the task that registered it
  unsigned percent = 0;            // as GetMissionProgress
  std::int64_t age = 0;            // in seconds
  std::vector<MissionPart> parts;  // by process
};

// All missions that are registered in this process, by id.
BASIC_UTIL_EXPORT std::vector<MissionStatus> ListMissions();

}  // namespace NSTE_util
