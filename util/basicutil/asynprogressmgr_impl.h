#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/os/mutex.h"
#include "util/basicutil/asynprogress_watch.h"
#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/asynprogressmgr_internal.h"
#include "util/basicutil/client_records.h"

namespace NSTE_util {

// Where 0 to 100 of a mission lie in the client's progress.
struct ClientScale {
  int base = 0;
  float factor = 1.0F;
};

using Lives = std::map<CProcID, std::uint64_t>;  // as Bus::LifeOf; 0: nobody lived there
// A sub-mission, and the address under which the mission knows its process.
using HeldSubMission = std::pair<CProcID, std::uint32_t>;

// What is needed of a mission only now and then.
struct MissionWatch {
  struct Error {
    std::uint32_t code = 0;
    std::string text;
  };

  std::string owner;
  std::int64_t since = 0;
  int lastTold = 0;                           // to the client, by reports
  Lives lives;                                // of its processes, when they were first seen
  std::map<HeldSubMission, CProcID> workers;  // of sub-missions that any instance may run
  std::map<HeldSubMission, Error> errors;
  PartFailureHandler onFailure;
};

struct alignas(64) SpreadMission {
  AsynMission work;
  ClientScale scale;
  ClientMissionID client;  // its reply attribute is 0
  std::unique_ptr<MissionWatch> watch;
};

// What a mission's client has to be told.
struct ClientFigure {
  ClientMissionID client;
  int figure = 0;
};

class AsynProgressMgrImpl : public AsynProgressMgr {
 public:
  bool RegisterEx(const std::vector<ProcWeightPairEx>& processes, int clientMissionNo,
                  unsigned long& missionId, SubMissionIds& subMissions) override;
  bool Register(const std::vector<ProcWeightPair>& processes, int clientMissionNo,
                unsigned long& missionId) override;
  bool UnRegister(unsigned long missionId) override;
  void MoveSubMission(unsigned long subMissionId, const CProcID& newProcess) override;
  bool WriteProcProgress(unsigned long missionId, const CProcID& process, unsigned long subMissionId,
                         unsigned long percent) override;
  unsigned long GetMissionProgress(unsigned long missionId) override;
  bool GetClientMissionID(unsigned long missionId, ClientMissionID& client) override;
  bool FindMissionID(const ClientMissionID& client, unsigned long& missionId) override;
  int MissionStop(const ClientMissionID& client) override;
  void SetMissionData(unsigned long missionId, unsigned long value) override;
  void EraseMissionData(unsigned long missionId) override;
  unsigned long GetMissionData(unsigned long missionId) override;
  void RegisterMissionCmd(unsigned long missionId, const MissionCmd& cmd) override;
  void UnRegisterMissionCmd(unsigned long missionId) override;
  void GetMissionCmd(unsigned long missionId, MissionCmd& cmd) override;
  bool ResetMissionTimeout(unsigned long missionId, unsigned long timeOut, const CProcID& process) override;
  bool IsClientMissionRegistered(const ClientMissionID& client,
                                 bool takeLock) override VELA_NO_THREAD_SAFETY_ANALYSIS;
  bool IsMissionRegistered(unsigned long missionId, bool takeLock) override VELA_NO_THREAD_SAFETY_ANALYSIS;

  // --- reports and the watch over the processes ---

  // Under which address the mission knows the sub-mission that `process` runs.
  std::optional<CProcID> FindHolder(std::uint32_t subMissionId, CProcID process);
  // Whether nothing is new about the process that runs a sub-mission; otherwise NoteWorker is due.
  bool KnowsWorker(const HeldSubMission& held, CProcID worker);
  void NoteWorker(const HeldSubMission& held, CProcID worker, std::uint64_t life);
  // The client's figure when it has risen since it was taken last, or in any case with `always`.
  std::optional<ClientFigure> TakeFigure(std::uint32_t missionId, bool always);

  // Marks what has not failed yet; empty when nothing is new.
  std::optional<PartFailure> Fail(std::uint32_t missionId, CProcID holder,
                                  const std::vector<std::uint32_t>& subMissions, std::uint32_t code,
                                  const std::string& text);
  PartFailureHandler FailureHandler(std::uint32_t missionId);
  bool SetFailureHandler(std::uint32_t missionId, PartFailureHandler handler);
  std::vector<PartFailure> FailedParts(std::uint32_t missionId);
  bool StopPart(std::uint32_t missionId, CProcID process);
  std::vector<MissionStatus> List();

  // A process that a mission depends on, and what of the mission it runs.
  struct Dependence {
    CProcID holder;
    CProcID worker;          // one instance, or any
    std::uint64_t life = 0;  // as first seen
    std::vector<std::uint32_t> subMissions;
  };
  std::vector<std::uint32_t> MissionIds();
  std::vector<Dependence> Dependences(std::uint32_t missionId);
  // The worker was found alive, or dead, in `life`: false when something has changed since.
  bool SeeWorker(std::uint32_t missionId, const Dependence& dependence, std::uint64_t life);

 private:
  // Null when the client has that mission already.
  SpreadMission* AddMissionLocked(const ClientMissionID& client, const ClientScale& scale, Lives lives,
                                  std::uint32_t& missionId) VELA_REQUIRES(m_mutex);
  std::uint32_t NextMissionIdLocked() VELA_REQUIRES(m_mutex);
  bool RemoveMissionLocked(std::uint32_t missionId) VELA_REQUIRES(m_mutex);
  SpreadMission* FindLocked(std::uint32_t missionId) VELA_REQUIRES(m_mutex);
  bool IsClientRegisteredLocked(const ClientMissionID& client) const VELA_REQUIRES(m_mutex);
  int FigureLocked(const SpreadMission& mission) const VELA_REQUIRES(m_mutex);
  std::vector<AsynMission::Abort> StopMission(std::uint32_t missionId);

  vela::Mutex m_mutex;
  std::vector<std::unique_ptr<SpreadMission>> m_missions VELA_GUARDED_BY(m_mutex);  // by serial number
  // The keys have the reply attribute 0, which matches any.
  std::map<ClientMissionID, std::uint32_t, ClientMissionIDExactLess> m_missionOfClient
      VELA_GUARDED_BY(m_mutex);
  std::map<std::uint32_t, std::uint32_t> m_missionData VELA_GUARDED_BY(m_mutex);
  std::map<std::uint32_t, MissionCmd> m_missionCmds VELA_GUARDED_BY(m_mutex);
  std::uint16_t m_serial VELA_GUARDED_BY(m_mutex) = 0;
};

// As Bus::LifeOf; 0 without a bus.
std::uint64_t LifeOfProcess(CProcID process);

}  // namespace NSTE_util
