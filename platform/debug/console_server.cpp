#include "platform/debug/console_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/config/vela_config.h"
#include "platform/debug/console_session.h"
#include "platform/log/log_process.h"
#include "platform/os/clock.h"
#include "platform/os/vela_os.h"

namespace vela {
namespace {

constexpr int kPauseWithoutSockets = 100;  // milliseconds

// The key's value, or `missing` when it is missing or (which is logged) not from 1 to `most`.
int Read(const std::string& file, const char* key, int missing, int most) {
  std::string text;
  if (VelaGetRegString(file.c_str(), key, text) != 1) return missing;
  int value = 0;
  if (VelaGetRegInt(file.c_str(), key, value) == 1 && value >= 1 && value <= most) return value;
  LogProcess::Error(file + ": " + key + " = " + EscapeControls(text) + " is no number from 1 to " +
                    std::to_string(most) + "; " + std::to_string(missing) + " is used");
  return missing;
}

}  // namespace

ConsoleOptions ReadConsoleOptions() {
  constexpr int kMostOperators = 1000;
  constexpr int kMostSeconds = 1'000'000;
  const std::string file = InstallRoot() + "etc/conf/vela.cfg";
  ConsoleOptions options;
  options.operators = static_cast<unsigned>(
      Read(file, "ConsoleOperators", static_cast<int>(options.operators), kMostOperators));
  options.idleSeconds = Read(file, "ConsoleIdleSeconds", options.idleSeconds, kMostSeconds);
  options.writeSeconds = Read(file, "ConsoleWriteSeconds", options.writeSeconds, kMostSeconds);
  return options;
}

std::unique_ptr<ConsoleServer> ConsoleServer::Open(const ConsoleOptions& options, CProcID self, Run run,
                                                   std::string& error) {
  ConsoleFolder folder;
  if (!folder.Make(options.folder, error)) return nullptr;
  FileDescriptor stop(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!stop) error = std::string("eventfd: ") + std::strerror(errno);
  FileDescriptor listener = stop ? folder.Listen(self, error) : FileDescriptor();
  if (!listener) return nullptr;
  return std::unique_ptr<ConsoleServer>(
      new ConsoleServer(std::move(folder), self, std::move(listener), std::move(stop),
                        std::make_shared<ConsoleSessions>(options, std::move(run))));
}

ConsoleServer::ConsoleServer(ConsoleFolder folder, CProcID self, FileDescriptor listener, FileDescriptor stop,
                             std::shared_ptr<ConsoleSessions> sessions)
    : m_folder(std::move(folder)),
      m_self(self),
      m_listener(std::move(listener)),
      m_stop(std::move(stop)),
      m_sessions(std::move(sessions)),
      m_thread([this] { Accept(); }) {}

ConsoleServer::~ConsoleServer() {
  Close(0);
}

void ConsoleServer::Accept() {
  pollfd sources[] = {{m_stop.Get(), POLLIN, 0}, {m_listener.Get(), POLLIN, 0}};
  while (true) {
    if (poll(sources, 2, -1) < 0 && errno != EINTR) return;
    if (sources[0].revents != 0) return;
    if (sources[1].revents == 0) continue;
    FileDescriptor socket(accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (socket)
      Enter(std::move(socket));
    else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
      poll(sources, 1, kPauseWithoutSockets);  // they stay queued
  }
}

void ConsoleServer::Enter(FileDescriptor socket) {
  try {
    m_sessions->Enter(std::move(socket));
  } catch (const std::exception& error) {
    LogProcess::Error(std::string("A console could not be opened: ") + error.what());
  }
}

bool ConsoleServer::Close(int seconds) {
  if (!m_thread.joinable()) return true;
  m_folder.Remove(m_self);
  eventfd_write(m_stop.Get(), 1);
  m_thread.join();
  m_listener = {};
  return m_sessions->CloseAll(std::chrono::steady_clock::now() + ScaledSeconds(seconds));
}

}  // namespace vela
