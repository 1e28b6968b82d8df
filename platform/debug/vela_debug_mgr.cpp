#include "platform/debug/vela_debug_mgr.h"

#include <atomic>
#include <memory>

#include "platform/debug/console_server.h"
#include "platform/log/log_file.h"
#include "platform/log/log_process.h"
#include "platform/os/mutex.h"
#include "platform/os/singleton.h"

VelaDebugEngine::~VelaDebugEngine() = default;
VelaDebugMgr::~VelaDebugMgr() = default;

VelaDebugReply VelaDebugEngine::Run(const std::string& commandLine) {
  return {Execute(commandLine)};
}

namespace {

constexpr unsigned kAllLevels = 0xF;

// "velad_3_" holds the handle 3, "velad_" none.
bool HoldsHandle(const std::string& logName) {
  if (!logName.ends_with('_')) return false;
  const std::size_t last = logName.size() - 1;
  const std::size_t before = logName.find_last_not_of("-0123456789", last - 1);
  return last != 0 && before != std::string::npos && before + 1 < last && logName[before] == '_';
}

class VelaDebugMgrImpl : public VelaDebugMgr {
 public:
  int Init(const std::string& logName, const std::string&, const std::string& tempDirectory,
           const std::string&, bool traceToScreen, bool) override {
    const std::string directory = tempDirectory.substr(0, tempDirectory.rfind("/../"));
    LogProcess::SetFiles(directory, logName, HoldsHandle(logName) ? "alm_" + logName : std::string());
    LogProcess::SetLevels(Levels(), traceToScreen);
    return vela::log::MakeDirectories(LogProcess::Directory()) ? 0 : -1;
  }

  bool RegDebugEngine(VelaDebugEngine* engine) override VELA_EXCLUDES(m_mutex) {
    vela::MutexLock lock(m_mutex);
    if (m_engine != nullptr && m_engine != engine) return false;
    m_engine = engine;
    return engine != nullptr;
  }

  void UnRegDebugEngine(VelaDebugEngine* engine) override VELA_EXCLUDES(m_mutex) {
    vela::MutexLock lock(m_mutex);
    if (m_engine != engine) return;
    m_engine = nullptr;
    while (m_running != 0) m_commandEnded.Wait(m_mutex);
  }

  void SetAllModuleInfo(std::bitset<32> levels, std::bitset<32>, bool toScreen) override {
    m_levels.store(static_cast<unsigned>(levels.to_ulong()));
    LogProcess::SetLevels(levels, toScreen);
  }

  std::bitset<32> Levels() const override { return m_levels.load(); }

  std::string Execute(const std::string& commandLine) override { return Run(commandLine).text; }

  VelaDebugReply Run(const std::string& commandLine) override {
    const EngineUse use(*this);
    if (use.engine == nullptr) return {"No debug engine.\n", true};
    return use.engine->Run(commandLine);
  }

  bool OpenConsole(CProcID self, const vela::ConsoleOptions& options, std::string& error) override {
    if (m_console) {
      error = "the console is open";
      return false;
    }
    const auto run = [this](const std::string& commandLine) { return Run(commandLine); };
    m_console = vela::ConsoleServer::Open(options, self, run, error);
    return m_console != nullptr;
  }

  bool CloseConsole(int seconds) override {
    const std::unique_ptr<vela::ConsoleServer> console = std::move(m_console);
    return !console || console->Close(seconds);
  }

 private:
  // The engine cannot be taken away while it is used.
  class EngineUse {
   public:
    explicit EngineUse(VelaDebugMgrImpl& mgr) : engine(mgr.Begin()), m_mgr(mgr) {}
    ~EngineUse() {
      if (engine != nullptr) m_mgr.End();
    }
    EngineUse(const EngineUse&) = delete;
    EngineUse& operator=(const EngineUse&) = delete;

    VelaDebugEngine* const engine;

   private:
    VelaDebugMgrImpl& m_mgr;
  };

  VelaDebugEngine* Begin() VELA_EXCLUDES(m_mutex) {
    vela::MutexLock lock(m_mutex);
    if (m_engine != nullptr) ++m_running;
    return m_engine;
  }

  void End() VELA_EXCLUDES(m_mutex) {
    vela::MutexLock lock(m_mutex);
    --m_running;
    m_commandEnded.NotifyAll();
  }

  vela::Mutex m_mutex;
  vela::CondVar m_commandEnded;
  VelaDebugEngine* m_engine VELA_GUARDED_BY(m_mutex) = nullptr;
  unsigned m_running VELA_GUARDED_BY(m_mutex) = 0;
  std::unique_ptr<vela::ConsoleServer> m_console;
  std::atomic<unsigned> m_levels{kAllLevels};
};

constinit vela::SingletonSlot<VelaDebugMgr> g_slot;

}  // namespace

VelaDebugMgr* VelaDebugMgr::Instance() {
  return g_slot.Instance<VelaDebugMgrImpl>();
}

void VelaDebugMgr::Destroy() {
  g_slot.Destroy();
}
