#include "platform/log/crash_handler_mgr.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>

#include <thread>
#include <vector>

#include "platform/log/log_process.h"
#include "platform/os/clock.h"
#include "platform/os/mutex.h"
#include "platform/os/vela_os.h"

CrashHandler::~CrashHandler() = default;
CrashHandlerMgr::~CrashHandlerMgr() = default;

namespace {

constexpr std::array kCrashSignals{SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr int kHandlersSeconds = 3;
constexpr int kFlushSeconds = 2;
constexpr int kAllSeconds = kHandlersSeconds + kFlushSeconds + 1;

int Milliseconds(int seconds) {
  return static_cast<int>(vela::ScaledSeconds(seconds).count());
}

// An event that a signal handler may post and wait for: only system calls that are safe there.
class Event {
 public:
  bool Open() {
    m_fd = ::eventfd(0, EFD_CLOEXEC);
    return m_fd >= 0;
  }

  void Post() const {
    const std::uint64_t one = 1;
    const ssize_t written = ::write(m_fd, &one, sizeof(one));
    static_cast<void>(written);
  }

  // At most `milliseconds`; -1 waits for ever.
  bool Wait(int milliseconds) const {
    pollfd entry{m_fd, POLLIN, 0};
    while (true) {
      const int ready = ::poll(&entry, 1, milliseconds);
      if (ready >= 0 || errno != EINTR) return ready > 0;
    }
  }

 private:
  int m_fd = -1;
};

Event g_crashed;
Event g_handlersDone;
Event g_allDone;
constinit std::atomic<int> g_signal{0};
constinit std::atomic<int> g_allMs{0};
constinit std::atomic<std::uint32_t> g_runner{0};
constinit std::atomic<std::uint32_t> g_supervisor{0};

void EndBySignal(int signalNumber) {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  ::sigaction(signalNumber, &action, nullptr);
  sigset_t only;
  ::sigemptyset(&only);
  ::sigaddset(&only, signalNumber);
  ::pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  ::raise(signalNumber);
}

// Runs on the crashing thread: async-signal-safe calls only.
void OnSignal(int signalNumber) {
  const auto self = static_cast<std::uint32_t>(::gettid());
  // A handler that crashes itself leaves nothing to wait for.
  if (self == g_runner.load() || self == g_supervisor.load()) return EndBySignal(signalNumber);
  int none = 0;
  const bool first = g_signal.compare_exchange_strong(none, signalNumber);
  if (first) g_crashed.Post();
  g_allDone.Wait(g_allMs.load());
  EndBySignal(signalNumber);
}

class CrashHandlerMgrImpl : public CrashHandlerMgr {
 public:
  void Register(CrashHandler* handler) override VELA_EXCLUDES(m_mutex) {
    if (handler == nullptr) return;
    vela::MutexLock lock(m_mutex);
    if (std::find(m_handlers.begin(), m_handlers.end(), handler) == m_handlers.end())
      m_handlers.push_back(handler);
  }

  void Unregister(CrashHandler* handler) override VELA_EXCLUDES(m_mutex) {
    vela::MutexLock lock(m_mutex);
    std::erase(m_handlers, handler);
  }

  bool IsArmed() const override { return m_armed.load(std::memory_order_acquire); }

  void Arm() override VELA_EXCLUDES(m_armMutex) {
    vela::MutexLock lock(m_armMutex);
    if (IsArmed()) return;
    if (!g_crashed.Open() || !g_handlersDone.Open() || !g_allDone.Open() || !StartThreads()) {
      VelaOutputString("crash handlers: no threads or events for them\n");
      return;
    }
    g_allMs.store(Milliseconds(kAllSeconds));
    struct sigaction action {};
    action.sa_handler = OnSignal;
    action.sa_flags = SA_ONSTACK;
    ::sigemptyset(&action.sa_mask);
    for (const int signalNumber : kCrashSignals) ::sigaction(signalNumber, &action, nullptr);
    m_armed.store(true, std::memory_order_release);
  }

 private:
  // Two threads, made while memory can still be had: one may hang in a handler, the other flushes anyway.
  bool StartThreads() {
    sigset_t all;
    sigset_t previous;
    ::sigfillset(&all);
    for (const int signalNumber : kCrashSignals) ::sigdelset(&all, signalNumber);
    ::pthread_sigmask(SIG_SETMASK, &all, &previous);
    bool started = true;
    try {
      std::thread([this] { Run(); }).detach();
      std::thread(Supervise).detach();
    } catch (const std::exception&) {
      started = false;
    }
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return started;
  }

  void Run() VELA_EXCLUDES(m_mutex) {
    g_runner.store(static_cast<std::uint32_t>(::gettid()));
    g_crashed.Wait(-1);
    std::vector<CrashHandler*> handlers;
    {
      vela::MutexLock lock(m_mutex);
      handlers = m_handlers;
    }
    for (auto handler = handlers.rbegin(); handler != handlers.rend(); ++handler)
      (*handler)->OnCrash(g_signal);
    g_handlersDone.Post();
  }

  static void Supervise() {
    g_supervisor.store(static_cast<std::uint32_t>(::gettid()));
    g_crashed.Wait(-1);
    g_handlersDone.Wait(Milliseconds(kHandlersSeconds));
    LogProcess::Flush(Milliseconds(kFlushSeconds));
    g_allDone.Post();
  }

  vela::Mutex m_mutex;
  std::vector<CrashHandler*> m_handlers VELA_GUARDED_BY(m_mutex);
  vela::Mutex m_armMutex;
  std::atomic<bool> m_armed{false};
};

}  // namespace

CrashHandlerMgr* CrashHandlerMgr::Instance() {
  static CrashHandlerMgr* const instance = new CrashHandlerMgrImpl;
  return instance;
}
