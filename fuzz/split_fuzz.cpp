// Requests cut around one of their lists. The split of the bytes is held against a reader of its own that
// takes the whole message apart; the split of a decoded request against encodings of the runtime.
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "asn1/audit.h"
#include "asn1/error.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "util/basicutil/asnassist.h"

namespace {

using namespace NSTE_util;
using Bytes = std::span<const unsigned char>;

void Require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", property);
  std::abort();
}

// A message as a tree: slow, and sure of nothing but that the checker has accepted the bytes.
struct Node {
  std::string tag;
  std::string all;  // tag, length, content, and end-of-contents
  std::vector<Node> children;

  bool Constructed() const { return (static_cast<unsigned char>(tag[0]) & 0x20) != 0; }
};

Node Parse(std::string_view& in) {
  const std::string_view start = in;
  const auto octet = [&in] {
    const auto value = static_cast<unsigned char>(in.front());
    in.remove_prefix(1);
    return value;
  };
  Node node;
  if ((octet() & 0x1F) == 0x1F) {
    while (octet() & 0x80) {
    }
  }
  node.tag = start.substr(0, start.size() - in.size());
  std::size_t length = octet();
  if (length == 0x80) {
    while (in[0] != 0) node.children.push_back(Parse(in));
    in.remove_prefix(2);
  } else {
    if (length > 0x80) {
      std::size_t octets = length & 0x7F;
      for (length = 0; octets != 0; --octets) length = length << 8 | octet();
    }
    std::string_view content = in.substr(0, length);
    in.remove_prefix(length);
    while (node.Constructed() && !content.empty()) node.children.push_back(Parse(content));
  }
  node.all = start.substr(0, start.size() - in.size());
  return node;
}

