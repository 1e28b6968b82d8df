#pragma once
#include "platform/message/vela_cmd_msg.h"

class VelaAppMgrImpl;
struct TETaskHandlerStru;

namespace vela {

// Serves requests in one worker thread.
class RequestRunner {
 public:
  explicit RequestRunner(VelaAppMgrImpl& app);

  // Makes the task, decodes the request and calls its handler. A request (not a command) has been answered
  // exactly once when it returns, by the handler or with an error code.
  void Run(VelaMsgPtr frame, const TETaskHandlerStru& handler);

 private:
  void AnswerError(const VelaCmdMSG& request, std::uint32_t code);

  VelaAppMgrImpl& m_app;
  VelaMsgPtr m_reply;  // made beforehand, for when memory is exhausted
};

// Turns a request's header into its error answer.
void MakeErrorAnswer(VelaCmdMSG& frame, std::uint32_t code);

}  // namespace vela
