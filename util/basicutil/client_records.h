#pragma once
#include <cstdint>

#include "util/basicutil/export.h"

class TECmdMsg;

// A client and the address of the process that serves it. A plain value with a total order: the fields in the
// order of the constructor, each unsigned.
class BASIC_UTIL_EXPORT TEClientStru {
 public:
  TEClientStru() = default;
  TEClientStru(std::uint32_t clientKey, std::uint16_t clientTag, std::uint16_t procHandle,
               std::uint16_t procNo, std::uint16_t subId, std::uint8_t cmdOption);

  bool operator==(const TEClientStru& other) const;
  bool operator!=(const TEClientStru& other) const { return !(*this == other); }
  bool operator<(const TEClientStru& other) const;

  std::uint32_t m_nClientKey = 0;  // tells clients apart for the caller; not sent
  std::uint16_t m_wClientTag = 0;  // as the key
  std::uint16_t m_wProcHandle = 0;
  std::uint16_t m_wSubID = 0;  // sub-identifier of commands, when the sender asks for it
  std::uint16_t m_wProcNo = 0;
  std::uint8_t m_byCmdOption = 0;  // destination module of commands
};

namespace NSTE_util {

// The key of a client's mission; says also where its progress reports go. A plain value.
//
// A reply attribute of 0 equals every reply attribute. So == is not transitive and < is no strict weak order
// as soon as keys with and without a reply attribute meet: containers take ClientMissionIDExactLess and look
// up the wildcard themselves.
struct BASIC_UTIL_EXPORT ClientMissionID {
  bool operator==(const ClientMissionID& other) const;
  bool operator<(const ClientMissionID& other) const;

  std::int32_t m_nMissionNo = 0;
  std::uint32_t m_nClientNo = 0;
  std::uint16_t m_wProcID = 0;      // of the client
  std::uint16_t m_wProcHandle = 0;  // of the client
  std::uint16_t m_wDeskNo = 0;      // of the client
  std::uint16_t m_wReplyAttr = 0;   // 0: any
};

// A total order over all six fields, the reply attribute last: keys that differ in nothing else are
// neighbours, the wildcard in front.
struct BASIC_UTIL_EXPORT ClientMissionIDExactLess {
  bool operator()(const ClientMissionID& left, const ClientMissionID& right) const;
};

// The key of a mission of the client that sent `request`; null leaves the client fields 0.
BASIC_UTIL_EXPORT ClientMissionID MakeMissionKey(const TECmdMsg* request, std::int32_t missionNo,
                                                 std::uint16_t replyAttr = 0);

}  // namespace NSTE_util
