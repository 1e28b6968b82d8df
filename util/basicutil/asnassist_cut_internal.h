#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/asncmd/asn_elements.h"
#include "platform/asncmd/asn_req_data.h"
#include "util/basicutil/asnassist.h"

// BER encodings taken apart around one list. Values are not looked at, and nothing outside the bytes is read.
// Results are 0 or a code of platform/task/vela_error.h. Running out of memory throws std::bad_alloc.
namespace NSTE_util {

using AsnBytes = std::span<const unsigned char>;

// What has not been read yet of a constructed element's content.
struct AsnContent {
  AsnBytes rest;  // of an indefinite length: to the end of what encloses the element
  bool indefinite = false;

  bool AtEnd() const { return indefinite ? vela::AtEndOfContents(rest) : rest.empty(); }
};

// One section's elements, which stand next to each other.
struct AsnGroup {
  CAsnSplitStrategyType type;
  AsnBytes elements;
  std::size_t missing;  // bytes that the last element declares, but that are not there
};

enum class AsnOverrun { refused, taken };

// Moves `list` over the elements of all sections, one group for each.
std::uint32_t ReadGroups(const std::vector<TEAsnNESection>& sections, AsnOverrun overrun, AsnContent& list,
                         std::vector<AsnGroup>& groups);

// The content of an encoding that is one list.
std::uint32_t OpenList(AsnBytes encoding, AsnContent& list);

// The path to the list whose length octets are at `lengthOffset` of an encoding in definite form.
std::uint32_t FindPath(AsnBytes encoding, std::size_t lengthOffset, TEAsnListPath& path);

// A request taken apart: Open, read the list's elements, Close, then Build any number of times.
class AsnListCut {
 public:
  std::uint32_t Open(AsnBytes request, const TEAsnListPath& path);
  AsnContent& List() { return m_levels.back().content; }
  // Finds what lies behind the list; elements that were not read are left out.
  std::uint32_t Close();
  // The request with the group's elements.
  std::unique_ptr<CAsnReqData> Build(const AsnGroup& group);

 private:
  // An element that encloses the list, or the list. The first stands for the message itself, without a tag.
  struct Level {
    AsnBytes tag;
    AsnBytes before;  // what it holds before the next level
    AsnBytes behind;
    AsnContent content;
    unsigned char length[5] = {};  // its octets, in the part that is being built
    std::size_t lengthOctets = 0;
  };

  std::uint32_t Descend(const TEAsnPathStep& step);
  std::size_t FitLengths(std::size_t elements);

  std::vector<Level> m_levels;
};

// A copy of the bytes.
std::unique_ptr<CAsnReqData> CopyRequest(AsnBytes request);

}  // namespace NSTE_util
