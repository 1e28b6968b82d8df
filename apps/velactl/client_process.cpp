#include "apps/velactl/client_process.h"

#include <unistd.h>

#include "apps/common/program_log.h"
#include "apps/common/texts.h"
#include "apps/common/watched_bus.h"
#include "platform/bus/bus.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task_mgr.h"
#include "util/basicutil/common.h"

namespace velactl {
namespace {

constexpr unsigned kHandles = 10000;

// Opens the bus at the first free handle, beginning at one that other clients are unlikely to try.
bool StartAtFreeHandle() {
  const auto first = static_cast<unsigned>(getpid());
  for (unsigned i = 0; i < kHandles; ++i) {
    const auto handle = static_cast<std::uint16_t>((first + i) % kHandles + 1);
    vela::BusResult result = vela::BusResult::failed;
    if (VelaAppMgr::Instance()->Start(apps::WatchOpen(vela::MakeBus({}), result),
                                      CProcID(VELA_CLIENT_GROUP, handle), 0) == 0)
      return true;
    if (result != vela::BusResult::taken) return false;
  }
  return false;
}

}  // namespace

ClientProcess::~ClientProcess() {
  if (m_running && VelaAppMgr::Instance()->Stop(1)) VelaAppMgr::Destroy();
  NSTE_util::FiniDebugLog();
  LogProcess::Shutdown();
}

bool ClientProcess::Start(char* argv0, std::string& error) {
  const std::string root = vela::InstallRoot();
  if (!apps::StartLog(argv0, "", "")) {
    error = apps::Text("CLIENT_NO_LOG", {root});
    return false;
  }
  VelaTaskMgrConfig config;
  config.workers = 1;  // keeps the reports in order
  if (VelaAppMgr::Instance()->CreateTaskMgr(config) == nullptr || !StartAtFreeHandle()) {
    error = apps::Text("CLIENT_NO_BUS", {root});
    return false;
  }
  m_running = true;
  return true;
}

std::optional<CProcID> ClientProcess::FindServer(std::uint16_t number, std::uint16_t handle) {
  for (const CProcID process : VelaAppMgr::Instance()->GetBus()->LiveProcesses())
    if (process.Number() == number && (handle == 0 || process.Handle() == handle)) return process;
  return std::nullopt;
}

bool ClientProcess::IsAlive(CProcID process) {
  const vela::Bus* bus = VelaAppMgr::Instance()->GetBus();
  return bus != nullptr && bus->IsAlive(process);
}

}  // namespace velactl
