#pragma once
#include <cstdint>
#include <string>

#include "platform/asncmd/asn_runtime.h"
#include "platform/message/proc_id.h"

// Fields of messages as plain values.
namespace apps {

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
  return octs.data();
}

// Empty when the field is missing.
inline std::string Bytes(const AsnOcts* octs) {
  return octs != nullptr ? octs->data() : std::string();
}

inline void SetText(AsnOcts& octs, const std::string& text) {
  octs.Set(text.data(), text.size());
}

// "0x42012001"
std::string HexCode(std::uint32_t code);

}  // namespace apps
