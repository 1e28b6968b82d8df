#include "platform/debug/console_socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "platform/os/private_folder.h"
#include "platform/os/vela_os.h"

namespace vela {
namespace {

constexpr int kBacklog = 64;

std::string PathOf(const std::string& path) {
  std::string full = path.empty() ? InstallRoot() + "var/run/console" : path;
  while (full.size() > 1 && full.back() == '/') full.pop_back();  // a link behind it would be followed
  return full;
}

std::string NameOf(CProcID process) {
  return std::to_string(process.Number()) + '-' + std::to_string(process.Handle()) + ".sock";
}

bool ParseName(const std::string& name, CProcID& process) {
  std::uint16_t number = 0;
  std::uint16_t handle = 0;
  if (std::sscanf(name.c_str(), "%hu-%hu", &number, &handle) != 2) return false;
  process = CProcID(number, handle);
  return NameOf(process) == name;
}

FileDescriptor NewSocket(int flags = 0) {
  return FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
}

int ConnectTo(int socket, const sockaddr_un& address) {
  return connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

// Whether somebody listens there now.
bool IsTaken(const sockaddr_un& address) {
  const FileDescriptor probe = NewSocket(SOCK_NONBLOCK);
  return ConnectTo(probe.Get(), address) == 0 || errno == EAGAIN;
}

// Holds other processes off the folder while it lives.
class FolderLock {
 public:
  explicit FolderLock(int folder) : m_folder(folder) { flock(m_folder, LOCK_EX); }
  ~FolderLock() { flock(m_folder, LOCK_UN); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  const int m_folder;
};

bool AwaitEvent(int socket, short event, ConsoleDeadline deadline) {
  pollfd source{socket, event, 0};
  int ready = 0;
  do ready = poll(&source, 1, MillisecondsUntil(deadline));
  while (ready < 0 && errno == EINTR);
  return ready > 0;
}

}  // namespace

int MillisecondsUntil(ConsoleDeadline deadline) {
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
          .count();
  return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

ssize_t ReadSome(int socket, char* bytes, std::size_t room, ConsoleDeadline deadline) {
  if (!AwaitEvent(socket, POLLIN, deadline)) return -1;
  return recv(socket, bytes, room, MSG_DONTWAIT);
}

bool WriteAll(int socket, std::string_view bytes, ConsoleDeadline deadline) {
  while (!bytes.empty()) {
    const ssize_t written = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (written > 0)
      bytes.remove_prefix(static_cast<std::size_t>(written));
    else if (errno != EAGAIN || !AwaitEvent(socket, POLLOUT, deadline) || MillisecondsUntil(deadline) == 0)
      return false;
  }
  return true;
}

bool ConsoleFolder::Make(const std::string& path, std::string& error) {
  const std::string full = PathOf(path);
  m_folder = OpenPrivateFolder(full, error);
  if (!m_folder) error = full + ": " + error;
  return static_cast<bool>(m_folder);
}

int ConsoleFolder::Open(const std::string& path) {
  m_folder = FileDescriptor(open(PathOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  return m_folder ? 0 : errno;
}

sockaddr_un ConsoleFolder::Address(CProcID process) const {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s", m_folder.Get(),
                NameOf(process).c_str());
  return address;
}

FileDescriptor ConsoleFolder::Listen(CProcID process, std::string& error) const {
  const FolderLock lock(m_folder.Get());
  const sockaddr_un address = Address(process);
  if (IsTaken(address)) {
    error = "another process listens at " + NameOf(process);
    return {};
  }
  Remove(process);
  FileDescriptor socket = NewSocket(SOCK_NONBLOCK);
  if (socket && bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
      listen(socket.Get(), kBacklog) == 0)
    return socket;
  error = NameOf(process) + ": " + std::strerror(errno);
  return {};
}

void ConsoleFolder::Remove(CProcID process) const {
  unlinkat(m_folder.Get(), NameOf(process).c_str(), 0);
}

FileDescriptor ConsoleFolder::Connect(CProcID process, ConsoleDeadline deadline) const {
  FileDescriptor socket = NewSocket();
  const int left = std::max(MillisecondsUntil(deadline), 1);
  const timeval room{left / 1000, left % 1000 * 1000};  // for the answer of a process that accepts nobody
  setsockopt(socket.Get(), SOL_SOCKET, SO_SNDTIMEO, &room, sizeof room);
  if (socket && ConnectTo(socket.Get(), Address(process)) == 0) return socket;
  return {};
}

std::vector<CProcID> ConsoleFolder::Names() const {
  std::vector<CProcID> names;
  const int copy = openat(m_folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* const dir = copy < 0 ? nullptr : fdopendir(copy);
  if (dir == nullptr) {
    if (copy >= 0) close(copy);
    return names;
  }
  CProcID process;
  while (const dirent* entry = readdir(dir))
    if (ParseName(entry->d_name, process)) names.push_back(process);
  closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace vela
