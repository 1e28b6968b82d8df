#include "apps/handlers/admin/process_status.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "asn1/nms.h"
#include "platform/bus/bus.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task_mgr.h"
#include "util/basicutil/asynprogress_watch.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/mutex_query.h"
#include "util/basicutil/tecommonerror.h"

namespace velad {
namespace {

const std::chrono::steady_clock::time_point g_begin = std::chrono::steady_clock::now();

using Missions = std::set<NSTE_util::ClientMissionID, NSTE_util::ClientMissionIDExactLess>;

// 0 when it cannot be read.
AsnIntType Entries(const char* folder) {
  std::error_code error;
  const std::filesystem::directory_iterator entries(folder, error);
  return error ? 0 : static_cast<AsnIntType>(std::distance(begin(entries), end(entries)));
}

// Resident, in KiB; 0 when it cannot be read.
AsnIntType Memory() {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(VELA_OS::fopen("/proc/self/statm", "r"),
                                                             VELA_OS::fclose);
  long pages = 0;
  if (!file || std::fscanf(file.get(), "%*s %ld", &pages) != 1) return 0;
  return static_cast<AsnIntType>(pages * (sysconf(_SC_PAGESIZE) / 1024));
}

void FillProcess(AsnStatusRsp& status) {
  status.process = VelaGetProcId();
  status.handle = VelaGetProcHandle();
  status.pid = static_cast<AsnIntType>(getpid());
  status.uptime = static_cast<AsnIntType>(
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - g_begin).count());
  status.memory = Memory();
  status.descriptors = std::max<AsnIntType>(Entries("/proc/self/fd") - 1, 0);  // one is the look itself
  status.threads = Entries("/proc/self/task");
}

void FillRequests(AsnStatusRsp& status) {
  VelaTaskMgrStats sum;
  for (const VelaTaskMgr* taskMgr : VelaAppMgr::Instance()->TaskMgrs()) {
    const VelaTaskMgrStats stats = taskMgr->Stats();
    sum.handled += stats.handled;
    sum.refusedFull += stats.refusedFull;
    sum.queued += stats.queued;
    sum.running += stats.running;
  }
  status.queued = static_cast<AsnIntType>(sum.queued);
  status.running = static_cast<AsnIntType>(sum.running - std::min(sum.running, 1U));
  status.served = static_cast<AsnIntType>(sum.handled);
  status.refused = static_cast<AsnIntType>(sum.refusedFull);
}

void FillTraffic(AsnStatusRsp& status) {
  const vela::Bus* bus = VelaAppMgr::Instance()->GetBus();
  const vela::BusStats stats = bus != nullptr ? bus->Stats() : vela::BusStats();
  status.sent = static_cast<AsnIntType>(stats.sent);
  status.received = static_cast<AsnIntType>(stats.received);
  status.dropped = static_cast<AsnIntType>(stats.refusedFull);
  const std::uint64_t failed = LogProcess::FailedWrites();
  status.produced = static_cast<AsnIntType>(LogProcess::ProducedRecords());
  status.logged = static_cast<AsnIntType>(LogProcess::WrittenRecords() - failed);
  status.logDropped = static_cast<AsnIntType>(LogProcess::DroppedRecords() + failed);
}

void AddMission(AsnStatusRsp& status, const NSTE_util::ClientMissionID& client, const std::string& what,
                int percent, std::int64_t age) {
  AsnStatusMission& mission = *status.missions.append();
  mission.client = client.m_wProcID;
  mission.handle = client.m_wProcHandle;
  mission.mission = client.m_nMissionNo;
  mission.what.Set(what.data(), what.size());
  mission.percent = percent;
  mission.age = static_cast<AsnIntType>(age);
}

void FillMissions(AsnStatusRsp& status, const std::vector<NSTE_util::TERunningOperObjects>& opers) {
  Missions known;
  for (const NSTE_util::MissionStatus& mission : NSTE_util::ListMissions()) {
    known.insert(mission.client);
    AddMission(status, mission.client, mission.owner, static_cast<int>(mission.percent), mission.age);
  }
  for (const NSTE_util::TERunningOperObjects& oper : opers)
    if (oper.m_bMission && known.insert(oper.m_mission).second)
      AddMission(status, oper.m_mission, oper.m_strTaskName, oper.m_nProgress,
                 std::chrono::duration_cast<std::chrono::seconds>(oper.m_age).count());
}

}  // namespace

void FillStatus(AsnStatusRsp& status) {
  std::vector<NSTE_util::TERunningOperObjects> opers;
  NSTE_util::GetRunningOpers(opers);
  FillProcess(status);
  FillRequests(status);
  FillTraffic(status);
  status.locks = static_cast<AsnIntType>(opers.size());
  status.frames = static_cast<AsnIntType>(NSTE_util::TEOperErrorLogIF::OpenFrames().size());
  FillMissions(status, opers);
}

}  // namespace velad
