#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/export.h"

// The outline of BER bytes: tags and lengths, never values. Any bytes will do, nothing outside them is read.
// No allocation, no recursion; safe in any thread.
namespace vela {

// Tag and length of one element.
struct AsnHeader {
  static constexpr unsigned char constructedBit = 0x20;
  static constexpr unsigned char numberMask = 0x1F;

  std::uint32_t tag = 0;      // its octets as one number: 0x30 a SEQUENCE, 0xBF28 the tag [40]
  std::size_t tagOctets = 0;  // 1 to 4
  std::size_t octets = 0;     // of tag and length
  std::size_t length = 0;     // of the content; 0 when indefinite
  bool indefinite = false;

  // Whether `bytes`, which the header starts, hold all the content.
  bool IsWhole(std::span<const unsigned char> bytes) const { return length <= bytes.size() - octets; }
};

// The header that `bytes` start with; the content need not be there. False when it is cut, has a tag of more
// than 4 octets, a length of more than 4 after the first, an indefinite length although it is primitive, or
// is an end-of-contents.
VELA_EXPORT bool ReadAsnHeader(std::span<const unsigned char> bytes, AsnHeader& header);

// Moves `rest` behind the element that it starts with, an indefinite one behind its end-of-contents. False
// when it is malformed or not all there; `rest` is then somewhere within it.
VELA_EXPORT bool SkipLongAsnElement(std::span<const unsigned char>& rest);

inline bool SkipAsnElement(std::span<const unsigned char>& rest) {
  // Nearly all have one octet each of tag and length.
  const bool isShort = rest.size() >= 2 && rest[0] != 0 && rest[1] < 0x80 &&
                       (rest[0] & AsnHeader::numberMask) != AsnHeader::numberMask;
  if (!isShort) return SkipLongAsnElement(rest);
  const std::size_t size = std::size_t{2} + rest[1];
  if (size > rest.size()) return false;
  rest = rest.subspan(size);
  return true;
}

// Finds the one element that is empty in `emptied` and not in `filled`: the offset of its length octets in
// `emptied`, and how many they are. False when the two differ in anything else but the lengths around it, or
// a length on the way is indefinite.
VELA_EXPORT bool FindFilled(std::span<const unsigned char> emptied, std::span<const unsigned char> filled,
                            std::size_t& lengthOffset, std::size_t& lengthOctets);

// Whether the two octets that end an indefinite length come next.
inline bool AtEndOfContents(std::span<const unsigned char> rest) {
  return rest.size() >= 2 && rest[0] == 0 && rest[1] == 0;
}

}  // namespace vela
