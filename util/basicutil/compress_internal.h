#pragma once
#include <zlib.h>

#include <cstdint>
#include <exception>
#include <new>

#include "util/basicutil/compress.h"

namespace NSTE_util {

// The bounds in force on what inflates, in bytes; read from the configuration once.
struct InflateBounds {
  std::uint32_t memory = 256u << 20;
  std::uint64_t file = std::uint64_t{16384} << 20;
};
const InflateBounds& ConfiguredInflateBounds();

// A stream of zlib that ends with its scope.
class Inflater {
 public:
  Inflater() : m_ready(::inflateInit(&stream) == Z_OK) {}
  ~Inflater() { ::inflateEnd(&stream); }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  bool Ready() const { return m_ready; }
  z_stream stream{};

 private:
  bool m_ready;
};

// Runs what may throw; its result, or the code of what it threw.
template <class Steps>
std::uint32_t CompressCaught(Steps steps) {
  try {
    return steps();
  } catch (const std::bad_alloc&) {
    return COMPRESS_NO_MEMORY;
  } catch (const std::exception&) {
    return COMPRESS_FAILED;
  }
}

}  // namespace NSTE_util
