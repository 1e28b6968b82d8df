#include "platform/os/beneath.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
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

Descriptor OpenFolder(int parent, const std::string& name) {
  if (Fails(OsCall::opendir, name)) return Descriptor();
  return Descriptor(::openat(parent, name.c_str(), FOLDER_FLAGS | O_NOFOLLOW));
}

// The folder that the parts lead to; none and errno. Each part is looked up in the one before, so that
// nothing that is swapped meanwhile leads elsewhere.
Descriptor Walk(const std::string& folder, Parts parts, bool make = false) {
  if (Fails(OsCall::opendir, folder)) return Descriptor();
  Descriptor at(::open(folder.c_str(), FOLDER_FLAGS));
  for (const std::string& part : parts) {
    if (!at) break;
    Descriptor next = OpenFolder(at.get(), part);
    if (!next && errno == ENOENT && make && MakeFolder(at.get(), part)) next = OpenFolder(at.get(), part);
    at = std::move(next);
  }
  return at;
}

Descriptor WalkUnderWay(const std::string& folder, bool make = false) {
  const std::string part = UNDER_WAY;
  return Walk(folder, Parts(&part, 1), make);
}

// Splits a name of a file; no parts and errno when it is none.
bool FileParts(std::string_view name, std::vector<std::string>& parts) {
  const bool isFolder = name.ends_with('/') || name.ends_with("/.");
  if (SplitNameBeneath(name, parts) && !parts.empty() && !isFolder) return true;
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

bool IsNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool IsUniqueName(std::string_view name) {
  const std::size_t dot = name.find('.');
  return dot != std::string_view::npos && IsNumber(name.substr(0, dot)) && IsNumber(name.substr(dot + 1));
}

// A new file under way. It is locked as long as somebody has it open: what is not locked is a leftover, even
// where numbers of processes come again.
Descriptor MakeUnderWay(int folder, std::string& name) {
  while (true) {
    name = UniqueName();
    if (Fails(OsCall::open, name)) return Descriptor();
    Descriptor file(
        ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file && errno == EEXIST) continue;
    struct ::stat facts {};
    if (!file || ::flock(file.get(), LOCK_EX) != 0 || ::fstat(file.get(), &facts) != 0) return Descriptor();
    // Otherwise another process that starts took it for a leftover before it was locked.
    if (facts.st_nlink != 0) return file;
  }
}

void RemoveLeftover(int folder, const std::string& name) {
  const Descriptor file(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  const bool unused = file && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0;
  if (unused && !Fails(OsCall::unlink, name)) ::unlinkat(folder, name.c_str(), 0);
}

struct CloseDir {
  void operator()(DIR* dir) const { VELA_OS::closedir(dir); }
};

// Calls `visit` for each name in the folder, but not "." and "..", until it returns false; 0 or errno.
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
    const std::string name = found->d_name;
    if (name != "." && name != ".." && !visit(name)) return 0;
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
  if (!parent || Fails(OsCall::open, parts.back())) return nullptr;
  // Not blocking: the name may be that of a pipe without a writer.
  Descriptor file(
      ::openat(parent.get(), parts.back().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file) return nullptr;
  struct ::stat facts {};
  if (Fails(OsCall::stat, parts.back()) || ::fstat(file.get(), &facts) != 0) return nullptr;
  if (!S_ISREG(facts.st_mode)) {
    errno = EPERM;
    return nullptr;
  }
  std::FILE* const opened = ::fdopen(file.get(), "rb");
  if (opened != nullptr) file.release();
  return opened;
}

int BeneathFolder::List(std::string_view name, const std::function<bool(const std::string&)>& take) const {
  std::vector<std::string> parts;
  if (!SplitNameBeneath(name, parts)) return EPERM;
  const Descriptor folder = Walk(m_folder, parts);
  return ForEachName(folder, [&](const std::string& found) {
    struct ::stat facts {};
    return !FileFacts(folder.get(), found, facts) || take(found);
  });
}

int BeneathFolder::Remove(std::string_view name) const {
  std::vector<std::string> parts;
  if (!FileParts(name, parts)) return errno;
  const Descriptor parent = Walk(m_folder, ParentOf(parts));
  struct ::stat facts {};
  if (!parent || !FileFacts(parent.get(), parts.back(), facts)) return errno;
  if (Fails(OsCall::unlink, parts.back())) return errno;
  return ::unlinkat(parent.get(), parts.back().c_str(), 0) == 0 ? 0 : errno;
}

void BeneathFolder::RemoveLeftovers() const {
  const Descriptor folder = WalkUnderWay(m_folder);
  ForEachName(folder, [&](const std::string& found) {
    if (IsUniqueName(found)) RemoveLeftover(folder.get(), found);
    return true;
  });
}

BeneathReplacement::BeneathReplacement(const BeneathFolder& folder, std::string_view name)
    : m_folder(folder.m_folder) {
  if (FileParts(name, m_parts)) m_file = OpenAside();
  if (m_file == nullptr) m_error = errno;
}

std::FILE* BeneathReplacement::OpenAside() {
  const Descriptor underWay = WalkUnderWay(m_folder, true);
  if (!underWay) return nullptr;
  Descriptor file = MakeUnderWay(underWay.get(), m_aside);
  if (!file) return nullptr;
  std::FILE* const opened = ::fdopen(file.get(), "wb");
  if (opened != nullptr) file.release();
  return opened;
}

BeneathReplacement::~BeneathReplacement() {
  if (m_aside.empty()) return;
  if (const Descriptor underWay = WalkUnderWay(m_folder)) ::unlinkat(underWay.get(), m_aside.c_str(), 0);
  if (m_file != nullptr) VELA_OS::fclose(m_file);
}

int BeneathReplacement::Commit() {
  if (m_file == nullptr) return m_error != 0 ? m_error : EBADF;
  if (Fails(OsCall::write, m_aside)) return errno;
  const bool flushed = std::fflush(m_file) == 0 && ::fsync(::fileno(m_file)) == 0;
  return flushed ? MoveIntoPlace() : errno;
}

int BeneathReplacement::MoveIntoPlace() {
  const Descriptor from = WalkUnderWay(m_folder);
  const Descriptor to = from ? Walk(m_folder, ParentOf(m_parts), true) : Descriptor();
  if (!to) return errno;
  struct ::stat old {};
  const bool replaces = FileFacts(to.get(), m_parts.back(), old);
  if (!replaces && errno != ENOENT) return errno;
  if (replaces && ::fchmod(::fileno(m_file), old.st_mode & 0777) != 0) return errno;
  // Keeps the lock until the file has its name.
  const Descriptor locked(::fcntl(::fileno(m_file), F_DUPFD_CLOEXEC, 0));
  if (!locked || VELA_OS::fclose(std::exchange(m_file, nullptr)) != 0) return errno;
  if (Fails(OsCall::rename, m_parts.back())) return errno;
  if (::renameat(from.get(), m_aside.c_str(), to.get(), m_parts.back().c_str()) != 0) return errno;
  m_aside.clear();
  return 0;
}

}  // namespace vela
