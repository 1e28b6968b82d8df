// Memory buffers, and the bounds of all that inflates.
#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "platform/config/vela_config.h"
#include "platform/os/os_faults.h"
#include "platform/os/os_types.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/common.h"
#include "util/basicutil/compress.h"
#include "util/basicutil/compress_internal.h"

namespace NSTE_util {
namespace {

constexpr std::uint32_t kLongest = std::numeric_limits<std::uint32_t>::max();
constexpr int kLargestSetting = std::numeric_limits<int>::max();

InflateBounds ReadBounds() {
  const std::string file = vela::InstallRoot() + "etc/conf/vela.cfg";
  InflateBounds bounds;
  int value = 0;
  if (VelaGetRegInt(file.c_str(), "InflateMaxBytes", value) == 1)
    bounds.memory = static_cast<std::uint32_t>(std::clamp(value, 1 << 20, kLargestSetting));
  if (VelaGetRegInt(file.c_str(), "InflateMaxFileMiB", value) == 1)
    bounds.file = static_cast<std::uint64_t>(std::clamp(value, 1, kLargestSetting)) << 20;
  return bounds;
}

}  // namespace

const InflateBounds& ConfiguredInflateBounds() {
  static const InflateBounds bounds = ReadBounds();
  return bounds;
}

MemBufProcesser::MemBufProcesser(const char* data, unsigned long len)
    : m_pData(data), m_nLen(vela::Cut32(len)) {}

MemBufProcesser::~MemBufProcesser() = default;

void MemBufProcesser::Release() {
  m_pOutData.reset();
  m_nOutLen = 0;
}

bool MemBufProcesser::Allocate(std::uint32_t bound) {
  Release();
  m_nCapacity = std::clamp<std::uint64_t>(m_nCapacity, 1, bound);
  m_pOutData = NewRoom();
  return m_pOutData != nullptr;
}

std::unique_ptr<char[]> MemBufProcesser::NewRoom() const {
  return std::unique_ptr<char[]>(vela::AllocationFails() ? nullptr : new (std::nothrow) char[m_nCapacity]);
}

bool MemBufProcesser::Grow(unsigned growth, std::uint32_t bound, std::size_t used) {
  if (m_nCapacity == bound) {
    TETrace("MemBufProcesser: %u bytes give more than %u\n", m_nLen, bound);
    Release();
    return false;
  }
  m_nCapacity = std::min<std::uint64_t>(m_nCapacity * growth, bound);
  if (used == 0) Release();
  std::unique_ptr<char[]> room = NewRoom();
  if (room && used != 0) std::memcpy(room.get(), m_pOutData.get(), used);
  m_pOutData = std::move(room);
  return m_pOutData != nullptr;
}

std::uint32_t MemBufProcesser::ZlibFailed() {
  Release();
  return COMPRESS_ZLIB_ERROR;
}

MemCompresser::MemCompresser(const char* data, unsigned long len) : MemBufProcesser(data, len) {
  m_nCapacity = std::uint64_t{m_nLen} * 101 / 100 + 12;
}

unsigned long MemCompresser::Process() {
  return CompressCaught([this] { return Compress(); });
}

std::uint32_t MemCompresser::Compress() {
  if (!Allocate(kLongest)) return COMPRESS_NO_MEMORY;
  while (true) {
    unsigned long outLen = m_nCapacity;
    const int result = ::compress(reinterpret_cast<unsigned char*>(m_pOutData.get()), &outLen,
                                  reinterpret_cast<const unsigned char*>(m_pData), m_nLen);
    if (result == Z_OK) {
      m_nOutLen = static_cast<std::uint32_t>(outLen);
      return 0;
    }
    if (result != Z_BUF_ERROR) return ZlibFailed();
    if (!Grow(2, kLongest, 0)) return COMPRESS_NO_MEMORY;
  }
}

MemUncompresser::MemUncompresser(const char* data, unsigned long len) : MemBufProcesser(data, len) {
  m_nCapacity = std::uint64_t{m_nLen} * 4;
}

unsigned long MemUncompresser::Process() {
  return CompressCaught([this] { return Uncompress(); });
}

// As zlib's uncompress into larger and larger room, but the stream goes on behind what it has inflated.
std::uint32_t MemUncompresser::Uncompress() {
  const std::uint32_t bound = ConfiguredInflateBounds().memory;
  if (!Allocate(bound)) return COMPRESS_NO_MEMORY;
  Inflater inflater;
  if (!inflater.Ready()) return ZlibFailed();
  z_stream& stream = inflater.stream;
  stream.next_in = reinterpret_cast<unsigned char*>(const_cast<char*>(m_pData));
  stream.avail_in = m_nLen;
  while (true) {
    stream.next_out = reinterpret_cast<unsigned char*>(m_pOutData.get()) + stream.total_out;
    stream.avail_out = static_cast<unsigned>(m_nCapacity - stream.total_out);
    const int result = ::inflate(&stream, Z_FINISH);
    if (result == Z_STREAM_END) {
      m_nOutLen = static_cast<std::uint32_t>(stream.total_out);
      return 0;
    }
    if (result != Z_BUF_ERROR || stream.avail_out != 0) return ZlibFailed();
    if (!Grow(4, bound, stream.total_out)) return COMPRESS_NO_MEMORY;
  }
}

}  // namespace NSTE_util
