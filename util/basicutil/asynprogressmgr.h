#pragma once
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "platform/message/proc_id.h"
#include "util/basicutil/export.h"

namespace NSTE_util {

struct ClientMissionID;

// A process that takes part in a mission: its share of the whole, and how many sub-missions it will run.
struct ProcWeightPairEx {
  CProcID process;
  float weight = 0;
  std::uint32_t count = 0;
};

// A process and its share of the whole; the numbers of its sub-missions.
using ProcWeightPair = std::pair<CProcID, float>;
using SubMissionIds = std::map<CProcID, std::vector<std::uint32_t>>;
// The command that carries a mission: its serial number, and a value that is handed on with a time-out reset.
using MissionCmd = std::pair<std::uint32_t, std::int32_t>;

// The progress of missions whose work runs on in other processes after the request that started them. The
// process that registered a mission folds what the others report into one percentage, scaled into the slice
// of the client's progress that the request had open when it registered.
//
// A mission id is a serial number (1 to 65535) in the upper 16 bits; a sub-mission id adds a number in the
// lower 16. All ids are 32 bits wide. A mission lives from its registration until UnRegister; its data and
// its command live on until they are taken out themselves.
//
//   process is | WriteProcProgress   | MissionStop                | counts as
//   -----------+---------------------+----------------------------+--------------------
//   under way  | takes the percent   | -> stopped, aborts are sent | weight x percent
//   at 100     | takes the percent   | nothing                    | weight x 100
//   stopped    | false               | nothing                    | weight x 100
//
// How the others report is in asynprogress_report.h; what happens when one of them ends, and a list of all
// missions, in asynprogress_watch.h.
//
// Thread-safe: one lock guards everything and is not held while something is sent, traced or asked elsewhere.
class BASIC_UTIL_EXPORT AsynProgressMgr {
 public:
  // Null only when the process is ending.
  static AsynProgressMgr* Instance();
  static void Destroy();

  virtual ~AsynProgressMgr() = default;

  // Register a mission for the client of the current task's request. False, with nothing registered and the
  // results untouched: the client has that mission here already; no task with a request is current (an
  // assertion report); RegisterEx only: more than 65535 sub-missions, which could not be told apart (the
  // same). A process that is listed twice keeps the later weight. `weight` may have any scale; with a sum of
  // 1 the mission runs from 0 to 100. Ids of living missions are passed over; when all 65535 live, the oldest
  // id is taken from its mission. RegisterEx appends each process' sub-mission ids to `subMissions`; Register
  // gives each process one sub-mission, whose id is the mission's.
  virtual bool RegisterEx(const std::vector<ProcWeightPairEx>& processes, int clientMissionNo,
                          unsigned long& missionId, SubMissionIds& subMissions) = 0;
  virtual bool Register(const std::vector<ProcWeightPair>& processes, int clientMissionNo,
                        unsigned long& missionId) = 0;
  // False when there is no such mission.
  virtual bool UnRegister(unsigned long missionId) = 0;

  // Another process goes on with a sub-mission and takes its weight and progress over. Nothing happens when
  // nobody holds it, or when its holder covers the new process (same number; its handle the same or "any").
  virtual void MoveSubMission(unsigned long subMissionId, const CProcID& newProcess) = 0;
  // False (and traced) when the mission or process is unknown or stopped. A percent above 100 and an unknown
  // sub-mission are ignored: true.
  virtual bool WriteProcProgress(unsigned long missionId, const CProcID& process, unsigned long subMissionId,
                                 unsigned long percent) = 0;
  // Percent of the client's whole progress; 0 for an unknown mission. Not limited to 100 when the weights are
  // not.
  virtual unsigned long GetMissionProgress(unsigned long missionId) = 0;

  // False leaves the result untouched. A reply attribute of 0 in `client` matches any.
  virtual bool GetClientMissionID(unsigned long missionId, ClientMissionID& client) = 0;
  virtual bool FindMissionID(const ClientMissionID& client, unsigned long& missionId) = 0;

  // Tells every process that has not finished to abort its sub-missions. Needs a current task, which sends.
  // 0; -1 when the client has no mission here, when there is no task (an assertion report; nothing is
  // stopped), or when an abort could not be sent (the others are sent all the same).
  virtual int MissionStop(const ClientMissionID& client) = 0;

