#include "platform/asncmd/asn_elements.h"

#include <algorithm>

namespace vela {
namespace {

using Bytes = std::span<const unsigned char>;

constexpr std::size_t maxTagOctets = 4;
constexpr std::size_t maxLengthOctets = 4;

std::uint32_t Number(Bytes octets) {
  std::uint32_t number = 0;
  for (const unsigned char octet : octets) number = number << 8 | octet;
  return number;
}

std::size_t TagOctets(Bytes bytes) {
  if (bytes.empty() || bytes[0] == 0) return 0;
  if ((bytes[0] & AsnHeader::numberMask) != AsnHeader::numberMask) return 1;
  for (std::size_t i = 1; i < bytes.size() && i < maxTagOctets; ++i) {
    if (!(bytes[i] & 0x80)) return i + 1;
  }
  return 0;
}

// Of two contents that are read side by side.
struct Twins {
  Bytes emptied, filled;
  AsnHeader ofEmptied, ofFilled;

  bool ReadHeaders() {
    return ReadAsnHeader(emptied, ofEmptied) && ofEmptied.IsWhole(emptied) && !ofEmptied.indefinite &&
           ReadAsnHeader(filled, ofFilled) && ofFilled.IsWhole(filled) && !ofFilled.indefinite &&
           ofEmptied.tag == ofFilled.tag;
  }
  // Both move to their first elements that are not equal.
  bool FindDifference() {
    while (ReadHeaders()) {
      const Bytes one = emptied.first(ofEmptied.octets + ofEmptied.length);
      const Bytes other = filled.first(ofFilled.octets + ofFilled.length);
      if (!std::ranges::equal(one, other)) return true;
      emptied = emptied.subspan(one.size());
      filled = filled.subspan(other.size());
    }
    return false;
  }
  void Enter() {
    emptied = emptied.subspan(ofEmptied.octets, ofEmptied.length);
    filled = filled.subspan(ofFilled.octets, ofFilled.length);
  }
};

}  // namespace

bool ReadAsnHeader(Bytes bytes, AsnHeader& header) {
  const std::size_t tagOctets = TagOctets(bytes);
  if (tagOctets == 0 || tagOctets == bytes.size()) return false;
  const unsigned char first = bytes[tagOctets];
  header = {Number(bytes.first(tagOctets)), tagOctets, tagOctets + 1, first, false};
  if (first < 0x80) return true;
  const std::size_t lengthOctets = first & 0x7F;
  header.length = 0;
  header.indefinite = lengthOctets == 0;
  if (header.indefinite) return (bytes[0] & AsnHeader::constructedBit) != 0;
  if (lengthOctets > maxLengthOctets || lengthOctets > bytes.size() - header.octets) return false;
  header.length = Number(bytes.subspan(header.octets, lengthOctets));
  header.octets += lengthOctets;
  return true;
}

// Counts what is open instead of calling itself: the depth comes from outside.
bool SkipLongAsnElement(Bytes& rest) {
  std::size_t open = 0;
  do {
    if (open != 0 && AtEndOfContents(rest)) {
      rest = rest.subspan(2);
      --open;
      continue;
    }
    AsnHeader header;
    if (!ReadAsnHeader(rest, header) || !header.IsWhole(rest)) return false;
    rest = rest.subspan(header.octets + header.length);
    if (header.indefinite) ++open;
  } while (open != 0);
  return true;
}

bool FindFilled(Bytes emptied, Bytes filled, std::size_t& lengthOffset, std::size_t& lengthOctets) {
  Twins at{emptied, filled, {}, {}};
  while (at.FindDifference()) {
    if (at.ofEmptied.length != 0) {
      at.Enter();
      continue;
    }
    lengthOffset = static_cast<std::size_t>(at.emptied.data() - emptied.data()) + at.ofEmptied.tagOctets;
    lengthOctets = at.ofEmptied.octets - at.ofEmptied.tagOctets;
    const auto behind = emptied.subspan(lengthOffset + lengthOctets);
    return behind.size() < filled.size() && std::ranges::equal(behind, filled.last(behind.size())) &&
           filled.data() + filled.size() - behind.size() ==
               at.filled.data() + at.ofFilled.octets + at.ofFilled.length;
  }
  return false;
}

}  // namespace vela
