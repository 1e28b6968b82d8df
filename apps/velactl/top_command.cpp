#include "apps/velactl/top_command.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "apps/velactl/client_process.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/inbox.h"
#include "apps/velactl/served_signals.h"
#include "apps/velactl/top_changes.h"
#include "apps/velactl/top_report.h"
#include "apps/velactl/top_screen.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/bus/bus.h"
#include "platform/os/clock.h"
#include "platform/os/mutex.h"
#include "platform/task/vela_app_mgr.h"

namespace velactl {
namespace {

constexpr int kAnswerSeconds = 3;  // a process that is silent for longer holds nobody up

struct TopOptions : RequestOptions {
  bool once = false;
  int interval = 2;  // seconds
};

bool Parse(const std::vector<std::string>& arguments, TopOptions& options, std::string& error) {
  const auto take = [&](std::size_t& i, std::string& wrong) {
    std::string value;
    if (arguments[i] == "--once") {
      options.once = true;
      return true;
    }
    if (TakeValue(arguments, i, "--interval", value)) {
      const auto seconds = ParseNumber(value, 1, 3600);
      if (!seconds) wrong = apps::Text("TOP_BAD_INTERVAL");
      options.interval = seconds.value_or(options.interval);
      return true;
    }
    if (!arguments[i].starts_with("--timeout") && !arguments[i].starts_with("--process")) return false;
    wrong = apps::Text("OPTION_UNKNOWN", {arguments[i]});
    return true;
  };
  if (!ReadArguments("top", arguments, options, take, error)) return false;
  if (options.help || options.once || !options.json) return true;
  error = SeeHelp(apps::Text("TOP_JSON_ONCE"), "top");
  return false;
}

TopView Look() {
  TopView view;
  AsnStatusReq request;
  request.userID = static_cast<AsnIntType>(getuid() & 0x7FFFFFFF);
  view.processes = AskEach<AsnStatusRsp>(LiveServers({.process = 0, .handle = 0}), STATUS_COMMAND, request,
                                         kAnswerSeconds);
  if (const vela::Bus* bus = VelaAppMgr::Instance()->GetBus())
    for (const CProcID process : bus->LiveProcesses()) view.clients += process.Number() == VELA_CLIENT_GROUP;
  view.time = vela::NowSeconds();
  const TopChanges& changes = TopChanges::Instance();
  view.broadcasts = changes.broadcasts.load(std::memory_order_relaxed);
  view.changedNEs = changes.nes.load(std::memory_order_relaxed);
  return view;
}

// Looks again and again, in a thread of its own: keys are served while a process is silent.
class Looker {
 public:
  explicit Looker(int interval) : m_interval(interval), m_thread([this] { Run(); }) {}
  ~Looker() {
    {
      const vela::MutexLock lock(m_mutex);
      m_stop = true;
      m_changed.NotifyAll();
    }
    CAsnCmd::Destroy();  // ends a look that is under way
    m_thread.join();
  }
  Looker(const Looker&) = delete;
  Looker& operator=(const Looker&) = delete;

  // What is to be shown now; empty before the first look.
  std::string Text() {
    const vela::MutexLock lock(m_mutex);
    return m_text;
  }

 private:
  void Run() {
    for (bool stop = false; !stop;) {
      std::string text = TopText(Look()) + '\n' + apps::Text("TOP_KEYS");
      const vela::MutexLock lock(m_mutex);
      m_text = std::move(text);
      Inbox::Instance().Wake();
      const auto next = std::chrono::steady_clock::now() + vela::ScaledSeconds(m_interval);
      while (!m_stop && m_changed.WaitUntil(m_mutex, next)) continue;
      stop = m_stop;
    }
  }

  const int m_interval;
  vela::Mutex m_mutex;
  vela::CondVar m_changed;
  bool m_stop VELA_GUARDED_BY(m_mutex) = false;
  std::string m_text VELA_GUARDED_BY(m_mutex);
  std::thread m_thread;
};

constexpr int kServedSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGWINCH};

// Whether the screen is to go on. A stopped program leaves the terminal as it was.
bool ServeSignal(int descriptor, TopScreen& screen) {
  signalfd_siginfo info{};
  if (read(descriptor, &info, sizeof info) != sizeof info) return true;
  if (info.ssi_signo == SIGWINCH) return true;
  if (info.ssi_signo != SIGTSTP) return false;
  screen.Leave();
  raise(SIGSTOP);
  return screen.Enter();
}

// Until q is pressed, a signal says so, or the terminal is gone.
void Watch(TopScreen& screen, int interval, int signals) {
  Looker looker(interval);
  pollfd sources[] = {
      {STDIN_FILENO, POLLIN, 0}, {signals, POLLIN, 0}, {Inbox::Instance().Descriptor(), POLLIN, 0}};
  bool closed = false;
  while (!closed) {
    screen.Show(looker.Text());
    if (poll(sources, 3, -1) < 0 && errno != EINTR) return;
    if (sources[1].revents != 0 && !ServeSignal(signals, screen)) return;
    Inbox::Instance().Take();
    closed = (sources[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
    if (sources[0].revents == 0) continue;
    for (auto key = screen.Key(closed); key; key = screen.Key(closed))
      if (*key == 'q' || *key == 'Q') return;
  }
}

int ShowScreen(int interval) {
  const int signals = SignalDescriptor(kServedSignals);
  TopScreen screen;
  if (!screen.Enter()) return Fail(apps::Text("TOP_NO_TERMINAL"));
  Watch(screen, interval, signals);
  screen.Leave();
  close(signals);
  return EXIT_SUCCESS;
}

}  // namespace

TopChanges& TopChanges::Instance() {
  static TopChanges changes;
  return changes;
}

int TopCommand(char* argv0, const std::vector<std::string>& arguments) {
  TopOptions options;
  std::string error;
  if (!Parse(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("TOP_HELP").c_str(), stdout) < 0;
  if (!options.once && !TopScreen::Exists()) return Fail(apps::Text("TOP_NO_TERMINAL"));
  if (!options.once) HoldSignals(kServedSignals);
  ClientProcess process;
  if (!process.Start(argv0, error)) return Fail(error);
  if (!options.once) return ShowScreen(options.interval);
  const TopView view = Look();
  if (view.processes.empty()) return Fail(NoServerText({.process = 0, .handle = 0}));
  return Print(options.json ? TopJson(view) : TopText(view)) ? EXIT_SUCCESS
                                                             : Fail(apps::Text("CLIENT_NOT_WRITTEN"));
}

}  // namespace velactl
