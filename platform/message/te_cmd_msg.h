#pragma once
#include <span>
#include <utility>

#include "platform/message/vela_cmd_msg.h"

// A request as its task sees it: owns the frame that brought it. Read-only while the task handles it.
class VELA_EXPORT TECmdMsg {
 public:
  explicit TECmdMsg(VelaMsgPtr frame) : m_frame(std::move(frame)) {}

  const VelaCmdMSG& Header() const { return *m_frame; }
  std::span<const unsigned char> Payload() const { return {m_frame->data, VelaPayloadLength(*m_frame)}; }

 private:
  VelaMsgPtr m_frame;
};
