#include "util/basicutil/asynprogressmgr.h"

#include <algorithm>
#include <memory>
#include <numeric>

#include "asn1/progress.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/os/clock.h"
#include "platform/os/mutex.h"
#include "platform/os/os_types.h"
#include "platform/os/singleton.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/asynprogressmgr_impl.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/common.h"
#include "util/basicutil/progress_report.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/taskcontext.h"

namespace NSTE_util {
namespace {

constexpr const char* UNIT = "asynprogressmgr";
constexpr std::uint32_t MAX_SERIAL = 65535;
constexpr int ABORT_ALL = 255;

// Has all lines of a mission brought from memory side by side.
void Fetch(const SpreadMission& mission) {
  constexpr std::size_t LINE = 64;
  for (std::size_t at = 0; at < sizeof(AsynMission); at += LINE)
    __builtin_prefetch(reinterpret_cast<const char*>(&mission) + at);
}

// Numbers the sub-missions of all missions of this process: 1 to 65535, and again.
class SubMissionCounter {
 public:
  static SubMissionCounter& Instance() {
    static SubMissionCounter counter;
    return counter;
  }

  std::vector<std::uint32_t> Draw(std::uint32_t count, std::uint32_t missionId) {
    std::vector<std::uint32_t> ids(count);
    const vela::MutexLock lock(m_mutex);
    for (std::uint32_t& id : ids) {
      if (m_last == MAX_SERIAL) m_last = 0;
      id = missionId + ++m_last;
    }
    return ids;
  }

  void SetFirst(std::uint16_t number) {
    const vela::MutexLock lock(m_mutex);
    m_last = static_cast<std::uint16_t>(number == 0 ? 0 : number - 1);
  }

