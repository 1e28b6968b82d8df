// Memory buffers, and the bounds of all that inflates.
#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>

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

bool MemBufProcesser::Allocate() {
  Release();
  if (!vela::AllocationFails()) m_pOutData.reset(new (std::nothrow) char[m_nCapacity]);
  return m_pOutData != nullptr;
}

std::uint32_t MemBufProcesser::Run(OneCall call, unsigned growth, std::uint32_t bound) {
  m_nCapacity = std::min<std::uint64_t>(m_nCapacity, bound);
  while (Allocate()) {
    unsigned long outLen = m_nCapacity;
    const int result = call(reinterpret_cast<unsigned char*>(m_pOutData.get()), &outLen,
                            reinterpret_cast<const unsigned char*>(m_pData), m_nLen);
    if (result == Z_OK) {
      m_nOutLen = static_cast<std::uint32_t>(outLen);
      return 0;
    }
    Release();
    if (result != Z_BUF_ERROR) return COMPRESS_ZLIB_ERROR;
    if (m_nCapacity == bound) {
      TETrace("MemBufProcesser: %u bytes give more than %u\n", m_nLen, bound);
      return COMPRESS_NO_MEMORY;
    }
    m_nCapacity = std::clamp<std::uint64_t>(m_nCapacity * growth, 1, bound);
  }
  return COMPRESS_NO_MEMORY;
}

MemCompresser::MemCompresser(const char* data, unsigned long len) : MemBufProcesser(data, len) {
  m_nCapacity = std::uint64_t{m_nLen} * 101 / 100 + 12;
}

unsigned long MemCompresser::Process() {
  return Compress();
}

std::uint32_t MemCompresser::Compress() {
  return Run(::compress, 2, kLongest);
}

MemUncompresser::MemUncompresser(const char* data, unsigned long len) : MemBufProcesser(data, len) {
  m_nCapacity = std::uint64_t{m_nLen} * 4;
}

unsigned long MemUncompresser::Process() {
  return Uncompress();
}

std::uint32_t MemUncompresser::Uncompress() {
  return Run(::uncompress, 4, ConfiguredInflateBounds().memory);
}

}  // namespace NSTE_util
