#include "util/basicutil/client_records.h"

#include <tuple>

#include "platform/message/te_cmd_msg.h"

namespace {

auto Fields(const TEClientStru& c) {
  return std::tie(c.m_nClientKey, c.m_wClientTag, c.m_wProcHandle, c.m_wProcNo, c.m_wSubID, c.m_byCmdOption);
}

auto MissionAndAddress(const NSTE_util::ClientMissionID& key) {
  return std::tie(key.m_nMissionNo, key.m_nClientNo, key.m_wProcID, key.m_wProcHandle, key.m_wDeskNo);
}

}  // namespace

TEClientStru::TEClientStru(std::uint32_t clientKey, std::uint16_t clientTag, std::uint16_t procHandle,
                           std::uint16_t procNo, std::uint16_t subId, std::uint8_t cmdOption)
    : m_nClientKey(clientKey),
      m_wClientTag(clientTag),
      m_wProcHandle(procHandle),
      m_wSubID(subId),
      m_wProcNo(procNo),
      m_byCmdOption(cmdOption) {}

bool TEClientStru::operator==(const TEClientStru& other) const {
  return Fields(*this) == Fields(other);
}

bool TEClientStru::operator<(const TEClientStru& other) const {
  return Fields(*this) < Fields(other);
}

namespace NSTE_util {

bool ClientMissionID::operator==(const ClientMissionID& other) const {
  if (MissionAndAddress(*this) != MissionAndAddress(other)) return false;
  return m_wReplyAttr == 0 || other.m_wReplyAttr == 0 || m_wReplyAttr == other.m_wReplyAttr;
}

bool ClientMissionID::operator<(const ClientMissionID& other) const {
  const auto mine = MissionAndAddress(*this);
  const auto others = MissionAndAddress(other);
  if (mine != others) return mine < others;
  return m_wReplyAttr != 0 && other.m_wReplyAttr != 0 && m_wReplyAttr < other.m_wReplyAttr;
}

bool ClientMissionIDExactLess::operator()(const ClientMissionID& left, const ClientMissionID& right) const {
  return std::tuple_cat(MissionAndAddress(left), std::tie(left.m_wReplyAttr)) <
         std::tuple_cat(MissionAndAddress(right), std::tie(right.m_wReplyAttr));
}

ClientMissionID MakeMissionKey(const TECmdMsg* request, std::int32_t missionNo, std::uint16_t replyAttr) {
  ClientMissionID key;
  key.m_nMissionNo = missionNo;
  key.m_wReplyAttr = replyAttr;
  if (request == nullptr) return key;
  const VelaCmdMSG& header = request->Header();
  key.m_nClientNo = header.clientNo;
  key.m_wProcID = header.srcProcId;
  key.m_wProcHandle = header.srcHandle;
  key.m_wDeskNo = header.srcDesk;
  return key;
}

}  // namespace NSTE_util