 private:
  vela::Mutex m_mutex;
  std::uint16_t m_last VELA_GUARDED_BY(m_mutex) = 0;
};

VelaGnlTask* CurrentTask() {
  return dynamic_cast<VelaGnlTask*>(VelaGetCurrentTask());
}

// The key that the current task's request gives a mission of its client.
bool CurrentClient(int clientMissionNo, ClientMissionID& client) {
  const VelaGnlTask* pTask = CurrentTask();
  if (!Check(pTask != nullptr, UNIT, "pTask != 0")) return false;
  const TECmdMsg* pReqMsg = pTask->GetCurReqMsg();
  if (!Check(pReqMsg != nullptr, UNIT, "pReqMsg != 0")) return false;
  client = MakeMissionKey(pReqMsg, clientMissionNo);
  return true;
}

// What a key of any reply attribute looks for: the missions here have 0.
ClientMissionID AnyReply(ClientMissionID client) {
  client.m_wReplyAttr = 0;
  return client;
}

ClientScale CurrentScale(const ClientMissionID& client) {
  ClientScale scale;
  if (ProgressMgr* mgr = ProgressMgr::Instance()) mgr->GetProgress(client, scale.base, scale.factor);
  return scale;
}

bool SendAborts(VelaGnlTask& task, const AsynMission::Abort& abort) {
  TETrace("AsynProgressMgrImpl::MissionStop");
  bool sent = true;
  for (const std::uint32_t id : abort.subMissions) {
    AsnAbortMissionReq request;
    request.scope = ABORT_ALL;
    request.missionID = static_cast<AsnIntType>(id);
    AsnTrace(request, GetDefaultDebugInterface());
    sent = task.AsnSendNBC(abort.process, 0, CMD_ABORT_MISSION, request, VELA_MSG_FORMAT) == 0 && sent;
  }
  return sent;
}

// Notes the present life of one instance. Without a bus, and of any instance, there is none.
void See(const CProcID& process, Lives& lives) {
  const std::uint64_t life = process.IsAnyInstance() ? 0 : LifeOfProcess(process);
  if (life != 0) lives[process] = life;
}

// What was known of a sub-mission at processes that do not hold it any more.
void ForgetMoved(SpreadMission& mission, std::uint32_t id) {
  const auto moved = [&](const auto& entry) {
    const auto& [holder, subMission] = entry.first;
    return subMission == id && mission.work.Holder(holder, id) != holder;
  };
  std::erase_if(mission.watch->errors, moved);
  std::erase_if(mission.watch->workers, moved);
}

}  // namespace

SpreadMission* AsynProgressMgrImpl::FindLocked(std::uint32_t missionId) {
  const std::uint32_t serial = missionId >> 16;
  return (missionId & MAX_SERIAL) == 0 && serial < m_missions.size() ? m_missions[serial].get() : nullptr;
}

std::uint32_t AsynProgressMgrImpl::NextMissionIdLocked() {
  std::uint32_t missionId = 0;
  do {
    if (++m_serial == 0) m_serial = 1;
    missionId = std::uint32_t{m_serial} << 16;
  } while (m_missionOfClient.size() < MAX_SERIAL && FindLocked(missionId) != nullptr);
  return missionId;
}

bool AsynProgressMgrImpl::IsClientRegisteredLocked(const ClientMissionID& client) const {
  return m_missionOfClient.contains(AnyReply(client));
}

SpreadMission* AsynProgressMgrImpl::AddMissionLocked(const ClientMissionID& client, const ClientScale& scale,
                                                     Lives lives, std::uint32_t& missionId) {
  if (IsClientRegisteredLocked(client)) return nullptr;
  missionId = NextMissionIdLocked();
  RemoveMissionLocked(missionId);
  m_missionOfClient[client] = missionId;
  if (m_missions.size() <= m_serial) m_missions.resize(m_serial + 1U);
  std::unique_ptr<SpreadMission>& mission = m_missions[m_serial];
  mission = std::make_unique<SpreadMission>(
      SpreadMission{AsynMission(missionId), scale, client, std::make_unique<MissionWatch>()});
  mission->watch->owner = VelaGetCurrentTask()->GetName();
  mission->watch->since = vela::NowSeconds();
  mission->watch->lastTold = scale.base;
  mission->watch->lives = std::move(lives);
  return mission.get();
}

bool AsynProgressMgrImpl::RemoveMissionLocked(std::uint32_t missionId) {
  const SpreadMission* mission = FindLocked(missionId);
  if (mission == nullptr) return false;
  m_missionOfClient.erase(mission->client);
  m_missions[missionId >> 16].reset();
  return true;
}

bool AsynProgressMgrImpl::RegisterEx(const std::vector<ProcWeightPairEx>& processes, int clientMissionNo,
                                     unsigned long& missionId, SubMissionIds& subMissions) {
  const std::uint64_t total =
      std::accumulate(processes.begin(), processes.end(), std::uint64_t{0},
                      [](std::uint64_t sum, const ProcWeightPairEx& process) { return sum + process.count; });
  if (!Check(total <= MAX_SERIAL, UNIT, "total <= MAX_SERIAL")) return false;
  ClientMissionID client;
  if (!CurrentClient(clientMissionNo, client)) return false;
  const ClientScale scale = CurrentScale(client);
  Lives lives;
  for (const ProcWeightPairEx& pair : processes) See(pair.process, lives);

  const vela::MutexLock lock(m_mutex);
  std::uint32_t id = 0;
  SpreadMission* mission = AddMissionLocked(client, scale, std::move(lives), id);
  if (mission == nullptr) return false;
  for (const ProcWeightPairEx& pair : processes) {
    const std::vector<std::uint32_t> ids = SubMissionCounter::Instance().Draw(pair.count, id);
    mission->work.SetProcess(pair.process, pair.weight, pair.count, ids);
    std::vector<std::uint32_t>& out = subMissions[pair.process];
    out.insert(out.end(), ids.begin(), ids.end());
  }
  missionId = id;
  return true;
}

bool AsynProgressMgrImpl::Register(const std::vector<ProcWeightPair>& processes, int clientMissionNo,
                                   unsigned long& missionId) {
  ClientMissionID client;
  if (!CurrentClient(clientMissionNo, client)) return false;
  const ClientScale scale = CurrentScale(client);
  Lives lives;
  for (const auto& [process, weight] : processes) See(process, lives);

  const vela::MutexLock lock(m_mutex);
  std::uint32_t id = 0;
  SpreadMission* mission = AddMissionLocked(client, scale, std::move(lives), id);
  if (mission == nullptr) return false;
  for (const auto& [process, weight] : processes) mission->work.SetProcess(process, weight, 1, {{id}});
  missionId = id;
  return true;
}

bool AsynProgressMgrImpl::UnRegister(unsigned long missionId) {
  const vela::MutexLock lock(m_mutex);
  return RemoveMissionLocked(vela::Cut32(missionId));
}

void AsynProgressMgrImpl::MoveSubMission(unsigned long subMissionId, const CProcID& newProcess) {
  const std::uint32_t id = vela::Cut32(subMissionId);
  Lives lives;
  See(newProcess, lives);
  const auto move = [&] {
    const vela::MutexLock lock(m_mutex);
    SpreadMission* mission = FindLocked(id & 0xFFFF0000U);
    if (mission == nullptr) return true;
    for (const auto& [process, life] : lives) mission->watch->lives[process] = life;
    const bool agrees = mission->work.Move(id, newProcess);
    ForgetMoved(*mission, id);
    return agrees;
  };
  Check(move(), UNIT, "0 != count");
}

bool AsynProgressMgrImpl::WriteProcProgress(unsigned long missionId, const CProcID& process,
                                            unsigned long subMissionId, unsigned long percent) {
  const std::uint32_t id = vela::Cut32(missionId);
  const auto write = [&] {
    const vela::MutexLock lock(m_mutex);
    SpreadMission* mission = FindLocked(id);
    if (mission == nullptr) return false;
    Fetch(*mission);
    return mission->work.Write(process, vela::Cut32(subMissionId), vela::Cut32(percent));
  };
  if (write()) return true;
  TETrace("IN function WriteProcProgress: write progress info fail, missionID:%d", static_cast<int>(id));
  return false;
}

int AsynProgressMgrImpl::FigureLocked(const SpreadMission& mission) const {
  const float scaled = static_cast<float>(mission.work.Progress()) * mission.scale.factor;
  return std::max(0, TruncatePercent(scaled + static_cast<float>(mission.scale.base)));
}

unsigned long AsynProgressMgrImpl::GetMissionProgress(unsigned long missionId) {
  const vela::MutexLock lock(m_mutex);
  const SpreadMission* mission = FindLocked(vela::Cut32(missionId));
  return mission == nullptr ? 0 : static_cast<unsigned long>(FigureLocked(*mission));
}

bool AsynProgressMgrImpl::GetClientMissionID(unsigned long missionId, ClientMissionID& client) {
  const vela::MutexLock lock(m_mutex);
  const SpreadMission* mission = FindLocked(vela::Cut32(missionId));
  if (mission == nullptr) return false;
  client = mission->client;
  return true;
}

bool AsynProgressMgrImpl::FindMissionID(const ClientMissionID& client, unsigned long& missionId) {
  const vela::MutexLock lock(m_mutex);
  const auto found = m_missionOfClient.find(AnyReply(client));
  if (found == m_missionOfClient.end()) return false;
  missionId = found->second;
  return true;
}

std::vector<AsynMission::Abort> AsynProgressMgrImpl::StopMission(std::uint32_t missionId) {
  const vela::MutexLock lock(m_mutex);
  SpreadMission* mission = FindLocked(missionId);
  return mission == nullptr ? std::vector<AsynMission::Abort>() : mission->work.Stop();
}

int AsynProgressMgrImpl::MissionStop(const ClientMissionID& client) {
  unsigned long missionId = 0;
  if (!FindMissionID(client, missionId)) return -1;
  VelaGnlTask* pTask = CurrentTask();
  if (!Check(pTask != nullptr, UNIT, "pTask != 0")) return -1;
  bool sent = true;
  for (const AsynMission::Abort& abort : StopMission(vela::Cut32(missionId)))
    sent = SendAborts(*pTask, abort) && sent;
  return sent ? 0 : -1;
}

void AsynProgressMgrImpl::SetMissionData(unsigned long missionId, unsigned long value) {
  const std::uint32_t id = vela::Cut32(missionId);
  bool added = false;
  {
    const vela::MutexLock lock(m_mutex);
    added = m_missionData.emplace(id, vela::Cut32(value)).second;
  }
  if (!added) TETrace("This missionID has registered, missionID:%d", static_cast<int>(id));
}

void AsynProgressMgrImpl::EraseMissionData(unsigned long missionId) {
  const std::uint32_t id = vela::Cut32(missionId);
  bool erased = false;
  {
    const vela::MutexLock lock(m_mutex);
    erased = m_missionData.erase(id) != 0;
  }
  if (!erased) TETrace("This missionID has not registered, missionID:%d", static_cast<int>(id));
}

unsigned long AsynProgressMgrImpl::GetMissionData(unsigned long missionId) {
  const vela::MutexLock lock(m_mutex);
  const auto found = m_missionData.find(vela::Cut32(missionId));
  return found == m_missionData.end() ? 0 : found->second;
}

void AsynProgressMgrImpl::RegisterMissionCmd(unsigned long missionId, const MissionCmd& cmd) {
  const std::uint32_t id = vela::Cut32(missionId);
  std::uint32_t storedSn = 0;
  {
    const vela::MutexLock lock(m_mutex);
    const auto [stored, added] = m_missionCmds.emplace(id, cmd);
    if (added) return;
    storedSn = stored->second.first;
  }
  TETrace("MissionID has registered, missionID:%d,cmdSN:%d", static_cast<int>(id),
          static_cast<int>(storedSn));
}

void AsynProgressMgrImpl::UnRegisterMissionCmd(unsigned long missionId) {
  const vela::MutexLock lock(m_mutex);
  m_missionCmds.erase(vela::Cut32(missionId));
}

void AsynProgressMgrImpl::GetMissionCmd(unsigned long missionId, MissionCmd& cmd) {
  const vela::MutexLock lock(m_mutex);
  const auto found = m_missionCmds.find(vela::Cut32(missionId));
  if (found != m_missionCmds.end()) cmd = found->second;
}

bool AsynProgressMgrImpl::ResetMissionTimeout(unsigned long missionId, unsigned long timeOut,
                                              const CProcID& process) {
  MissionCmd cmd(0, -1);
  GetMissionCmd(missionId, cmd);
  if (cmd.first == 0) return false;
  return Check(CAsnCmd::ResetTimeout(cmd.first, process, vela::Cut32(timeOut), cmd.second), UNIT, "bResult");
}

bool AsynProgressMgrImpl::IsClientMissionRegistered(const ClientMissionID& client, bool takeLock) {
  if (!takeLock) return IsClientRegisteredLocked(client);
  const vela::MutexLock lock(m_mutex);
  return IsClientRegisteredLocked(client);
}

bool AsynProgressMgrImpl::IsMissionRegistered(unsigned long missionId, bool takeLock) {
  if (!takeLock) return FindLocked(vela::Cut32(missionId)) != nullptr;
  const vela::MutexLock lock(m_mutex);
  return FindLocked(vela::Cut32(missionId)) != nullptr;
}

namespace {

vela::SingletonSlot<AsynProgressMgr> g_asynProgressMgr;

void OpenSpan(float span) {
  if (TETaskContext* context = GetTaskContext()) context->SetProgressSpan(span);
}

bool CloseSpan(std::uint32_t missionId) {
  if (TETaskContext* context = GetTaskContext()) context->RestoreProgressSpan();
  AsynProgressMgr* mgr = AsynProgressMgr::Instance();
  return mgr != nullptr && mgr->UnRegister(missionId);
}

}  // namespace

AsynProgressMgr* AsynProgressMgr::Instance() {
  return g_asynProgressMgr.Instance<AsynProgressMgrImpl>();
}

void AsynProgressMgr::Destroy() {
  g_asynProgressMgr.Destroy();
}

bool AsynProgRegProxy::Register(const std::vector<ProcWeightPair>& processes, int clientMissionNo,
                                float span) {
  OpenSpan(span);
  AsynProgressMgr* mgr = AsynProgressMgr::Instance();
  unsigned long missionId = 0;
  if (mgr == nullptr || !mgr->Register(processes, clientMissionNo, missionId)) return false;
  m_nMissionID = vela::Cut32(missionId);
  return true;
}

bool AsynProgRegProxy::UnRegister() {
  return CloseSpan(m_nMissionID);
}

AsynProgRegisterGuard::AsynProgRegisterGuard(const std::vector<ProcWeightPair>& processes,
                                             int clientMissionNo, float span) {
  m_proxy.Register(processes, clientMissionNo, span);
}

AsynProgRegisterGuard::~AsynProgRegisterGuard() {
  m_proxy.UnRegister();
}

bool AsynProgRegProxyEx::Register(const std::vector<ProcWeightPairEx>& processes, int clientMissionNo,
                                  float span) {
  OpenSpan(span);
  AsynProgressMgr* mgr = AsynProgressMgr::Instance();
  unsigned long missionId = 0;
  SubMissionIds subMissions;
  if (mgr == nullptr || !mgr->RegisterEx(processes, clientMissionNo, missionId, subMissions)) return false;
  m_nMissionID = vela::Cut32(missionId);
  m_subMissions.swap(subMissions);
  m_next.clear();
  return true;
}

unsigned long AsynProgRegProxyEx::GetMissionID(const CProcID& process) {
  const auto ids = m_subMissions.find(process);
  if (!Check(ids != m_subMissions.end(), UNIT, "ids != m_subMissions.end()")) return 0;
  std::size_t& next = m_next[process];
  if (!Check(next < ids->second.size(), UNIT, "next < ids->second.size()")) return 0;
  return ids->second[next++];
}

bool AsynProgRegProxyEx::UnRegister() {
  return CloseSpan(m_nMissionID);
}

AsynProgRegisterGuardEx::AsynProgRegisterGuardEx(const std::vector<ProcWeightPairEx>& processes,
                                                 int clientMissionNo, float span) {
  m_proxy.Register(processes, clientMissionNo, span);
}

AsynProgRegisterGuardEx::~AsynProgRegisterGuardEx() {
  m_proxy.UnRegister();
}

void SetFirstSubMission(std::uint16_t number) {
  SubMissionCounter::Instance().SetFirst(number);
}

}  // namespace NSTE_util
