#include "platform/asncmd/asn_checker.h"

#include <algorithm>
#include <array>
#include <string>

#include "platform/config/vela_config.h"
#include "platform/os/vela_os.h"

namespace vela {
namespace {

enum UniversalTag : unsigned {
  tagEndOfContents = 0,
  tagBoolean = 1,
  tagInteger = 2,
  tagBitString = 3,
  tagOctetString = 4,
  tagNull = 5,
  tagObjectId = 6,
  tagObjectDescriptor = 7,
  tagEnumerated = 10,
  tagUtf8String = 12,
  tagSequence = 16,
  tagNumericString = 18,
  tagUniversalString = 28,
  tagBmpString = 30
};

constexpr unsigned char classMask = 0xC0;
constexpr unsigned char constructedBit = 0x20;
constexpr unsigned char numberMask = 0x1F;
constexpr std::size_t maxTagOctets = 3;
constexpr std::size_t maxLengthOctets = 4;

// The universal types that a message may hold as a text.
constexpr std::uint32_t stringTags = [] {
  std::uint32_t tags = 1u << tagBitString | 1u << tagOctetString | 1u << tagObjectDescriptor |
                       1u << tagUtf8String | 1u << tagBmpString;
  for (unsigned tag = tagNumericString; tag <= tagUniversalString; ++tag) tags |= 1u << tag;
  return tags;
}();

bool IsString(unsigned tag) {
  return stringTags >> tag & 1;
}

// The walk over one message. Every method that can refuse returns false with the verdict set.
class Walk {
 public:
  Walk(std::span<const unsigned char> bytes, const AsnLimits& limits)
      : m_begin(bytes.data()),
        m_size(bytes.size()),
        m_maxDepth(std::min(limits.maxDepth, AsnLimits::depthCeiling)),
        m_elementsLeft(limits.maxElements) {
    m_open[0] = {m_size, 0, false, false, false};
  }

  AsnVerdict Run() {
    while (Element()) {
      if (!CloseFinished()) break;
      if (m_depth == 0) {
        if (m_pos != m_size) Refuse("bytes after the end of the message", m_pos);
        break;
      }
    }
    return m_verdict;
  }

 private:
  // An element whose content is being walked. `end` of an indefinite one is that of what encloses it.
  struct Open {
    std::size_t end;
    std::size_t start;
    bool indefinite;
    bool tagged;  // of a class of its own: wraps exactly one element
    bool filled;
  };

  Open& Now() { return m_open[m_depth]; }

  bool Refuse(const char* reason, std::size_t offset) {
    m_verdict = {reason, offset};
    return false;
  }

  bool Element() {
    const std::size_t start = m_pos;
    if (start >= Now().end) return Refuse("an indefinite length without its end-of-contents", start);
    const unsigned char tag = m_begin[m_pos++];
    if (tag == tagEndOfContents) return EndOfContents(start);
    if (m_elementsLeft == 0) return Refuse("too many elements", start);
    --m_elementsLeft;
    if (Now().tagged && Now().filled) return Refuse("a tag wraps more than one element", start);
    Now().filled = true;
    if ((tag & numberMask) == numberMask && !LongTag(tag, start)) return false;
    if (m_pos >= Now().end) return Refuse("an element is cut before its length", m_pos);
    const unsigned char first = m_begin[m_pos];
    if (first == 0x80) return Indefinite(tag, start);
    std::size_t length = first;
    const std::size_t lengthAt = m_pos++;
    if (first > 0x80 && !LongLength(first, lengthAt, length)) return false;
    if (length > Now().end - m_pos) return Refuse("a length does not fit into what encloses it", lengthAt);
    if (tag & constructedBit) {
      if (!MayBeConstructed(tag, start)) return false;
      return Enter(start, m_pos + length, (tag & classMask) != 0, false);
    }
    if (!Primitive(tag, start, lengthAt, length)) return false;
    m_pos += length;
    return true;
  }

  bool LongTag(unsigned char tag, std::size_t start) {
    if ((tag & classMask) == 0) return Refuse("an unknown universal type", start);
    std::size_t octets = 1;
    unsigned number = 0;
    unsigned char octet;
    do {
      if (m_pos >= Now().end) return Refuse("a tag is cut", m_pos);
      if (++octets > maxTagOctets) return Refuse("a tag of more than 3 octets", start);
      octet = m_begin[m_pos++];
      number = number << 7 | (octet & 0x7F);
    } while (octet & 0x80);
    if (number < numberMask || (octets > 2 && number < 0x80)) {
      return Refuse("a tag longer than its number needs", start);
    }
    return true;
  }

  bool LongLength(unsigned char first, std::size_t lengthAt, std::size_t& length) {
    if (first == 0xFF) return Refuse("the reserved length octet FF", lengthAt);
    const std::size_t octets = first & 0x7F;
    if (octets > maxLengthOctets) return Refuse("more than 4 length octets", lengthAt);
    if (octets > Now().end - m_pos) return Refuse("a length is cut", lengthAt);
    length = 0;
    for (std::size_t i = 0; i < octets; ++i) length = length << 8 | m_begin[m_pos++];
    return true;
  }

