#include "platform/os/private_folder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "platform/os/vela_os.h"

namespace vela {
namespace {

bool MakeWithParents(const std::string& path) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
    if (VELA_OS::mkdir(path.substr(0, slash).c_str(), 0755) != 0 && errno != EEXIST) return false;
  return VELA_OS::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST;
}

// Empty when the folder is ours and nobody else could have put anything into it. Reading it is then forbidden
// to others too.
std::string WhyNotPrivate(int folder) {
  struct stat facts {};
  if (fstat(folder, &facts) != 0) return std::string("fstat: ") + std::strerror(errno);
  if (facts.st_uid != geteuid()) return "the folder belongs to another user";
  if ((facts.st_mode & (S_IWGRP | S_IWOTH)) != 0) return "others may write to the folder";
  if ((facts.st_mode & 0777) != 0700 && fchmod(folder, 0700) != 0)
    return std::string("fchmod: ") + std::strerror(errno);
  return {};
}

}  // namespace

FileDescriptor OpenPrivateFolder(std::string path, std::string& error) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();  // a link behind it would be followed
  if (!MakeWithParents(path)) {
    error = std::string("mkdir: ") + std::strerror(errno);
    return {};
  }
  FileDescriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  error = folder ? WhyNotPrivate(folder.Get()) : std::string("open: ") + std::strerror(errno);
  return error.empty() ? std::move(folder) : FileDescriptor();
}

}  // namespace vela
