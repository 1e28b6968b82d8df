#include <cstring>
#include <new>

#include "platform/asncmd/asn_elements.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/asnassist_cut_internal.h"

namespace NSTE_util {

using vela::AsnHeader;
using vela::ReadAsnHeader;
using vela::SkipAsnElement;

namespace {

AsnContent ContentOf(AsnBytes element, const AsnHeader& header) {
  const AsnBytes rest = element.subspan(header.octets);
  return {header.indefinite ? rest : rest.first(header.length), header.indefinite};
}

AsnBytes Between(AsnBytes from, AsnBytes rest) {
  return from.first(from.size() - rest.size());
}

// How many bytes the element that `rest` starts with lacks; 0 when that is not what is wrong with it.
std::size_t Missing(AsnBytes rest) {
  AsnHeader header;
  if (!ReadAsnHeader(rest, header) || header.IsWhole(rest)) return 0;
  return header.length - (rest.size() - header.octets);
}

// Moves `rest` behind the elements, `limit` at most, that have the tag of the one before them, of one octet,
// and one octet of length; how many. A list is made of such elements.
std::uint32_t SkipAlike(AsnBytes before, AsnBytes& rest, std::uint32_t limit) {
  const unsigned char tag = before[0];
  if ((tag & AsnHeader::numberMask) == AsnHeader::numberMask) return 0;
  const unsigned char* at = rest.data();
  std::size_t size = rest.size();
  std::uint32_t count = 0;
  for (; count < limit && size >= 2 && at[0] == tag && at[1] < 0x80; ++count) {
    const std::size_t element = std::size_t{2} + at[1];
    if (element > size) break;
    at += element;
    size -= element;
  }
  rest = {at, size};
  return count;
}

struct FreeBuffer {
  void operator()(unsigned char* buffer) const { CAsnHelper::ReleaseAsnBuf(buffer); }
};
using Buffer = std::unique_ptr<unsigned char, FreeBuffer>;

Buffer Allocate(std::size_t size) {
  Buffer buffer(CAsnHelper::AllocateAsnBuf(size));
  if (!buffer) throw std::bad_alloc();
  return buffer;
}

std::unique_ptr<CAsnReqData> Wrap(Buffer buffer, std::size_t size) {
  auto data = std::make_unique<CAsnReqData>(buffer.get(), size, 1);
  static_cast<void>(buffer.release());
  return data;
}

class Writer {
 public:
  explicit Writer(unsigned char* out) : m_out(out) {}

  void Append(AsnBytes bytes) {
    if (bytes.empty()) return;
    std::memcpy(m_out, bytes.data(), bytes.size());
    m_out += bytes.size();
  }
  void AppendZeros(std::size_t count) {
    std::memset(m_out, 0, count);
    m_out += count;
  }

