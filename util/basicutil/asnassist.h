#pragma once
#include <ace/Refcounted_Auto_Ptr.h>
#include <ace/Thread_Mutex.h>

#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "platform/asncmd/asn_fwd.h"
#include "platform/asncmd/asn_req_data.h"
#include "util/basicutil/export.h"

class VelaGnlTask;

// Cuts a request that names many NEs in one list into several, one for each way of handling them. Each is the
// request with only some of the list's elements. The list is cut in its BER encoding, so the request's type
// need not be known.
//
// Functions and records here keep no state: safe in any thread, but an AsnType is used by one thread at a
// time, also while it is only split.
namespace NSTE_util {

// The library's name for a task that serves a request.
using TETask = VelaGnlTask;

// A way of handling; the values are the server's own.
enum CAsnSplitStrategyType : std::uint32_t {};

// The next m_nCount elements of the list. The sections of a request describe its list from the front; a count
// beyond the end takes what is there, and elements behind the last section are in no result.
struct TEAsnNESection {
  CAsnSplitStrategyType m_eType = {};
  std::uint32_t m_nCount = 0;
};

// Parts of a request, shared, by their way of handling.
using TEAsnReqDataPtr = ACE_Refcounted_Auto_Ptr<CAsnReqData, ACE_Thread_Mutex>;
using TEAsnSplitResult = std::map<CAsnSplitStrategyType, TEAsnReqDataPtr>;

// 0 when fieldAddress lies in the `requestSize` bytes at requestAddress; otherwise an assertion is reported
// and the result is 0xFFFFFFFF. For callers that take the field from elsewhere; a field behind a pointer of
// the request (an optional one) lies outside.
BASIC_UTIL_EXPORT unsigned long CheckValidAsnType(AsnType& request, const void* requestAddress,
                                                  unsigned int requestSize, const AsnType& field,
                                                  const void* fieldAddress);

// Splits `request` by the elements of `listField`, a SEQUENCE OF in it at any depth or the request itself,
// told by its identity: the addresses and the size are not looked at.
// - One section: its result wraps `request` itself, whole and not owned; nothing is encoded.
// - Otherwise each section's result holds an encoding in definite form, also that of a section without
//   elements. What `result` held under its type is replaced, so give each type in one section only.
// An element that ends behind the list's end (no encoder of ours makes one) is taken with its declared
// length, and zeros for what is missing (0x4101F008 when that is above 16 MiB).
// 0, or 0x4101F008 or 0x4101F00E as CAsnHelper::EncodeExcludeListField; `result` is then unchanged. Throws
// std::bad_alloc, and nothing else, when memory is exhausted while results are built; those of earlier
// sections are then in `result`.
BASIC_UTIL_EXPORT unsigned long MultiNEAsnTypeSplit(AsnType& request, const void* requestAddress,
                                                    unsigned int requestSize, const AsnType& listField,
                                                    const void* listFieldAddress,
                                                    std::vector<TEAsnNESection>& sections,
                                                    TEAsnSplitResult& result);

// Where a list stands in the encodings of a request type: the way from the request itself, its first step, to
// the list, its last. {{0x30}, {0xA1}, {0x30}} is the list in the field tagged [1] of a SEQUENCE.
struct TEAsnPathStep {
  std::uint32_t m_nTag = 0;   // identifier octets as one number: 0x30 a SEQUENCE, 0xBF28 the tag [40]
  std::uint32_t m_nSkip = 0;  // elements with the same tag that stand before it in what encloses it
};
// From the outside in.
using TEAsnListPath = std::vector<TEAsnPathStep>;

// The path to `listField` in requests like `sample`; make it once for a request type. Where fields of the
// same tag come before the list, or before a record on the way to it, requests must hold as many of them as
// the sample does: let no such field be optional, or give it a tag of its own. Never throws. 0, or as
// CAsnHelper::EncodeExcludeListField; `path` is then empty.
BASIC_UTIL_EXPORT unsigned long FindAsnListPath(const AsnType& sample, const AsnType& listField,
                                                TEAsnListPath& path);

// The same split of a request in the bytes that the bus brought and the checker accepted
// (platform/asncmd/asn_checker.h). Nothing is encoded or decoded: elements and all other fields keep their
// bytes. Only the list and what encloses it get new lengths, in the shortest definite form, whatever form
// they came in. One section: its result holds the bytes as they are. Bytes that were not checked do no harm.
// Never throws. 0; 0x4101F008 (`path` leads to no list in this request, or the request has 2 GiB or more);
// 0x4101F00A (malformed on the way to the list or in it); 0x4101F00E. After a failure, which is traced,
// `result` is unchanged.
BASIC_UTIL_EXPORT unsigned long MultiNEBytesSplit(std::span<const unsigned char> request,
                                                  const TEAsnListPath& path,
                                                  const std::vector<TEAsnNESection>& sections,
                                                  TEAsnSplitResult& result);

// Handles the part of a request that falls to one strategy.
using CAsnSplitOnFunc = void (*)(AsnType* request, AsnType* response, TETask* task);

// The handler of each strategy. Not locked: handlers are registered at start-up, before other threads look
// for them.
class BASIC_UTIL_EXPORT CAsnSplitStrategyMgr {
 public:
  // Null only at process end.
  static CAsnSplitStrategyMgr* Instance();
  static void Destroy();

  virtual ~CAsnSplitStrategyMgr();

  virtual void RegistOnFunction(CAsnSplitStrategyType type, CAsnSplitOnFunc handler) = 0;  // replaces
  virtual CAsnSplitOnFunc FindOnFunc(CAsnSplitStrategyType type) = 0;  // null: none registered
};

// Base of strategies that are classes.
class BASIC_UTIL_EXPORT CAsnSplitStrategyBase {
 public:
  CAsnSplitStrategyBase() = default;
  CAsnSplitStrategyBase(const CAsnSplitStrategyBase&) = default;
  CAsnSplitStrategyBase& operator=(const CAsnSplitStrategyBase&) = default;
  virtual ~CAsnSplitStrategyBase();
};

}  // namespace NSTE_util
