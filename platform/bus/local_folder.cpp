#include "platform/bus/local_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/os/private_folder.h"

namespace vela {
namespace {

constexpr off_t kOwnerByte = 0;
constexpr off_t kFirstIncarnation = 1;

struct flock Range(short type, off_t start, off_t length) {
  struct flock range = {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = start;
  range.l_len = length;
  return range;
}

bool SetLock(int fd, short type, off_t byte) {
  struct flock range = Range(type, byte, 1);
  return fcntl(fd, F_OFD_SETLK, &range) == 0;
}

// The first byte from `start` on that somebody else has locked, or -1.
off_t FirstLocked(int fd, off_t start) {
  struct flock range = Range(F_WRLCK, start, 0);
  if (fd < 0 || fcntl(fd, F_OFD_GETLK, &range) != 0 || range.l_type == F_UNLCK) return -1;
  return range.l_start;
}

Incarnation NewIncarnation() {
  std::uint64_t random = 0;
  if (getrandom(&random, sizeof random, 0) != sizeof random) return 0;
  return kFirstIncarnation + (random >> 2);  // fits an offset
}

std::string LockName(CProcID address) {
  return std::to_string(address.Number()) + "-" + std::to_string(address.Handle()) + ".lock";
}

std::string SocketName(CProcID address, Incarnation incarnation) {
  char name[64];
  std::snprintf(name, sizeof name, "%u-%u-%016llx.sock", unsigned{address.Number()},
                unsigned{address.Handle()}, static_cast<unsigned long long>(incarnation));
  return name;
}

template <class Number>
bool TakeNumber(std::string_view& text, Number& number, int base, std::string_view end) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
  if (!text.starts_with(end)) return false;
  text.remove_prefix(end.size());
  return true;
}

bool ParseSocketName(std::string_view name, CProcID& address, Incarnation& incarnation) {
  std::uint16_t number = 0;
  std::uint16_t handle = 0;
  if (!TakeNumber(name, number, 10, "-") || !TakeNumber(name, handle, 10, "-") ||
      !TakeNumber(name, incarnation, 16, ".sock") || !name.empty())
    return false;
  address = CProcID(number, handle);
  return true;
}

std::string ErrnoText(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

bool SameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

std::int64_t Nanoseconds(const timespec& time) {
  return time.tv_sec * std::int64_t{1000000000} + time.tv_nsec;
}

// The file system's clock ticks coarsely: a change soon after another one can leave the time as it was.
bool IsSettled(const timespec& changed) {
  constexpr std::int64_t kTick = 50000000;
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return Nanoseconds(now) - Nanoseconds(changed) > kTick;
}

}  // namespace

Incarnation AddressProbe::Current() const {
  const off_t byte = FirstLocked(m_file.Get(), kFirstIncarnation);
  return byte < 0 ? 0 : static_cast<Incarnation>(byte);
}

bool AddressProbe::IsOwned() const {
  return FirstLocked(m_file.Get(), kOwnerByte) >= 0;
}

bool AddressClaim::Announce() {
  if (!SetLock(m_file.Get(), F_WRLCK, static_cast<off_t>(m_incarnation))) return false;
  m_mark.Set(m_incarnation);
  return true;
}

void AddressClaim::Withdraw() {
  m_mark.Set(0);
  SetLock(m_file.Get(), F_UNLCK, static_cast<off_t>(m_incarnation));
}

std::shared_ptr<LocalFolder> LocalFolder::Open(std::string path, std::string& error) {
  FileDescriptor folder = OpenPrivateFolder(std::move(path), error);
  if (!folder) return nullptr;
  std::shared_ptr<LocalFolder> made(new LocalFolder(std::move(folder)));
  made->Scan();
  return made;
}

BusResult LocalFolder::Claim(CProcID address, AddressClaim& claim, std::string& error) const {
  FileDescriptor file(
      openat(m_folder.Get(), LockName(address).c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) {
    error = ErrnoText("open of " + LockName(address));
    return BusResult::failed;
  }
  if (!SetLock(file.Get(), F_WRLCK, kOwnerByte)) {
    if (errno == EAGAIN || errno == EACCES) return BusResult::taken;
    error = ErrnoText("lock of " + LockName(address));
    return BusResult::failed;
  }
  const Incarnation incarnation = NewIncarnation();
  if (incarnation == 0) {
    error = ErrnoText("getrandom");
    return BusResult::failed;
  }
  claim = AddressClaim(std::move(file), incarnation);
  return BusResult::ok;
}

AddressProbe LocalFolder::Probe(CProcID address) const {
  return AddressProbe(FileDescriptor(
      openat(m_folder.Get(), LockName(address).c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC)));
}

std::string LocalFolder::Endpoint(CProcID address, Incarnation incarnation) const {
  return "ipc:///proc/self/fd/" + std::to_string(m_folder.Get()) + "/" + SocketName(address, incarnation);
}

Instances LocalFolder::Scan() const {
  Instances owned;
  const int copy = openat(m_folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* dir = copy < 0 ? nullptr : fdopendir(copy);
  if (dir == nullptr) {
    if (copy >= 0) close(copy);
    return owned;
  }
  while (const dirent* entry = readdir(dir)) {
    CProcID address;
    Incarnation incarnation = 0;
    if (!ParseSocketName(entry->d_name, address, incarnation)) continue;
    const AddressProbe probe = Probe(address);
    if (probe.IsOwned()) {
      owned.push_back(address);
    } else {
      // Its owner held the lock before this name existed; so it is dead, and a successor has another name.
      unlinkat(m_folder.Get(), entry->d_name, 0);
    }
  }
  closedir(dir);
  std::sort(owned.begin(), owned.end());
  owned.erase(std::unique(owned.begin(), owned.end()), owned.end());
  return owned;
}

Instances LocalFolder::Live() const {
  Instances live = Scan();
  std::erase_if(live, [this](CProcID address) { return Probe(address).Current() == 0; });
  return live;
}

std::shared_ptr<const Instances> LocalFolder::InstancesOf(std::uint16_t number) {
  static const auto none = std::make_shared<const Instances>();
  const MutexLock lock(m_mutex);
  RefreshLists();
  const auto found = m_lists.find(number);
  return found == m_lists.end() ? none : found->second;
}

void LocalFolder::ForgetInstances() {
  const MutexLock lock(m_mutex);
  m_listsValid = false;
}

void LocalFolder::RefreshLists() {
  struct stat facts;
  if (fstat(m_folder.Get(), &facts) != 0) return;
  if (m_listsValid && SameTime(facts.st_mtim, m_listsOf)) return;
  m_listsOf = facts.st_mtim;
  m_listsValid = IsSettled(facts.st_mtim);
  std::map<std::uint16_t, Instances> lists;
  for (const CProcID address : Scan()) lists[address.Number()].push_back(address);
  m_lists.clear();
  for (auto& [number, list] : lists) m_lists[number] = std::make_shared<const Instances>(std::move(list));
}

}  // namespace vela