 private:
  unsigned char* m_out;
};

}  // namespace

std::uint32_t ReadGroups(const std::vector<TEAsnNESection>& sections, AsnOverrun overrun, AsnContent& list,
                         std::vector<AsnGroup>& groups) {
  groups.reserve(sections.size());
  for (const TEAsnNESection& section : sections) {
    const AsnBytes start = list.rest;
    std::size_t missing = 0;
    for (std::uint32_t left = section.m_nCount; left != 0 && !list.AtEnd(); --left) {
      const AsnBytes element = list.rest;
      if (SkipAsnElement(list.rest)) {
        left -= SkipAlike(element, list.rest, left - 1);
        continue;
      }
      if (overrun == AsnOverrun::taken) missing = Missing(element);
      if (missing == 0 || missing > CAsnHelper::maxEncoding) return VELA_ERR_DECODE;
      list = {};
    }
    groups.push_back({section.m_eType, Between(start, list.rest), missing});
  }
  return 0;
}

std::uint32_t OpenList(AsnBytes encoding, AsnContent& list) {
  AsnHeader header;
  if (!ReadAsnHeader(encoding, header) || !header.IsWhole(encoding)) return VELA_ERR_DECODE;
  list = ContentOf(encoding, header);
  return 0;
}

std::uint32_t FindPath(AsnBytes encoding, std::size_t lengthOffset, TEAsnListPath& path) {
  const auto offset = [encoding](AsnBytes rest) {
    return static_cast<std::size_t>(rest.data() - encoding.data());
  };
  AsnBytes content = encoding;
  while (true) {
    // The element that holds the offset, then how many like it stand before it.
    AsnBytes element = content;
    for (AsnBytes next = content;; element = next) {
      if (!SkipAsnElement(next)) return VELA_ERR_DECODE;
      if (offset(next) > lengthOffset) break;
    }
    AsnHeader header;
    if (!ReadAsnHeader(element, header) || header.indefinite) return VELA_ERR_DECODE;
    TEAsnPathStep step{header.tag};
    for (AsnBytes before = content; before.data() != element.data(); SkipAsnElement(before)) {
      AsnHeader other;
      if (ReadAsnHeader(before, other) && other.tag == header.tag) ++step.m_nSkip;
    }
    path.push_back(step);
    const std::size_t lengthAt = offset(element) + header.tagOctets;
    if (lengthAt == lengthOffset) return 0;
    if (lengthAt > lengthOffset) return VELA_ERR_DECODE;
    content = ContentOf(element, header).rest;
  }
}

std::uint32_t AsnListCut::Open(AsnBytes request, const TEAsnListPath& path) {
  if (path.empty()) return VELA_ERR_GENERAL;
  m_levels.reserve(path.size() + 1);
  m_levels.push_back({{}, {}, {}, {request, false}});
  for (const TEAsnPathStep& step : path) {
    if (const std::uint32_t code = Descend(step)) return code;
  }
  return 0;
}

std::uint32_t AsnListCut::Descend(const TEAsnPathStep& step) {
  Level& outer = m_levels.back();
  AsnBytes& rest = outer.content.rest;
  const AsnBytes start = rest;
  AsnHeader header;
  for (std::uint32_t left = step.m_nSkip;;) {
    if (outer.content.AtEnd()) return VELA_ERR_GENERAL;
    if (!ReadAsnHeader(rest, header)) return VELA_ERR_DECODE;
    if (header.tag == step.m_nTag && left-- == 0) break;
    if (!SkipAsnElement(rest)) return VELA_ERR_DECODE;
  }
  if (!(rest[0] & AsnHeader::constructedBit)) return VELA_ERR_GENERAL;
  if (!header.IsWhole(rest)) return VELA_ERR_DECODE;
  outer.before = Between(start, rest);
  m_levels.push_back({rest.first(header.tagOctets), {}, {}, ContentOf(rest, header)});
  return 0;
}

std::uint32_t AsnListCut::Close() {
  for (std::size_t i = m_levels.size() - 1; i != 0; --i) {
    Level& level = m_levels[i];
    AsnBytes& rest = level.content.rest;
    level.behind = rest;
    if (level.content.indefinite) {
      while (!level.content.AtEnd()) {
        if (!SkipAsnElement(rest)) return VELA_ERR_DECODE;
      }
      level.behind = Between(level.behind, rest);
      rest = rest.subspan(2);
    } else {
      rest = rest.subspan(rest.size());
    }
    AsnBytes& outer = m_levels[i - 1].content.rest;
    outer = outer.subspan(static_cast<std::size_t>(rest.data() - outer.data()));
  }
  m_levels.back().behind = {};
  return m_levels.front().content.AtEnd() ? 0 : VELA_ERR_DECODE;
}

// Sets the lengths of all levels; the size of the whole.
std::size_t AsnListCut::FitLengths(std::size_t elements) {
  std::size_t size = elements;
  for (std::size_t i = m_levels.size() - 1; i != 0; --i) {
    Level& level = m_levels[i];
    const std::size_t length = level.before.size() + size + level.behind.size();
    level.lengthOctets = CAsnHelper::EncodeAsnLen(static_cast<std::uint32_t>(length), level.length);
    size = level.tag.size() + level.lengthOctets + length;
  }
  return size;
}

std::unique_ptr<CAsnReqData> AsnListCut::Build(const AsnGroup& group) {
  const std::size_t size = FitLengths(group.elements.size() + group.missing);
  Buffer buffer = Allocate(size);
  Writer out(buffer.get());
  for (std::size_t i = 1; i < m_levels.size(); ++i) {
    out.Append(m_levels[i].tag);
    out.Append({m_levels[i].length, m_levels[i].lengthOctets});
    out.Append(m_levels[i].before);
  }
  out.Append(group.elements);
  out.AppendZeros(group.missing);
  for (std::size_t i = m_levels.size() - 1; i != 0; --i) out.Append(m_levels[i].behind);
  return Wrap(std::move(buffer), size);
}

std::unique_ptr<CAsnReqData> CopyRequest(AsnBytes request) {
  Buffer buffer = Allocate(request.size());
  Writer(buffer.get()).Append(request);
  return Wrap(std::move(buffer), request.size());
}

}  // namespace NSTE_util
