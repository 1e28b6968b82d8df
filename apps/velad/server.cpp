#include "apps/velad/server.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "apps/common/program_log.h"
#include "apps/common/texts.h"
#include "apps/common/watched_bus.h"
#include "apps/velad/handler_set.h"
#include "apps/velad/handler_sets.h"
#include "platform/bus/bus.h"
#include "platform/debug/vela_debug_mgr.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task_mgr.h"
#include "util/basicutil/asynprogress_watch.h"
#include "util/basicutil/common.h"
#include "util/basicutil/file_service.h"
#include "util/basicutil/filepath.h"
#include "util/basicutil/mutex.h"
#include "util/basicutil/progress_api.h"

namespace velad {
namespace {

constexpr int kConsoleSeconds = 5;  // for operators' commands that run at the end
// Files are moved in workers of their own, so that neither they nor missions wait for the other.
constexpr unsigned char kFileTaskMgr = 3;
constexpr unsigned kFileWorkers = 2;

std::string AddressText(CProcID address) {
  return std::to_string(address.Number()) + "/" + std::to_string(address.Handle());
}

int Fail(const std::string& reason) {
  std::fprintf(stderr, "velad: %s\n", reason.c_str());
  LogProcess::Error("velad: " + reason);
  LogProcess::Shutdown();
  return EXIT_FAILURE;
}

sigset_t EndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGHUP);
  return signals;
}

// The operator's choice, or the folder that the library would take for a configuration at its own place.
std::string LogFolder(const ServerConfig& config) {
  if (!config.logDirectory.empty()) return config.logDirectory;
  return vela::InstallRoot() + "var/logs/Develop/velad_" + std::to_string(config.address.Handle());
}

bool MakeTaskMgrs(const ServerConfig& config) {
  VelaTaskMgrConfig missions;
  missions.id = kMainTaskMgr;
  missions.workers = config.workerThreads;
  missions.queueLimit = config.queueLimit;
  VelaTaskMgrConfig service;
  service.id = kServiceTaskMgr;
  service.name = "service";
  service.workers = 1;
  VelaTaskMgrConfig files;
  files.id = kFileTaskMgr;
  files.name = "files";
  files.workers = kFileWorkers;
  files.queueLimit = config.queueLimit;
  VelaAppMgr* app = VelaAppMgr::Instance();
  return app != nullptr && app->CreateTaskMgr(missions) != nullptr &&
         app->CreateTaskMgr(service) != nullptr && app->CreateTaskMgr(files) != nullptr;
}

std::string WhyNotStarted(vela::BusResult result, CProcID address) {
  if (result == vela::BusResult::taken) return apps::Text("SERVER_ADDRESS_TAKEN", {AddressText(address)});
  return apps::Text("SERVER_NO_BUS", {vela::InstallRoot(), LogProcess::Directory()});
}

// Which operations exclude each other; which of the file's lines are wrong is in the log.
bool LoadOperLocks(const std::string& file, std::string& error) {
  NSTE_util::TEMutexOperMgr* const locks = NSTE_util::TEMutexOperMgr::Instance();
  if (locks != nullptr && locks->LoadMutexFile(file)) return true;
  error = apps::Text("SERVER_NO_LOCKS", {file});
  // Also lets out what was held back about the lines.
  NSTE_util::WriteException((error + '\n').c_str());
  return false;
}

bool LoadHandlers(const ServerConfig& config, std::vector<HandlerSet>& sets, std::string& error) {
  std::string processPath;
  NSTE_util::GetProcessPath(processPath);
  return LoadHandlerSets(config.handlerSets, vela::InstallRoot(), InstalledHandlerSets(processPath), sets,
                         error);
}

// Without a console the process serves all the same.
void OpenConsole(CProcID address) {
  std::string error;
  if (!VelaDebugMgr::Instance()->OpenConsole(address, vela::ReadConsoleOptions(), error))
    LogProcess::Error("velad: operators cannot connect: " + error);
}

// Until a signal, or the operator's command "shutdown", ends the process.
void AwaitEnd() {
  const sigset_t signals = EndSignals();
  const timespec tick{0, 200'000'000};
  int signal = 0;
  while (signal <= 0 && !VelaIsExit()) signal = sigtimedwait(&signals, nullptr, &tick);
  LogProcess::Info("velad: told to end by " +
                   (signal > 0 ? "signal " + std::to_string(signal) : std::string("an operator")));
}

// True when all handlers ended in time.
bool StopServing(int seconds) {
  VelaSetExitFlag();
  const bool ended = VelaAppMgr::Instance()->Stop(seconds);
  if (!ended) LogProcess::Error("velad: requests were abandoned, they did not end in time");
  LogProcess::Info("velad: ended");
  return ended;
}

}  // namespace

void HoldEndSignals() {
  const sigset_t signals = EndSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

int Serve(const ServerConfig& config, char* argv0, const std::string& name) {
  if (!apps::StartLog(argv0, name, LogFolder(config)))
    return Fail(apps::Text("SERVER_NO_LOG", {LogProcess::Directory()}));
  std::string error;
  std::vector<HandlerSet> sets;
  if (!LoadOperLocks(config.mutexFile, error) || !LoadHandlers(config, sets, error)) return Fail(error);
  if (!MakeTaskMgrs(config)) return Fail(apps::Text("SERVER_NO_WORKERS"));
  if (config.fileService && NSTE_util::RegFileService(kFileTaskMgr) != 0)
    return Fail(apps::Text("SERVER_NO_FILES"));
  VelaAppMgr* app = VelaAppMgr::Instance();
  vela::BusResult result = vela::BusResult::failed;
  if (app->Start(apps::WatchOpen(vela::MakeBus({}), result), config.address, 0) != 0)
    return Fail(WhyNotStarted(result, config.address));
  if (NSTE_util::InitDebugTask(kServiceTaskMgr) != 0 || NSTE_util::InitProgressTask(kServiceTaskMgr) != 0) {
    StopServing(0);
    return Fail(apps::Text("SERVER_NO_TASKS"));
  }
  // In the lower half, so that it comes round late.
  NSTE_util::SetFirstSubMission(static_cast<std::uint16_t>(VelaGetTickCount() & 0x7FFF));
  if (!StartHandlerSets(sets, error)) {
    StopServing(0);
    return Fail(error);
  }

  OpenConsole(config.address);
  LogProcess::Info("velad: serves as " + AddressText(config.address) + ", configuration " + config.file);
  std::puts("ready");
  std::fflush(stdout);

  AwaitEnd();

  const bool served = StopServing(config.stopSeconds);
  const bool ended = VelaDebugMgr::Instance()->CloseConsole(kConsoleSeconds) && served;
  if (ended) VelaAppMgr::Destroy();
  NSTE_util::FiniDebugLog();
  LogProcess::Shutdown();
  // Abandoned handlers still run: nothing that they use may be destroyed.
  if (!ended) _exit(EXIT_SUCCESS);
  return EXIT_SUCCESS;
}

}  // namespace velad
