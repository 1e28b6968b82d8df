#include "util/basicutil/asynprogress_watch.h"

#include <algorithm>
#include <exception>

#include "asn1/progress.h"
#include "platform/bus/bus.h"
#include "platform/os/clock.h"
#include "platform/os/os_types.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/asynprogress_internal.h"
#include "util/basicutil/asynprogressmgr_impl.h"
#include "util/basicutil/common.h"
#include "util/basicutil/progress_report.h"

namespace NSTE_util {
namespace {

AsynProgressMgrImpl* Impl() {
  return static_cast<AsynProgressMgrImpl*>(AsynProgressMgr::Instance());
}

vela::Bus* TheBus() {
  VelaAppMgr* app = VelaAppMgr::Instance();
  return app != nullptr ? app->GetBus() : nullptr;
}

void CallHandler(const PartFailureHandler& handler, const PartFailure& failure) {
  if (!handler) return;
  try {
    handler(failure);
  } catch (const std::exception& problem) {
    GetDefaultDebugInterface().PrintF(1, "the handler of a failed part failed itself: %s", problem.what());
  } catch (...) {
    GetDefaultDebugInterface().Print(1, "the handler of a failed part failed itself");
  }
}

// Looks once at each process however many missions depend on it.
class Watcher {
 public:
  explicit Watcher(vela::Bus& bus) : m_bus(bus) {}

  // The number of sub-missions that are newly found to have failed.
  int Check(AsynProgressMgrImpl& mgr, std::uint32_t missionId) {
    int failed = 0;
    for (const AsynProgressMgrImpl::Dependence& dependence : mgr.Dependences(missionId)) {
      if (IsAsBefore(dependence, Life(dependence.worker))) continue;
      // What was seen earlier in this round may be older than the mission.
      const std::uint64_t life = m_bus.LifeOf(dependence.worker);
      m_lives[dependence.worker] = life;
      if (IsAsBefore(dependence, life) || !mgr.SeeWorker(missionId, dependence, life)) continue;
      const std::string text = "process " + VelaAddressText(dependence.worker) + " has ended";
      ReportFailure(missionId, dependence.holder, dependence.subMissions, VELA_ERR_NO_RECEIVER, text);
      failed += static_cast<int>(dependence.subMissions.size());
    }
    return failed;
  }

 private:
  static bool IsAsBefore(const AsynProgressMgrImpl::Dependence& dependence, std::uint64_t life) {
    return life != 0 && (dependence.life == life || dependence.worker.IsAnyInstance());
  }

  std::uint64_t Life(CProcID process) {
    const auto [known, added] = m_lives.emplace(process, 0);
    if (added) known->second = m_bus.LifeOf(process);
    return known->second;
  }

