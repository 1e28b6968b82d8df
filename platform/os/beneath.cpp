#include "platform/os/beneath.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <span>
#include <utility>

#include "platform/os/fault_hook.h"
#include "platform/os/vela_os.h"

namespace vela {
namespace {

using Parts = std::span<const std::string>;

constexpr const char* UNDER_WAY = ".incoming";
constexpr std::size_t LONGEST_NAME = 1024;
constexpr int FOLDER_FLAGS = O_PATH | O_DIRECTORY | O_CLOEXEC;

class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : m_fd(fd) {}
  Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  ~Descriptor() {
    if (m_fd >= 0) ::close(m_fd);
  }
  int get() const { return m_fd; }
  int release() { return std::exchange(m_fd, -1); }
  explicit operator bool() const { return m_fd >= 0; }

 private:
  int m_fd;
};

bool Fails(OsCall call, const std::string& path) {
  const int error = AskFaultHook(call, path.c_str()).error;
  if (error != 0) errno = error;
  return error != 0;
}

bool MakeFolder(int parent, const std::string& name) {
  return !Fails(OsCall::mkdir, name) && (::mkdirat(parent, name.c_str(), 0755) == 0 || errno == EEXIST);
}

// The folder that the parts lead to; none and errno. Each part is looked up in the one before, so that
// nothing that is swapped meanwhile leads elsewhere.
Descriptor Walk(const std::string& folder, Parts parts, bool make = false) {
  if (Fails(OsCall::opendir, folder)) return Descriptor();
  Descriptor at(::open(folder.c_str(), FOLDER_FLAGS));
  for (const std::string& part : parts) {
    if (!at) break;
    Descriptor next(::openat(at.get(), part.c_str(), FOLDER_FLAGS | O_NOFOLLOW));
    if (!next && errno == ENOENT && make && MakeFolder(at.get(), part))
      next = Descriptor(::openat(at.get(), part.c_str(), FOLDER_FLAGS | O_NOFOLLOW));
    at = std::move(next);
  }
  return at;
}

// Splits a name of a file; no parts and errno when it is none.
bool FileParts(std::string_view name, std::vector<std::string>& parts) {
  if (SplitNameBeneath(name, parts) && !parts.empty() && !name.ends_with('/')) return true;
  errno = EPERM;
  return false;
}

Parts ParentOf(const std::vector<std::string>& parts) {
  return Parts(parts).first(parts.size() - 1);
}

// The facts of an ordinary file; errno ENOENT when there is none, EPERM for anything else.
bool FileFacts(int parent, const std::string& name, struct ::stat& facts) {
  if (Fails(OsCall::stat, name) || ::fstatat(parent, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
    return false;
  if (S_ISREG(facts.st_mode)) return true;
  errno = EPERM;
  return false;
}

std::string UniqueName() {
  static std::atomic<unsigned> counter{0};
  return std::to_string(::getpid()) + "." + std::to_string(++counter);
}

struct CloseDir {
  void operator()(DIR* dir) const { VELA_OS::closedir(dir); }
};

// Calls `visit` for each name in the folder; 0 or errno.
template <class Visit>
int ForEachName(const Descriptor& folder, Visit visit) {
  if (!folder) return errno;
  Descriptor readable(::openat(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!readable) return errno;
  const std::unique_ptr<DIR, CloseDir> dir(::fdopendir(readable.get()));
  if (!dir) return errno;
  readable.release();
  while (true) {
    dirent entry;
    dirent* found = nullptr;
    const int error = VELA_OS::readdir_r(dir.get(), &entry, &found);
    if (error != 0 || found == nullptr) return error;
    visit(std::string(found->d_name));
  }
}

bool IsRefusedByte(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F || c == '\\' || c == ':';
}

}  // namespace

bool SplitNameBeneath(std::string_view name, std::vector<std::string>& parts) {
  parts.clear();
  if (name.size() > LONGEST_NAME || name.starts_with('/')) return false;
  if (std::any_of(name.begin(), name.end(), IsRefusedByte)) return false;
  while (!name.empty()) {
    const std::string_view part = name.substr(0, name.find('/'));
    if (part == ".." || part == UNDER_WAY) return false;
    if (!part.empty() && part != ".") parts.emplace_back(part);
    name.remove_prefix(std::min(part.size() + 1, name.size()));
  }
  return true;
}

BeneathFolder::BeneathFolder(std::string folder) : m_folder(std::move(folder)) {}

std::FILE* BeneathFolder::Open(std::string_view name) const {
  std::vector<std::string> parts;
  if (!FileParts(name, parts)) return nullptr;
  const Descriptor parent = Walk(m_folder, ParentOf(parts));
  if (!parent || Fails(OsCall::open, std::string(name))) return nullptr;
  // Not blocking: the name may be that of a pipe without a writer.
  Descriptor file(
      ::openat(parent.get(), parts.back().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file) return nullptr;
  struct ::stat facts {};
  if (::fstat(file.get(), &facts) != 0) return nullptr;
  if (!S_ISREG(facts.st_mode)) {
    errno = EPERM;
    return nullptr;
  }
  std::FILE* const opened = ::fdopen(file.get(), "rb");
  if (opened != nullptr) file.release();
  return opened;
}

int BeneathFolder::List(std::string_view name, std::vector<std::string>& names) const {
  std::vector<std::string> parts;
  if (!SplitNameBeneath(name, parts)) return EPERM;
  const Descriptor folder = Walk(m_folder, parts);
  return ForEachName(folder, [&](std::string found) {
    struct ::stat facts {};
    if (FileFacts(folder.get(), found, facts)) names.push_back(std::move(found));
  });
}

int BeneathFolder::Remove(std::string_view name) const {
  std::vector<std::string> parts;
  if (!FileParts(name, parts)) return errno;
  const Descriptor parent = Walk(m_folder, ParentOf(parts));
  struct ::stat facts {};
  if (!parent || !FileFacts(parent.get(), parts.back(), facts)) return errno;
  if (Fails(OsCall::unlink, std::string(name))) return errno;
  return ::unlinkat(parent.get(), parts.back().c_str(), 0) == 0 ? 0 : errno;
}

void BeneathFolder::RemoveLeftovers() const {
  const std::string aside = UNDER_WAY;
  const Descriptor folder = Walk(m_folder, Parts(&aside, 1));
  ForEachName(folder, [&](const std::string& found) {
    const int process = std::atoi(found.c_str());
    const bool dead = process > 0 && ::kill(process, 0) != 0 && errno == ESRCH;
    if (dead) ::unlinkat(folder.get(), found.c_str(), 0);
  });
}

BeneathReplacement::BeneathReplacement(const BeneathFolder& folder, std::string_view name)
    : m_folder(folder.m_folder), m_aside(UniqueName()) {
  if (!FileParts(name, m_parts)) {
    m_error = errno;
    return;
  }
  const std::string aside = UNDER_WAY;
  const Descriptor underWay = Walk(m_folder, Parts(&aside, 1), true);
  if (underWay && !Fails(OsCall::open, m_aside)) {
    Descriptor file(::openat(underWay.get(), m_aside.c_str(),
                             O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (file) m_file = ::fdopen(file.get(), "wb");
    if (m_file != nullptr) file.release();
  }
  if (m_file == nullptr) m_error = errno;
}

BeneathReplacement::~BeneathReplacement() {
  if (m_file != nullptr) VELA_OS::fclose(m_file);
  if (m_aside.empty() || m_parts.empty()) return;
  const std::string aside = UNDER_WAY;
  const Descriptor underWay = Walk(m_folder, Parts(&aside, 1));
  if (underWay) ::unlinkat(underWay.get(), m_aside.c_str(), 0);
}

int BeneathReplacement::Commit() {
  if (m_file == nullptr) return m_error != 0 ? m_error : EBADF;
  const bool flushed = std::fflush(m_file) == 0 && ::fsync(::fileno(m_file)) == 0;
  return flushed ? MoveIntoPlace() : errno;
}

int BeneathReplacement::MoveIntoPlace() {
  const std::string aside = UNDER_WAY;
  const Descriptor from = Walk(m_folder, Parts(&aside, 1));
  const Descriptor to = Walk(m_folder, ParentOf(m_parts), true);
  if (!from || !to) return errno;
  struct ::stat old {};
  const bool replaces = FileFacts(to.get(), m_parts.back(), old);
  if (!replaces && errno != ENOENT) return errno;
  if (replaces && ::fchmod(::fileno(m_file), old.st_mode & 0777) != 0) return errno;
  if (VELA_OS::fclose(std::exchange(m_file, nullptr)) != 0) return errno;
  if (Fails(OsCall::rename, m_parts.back())) return errno;
  if (::renameat(from.get(), m_aside.c_str(), to.get(), m_parts.back().c_str()) != 0) return errno;
  m_aside.clear();
  return 0;
}

}  // namespace vela
