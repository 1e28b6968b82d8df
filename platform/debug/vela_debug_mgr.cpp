#include "platform/debug/vela_debug_mgr.h"

#include <atomic>

#include "platform/log/log_file.h"
#include "platform/log/log_process.h"
#include "platform/os/mutex.h"
#include "platform/os/singleton.h"

VelaDebugEngine::~VelaDebugEngine() = default;
VelaDebugMgr::~VelaDebugMgr() = default;

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
    if (m_engine == engine) m_engine = nullptr;
  }

  void SetAllModuleInfo(std::bitset<32> levels, std::bitset<32>, bool toScreen) override {
    m_levels.store(static_cast<unsigned>(levels.to_ulong()));
    LogProcess::SetLevels(levels, toScreen);
  }

  std::bitset<32> Levels() const override { return m_levels.load(); }

  // The engine runs under the lock, so that it cannot be taken away meanwhile.
  std::string Execute(const std::string& commandLine) override VELA_EXCLUDES(m_mutex) {
    vela::MutexLock lock(m_mutex);
    if (m_engine == nullptr) return "No debug engine.\n";
    return m_engine->Execute(commandLine);
  }

 private:
  vela::Mutex m_mutex;
  VelaDebugEngine* m_engine VELA_GUARDED_BY(m_mutex) = nullptr;
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
