#include "util/basicutil/asnassist.h"

#include <cstdint>
#include <limits>
#include <new>

#include "platform/asncmd/asn_helper.h"
#include "platform/os/singleton.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/asnassist_cut_internal.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common.h"

namespace NSTE_util {
namespace {

// Reports of this check are told by this line.
constexpr int checkLine = 316;
constexpr unsigned long outside = 0xFFFFFFFF;

// An encoding made by the helper.
struct Encoding {
  Encoding() = default;
  ~Encoding() { CAsnHelper::ReleaseAsnBuf(buffer); }
  Encoding(const Encoding&) = delete;
  Encoding& operator=(const Encoding&) = delete;

  AsnBytes Bytes() const { return {buffer, size}; }

  unsigned char* buffer = nullptr;
  std::size_t size = 0;
};

std::uint32_t EncodeEmptied(const AsnType& request, const AsnType& listField, Encoding& emptied,
                            std::size_t& lengthOffset) {
  std::size_t lengthOctets = 0;
  return CAsnHelper::EncodeExcludeListField(request, listField, emptied.buffer, emptied.size, lengthOffset,
                                            lengthOctets);
}

// What an encoder of ours has written can be cut, unless the encoder is wrong.
std::uint32_t AsEncoderFault(std::uint32_t code) {
  return code == 0 ? 0 : VELA_ERR_GENERAL;
}

std::uint32_t CutEmptied(const Encoding& emptied, std::size_t lengthOffset, AsnListCut& cut) {
  TEAsnListPath path;
  if (const std::uint32_t code = FindPath(emptied.Bytes(), lengthOffset, path)) return code;
  if (const std::uint32_t code = cut.Open(emptied.Bytes(), path)) return code;
  return cut.Close();
}

std::uint32_t ReadEncodedList(const Encoding& list, const std::vector<TEAsnNESection>& sections,
                              std::vector<AsnGroup>& groups) {
  AsnContent content;
  if (const std::uint32_t code = OpenList(list.Bytes(), content)) return code;
  return ReadGroups(sections, AsnOverrun::taken, content, groups);
}

void Store(CAsnSplitStrategyType type, std::unique_ptr<CAsnReqData> data, TEAsnSplitResult& result) {
  const auto [entry, isNew] = result.try_emplace(type, data.get());
  if (!isNew) entry->second = TEAsnReqDataPtr(data.get());
  static_cast<void>(data.release());
}

void StoreAll(AsnListCut& cut, const std::vector<AsnGroup>& groups, TEAsnSplitResult& result) {
  for (const AsnGroup& group : groups) Store(group.type, cut.Build(group), result);
}

std::uint32_t SplitBytes(AsnBytes request, const TEAsnListPath& path,
                         const std::vector<TEAsnNESection>& sections, TEAsnSplitResult& result) {
  if (request.size() > std::numeric_limits<std::int32_t>::max()) return VELA_ERR_GENERAL;
  if (sections.size() == 1) {
    Store(sections.front().m_eType, CopyRequest(request), result);
    return 0;
  }
  AsnListCut cut;
  std::vector<AsnGroup> groups;
  if (const std::uint32_t code = cut.Open(request, path)) return code;
  if (const std::uint32_t code = ReadGroups(sections, AsnOverrun::refused, cut.List(), groups)) return code;
  if (const std::uint32_t code = cut.Close()) return code;
  StoreAll(cut, groups, result);
  return 0;
}

class CAsnSplitStrategyMgrImpl final : public CAsnSplitStrategyMgr {
 public:
  void RegistOnFunction(CAsnSplitStrategyType type, CAsnSplitOnFunc handler) override {
    m_handlers[type] = handler;
  }
  CAsnSplitOnFunc FindOnFunc(CAsnSplitStrategyType type) override {
    const auto found = m_handlers.find(type);
    return found == m_handlers.end() ? nullptr : found->second;
  }

 private:
  std::map<CAsnSplitStrategyType, CAsnSplitOnFunc> m_handlers;
};

constinit vela::SingletonSlot<CAsnSplitStrategyMgr> g_slot;

}  // namespace

unsigned long CheckValidAsnType(AsnType& /*request*/, const void* requestAddress, unsigned int requestSize,
                                const AsnType& /*field*/, const void* fieldAddress) {
  const auto request = reinterpret_cast<std::uintptr_t>(requestAddress);
  const auto field = reinterpret_cast<std::uintptr_t>(fieldAddress);
  if (field >= request && field - request < requestSize) return 0;
  ReportAssert("asnassist", checkLine, "false");
  return outside;
}

unsigned long MultiNEAsnTypeSplit(AsnType& request, const void* /*requestAddress*/,
                                  unsigned int /*requestSize*/, const AsnType& listField,
                                  const void* /*listFieldAddress*/, std::vector<TEAsnNESection>& sections,
                                  TEAsnSplitResult& result) {
  if (sections.size() == 1) {
    Store(sections.front().m_eType, std::make_unique<CAsnReqData>(request, 1, false), result);
    return 0;
  }
  Encoding list;
  if (const std::uint32_t code = CAsnHelper::Encode(listField, list.buffer, list.size)) return code;
  Encoding emptied;
  std::size_t lengthOffset = 0;
  if (const std::uint32_t code = EncodeEmptied(request, listField, emptied, lengthOffset)) return code;
  AsnListCut cut;
  if (const std::uint32_t code = AsEncoderFault(CutEmptied(emptied, lengthOffset, cut))) return code;
  std::vector<AsnGroup> groups;
  if (const std::uint32_t code = AsEncoderFault(ReadEncodedList(list, sections, groups))) return code;
  StoreAll(cut, groups, result);
  return 0;
}

unsigned long FindAsnListPath(const AsnType& sample, const AsnType& listField, TEAsnListPath& path) {
  path.clear();
  Encoding emptied;
  std::size_t lengthOffset = 0;
  if (const std::uint32_t code = EncodeEmptied(sample, listField, emptied, lengthOffset)) return code;
  try {
    TEAsnListPath found;
    if (FindPath(emptied.Bytes(), lengthOffset, found) != 0) return VELA_ERR_GENERAL;
    path.swap(found);
    return 0;
  } catch (const std::bad_alloc&) {
    return VELA_ERR_MEMORY;
  }
}

unsigned long MultiNEBytesSplit(std::span<const unsigned char> request, const TEAsnListPath& path,
                                const std::vector<TEAsnNESection>& sections, TEAsnSplitResult& result) {
  std::uint32_t code = VELA_ERR_MEMORY;
  try {
    TEAsnSplitResult made;
    code = SplitBytes(request, path, sections, made);
    if (code == 0) {
      made.merge(result);
      result.swap(made);
    }
  } catch (const std::bad_alloc&) {
    code = VELA_ERR_MEMORY;
  }
  if (code != 0) {
    GetDefaultDebugInterface().PrintF(
        1, "NSTE_util::MultiNEBytesSplit : a request of %zu bytes fails with 0x%X\n", request.size(), code);
  }
  return code;
}

CAsnSplitStrategyMgr* CAsnSplitStrategyMgr::Instance() {
  return g_slot.Instance<CAsnSplitStrategyMgrImpl>();
}

void CAsnSplitStrategyMgr::Destroy() {
  g_slot.Destroy();
}

CAsnSplitStrategyMgr::~CAsnSplitStrategyMgr() = default;
CAsnSplitStrategyBase::~CAsnSplitStrategyBase() = default;

}  // namespace NSTE_util
