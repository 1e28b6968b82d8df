// Files inside messages.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "asn1/file.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/common.h"
#include "util/basicutil/compress.h"
#include "util/basicutil/compress_internal.h"

namespace NSTE_util {
namespace {

std::string PathBelow(const std::string& folder, const std::string& name) {
  const bool separated = folder.empty() || folder.ends_with('/') || folder.ends_with('\\');
  return folder + (separated ? "" : "/") + name;
}

// Whether a name from outside stays below the folder that it is put behind.
bool StaysBelow(std::string_view name) {
  if (name.empty() || name.find('\0') != std::string_view::npos) return false;
  while (true) {
    const std::size_t end = std::min(name.find('/'), name.size());
    if (name.substr(0, end) == "..") return false;
    if (end == name.size()) return true;
    name.remove_prefix(end + 1);
  }
}

bool NameAllowed(const std::string& folder, const std::string& name) {
  if (StaysBelow(name)) return true;
  const bool vouchedFor = folder.empty() && !name.empty() && name.find('\0') == std::string::npos;
  if (!vouchedFor) errno = EINVAL;
  return vouchedFor;
}

// False and errno when not all was written; nothing of it is left then.
bool WriteFile(const std::string& path, const std::string& content) {
  std::FILE* const file = VELA_OS::fopen(path.c_str(), "w+b", "UTF-8");
  if (file == nullptr) return false;
  errno = 0;
  bool written = VELA_OS::fwrite(content.data(), 1, content.size(), file) == content.size();
  int error = errno;
  if (VELA_OS::fclose(file) != 0 && written) {
    written = false;
    error = errno;
  }
  if (!written) VELA_OS::unlink(path.c_str(), "UTF-8");
  errno = error;
  return written;
}

// The content is taken first: it may be bound to the very file that is written.
bool WriteContent(const std::string& folder, const std::string& name, const CSM_Buffer& content,
                  const std::string& path) {
  std::string bytes;
  return NameAllowed(folder, name) && content.Read(bytes) && WriteFile(path, bytes);
}

std::uint32_t EncodeSteps(const std::string& folder, const std::string& name, AsnFile& out) {
  const std::string source = PathBelow(folder, name);
  const std::string gzipFile = source + ".gz";
  out.content.SetFile(gzipFile);
  out.fileName = AsnOcts(name.data(), name.size());
  out.compressFlag = 1;
  // Required: the success is what is traced.
  if (CompressFile(source, gzipFile) == 0) {
    TETrace("\nGZip File fail! filename:%s, zipFile:%s\n", vela::EscapeControls(source).c_str(),
            vela::EscapeControls(gzipFile).c_str());
  }
  VELA_OS::unlink(source.c_str(), "UTF-8");
  return 0;
}

std::uint32_t BuildSteps(const std::string& folder, const AsnFile& in) {
  const std::string name = in.fileName.data();
  const std::string target = PathBelow(folder, name);
  const std::string gzipFile = target + ".gz";
  if (!WriteContent(folder, name, in.content, gzipFile)) {
    const int error = errno;
    TETrace("\nOpen File for write error!filename:%s, lasterr:%d\n", vela::EscapeControls(gzipFile).c_str(),
            error);
    return COMPRESS_WRITE_FAILED;
  }
  // Required: the success is what is traced.
  if (UncompressFile(gzipFile, target) == 0) {
    TETrace("\nUnZip File fail! filename:%s, unzipFile:%s\n", vela::EscapeControls(gzipFile).c_str(),
            vela::EscapeControls(target).c_str());
  }
  VELA_OS::unlink(gzipFile.c_str(), "UTF-8");
  return 0;
}

}  // namespace

unsigned long EncodeFileToAsnFile(const std::string& folder, const std::string& name, AsnFile& out) {
  return CompressCaught([&] { return EncodeSteps(folder, name, out); });
}

unsigned long BuildFileFromAsnStream(const std::string& folder, const AsnFile& in) {
  return CompressCaught([&] { return BuildSteps(folder, in); });
}

}  // namespace NSTE_util
