#include "platform/os/vela_os.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/os/fault_hook.h"

namespace {

using vela::AskFaultHook;
using vela::OsCall;
using vela::OsFault;

bool Fails(int error) {
  if (error != 0) errno = error;
  return error != 0;
}

// The error with which a call on a name ends before the operating system sees it; 0 = go on.
int NameError(OsCall call, const char* name, const char* charset) {
  if (name == nullptr) return EINVAL;
  if (charset != nullptr && std::strcmp(charset, "UTF-8") != 0) return EINVAL;
  return AskFaultHook(call, name).error;
}

bool NameFails(OsCall call, const char* name, const char* charset) {
  return Fails(NameError(call, name, charset));
}

// Moves `size` * `count` bytes with `transfer`, as far as the injected fault lets it.
template <class Transfer>
std::size_t LimitedTransfer(OsCall call, std::size_t size, std::size_t count, Transfer transfer) {
  const OsFault fault = AskFaultHook(call, nullptr);
  if (size == 0 || count == 0 || (fault.error == 0 && fault.limit < 0)) return transfer(size, count);
  const std::size_t allowed = static_cast<std::size_t>(std::max(fault.limit, 0L));
  const std::size_t moved = transfer(1, std::min(allowed, size * count));
  Fails(fault.error);
  return moved / size;
}

}  // namespace

namespace VELA_OS {

std::FILE* fopen(const char* name, const char* mode, const char* charset) {
  if (NameFails(OsCall::open, name, charset)) return nullptr;
  if (mode == nullptr) {
    errno = EINVAL;
    return nullptr;
  }
  // Files must not leak into the external commands that other threads start.
  const std::string closeOnExec = std::string(mode) + "e";
  return ::fopen(name, closeOnExec.c_str());
}

bool open(std::fstream& stream, const char* name, std::ios_base::openmode mode, const char* charset) {
  if (NameFails(OsCall::open, name, charset)) {
    stream.setstate(std::ios_base::failbit);
    return false;
  }
  stream.open(name, mode);
  return stream.is_open();
}

int fclose(std::FILE* file) {
  const int injected = AskFaultHook(OsCall::close, nullptr).error;
  const int result = ::fclose(file);
  return Fails(injected) ? EOF : result;
}

std::size_t fread(void* data, std::size_t size, std::size_t count, std::FILE* file) {
  return LimitedTransfer(OsCall::read, size, count, [=](std::size_t unit, std::size_t units) {
    return ::fread(data, unit, units, file);
  });
}

std::size_t fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* file) {
  return LimitedTransfer(OsCall::write, size, count, [=](std::size_t unit, std::size_t units) {
    return ::fwrite(data, unit, units, file);
  });
}

DIR* opendir(const char* name, const char* charset) {
  if (NameFails(OsCall::opendir, name, charset)) return nullptr;
  return ::opendir(name);
}

int readdir_r(DIR* dir, dirent* entry, dirent** result, const char* charset) {
  *result = nullptr;
  if (const int error = NameError(OsCall::readdir, "", charset)) return error;
  errno = 0;
  const dirent* found = ::readdir(dir);  // NOLINT: one stream is read by one thread
  if (found == nullptr) return errno;
  const std::size_t length = std::strlen(found->d_name);
  if (length >= sizeof(entry->d_name)) return ENAMETOOLONG;
  std::memcpy(entry, found, offsetof(dirent, d_name));
  std::memcpy(entry->d_name, found->d_name, length + 1);
  *result = entry;
  return 0;
}

int closedir(DIR* dir) {
  const int injected = AskFaultHook(OsCall::close, nullptr).error;
  const int result = ::closedir(dir);
  return Fails(injected) ? -1 : result;
}

int stat(const char* name, struct ::stat* out, const char* charset) {
  if (NameFails(OsCall::stat, name, charset)) return -1;
  return ::stat(name, out);
}

int fstat(std::FILE* file, struct ::stat* out) {
  if (Fails(AskFaultHook(OsCall::stat, nullptr).error)) return -1;
  return ::fstat(::fileno(file), out);
}

int unlink(const char* name, const char* charset) {
  if (NameFails(OsCall::unlink, name, charset)) return -1;
  return ::unlink(name);
}

int rename(const char* from, const char* to, const char* charset) {
  if (to == nullptr) {
    errno = EINVAL;
    return -1;
  }
  if (NameFails(OsCall::rename, from, charset)) return -1;
  return ::rename(from, to);
}

int mkdir(const char* name, mode_t mode, const char* charset) {
  if (NameFails(OsCall::mkdir, name, charset)) return -1;
  return ::mkdir(name, mode);
}

}  // namespace VELA_OS

UTF8_ifstream::UTF8_ifstream(const char* name, std::ios_base::openmode mode) {
  open(name, mode);
}

void UTF8_ifstream::open(const char* name, std::ios_base::openmode mode) {
  if (NameFails(OsCall::open, name, nullptr)) {
    setstate(std::ios_base::failbit);
    return;
  }
  std::ifstream::open(name, mode);
  if (!is_open() || (mode & std::ios_base::ate) != 0) return;
  char mark[3] = {};
  read(mark, sizeof(mark));
  if (gcount() == sizeof(mark) && std::memcmp(mark, "\xEF\xBB\xBF", sizeof(mark)) == 0) return;
  clear();
  seekg(0);
}