Node Parsed(Bytes bytes) {
  std::string_view in(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  Node node = Parse(in);
  Require(in.empty(), "bytes behind a request");
  return node;
}

std::uint32_t Tag(const Node& node) {
  std::uint32_t tag = 0;
  for (const char octet : node.tag) tag = tag << 8 | static_cast<unsigned char>(octet);
  return tag;
}

bool DefiniteAndShort(const Node& node, std::size_t contentSize) {
  unsigned char octets[5];
  const std::size_t count = CAsnHelper::EncodeAsnLen(static_cast<std::uint32_t>(contentSize), octets);
  const std::string header = node.tag + std::string(octets, octets + count);
  return node.all.size() == header.size() + contentSize && node.all.starts_with(header);
}

// Chooses a list of the message; where `choice` leads to something else, there is no path.
bool ChoosePath(const Node& message, unsigned choice, TEAsnListPath& path,
                std::vector<std::size_t>& indexes) {
  const Node* node = &message;
  path = {{Tag(message), 0}};
  while (node->Constructed()) {
    const std::size_t at = choice % (node->children.size() + 1);
    choice /= static_cast<unsigned>(node->children.size() + 1);
    if (at == node->children.size()) return true;
    TEAsnPathStep step{Tag(node->children[at]), 0};
    for (std::size_t i = 0; i < at; ++i) step.m_nSkip += Tag(node->children[i]) == step.m_nTag;
    path.push_back(step);
    indexes.push_back(at);
    node = &node->children[at];
  }
  return false;
}

// `part` is `whole` but for its list, whose elements are those of `whole` from `first` on, `count` at most.
void RequirePart(const Node& whole, const Node& part, std::span<const std::size_t> way, std::size_t first,
                 std::size_t count) {
  Require(part.tag == whole.tag, "another tag");
  std::size_t size = 0;
  for (const Node& child : part.children) size += child.all.size();
  Require(DefiniteAndShort(part, size), "a length that is not the shortest");
  if (way.empty()) {
    const std::size_t expected = std::min(count, whole.children.size() - first);
    Require(part.children.size() == expected, "too many or too few elements");
    for (std::size_t i = 0; i < expected; ++i) {
      Require(part.children[i].all == whole.children[first + i].all, "a changed element");
    }
    return;
  }
  Require(part.children.size() == whole.children.size(), "too many or too few fields");
  for (std::size_t i = 0; i < part.children.size(); ++i) {
    if (i == way[0]) {
      RequirePart(whole.children[i], part.children[i], way.subspan(1), first, count);
    } else {
      Require(part.children[i].all == whole.children[i].all, "a changed field");
    }
  }
}

const Node& Follow(const Node& message, const std::vector<std::size_t>& indexes) {
  const Node* node = &message;
  for (const std::size_t index : indexes) node = &node->children[index];
  return *node;
}

std::vector<TEAsnNESection> Sections(const unsigned char counts[3]) {
  std::vector<TEAsnNESection> sections;
  for (std::uint32_t i = 0; i < 3; ++i) sections.push_back({CAsnSplitStrategyType(i), counts[i]});
  sections.push_back({CAsnSplitStrategyType(3), 0xFFFFFFFF});
  return sections;
}

void TryBytes(Bytes bytes, unsigned choice, const std::vector<TEAsnNESection>& sections) {
  const Node message = Parsed(bytes);
  TEAsnListPath path;
  std::vector<std::size_t> indexes;
  const bool found = ChoosePath(message, choice, path, indexes);
  TEAsnSplitResult result;
  Require((MultiNEBytesSplit(bytes, path, sections, result) == 0) == found, "a path is not followed");
  if (!found) return;
  const std::size_t elements = Follow(message, indexes).children.size();
  std::size_t first = 0;
  for (const TEAsnNESection& section : sections) {
    const CAsnReqData& part = *result[section.m_eType];
    RequirePart(message, Parsed({part.Buffer(), part.Size()}), indexes, first, section.m_nCount);
    first = std::min<std::size_t>(elements, first + std::size_t{section.m_nCount});
  }
}

std::string Encoded(const AsnType& msg) {
  unsigned char* buffer = nullptr;
  std::size_t size = 0;
  Require(CAsnHelper::Encode(msg, buffer, size) == 0, "what was decoded cannot be encoded");
  std::string bytes(reinterpret_cast<char*>(buffer), size);
  CAsnHelper::ReleaseAsnBuf(buffer);
  return bytes;
}

template <class Request, class List>
void TryObject(Bytes bytes, std::vector<TEAsnNESection> sections, List& (*listOf)(Request&)) {
  Request request;
  if (CAsnHelper::Decode(bytes, request) != 0) return;
  List& list = listOf(request);
  TEAsnSplitResult result;
  Require(MultiNEAsnTypeSplit(request, &request, sizeof(request), list, &list, sections, result) == 0,
          "a request cannot be split");
  List rest;
  rest.swap(list);
  for (const TEAsnNESection& section : sections) {
    const std::size_t count = std::min<std::size_t>(section.m_nCount, rest.size());
    list.clear();
    list.splice(list.begin(), rest, rest.begin(), std::next(rest.begin(), static_cast<long>(count)));
    const CAsnReqData& part = *result[section.m_eType];
    const Bytes ofPart(part.Buffer(), part.Size());
    Require(std::string(ofPart.begin(), ofPart.end()) == Encoded(request), "not as the runtime encodes it");
    Request again;
    Require(CAsnHelper::Decode(ofPart, again) == 0, "a part cannot be decoded");
  }
}

}  // namespace

// Three counts, the choice of the list in four bytes, then the request.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  constexpr std::size_t head = 7;
  if (size < head) return 0;
  const auto sections = Sections(data);
  const unsigned choice = static_cast<unsigned>(data[3]) << 24 | data[4] << 16 | data[5] << 8 | data[6];
  const std::vector<unsigned char> request(data + head, data + size);
  TEAsnSplitResult ignored;
  const TEAsnListPath anywhere = {{0x30, 0}, {data[3], data[4]}};
  MultiNEBytesSplit(request, anywhere, sections, ignored);
  if (!vela::CheckAsn(request, {}).ok()) return 0;
  TryBytes(request, choice, sections);
  TryObject<AsnErrInfoList, AsnErrInfoList>(request, sections,
                                            [](auto& list) -> AsnErrInfoList& { return list; });
  TryObject<AsnAuditReq, AsnNERecordList>(request, sections,
                                          [](auto& audit) -> AsnNERecordList& { return audit.records; });
  return 0;
}
