#include "apps/handlers/spread/spread_book.h"

#include <algorithm>
#include <utility>

#include "apps/velad/handler_set.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "platform/task/vela_task_mgr.h"
#include "util/basicutil/asynprogress_report.h"
#include "util/basicutil/asynprogress_watch.h"

namespace velad {
namespace {

constexpr int kTickSeconds = 1;
constexpr int kInsertState = 20;

class TickTask : public VelaGnlTask {
 public:
  TickTask() : VelaGnlTask("SpreadMissions") {}
  ~TickTask() override {
    if (m_created) SpreadBook::Instance().Abandon();
  }

  void VelaTaskCreate() override {
    m_created = true;
    WaitForTick();
  }

  void VelaTaskTimeInterval(std::uint32_t) override {
    SpreadBook::Instance().Tick();
    WaitForTick();
  }

 private:
  void WaitForTick() {
    SetTaskTimeInterval(kTickSeconds);
    VelaSetTaskState(VELA_TASK_WAITING);
  }

  bool m_created = false;  // not when the process was ending already
};

void TellMission(const NSTE_util::PartFailure& failure) {
  if (const auto mission = SpreadBook::Instance().Find(failure.missionId)) mission->OnFailure(failure);
}

}  // namespace

SpreadBook& SpreadBook::Instance() {
  static SpreadBook* book = new SpreadBook;  // lives to the end: abandoned handlers may still use it
  return *book;
}

bool SpreadBook::Watch() {
  const vela::MutexLock lock(m_mutex);
  if (m_watched) return true;
  VelaTaskMgr* service = VelaAppMgr::Instance()->FindTaskMgrByID(kServiceTaskMgr);
  m_watched = service != nullptr && NSTE_util::InitAsynProgressTask(kServiceTaskMgr) == 0 &&
              service->InsertTask(std::make_unique<TickTask>(), kInsertState) == 0;
  return m_watched;
}

std::uint32_t SpreadBook::Start(SpreadOrder order, const SpreadConfig& config) {
  if (!Watch()) return VELA_ERR_STOPPING;
  const auto mission = std::make_shared<SpreadMission>(std::move(order), config);
  unsigned long id = 0;
  if (const std::uint32_t code = mission->Register(id)) return code;
  {
    const vela::MutexLock lock(m_mutex);
    m_missions[static_cast<std::uint32_t>(id)] = mission;
  }
  NSTE_util::SetPartFailureHandler(id, TellMission);
  mission->Begin();
  return 0;
}

std::shared_ptr<SpreadMission> SpreadBook::Find(std::uint32_t subMission) {
  const vela::MutexLock lock(m_mutex);
  const auto found = m_missions.find(subMission & 0xFFFF0000U);
  return found != m_missions.end() ? found->second : nullptr;
}

bool SpreadBook::Has(const NSTE_util::ClientMissionID& client) {
  const vela::MutexLock lock(m_mutex);
  return std::any_of(m_missions.begin(), m_missions.end(),
                     [&](const auto& entry) { return entry.second->Client() == client; });
}

std::vector<std::shared_ptr<SpreadMission>> SpreadBook::All() {
  std::vector<std::shared_ptr<SpreadMission>> all;
  const vela::MutexLock lock(m_mutex);
  for (const auto& [id, mission] : m_missions) all.push_back(mission);
  return all;
}

void SpreadBook::Tick() {
  const auto missions = All();
  if (missions.empty()) return;
  NSTE_util::CheckMissionProcesses();
  for (const auto& mission : missions) mission->Tick();
  const vela::MutexLock lock(m_mutex);
  std::erase_if(m_missions, [](const auto& entry) { return entry.second->IsOver(); });
}

void SpreadBook::Abandon() {
  for (const auto& mission : All()) mission->Abandon();
}

}  // namespace velad
