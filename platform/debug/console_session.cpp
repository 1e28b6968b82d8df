#include "platform/debug/console_session.h"

#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <thread>

#include "platform/log/log_process.h"
#include "platform/os/clock.h"
#include "platform/os/vela_os.h"

namespace vela {
namespace {

constexpr std::size_t kLongestLine = 4096;
constexpr std::size_t kAuditedReply = 200;

ConsoleDeadline InSeconds(int seconds) {
  return std::chrono::steady_clock::now() + ScaledSeconds(seconds);
}

void CutReply(std::string& reply, std::size_t most) {
  if (reply.size() <= most) return;
  const std::size_t cut = reply.size() - most;
  reply.resize(most);
  reply += "\n... " + std::to_string(cut) + " more bytes\n";
}

std::string FirstLine(const std::string& text) {
  return EscapeControls(std::string_view(text).substr(0, std::min(text.find('\n'), kAuditedReply)));
}

}  // namespace

ConsoleSession::Input ConsoleSession::ReadLine(std::string& line, ConsoleDeadline deadline) {
  while (true) {
    const std::size_t end = m_received.find('\n');
    if (std::min(end, m_received.size()) > kLongestLine) return Input::tooLong;
    if (end != std::string::npos) {
      line = m_received.substr(0, end);
      m_received.erase(0, end + 1);
      if (line.ends_with('\r')) line.pop_back();
      return Input::line;
    }
    char block[kLongestLine];
    const ssize_t got = ReadSome(m_socket.Get(), block, sizeof block, deadline);
    if (got <= 0) return Input::ended;
    m_received.append(block, static_cast<std::size_t>(got));
  }
}

bool ConsoleSession::Answer(const char* status, const std::string& text, int seconds) {
  const std::string head = std::string(status) + ' ' + std::to_string(text.size()) + '\n';
  const ConsoleDeadline deadline = InSeconds(seconds);
  return WriteAll(m_socket.Get(), head, deadline) && WriteAll(m_socket.Get(), text, deadline);
}

void ConsoleSession::Refuse(const std::string& reason) {
  Audit("REFUSED", reason, "");
  Answer("REFUSED", reason + '\n', 0);
}

void ConsoleSession::Audit(const char* status, const std::string& reply, const std::string& line) const {
  LogProcess::ForceLog("", 2,
                       "Console " + std::to_string(m_number) + " of user " + std::to_string(m_peer.uid) +
                           ", process " + std::to_string(m_peer.pid) + ": " + status + " \"" +
                           FirstLine(reply) + "\" to: " + EscapeControls(line));
}

void ConsoleSession::Serve(ConsoleSessions& sessions) {
  const ConsoleOptions& options = sessions.Options();
  std::string line;
  Input input = ReadLine(line, InSeconds(options.idleSeconds));
  while (input == Input::line && sessions.Begin(*this)) {
    VelaDebugReply reply = sessions.Run(line);
    const char* const status = reply.failed ? "FAILED" : "OK";
    Audit(status, reply.text, line);
    CutReply(reply.text, options.maxReply);
    if (!Answer(status, reply.text, options.writeSeconds)) return;
    sessions.End(*this);
    input = ReadLine(line, InSeconds(options.idleSeconds));
  }
  if (input == Input::tooLong) Refuse("A command has at most " + std::to_string(kLongestLine) + " bytes.");
}

VelaDebugReply ConsoleSessions::Run(const std::string& line) const {
  try {
    return m_run(line);
  } catch (const std::exception& error) {
    return {std::string("The command failed: ") + error.what() + '\n', true};
  }
}

std::vector<ConsoleSessions::Place>::iterator ConsoleSessions::Find(const ConsoleSession& session) {
  return std::find_if(m_places.begin(), m_places.end(),
                      [&session](const Place& place) { return place.session.get() == &session; });
}

bool ConsoleSessions::Begin(const ConsoleSession& session) {
  const MutexLock lock(m_mutex);
  const auto place = Find(session);
  if (place == m_places.end()) return false;
  place->running = true;
  return true;
}

void ConsoleSessions::End(const ConsoleSession& session) {
  const MutexLock lock(m_mutex);
  const auto place = Find(session);
  if (place == m_places.end()) return;
  place->running = false;
  std::rotate(place, place + 1, m_places.end());
}

bool ConsoleSessions::TakePlace(const std::shared_ptr<ConsoleSession>& session) {
  const MutexLock lock(m_mutex);
  if (m_places.size() >= m_options.operators) {
    const auto silent =
        std::find_if(m_places.begin(), m_places.end(), [](const Place& place) { return !place.running; });
    if (silent == m_places.end()) return false;
    silent->session->HangUp(SHUT_RDWR);
    m_places.erase(silent);
  }
  m_places.push_back({session});
  ++m_threads;
  return true;
}

void ConsoleSessions::Leave(const ConsoleSession& session) {
  const MutexLock lock(m_mutex);
  const auto place = Find(session);
  if (place != m_places.end()) m_places.erase(place);
  --m_threads;
  m_left.NotifyAll();
}

void ConsoleSessions::Serve(ConsoleSession& session) {
  try {
    session.Serve(*this);
  } catch (const std::exception& error) {
    LogProcess::Error(std::string("A console ended: ") + error.what());
  }
  Leave(session);
}

void ConsoleSessions::StartThread(const std::shared_ptr<ConsoleSession>& session) {
  try {
    std::thread([self = shared_from_this(), session] { self->Serve(*session); }).detach();
  } catch (const std::system_error&) {
    session->Refuse("There is no thread for another console.");
    Leave(*session);
  }
}

void ConsoleSessions::Enter(FileDescriptor socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  if (getsockopt(socket.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return;
  const auto session = std::make_shared<ConsoleSession>(std::move(socket), peer, ++m_entered);
  if (peer.uid != geteuid() && peer.uid != 0)
    return session->Refuse("Only the process' own user and root may connect.");
  if (!TakePlace(session)) return session->Refuse("All consoles run commands; try again later.");
  StartThread(session);
}

bool ConsoleSessions::CloseAll(ConsoleDeadline deadline) {
  const MutexLock lock(m_mutex);
  const std::vector<Place> closed = std::move(m_places);
  m_places.clear();
  const std::pair<int, ConsoleDeadline> steps[] = {{SHUT_RD, deadline},
                                                   {SHUT_RDWR, deadline + ScaledSeconds(1)}};
  for (const auto& [how, end] : steps) {
    for (const Place& place : closed) place.session->HangUp(how);
    while (m_threads != 0 && m_left.WaitUntil(m_mutex, end)) continue;
  }
  return m_threads == 0;
}

}  // namespace vela
