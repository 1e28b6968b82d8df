// Gzip files.
#include "util/basicutil/compress.h"

#include <zlib.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <memory>

#include "platform/os/vela_os.h"
#include "util/basicutil/common.h"
#include "util/basicutil/compress_internal.h"

namespace NSTE_util {
namespace {

constexpr std::size_t kBlock = 16384;
constexpr unsigned kGzipInput = 65536;  // zlib inflates an eighth faster with it than with its own 8 KiB

struct CloseFile {
  void operator()(std::FILE* file) const { VELA_OS::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

struct CloseGzip {
  void operator()(gzFile file) const { ::gzclose(file); }
};
using GzipFile = std::unique_ptr<std::remove_pointer_t<gzFile>, CloseGzip>;

// As it may stand in a log line.
std::string Shown(const std::string& name) {
  return vela::EscapeControls(name);
}

int GzipError(const GzipFile& file) {
  int error = Z_OK;
  ::gzerror(file.get(), &error);
  return error;
}

// 0, or why the target must not be opened for writing: it may be the source, which that would empty.
int OverwriteError(const std::string& source, const std::string& target) {
  struct ::stat from {};
  struct ::stat to {};
  if (VELA_OS::stat(target.c_str(), &to, "UTF-8") != 0) return errno == ENOENT ? 0 : errno;
  if (VELA_OS::stat(source.c_str(), &from, "UTF-8") != 0) return errno;
  return from.st_dev == to.st_dev && from.st_ino == to.st_ino ? EINVAL : 0;
}

std::uint32_t Deflate(const File& in, const std::string& source, const GzipFile& out,
                      const std::string& gzipFile) {
  char block[kBlock];
  while (true) {
    errno = 0;
    const std::size_t count = VELA_OS::fread(block, 1, kBlock, in.get());
    const int error = errno;
    // A fault of the seam shows in errno alone.
    if (std::ferror(in.get()) != 0 || (count < kBlock && error != 0)) {
      TETrace("CompressFile: fread error, filename: %s, lasterr: %d\n", Shown(source).c_str(), error);
      return COMPRESS_FAILED;
    }
    if (count == 0) return 0;
    if (::gzwrite(out.get(), block, static_cast<unsigned>(count)) != static_cast<int>(count)) {
      TETrace("CompressFile: gzwrite error, filename: %s, gzerror: %d\n", Shown(gzipFile).c_str(),
              GzipError(out));
      return COMPRESS_WRITE_FAILED;
    }
  }
}

std::uint32_t WriteFailed(const std::string& target, int error) {
  TETrace("UncompressFile: fwrite error, filename: %s, lasterr: %d\n", Shown(target).c_str(), error);
  return COMPRESS_WRITE_FAILED;
}

std::uint32_t Inflate(const GzipFile& in, const std::string& gzipFile, const File& out,
                      const std::string& target) {
  const std::uint64_t bound = ConfiguredInflateBounds().file;
  char block[kBlock];
  std::uint64_t total = 0;
  while (true) {
    const int count = ::gzread(in.get(), block, kBlock);
    // zlib takes a file that is cut short for its end; only the error tells.
    if (count < 0 || (count == 0 && GzipError(in) != Z_OK)) {
      TETrace("UncompressFile: gzread error, filename: %s, gzerror: %d\n", Shown(gzipFile).c_str(),
              GzipError(in));
      return COMPRESS_FAILED;
    }
    if (count == 0) return 0;
    const std::size_t size = static_cast<std::size_t>(count);
    total += size;
    if (total > bound) {
      TETrace("UncompressFile: more than %" PRIu64 " bytes, filename: %s\n", bound, Shown(gzipFile).c_str());
      return COMPRESS_FAILED;
    }
    errno = 0;
    if (VELA_OS::fwrite(block, 1, size, out.get()) != size) return WriteFailed(target, errno);
  }
}

std::uint32_t CompressSteps(const std::string& source, const std::string& gzipFile) {
  errno = 0;
  File in(VELA_OS::fopen(source.c_str(), "rb", "UTF-8"));
  if (!in) {
    const int error = errno;
    TETrace("CompressFile: fopen error! filename: %s, lasterr: %d\n", Shown(source).c_str(), error);
    return COMPRESS_FAILED;
  }
  GzipFile out(OverwriteError(source, gzipFile) != 0 ? nullptr : ::gzopen(gzipFile.c_str(), "wbe"));
  if (!out) {
    TETrace("CompressFile: can't gzopen %s\n", Shown(gzipFile).c_str());
    return COMPRESS_FAILED;
  }
  const std::uint32_t result = Deflate(in, source, out, gzipFile);
  in.reset();
  const int error = ::gzclose(out.release());
  if (error != Z_OK) {
    TETrace("CompressFile: gzclose error, filename: %s, gzerror: %d\n", Shown(gzipFile).c_str(), error);
    return COMPRESS_FAILED;
  }
  return result;
}

std::uint32_t UncompressSteps(const std::string& gzipFile, const std::string& target) {
  const GzipFile in(::gzopen(gzipFile.c_str(), "rbe"));
  if (!in) {
    TETrace("UncompressFile: can't gzopen %s\n", Shown(gzipFile).c_str());
    return COMPRESS_FAILED;
  }
  ::gzbuffer(in.get(), kGzipInput);
  errno = OverwriteError(gzipFile, target);
  File out(errno != 0 ? nullptr : VELA_OS::fopen(target.c_str(), "wb", "UTF-8"));
  if (!out) {
    const int error = errno;
    TETrace("UncompressFile: fopen error! filename: %s, lasterr: %d\n", Shown(target).c_str(), error);
    return COMPRESS_FAILED;
  }
  // Whole blocks go straight to the file: an error then shows where it arises, not when the file is closed.
  std::setvbuf(out.get(), nullptr, _IONBF, 0);
  const std::uint32_t result = Inflate(in, gzipFile, out, target);
  errno = 0;
  if (VELA_OS::fclose(out.release()) != 0 && result == 0) return WriteFailed(target, errno);
  return result;
}

}  // namespace

unsigned long CompressFile(const std::string& source, const std::string& gzipFile) {
  return CompressCaught([&] { return CompressSteps(source, gzipFile); });
}

unsigned long UncompressFile(const std::string& gzipFile, const std::string& target) {
  return CompressCaught([&] { return UncompressSteps(gzipFile, target); });
}

}  // namespace NSTE_util
