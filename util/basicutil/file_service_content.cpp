// Contents between files and messages, memory and settings.
#include <zlib.h>

#include <algorithm>
#include <array>

#include "platform/config/vela_config.h"
#include "platform/os/beneath.h"
#include "platform/os/host_info.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/common.h"
#include "util/basicutil/compress_internal.h"
#include "util/basicutil/file_service.h"
#include "util/basicutil/file_service_internal.h"
#include "util/basicutil/filepath.h"
#include "util/basicutil/token.h"

namespace NSTE_util {
namespace {

using Block = std::array<unsigned char, 65536>;

// A stream of zlib that ends with its scope.
class Deflater {
 public:
  Deflater() : m_ready(::deflateInit(&stream, Z_DEFAULT_COMPRESSION) == Z_OK) {}
  ~Deflater() { ::deflateEnd(&stream); }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;
  bool Ready() const { return m_ready; }
  z_stream stream{};

 private:
  bool m_ready;
};

std::string Setting(const char* key) {
  std::string value;
  VelaGetRegString((GetVELARootPath() + "etc/conf/vela.cfg").c_str(), key, value);
  return value;
}

void ReadLimit(const char* key, std::uint64_t& limit) {
  int value = 0;
  const std::string file = GetVELARootPath() + "etc/conf/vela.cfg";
  if (VelaGetRegInt(file.c_str(), key, value) == 1 && value > 0) limit = static_cast<std::uint64_t>(value);
}

}  // namespace

std::atomic<std::uint64_t> TransferMemory::g_inUse{0};

TransferMemory::TransferMemory(std::uint64_t bytes, std::uint64_t limit) : m_bytes(bytes) {
  std::uint64_t used = g_inUse.load();
  do {
    if (used > limit || bytes > limit - used) {
      m_bytes = 0;
      return;
    }
  } while (!g_inUse.compare_exchange_weak(used, used + bytes));
}

TransferMemory::~TransferMemory() {
  g_inUse.fetch_sub(m_bytes);
}

FolderRule::FolderRule(const std::string& list) {
  for (std::string& folder : Token(list, ',')) {
    VelaTrim(folder);
    std::vector<std::string> parts;
    if (folder.empty()) continue;
    if (vela::SplitNameBeneath(folder, parts)) {
      m_folders.push_back(std::move(parts));
    } else {
      GetDefaultDebugInterface().PrintF(1, "File service: \"%s\" is no folder below its own\n",
                                        vela::EscapeControls(folder).c_str());
    }
  }
}

bool FolderRule::Allows(const std::string& name) const {
  std::vector<std::string> parts;
  if (!vela::SplitNameBeneath(name, parts)) return false;
  return std::any_of(m_folders.begin(), m_folders.end(), [&](const std::vector<std::string>& folder) {
    return folder.size() <= parts.size() && std::equal(folder.begin(), folder.end(), parts.begin());
  });
}

FileServiceSettings ReadFileServiceSettings() {
  FileServiceSettings settings;
  settings.folder = Setting("FileServiceFolder");
  if (settings.folder.empty()) settings.folder = GetVELARootPath();
  settings.address = Setting("FileServiceAddress");
  settings.read = FolderRule(Setting("FileServiceRead"));
  settings.write = FolderRule(Setting("FileServiceWrite"));
  settings.remove = FolderRule(Setting("FileServiceDelete"));
  ReadLimit("FileServiceMaxBytes", settings.maxBytes);
  ReadLimit("FileServiceMaxMemory", settings.maxMemory);
  return settings;
}

std::uint32_t DeflateFile(std::FILE* file, std::uint64_t size, char* out, std::size_t room,
                          std::size_t& used) {
  Deflater deflater;
  if (!deflater.Ready()) return VELA_ERR_MEMORY;
  z_stream& stream = deflater.stream;
  stream.next_out = reinterpret_cast<unsigned char*>(out);
  stream.avail_out = static_cast<unsigned>(room);
  Block block;
  int state = Z_OK;
  while (state != Z_STREAM_END) {
    const std::size_t part = static_cast<std::size_t>(std::min<std::uint64_t>(size, block.size()));
    if (VELA_OS::fread(block.data(), 1, part, file) != part) return VELA_ERR_GENERAL;
    size -= part;
    stream.next_in = block.data();
    stream.avail_in = static_cast<unsigned>(part);
    state = ::deflate(&stream, size == 0 ? Z_FINISH : Z_NO_FLUSH);
    if (state != Z_STREAM_END && stream.avail_out == 0) return VELA_ERR_TOO_LARGE;
  }
  used = room - stream.avail_out;
  return 0;
}

std::uint32_t InflateToFile(const std::string& content, std::uint64_t limit, std::FILE* file) {
  Inflater inflater;
  if (!inflater.Ready()) return VELA_ERR_MEMORY;
  z_stream& stream = inflater.stream;
  stream.next_in = reinterpret_cast<unsigned char*>(const_cast<char*>(content.data()));
  stream.avail_in = static_cast<unsigned>(content.size());
  Block block;
  int state = Z_OK;
  while (state != Z_STREAM_END) {
    stream.next_out = block.data();
    stream.avail_out = static_cast<unsigned>(block.size());
    state = ::inflate(&stream, Z_NO_FLUSH);
    if (state != Z_OK && state != Z_STREAM_END)
      return state == Z_MEM_ERROR ? VELA_ERR_MEMORY : VELA_ERR_DECODE;
    const std::size_t part = block.size() - stream.avail_out;
    if (part > limit) return VELA_ERR_TOO_LARGE;
    limit -= part;
    if (VELA_OS::fwrite(block.data(), 1, part, file) != part) return FILE_SERVICE_NOT_WRITTEN;
  }
  return 0;
}

}  // namespace NSTE_util
