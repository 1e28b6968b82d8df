// Bytes through the checker and the decoder into each of several types. What both accept is consumed whole
// and encodes to a message that decodes to the same encoding; nothing reads past the bytes.
#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "asn1/audit.h"
#include "asn1/error.h"
#include "asn1/progress.h"
#include "asn1/result.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"

namespace {

constexpr std::size_t room = std::size_t{1} << 20;

// Ends where the address space ends.
char* Arena() {
  static char* const arena = [] {
    void* map = mmap(nullptr, room + 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    mprotect(static_cast<char*>(map) + room, 4096, PROT_NONE);
    return static_cast<char*>(map);
  }();
  return arena;
}

void Require(bool holds, const char* property, const AsnType& msg) {
  if (holds) return;
  std::fprintf(stderr, "%s: %s\n", msg.typeName(), property);
  std::abort();
}

std::string Encoded(const AsnType& msg) {
  unsigned char* buffer = nullptr;
  std::size_t size = 0;
  Require(CAsnHelper::Encode(msg, buffer, size) == 0, "what was decoded cannot be encoded", msg);
  std::string bytes(reinterpret_cast<char*>(buffer), size);
  CAsnHelper::ReleaseAsnBuf(buffer);
  return bytes;
}

template <class T>
bool Decoded(std::span<const unsigned char> bytes, T& msg) {
  std::string reason;
  const bool decoded = CAsnHelper::Decode(bytes, msg, reason) == 0;
  Require(decoded == reason.empty(), "a reason without a failure, or a failure without a reason", msg);
  return decoded;
}

template <class T>
void TryType(std::span<const unsigned char> bytes) {
  T first;
  if (!Decoded(bytes, first)) return;
  const std::string once = Encoded(first);
  T second;
  Require(Decoded({reinterpret_cast<const unsigned char*>(once.data()), once.size()}, second),
          "an own encoding is refused", second);
  Require(Encoded(second) == once, "the second encoding differs", second);
}

// The runtime's own types need not encode what they decoded: it tests the characters only then.
template <class T>
void TryPrimitive(std::span<const unsigned char> bytes) {
  T msg;
  if (!Decoded(bytes, msg)) return;
  unsigned char* buffer = nullptr;
  std::size_t size = 0;
  CAsnHelper::Encode(msg, buffer, size);
  CAsnHelper::ReleaseAsnBuf(buffer);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size > room) return 0;
  char* const copy = Arena() + room - size;
  if (size != 0) std::memcpy(copy, data, size);
  const std::span<const unsigned char> bytes(reinterpret_cast<unsigned char*>(copy), size);
  TryType<AsnSingleReturn>(bytes);
  TryType<AsnAttribValue>(bytes);
  TryType<AsnProgressReportEx>(bytes);
  TryType<AsnErrInfoList>(bytes);
  TryType<AsnAuditReq>(bytes);
  TryPrimitive<SNACC::AsnInt>(bytes);
  TryPrimitive<SNACC::AsnOcts>(bytes);
  TryPrimitive<SNACC::AsnBits>(bytes);
  TryPrimitive<SNACC::AsnOid>(bytes);
  TryPrimitive<SNACC::UTF8String>(bytes);
  TryPrimitive<SNACC::BMPString>(bytes);
  TryPrimitive<SNACC::UTCTime>(bytes);
  return 0;
}
