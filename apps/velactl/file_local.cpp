#include "apps/velactl/file_local.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "apps/common/texts.h"
#include "platform/os/vela_os.h"

namespace velactl {
namespace {

namespace fs = std::filesystem;

std::string WithoutLinks(const std::string& name) {
  std::error_code error;
  const fs::path real = fs::canonical(name, error);
  return error ? name : real.string();
}

}  // namespace

std::FILE* OpenLocal(const std::string& name, std::uint64_t& size, std::string& error) {
  struct ::stat facts {};
  const bool known = VELA_OS::stat(name.c_str(), &facts) == 0;
  if (known && !S_ISREG(facts.st_mode)) {
    error = apps::Text("FILE_NOT_ORDINARY", {name});
    return nullptr;
  }
  std::FILE* const file = known ? VELA_OS::fopen(name.c_str(), "rb") : nullptr;
  if (file == nullptr) error = apps::Text("FILE_NOT_READ", {name, std::strerror(errno)});
  size = static_cast<std::uint64_t>(facts.st_size);
  return file;
}

LocalReplacement::LocalReplacement(const std::string& name) : m_name(name), m_target(WithoutLinks(name)) {
  struct ::stat facts {};
  if (VELA_OS::stat(m_target.c_str(), &facts) == 0) {
    m_ordinary = S_ISREG(facts.st_mode);
    m_mode = static_cast<int>(facts.st_mode & 0777);
  }
  if (m_ordinary) OpenAside();
}

LocalReplacement::~LocalReplacement() {
  if (m_file != nullptr) VELA_OS::fclose(m_file);
  if (m_named) VELA_OS::unlink(m_aside.c_str());
}

void LocalReplacement::OpenAside() {
  const fs::path folder = fs::path(m_target).parent_path();
  const std::string where = folder.empty() ? "." : folder.string();
  m_aside = where + "/.velactl." + std::to_string(::getpid());
  // What a killed process with this number may have left.
  VELA_OS::unlink(m_aside.c_str());
  int fd = ::open(where.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
  if (fd < 0) {
    fd = ::open(m_aside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    m_named = fd >= 0;
  }
  if (fd < 0) return;
  m_file = ::fdopen(fd, "wb");
  if (m_file == nullptr) ::close(fd);
}

bool LocalReplacement::Name() {
  if (m_named) return true;
  const std::string self = "/proc/self/fd/" + std::to_string(::fileno(m_file));
  m_named = ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, m_aside.c_str(), AT_SYMLINK_FOLLOW) == 0;
  return m_named;
}

bool LocalReplacement::Commit() {
  const int fd = ::fileno(m_file);
  if (std::fflush(m_file) != 0 || ::fsync(fd) != 0) return false;
  if (m_mode >= 0 && ::fchmod(fd, static_cast<mode_t>(m_mode)) != 0) return false;
  if (!Name() || VELA_OS::rename(m_aside.c_str(), m_target.c_str()) != 0) return false;
  m_named = false;
  return true;
}

std::string LocalReplacement::Error() const {
  if (!m_ordinary) return apps::Text("FILE_NOT_ORDINARY", {m_name});
  return apps::Text("FILE_NOT_WRITTEN", {m_name, std::strerror(errno)});
}

}  // namespace velactl