  // A value that the owner files with a mission, registered or not. Only the first Set counts.
  virtual void SetMissionData(unsigned long missionId, unsigned long value) = 0;
  virtual void EraseMissionData(unsigned long missionId) = 0;
  virtual unsigned long GetMissionData(unsigned long missionId) = 0;  // 0 when there is none

  // The command that carries a mission, registered or not. Only the first registration counts.
  virtual void RegisterMissionCmd(unsigned long missionId, const MissionCmd& cmd) = 0;
  virtual void UnRegisterMissionCmd(unsigned long missionId) = 0;
  virtual void GetMissionCmd(unsigned long missionId, MissionCmd& cmd) = 0;  // untouched when there is none
  // Gives the wait for the mission's command a new time-out, in seconds from now. False when there is no
  // command, or nobody waits for it (an assertion report).
  virtual bool ResetMissionTimeout(unsigned long missionId, unsigned long timeOut,
                                   const CProcID& process) = 0;

  // `takeLock` false is for callers that run under the manager's lock already, which only its own operations
  // do: pass true.
  virtual bool IsClientMissionRegistered(const ClientMissionID& client, bool takeLock) = 0;
  virtual bool IsMissionRegistered(unsigned long missionId, bool takeLock) = 0;
};

// The four classes below open a progress span on the current task context, register a mission in it, and end
// both again. Without a context only the mission is registered. Each belongs to one thread, that of its task.

// Unregisters only when told.
class BASIC_UTIL_EXPORT AsynProgRegProxy {
 public:
  // The span is open afterwards even when the registration was refused: call UnRegister in any case.
  bool Register(const std::vector<ProcWeightPair>& processes, int clientMissionNo, float span);
  unsigned long GetMissionID() const { return m_nMissionID; }  // 0 until registered
  bool UnRegister();

 private:
  std::uint32_t m_nMissionID = 0;
};

// Registers for its scope. GetMissionID is 0 when the registration was refused.
class BASIC_UTIL_EXPORT AsynProgRegisterGuard {
 public:
  AsynProgRegisterGuard(const std::vector<ProcWeightPair>& processes, int clientMissionNo, float span);
  ~AsynProgRegisterGuard();
  unsigned long GetMissionID() const { return m_proxy.GetMissionID(); }

 private:
  AsynProgRegisterGuard(const AsynProgRegisterGuard&) = delete;
  AsynProgRegisterGuard& operator=(const AsynProgRegisterGuard&) = delete;
  static void* operator new(std::size_t) = delete;
  static void* operator new[](std::size_t) = delete;
  static void operator delete(void*) = delete;
  static void operator delete[](void*) = delete;

  AsynProgRegProxy m_proxy;
};

// As AsynProgRegProxy, with sub-missions. A copy hands out the ids that are left at that time on its own.
class BASIC_UTIL_EXPORT AsynProgRegProxyEx {
 public:
  // The span is open afterwards even when the registration was refused: call UnRegister in any case.
  bool Register(const std::vector<ProcWeightPairEx>& processes, int clientMissionNo, float span);
  // The next sub-mission id of that process; 0 and an assertion report when there is none (left).
  unsigned long GetMissionID(const CProcID& process);
  bool UnRegister();

 private:
  std::uint32_t m_nMissionID = 0;
  SubMissionIds m_subMissions;
  std::map<CProcID, std::size_t> m_next;
};

// Registers for its scope.
class BASIC_UTIL_EXPORT AsynProgRegisterGuardEx {
 public:
  AsynProgRegisterGuardEx(const std::vector<ProcWeightPairEx>& processes, int clientMissionNo, float span);
  ~AsynProgRegisterGuardEx();
  // As AsynProgRegProxyEx::GetMissionID.
  unsigned long GetMissionID(const CProcID& process) { return m_proxy.GetMissionID(process); }

 private:
  AsynProgRegisterGuardEx(const AsynProgRegisterGuardEx&) = delete;
  AsynProgRegisterGuardEx& operator=(const AsynProgRegisterGuardEx&) = delete;
  static void* operator new(std::size_t) = delete;
  static void* operator new[](std::size_t) = delete;
  static void operator delete(void*) = delete;
  static void operator delete[](void*) = delete;

  AsynProgRegProxyEx m_proxy;
};

}  // namespace NSTE_util
