#pragma once
#include <cstdint>
#include <string>

#include "platform/asncmd/asn_runtime.h"
#include "platform/message/proc_id.h"

// Fields of messages as plain values.
namespace velactl {

inline std::int64_t Number(const AsnInt& value) {
  return static_cast<AsnIntType>(value);
}

inline std::string NumberText(const AsnInt& value) {
  return std::to_string(Number(value));
}

// 32-bit codes and NEs travel as signed numbers.
inline std::uint32_t Unsigned(const AsnInt& value) {
  return static_cast<std::uint32_t>(static_cast<AsnIntType>(value));
}

inline AsnIntType Signed(std::uint32_t value) {
  return static_cast<AsnIntType>(static_cast<std::int32_t>(value));
}

inline CProcID Process(const AsnInt& number, const AsnInt& handle) {
  return {static_cast<std::uint16_t>(Number(number)), static_cast<std::uint16_t>(Number(handle))};
}

inline std::string Bytes(const AsnOcts& octs) {
  return {octs.c_ustr(), octs.c_ustr() + octs.Len()};
}

}  // namespace velactl