  bool MayBeConstructed(unsigned char tag, std::size_t start) {
    if ((tag & classMask) != 0) return true;
    const unsigned number = tag & numberMask;
    if (number == tagSequence) return true;
    if (IsString(number)) return Refuse("a constructed string", start);
    return Refuse("a constructed element of a type that cannot be", start);
  }

  bool Indefinite(unsigned char tag, std::size_t start) {
    if (!(tag & constructedBit)) return Refuse("an indefinite length of a primitive element", m_pos);
    if (!MayBeConstructed(tag, start)) return false;
    ++m_pos;
    return Enter(start, Now().end, (tag & classMask) != 0, true);
  }

  bool Enter(std::size_t start, std::size_t end, bool tagged, bool indefinite) {
    if (m_depth == m_maxDepth) return Refuse("nested too deeply", start);
    m_open[++m_depth] = {end, start, indefinite, tagged, false};
    return true;
  }

  bool Leave() {
    const Open& left = m_open[m_depth--];
    return !left.tagged || left.filled || Refuse("a tag that wraps nothing", left.start);
  }

  bool EndOfContents(std::size_t start) {
    if (!Now().indefinite) return Refuse("an end-of-contents that ends nothing", start);
    if (m_pos >= Now().end || m_begin[m_pos] != 0) return Refuse("a broken end-of-contents", m_pos);
    ++m_pos;
    return Leave();
  }

  // Leaves all definite elements that end here; an indefinite one still needs its end-of-contents.
  bool CloseFinished() {
    while (m_pos == Now().end && m_depth != 0 && !Now().indefinite) {
      if (!Leave()) return false;
    }
    return true;
  }

  bool Primitive(unsigned char tag, std::size_t start, std::size_t lengthAt, std::size_t length) {
    if ((tag & classMask) != 0) return Refuse("a tag that hides its type", start);
    switch (tag) {
      case tagInteger:
      case tagEnumerated:
        return (length >= 1 && length <= 4) || Refuse("an integer outside 1 to 4 bytes", lengthAt);
      case tagBoolean:
        return length == 1 || Refuse("a BOOLEAN that is not 1 byte", lengthAt);
      case tagNull:
        return length == 0 || Refuse("a NULL that is not empty", lengthAt);
      case tagBitString:
        return BitString(lengthAt, length);
      case tagObjectId:
        return ObjectId(lengthAt, length);
      case tagSequence:
        return Refuse("a SEQUENCE that is primitive", start);
      default:
        return IsString(tag) || Refuse("an unknown universal type", start);
    }
  }

  bool BitString(std::size_t lengthAt, std::size_t length) {
    if (length == 0) return Refuse("a BIT STRING without its first byte", lengthAt);
    const unsigned char unused = m_begin[m_pos];
    if (unused > 7) return Refuse("a BIT STRING with more than 7 unused bits", m_pos);
    return length > 1 || unused == 0 || Refuse("an empty BIT STRING with unused bits", m_pos);
  }

  bool ObjectId(std::size_t lengthAt, std::size_t length) {
    if (length < 1 || length > 255) return Refuse("an OBJECT IDENTIFIER outside 1 to 255 bytes", lengthAt);
    const std::size_t last = m_pos + length - 1;
    return !(m_begin[last] & 0x80) || Refuse("an OBJECT IDENTIFIER cut inside an arc", last);
  }

  const unsigned char* m_begin;
  std::size_t m_size;
  std::uint32_t m_maxDepth;
  std::uint32_t m_elementsLeft;
  std::size_t m_pos = 0;
  std::uint32_t m_depth = 0;
  AsnVerdict m_verdict;
  // In place, never copied: a copy of what was just written in parts would stall.
  std::array<Open, AsnLimits::depthCeiling + 1> m_open;  // the message itself is at 0
};

std::uint32_t ReadLimit(const std::string& file, const char* key, std::uint32_t byDefault, std::uint32_t low,
                        std::uint32_t high) {
  int value = 0;
  if (VelaGetRegInt(file.c_str(), key, value) != 1) return byDefault;
  if (value < 0) return low;
  return std::clamp(static_cast<std::uint32_t>(value), low, high);
}

AsnLimits ReadLimits() {
  const std::string file = InstallRoot() + "etc/conf/vela.cfg";
  AsnLimits limits;
  limits.maxBytes = ReadLimit(file, "AsnMaxBytes", limits.maxBytes, 1024, 256u << 20);
  limits.maxDepth = ReadLimit(file, "AsnMaxDepth", limits.maxDepth, 4, AsnLimits::depthCeiling);
  limits.maxElements = ReadLimit(file, "AsnMaxElements", limits.maxElements, 100, 5000000);
  return limits;
}

}  // namespace

AsnVerdict CheckAsn(std::span<const unsigned char> bytes, const AsnLimits& limits) {
  if (bytes.empty()) return {"an empty message", 0};
  if (bytes.size() > limits.maxBytes) return {"the message is longer than allowed", limits.maxBytes};
  return Walk(bytes, limits).Run();
}

const AsnLimits& ConfiguredAsnLimits() {
  static const AsnLimits limits = ReadLimits();
  return limits;
}

}  // namespace vela