  vela::Bus& m_bus;
  Lives m_lives;
};

}  // namespace

std::uint64_t LifeOfProcess(CProcID process) {
  const vela::Bus* bus = TheBus();
  return bus != nullptr ? bus->LifeOf(process) : 0;
}

void TellClient(const ClientFigure& told, const std::string& text) {
  AsnProgressReportEx report;
  report.missionID = told.client.m_nMissionNo;
  report.progress = std::clamp(told.figure, 0, 100);
  if (!text.empty()) {
    report.info = new AsnTaskProgressInfo;
    report.info->third.Set(text.data(), text.size());
  }
  SendReport(nullptr, told.client, CMD_PROGRESS_REPORT, report);
}

void ReportFailure(std::uint32_t missionId, CProcID holder, const std::vector<std::uint32_t>& subMissions,
                   std::uint32_t code, const std::string& text) {
  AsynProgressMgrImpl* mgr = Impl();
  if (mgr == nullptr) return;
  const std::optional<PartFailure> failure = mgr->Fail(missionId, holder, subMissions, code, text);
  if (!failure) return;
  GetDefaultDebugInterface().PrintF(
      1, "mission 0x%x: %zu sub-missions of process %s have failed, code:0x%x, %s", missionId,
      failure->subMissions.size(), VelaAddressText(holder).c_str(), code, vela::EscapeControls(text).c_str());
  if (const auto told = mgr->TakeFigure(missionId, true)) TellClient(*told, text);
  CallHandler(mgr->FailureHandler(missionId), *failure);
}

std::optional<CProcID> AsynProgressMgrImpl::FindHolder(std::uint32_t subMissionId, CProcID process) {
  const vela::MutexLock lock(m_mutex);
  SpreadMission* mission = FindLocked(subMissionId & 0xFFFF0000U);
  return mission != nullptr ? mission->work.Holder(process, subMissionId) : std::nullopt;
}

bool AsynProgressMgrImpl::KnowsWorker(const HeldSubMission& held, CProcID worker) {
  const vela::MutexLock lock(m_mutex);
  const SpreadMission* mission = FindLocked(held.second & 0xFFFF0000U);
  if (mission == nullptr) return true;
  const MissionWatch& watch = *mission->watch;
  if (watch.errors.contains(held) || !watch.lives.contains(worker)) return false;
  if (held.first == worker) return true;
  const auto known = watch.workers.find(held);
  return known != watch.workers.end() && known->second == worker;
}

void AsynProgressMgrImpl::NoteWorker(const HeldSubMission& held, CProcID worker, std::uint64_t life) {
  const vela::MutexLock lock(m_mutex);
  SpreadMission* mission = FindLocked(held.second & 0xFFFF0000U);
  if (mission == nullptr) return;
  MissionWatch& watch = *mission->watch;
  watch.errors.erase(held);
  watch.lives[worker] = life;
  if (held.first != worker) watch.workers[held] = worker;
}

std::optional<ClientFigure> AsynProgressMgrImpl::TakeFigure(std::uint32_t missionId, bool always) {
  const vela::MutexLock lock(m_mutex);
  SpreadMission* mission = FindLocked(missionId);
  if (mission == nullptr) return std::nullopt;
  int& lastTold = mission->watch->lastTold;
  const int figure = FigureLocked(*mission);
  if (figure <= lastTold && !always) return std::nullopt;
  lastTold = std::max(lastTold, figure);
  return ClientFigure{mission->client, lastTold};
}

std::optional<PartFailure> AsynProgressMgrImpl::Fail(std::uint32_t missionId, CProcID holder,
                                                     const std::vector<std::uint32_t>& subMissions,
                                                     std::uint32_t code, const std::string& text) {
  const vela::MutexLock lock(m_mutex);
  SpreadMission* mission = FindLocked(missionId);
  if (mission == nullptr) return std::nullopt;
  const std::vector<std::uint32_t> unfinished = mission->work.Unfinished(holder);
  PartFailure failure{missionId, mission->client, holder, code, text, {}};
  for (const std::uint32_t id : subMissions)
    if (std::find(unfinished.begin(), unfinished.end(), id) != unfinished.end() &&
        mission->watch->errors.try_emplace({holder, id}, MissionWatch::Error{code, text}).second)
      failure.subMissions.push_back(id);
  if (failure.subMissions.empty()) return std::nullopt;
  return failure;
}

PartFailureHandler AsynProgressMgrImpl::FailureHandler(std::uint32_t missionId) {
  const vela::MutexLock lock(m_mutex);
  const SpreadMission* mission = FindLocked(missionId);
  return mission != nullptr ? mission->watch->onFailure : PartFailureHandler();
}

bool AsynProgressMgrImpl::SetFailureHandler(std::uint32_t missionId, PartFailureHandler handler) {
  const vela::MutexLock lock(m_mutex);
  SpreadMission* mission = FindLocked(missionId);
  if (mission != nullptr) mission->watch->onFailure.swap(handler);
  return mission != nullptr;
}

std::vector<PartFailure> AsynProgressMgrImpl::FailedParts(std::uint32_t missionId) {
  std::vector<PartFailure> failures;
  const vela::MutexLock lock(m_mutex);
  const SpreadMission* mission = FindLocked(missionId);
  if (mission == nullptr) return failures;
  for (const auto& [held, error] : mission->watch->errors) {
    if (failures.empty() || failures.back().process != held.first)
      failures.push_back({missionId, mission->client, held.first, error.code, error.text, {}});
    failures.back().subMissions.push_back(held.second);
  }
  return failures;
}

bool AsynProgressMgrImpl::StopPart(std::uint32_t missionId, CProcID process) {
  const vela::MutexLock lock(m_mutex);
  SpreadMission* mission = FindLocked(missionId);
  if (mission == nullptr || !mission->work.Stop(process)) return false;
  std::erase_if(mission->watch->errors, [&](const auto& error) { return error.first.first == process; });
  return true;
}

std::vector<MissionStatus> AsynProgressMgrImpl::List() {
  std::vector<MissionStatus> list;
  const std::int64_t now = vela::NowSeconds();
  const vela::MutexLock lock(m_mutex);
  for (std::size_t serial = 0; serial < m_missions.size(); ++serial) {
    const SpreadMission* mission = m_missions[serial].get();
    if (mission == nullptr) continue;
    const MissionWatch& watch = *mission->watch;
    MissionStatus& status = list.emplace_back();
    status.missionId = static_cast<std::uint32_t>(serial) << 16;
    status.client = mission->client;
    status.owner = watch.owner;
    status.percent = static_cast<unsigned>(FigureLocked(*mission));
    status.age = std::max<std::int64_t>(0, now - watch.since);
    for (const AsynMission::Part& part : mission->work.Parts()) {
      const auto error = watch.errors.lower_bound({part.process, 0});
      const bool failed = error != watch.errors.end() && error->first.first == part.process;
      status.parts.push_back({part.process, part.weight, part.percent, part.count, part.stopped,
                              failed ? error->second.code : 0});
    }
  }
  return list;
}

std::vector<std::uint32_t> AsynProgressMgrImpl::MissionIds() {
  std::vector<std::uint32_t> ids;
  const vela::MutexLock lock(m_mutex);
  for (std::size_t serial = 0; serial < m_missions.size(); ++serial)
    if (m_missions[serial] != nullptr) ids.push_back(static_cast<std::uint32_t>(serial) << 16);
  return ids;
}

std::vector<AsynProgressMgrImpl::Dependence> AsynProgressMgrImpl::Dependences(std::uint32_t missionId) {
  const vela::MutexLock lock(m_mutex);
  const SpreadMission* mission = FindLocked(missionId);
  if (mission == nullptr) return {};
  const MissionWatch& watch = *mission->watch;
  std::map<std::pair<CProcID, CProcID>, Dependence> all;  // by holder and worker
  for (const AsynMission::Part& part : mission->work.Parts()) {
    for (const std::uint32_t id : mission->work.Unfinished(part.process)) {
      if (watch.errors.contains({part.process, id})) continue;
      const auto known = watch.workers.find({part.process, id});
      const CProcID worker = known != watch.workers.end() ? known->second : part.process;
      Dependence& dependence = all[{part.process, worker}];
      dependence.holder = part.process;
      dependence.worker = worker;
      const auto life = watch.lives.find(worker);
      dependence.life = life != watch.lives.end() ? life->second : 0;
      dependence.subMissions.push_back(id);
    }
  }
  std::vector<Dependence> list;
  for (auto& [key, dependence] : all) list.push_back(std::move(dependence));
  return list;
}

bool AsynProgressMgrImpl::SeeWorker(std::uint32_t missionId, const Dependence& dependence,
                                    std::uint64_t life) {
  const vela::MutexLock lock(m_mutex);
  SpreadMission* mission = FindLocked(missionId);
  if (mission == nullptr) return false;
  if (dependence.worker.IsAnyInstance()) return life == 0;
  std::uint64_t& known = mission->watch->lives[dependence.worker];
  if (known != dependence.life) return false;
  if (known != 0 || life == 0) return true;
  known = life;  // seen for the first time
  return false;
}

bool SetPartFailureHandler(unsigned long missionId, PartFailureHandler handler) {
  AsynProgressMgrImpl* mgr = Impl();
  return mgr != nullptr && mgr->SetFailureHandler(vela::Cut32(missionId), std::move(handler));
}

std::vector<PartFailure> GetFailedParts(unsigned long missionId) {
  AsynProgressMgrImpl* mgr = Impl();
  return mgr != nullptr ? mgr->FailedParts(vela::Cut32(missionId)) : std::vector<PartFailure>();
}

bool GoOnWithout(unsigned long missionId, const CProcID& process) {
  AsynProgressMgrImpl* mgr = Impl();
  const std::uint32_t id = vela::Cut32(missionId);
  if (mgr == nullptr || !mgr->StopPart(id, process)) return false;
  if (const auto told = mgr->TakeFigure(id, false)) TellClient(*told, {});
  return true;
}

int CheckMissionProcesses() {
  AsynProgressMgrImpl* mgr = Impl();
  vela::Bus* bus = TheBus();
  if (mgr == nullptr || bus == nullptr) return 0;
  Watcher watcher(*bus);
  int failed = 0;
  for (const std::uint32_t id : mgr->MissionIds()) failed += watcher.Check(*mgr, id);
  return failed;
}

std::vector<MissionStatus> ListMissions() {
  AsynProgressMgrImpl* mgr = Impl();
  return mgr != nullptr ? mgr->List() : std::vector<MissionStatus>();
}

}  // namespace NSTE_util
