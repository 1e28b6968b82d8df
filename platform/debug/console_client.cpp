#include <sys/socket.h>

#include <cerrno>
#include <charconv>
#include <string_view>

#include "platform/debug/console.h"
#include "platform/debug/console_socket.h"
#include "platform/os/clock.h"

namespace vela {
namespace {

constexpr std::size_t kLongestHead = 32;
constexpr std::size_t kLongestReply = std::size_t{256} << 20;

ConsoleDeadline InSeconds(int seconds) {
  return std::chrono::steady_clock::now() + ScaledSeconds(seconds);
}

// "OK 12"; false when it is no such line.
bool ParseHead(std::string_view head, ConsoleReply::Status& status, std::size_t& length) {
  constexpr std::pair<std::string_view, ConsoleReply::Status> kinds[] = {
      {"OK ", ConsoleReply::Status::ok},
      {"FAILED ", ConsoleReply::Status::failed},
      {"REFUSED ", ConsoleReply::Status::refused}};
  for (const auto& [word, kind] : kinds) {
    if (!head.starts_with(word)) continue;
    status = kind;
    head.remove_prefix(word.size());
    const char* const end = head.data() + head.size();
    const auto [last, error] = std::from_chars(head.data(), end, length);
    return error == std::errc() && last == end && length <= kLongestReply;
  }
  return false;
}

}  // namespace

struct ConsoleClient::Impl {
  FileDescriptor socket;
  std::string received;

  // Until `bytes` were received, or (0) a line end.
  Result ReadUntil(std::size_t bytes, ConsoleDeadline deadline) {
    const auto complete = [&] {
      return bytes != 0 ? received.size() >= bytes : received.find('\n') != std::string::npos;
    };
    while (!complete()) {
      if (bytes == 0 && received.size() > kLongestHead) return Result::broken;
      char block[65536];
      const ssize_t got = ReadSome(socket.Get(), block, sizeof block, deadline);
      if (got < 0 && MillisecondsUntil(deadline) == 0) return Result::noReply;
      if (got <= 0) return Result::broken;
      received.append(block, static_cast<std::size_t>(got));
    }
    return Result::ok;
  }

  Result Receive(ConsoleDeadline deadline, ConsoleReply& reply) {
    if (const Result result = ReadUntil(0, deadline); result != Result::ok) return result;
    const std::size_t end = received.find('\n');
    std::size_t length = 0;
    if (!ParseHead(std::string_view(received).substr(0, end), reply.status, length)) return Result::broken;
    received.erase(0, end + 1);
    if (length != 0)
      if (const Result result = ReadUntil(length, deadline); result != Result::ok) return result;
    reply.text = received.substr(0, length);
    received.erase(0, length);
    return Result::ok;
  }
};

ConsoleClient::ConsoleClient() : m_impl(std::make_unique<Impl>()) {}
ConsoleClient::~ConsoleClient() = default;
ConsoleClient::ConsoleClient(ConsoleClient&&) noexcept = default;
ConsoleClient& ConsoleClient::operator=(ConsoleClient&&) noexcept = default;

int ConsoleClient::Processes(std::vector<CProcID>& processes, const std::string& folder) {
  processes.clear();
  ConsoleFolder open;
  const int error = open.Open(folder);
  if (error == 0) processes = open.Names();
  return error;
}

int ConsoleClient::Connect(CProcID process, int seconds, const std::string& folder) {
  *m_impl = {};
  ConsoleFolder open;
  if (const int error = open.Open(folder); error != 0) return error;
  m_impl->socket = open.Connect(process, InSeconds(seconds));
  return m_impl->socket ? 0 : errno;
}

pid_t ConsoleClient::Pid() const {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(m_impl->socket.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

bool ConsoleClient::Send(const std::string& line, int seconds) {
  return WriteAll(m_impl->socket.Get(), line + '\n', InSeconds(seconds));
}

ConsoleClient::Result ConsoleClient::Receive(ConsoleDeadline deadline, ConsoleReply& reply) {
  return m_impl->Receive(deadline, reply);
}

ConsoleClient::Result ConsoleClient::Ask(const std::string& line, int seconds, ConsoleReply& reply) {
  const ConsoleDeadline deadline = InSeconds(seconds);
  // A process that hung up may have left a refusal behind.
  if (!Send(line, seconds)) return Receive(deadline, reply) == Result::ok ? Result::ok : Result::hungUp;
  return Receive(deadline, reply);
}

}  // namespace vela
