#include <atomic>
#include <cstring>
#include <memory>

#include "platform/config/vela_config.h"
#include "platform/debug/vela_debug_mgr.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task.h"
#include "platform/task/vela_task_mgr.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common.h"
#include "util/basicutil/common_commands.h"
#include "util/basicutil/common_manager.h"
#include "util/basicutil/env_settings.h"
#include "util/basicutil/filepath.h"

namespace NSTE_util {
namespace {

constexpr const char* kUnit = "common";
constexpr int kFlushInterval = 60;

constinit std::atomic<bool> g_initialised{false};
constinit vela::Mutex g_engineMutex;
TEDebugEngine* g_engine VELA_GUARDED_BY(g_engineMutex) = nullptr;

struct LogNames {
  std::string module;
  std::string alarm;  // empty: no log of its own
  std::string directory;
  std::string switchFile;  // empty: no switches are loaded
  int handle = 0;
};

std::string SwitchFile() {
  std::string processPath;
  if (GetProcessPath(processPath) != 0) return {};
  const std::string parent = GetParentPath(processPath);
  return parent.empty() ? parent : parent + "conf/debug.cfg";
}

// The argument behind the first "-f"; null when there is none.
const char* HandleFileArgument(int argc, char** argv) {
  for (int i = 1; i < argc - 1; ++i) {
    if (std::strcmp(argv[i], "-f") == 0) return argv[i + 1];
  }
  return nullptr;
}

bool ReadHandle(const char* fileName, int& handle) {
  std::string path;
  if (GetProcessPath(path) != 0) return false;
  path += "../conf/";
  if (ConvertAbsolutePath(path) != 0) return false;
  return VelaGetRegInt((path + fileName).c_str(), "ProcHandle", handle) == 1;
}

LogNames NamesFor(const std::string& processName, int argc, char** argv) {
  LogNames names;
  names.module = processName + "_";
  names.directory = GetVELARootPath() + "var/logs/Develop/" + processName;
  names.switchFile = SwitchFile();
  const char* const file = HandleFileArgument(argc, argv);
  if (file == nullptr) return names;
  const bool found = ReadHandle(file, names.handle);
  const std::string handle = std::to_string(names.handle);
  if (found) {
    names.module = processName + "_" + handle + "_";
    names.alarm = "alm_" + names.module;
  }
  names.directory += "_" + handle;
  return names;
}

void RegisterEngine() {
  VelaDebugMgr* const platform = VelaDebugMgr::Instance();
  if (platform == nullptr) return;
  {
    vela::MutexLock lock(g_engineMutex);
    if (g_engine == nullptr) g_engine = new TEDebugEngine;
    platform->RegDebugEngine(g_engine);
  }
  constexpr unsigned allLevels = 15;
  constexpr unsigned errors = 2;
  platform->SetAllModuleInfo(allLevels, errors, false);
}

// Has no request to serve; its interval belongs to the thread in which it is current.
class DebugLogTask : public VelaGnlTask {
 public:
  DebugLogTask() : VelaGnlTask("DebugLogTask") {}

  void VelaTaskCreate() override {
    AllocMsgSn();
    m_interval = SetTaskTimeInterval(kFlushInterval);
  }

  void VelaTaskTimeInterval(std::uint32_t id) override {
    if (id == m_interval) {
      DelTaskTimeInterval(m_interval);
      if (TEDebugMgrImpl* const manager = TEDebugMgrImpl::Instance()) manager->Flush();
      m_interval = SetTaskTimeInterval(kFlushInterval);
    }
    VelaSetTaskState(VELA_TASK_WAITING);
  }

 private:
  std::uint32_t m_interval = 0;
};

}  // namespace

int InitDebugLog(int argc, char** argv) {
  std::string processName;
  if (GetProcessName(processName) != 0) return -1;
  g_initialised = true;
  const LogNames names = NamesFor(processName, argc, argv);
  if (VELAUtilInit(g_bEnableInt3) != 0) return -1;
  VelaDebugMgr* const platform = VelaDebugMgr::Instance();
  if (platform != nullptr &&
      platform->Init(names.module, names.switchFile, names.directory + "/../tmpfile", "", false, true) != 0) {
    return -1;
  }
  TEDebugMgrImpl* const manager = TEDebugMgrImpl::Instance();
  if (manager == nullptr) return -1;
  const int result = manager->Init(names.directory, names.module, names.alarm, names.switchFile);
  if (result != 0) return result;
  manager->AddDebugCommand(&ListCmdCommand());
  RegisterEngine();
  LogProcess::InitEnv(argc > 0 ? argv[0] : processName.c_str(), names.handle);
  GetSlotMode();
  return 0;
}

void FiniDebugLog() {
  g_initialised = false;
  {
    vela::MutexLock lock(g_engineMutex);
    VelaDebugMgr* const platform = VelaDebugMgr::Instance();
    if (platform != nullptr && g_engine != nullptr) {
      platform->UnRegDebugEngine(g_engine);
      delete g_engine;
      g_engine = nullptr;
    }
  }
  TEDebugMgrImpl::Destroy();
}

int InitDebugTask(unsigned char taskMgrID) {
  Check(taskMgrID != 0, kUnit, "0 != TaskMgrID");
  VelaAppMgr* const appMgr = VelaAppMgr::Instance();
  Check(appMgr != nullptr, kUnit, "0 != pAppMgr");
  VelaTaskMgr* const taskMgr = appMgr == nullptr ? nullptr : appMgr->FindTaskMgrByID(taskMgrID);
  if (!Check(taskMgr != nullptr, kUnit, "0 != pTaskMgr")) return -1;
  for (const std::uint32_t cmdCode : {0x21ffffU, 0x280000U, 0xfffeU}) SetTaskMgrForCmd(cmdCode, taskMgrID);
  return taskMgr->InsertTask(std::make_unique<DebugLogTask>(), VELA_TASK_WAITING) == 0 ? 0 : -1;
}

}  // namespace NSTE_util
