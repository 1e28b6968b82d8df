#include "platform/task/request_runner.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/log/log_process.h"
#include "platform/os/os_types.h"
#include "platform/task/app_mgr_impl.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"

namespace vela {
namespace {

// Allocates nothing: it also reports exhausted memory.
void Trace(const VelaCmdMSG& request, const char* what, const char* why) noexcept {
  char text[512];
  std::snprintf(text, sizeof text, "Request 0x%X from %u/%u: %s%s%s", static_cast<unsigned>(request.cmdCode),
                static_cast<unsigned>(request.srcProcId), static_cast<unsigned>(request.srcHandle), what,
                *why == '\0' ? "" : ": ", why);
  try {
    LogProcess::Error(text);
  } catch (...) {  // nothing is left to tell it to
  }
}

std::uint32_t Decode(const TECmdMsg& message, AsnType& request) {
  std::string reason;
  const std::uint32_t code = CAsnHelper::Decode(message.Payload(), request, reason);
  if (code != 0) Trace(message.Header(), "the payload was refused", reason.c_str());
  return code;
}

std::uint32_t Call(VelaGnlTask& task, const TETaskHandlerStru& handler, const AsnType* request) {
  const VelaCmdMSG& header = task.GetCurReqMsg()->Header();
  try {
    return Cut32(handler.handle(&task, request));
  } catch (const std::exception& error) {
    Trace(header, "an exception left the handler", error.what());
  } catch (...) {
    Trace(header, "an exception left the handler", "of unknown type");
  }
  return VELA_ERR_GENERAL;
}

std::uint32_t DecodeAndCall(VelaGnlTask& task, const TETaskHandlerStru& handler) {
  if (handler.newRequest == nullptr) return Call(task, handler, nullptr);
  const std::unique_ptr<AsnType> request(handler.newRequest());
  if (!request) return VELA_ERR_MEMORY;
  const std::uint32_t code = Decode(*task.GetCurReqMsg(), *request);
  return code != 0 ? code : Call(task, handler, request.get());
}

struct Outcome {
  std::uint32_t code = VELA_ERR_MEMORY;
  bool answered = false;
};

Outcome Serve(VelaMsgPtr frame, const TETaskHandlerStru& handler) {
  Outcome outcome;
  VelaGnlTask task(handler.name);
  task.SetCurReqMsg(std::make_unique<TECmdMsg>(std::move(frame)));
  const VelaCurrentTaskScope current(&task);
  BeginServing(task, task.GetCurReqMsg()->Header());
  try {
    outcome.code = DecodeAndCall(task, handler);
  } catch (const std::bad_alloc&) {
    outcome.code = VELA_ERR_MEMORY;
  } catch (...) {
    Trace(task.GetCurReqMsg()->Header(), "the request object cannot be made", "");
    outcome.code = VELA_ERR_GENERAL;
  }
  outcome.answered = EndServing(task);
  return outcome;
}

}  // namespace

void MakeErrorAnswer(VelaCmdMSG& frame, std::uint32_t code) {
  const VelaOwnAddress own = VelaGetOwnAddress();
  frame.dstDesk = frame.srcDesk;
  frame.dstHandle = frame.srcHandle;
  frame.dstProcId = frame.srcProcId;
  frame.dstTaskId = frame.srcTaskId;
  frame.srcDesk = own.desk;
  frame.srcHandle = own.process.Handle();
  frame.srcProcId = own.process.Number();
  frame.srcTaskId = 0;
  frame.kind = VELA_KIND_RESPONSE;
  frame.status = code;
  frame.length = 2;
}

RequestRunner::RequestRunner(VelaAppMgrImpl& app) : m_app(app) {}

void RequestRunner::Run(VelaMsgPtr frame, const TETaskHandlerStru& handler) {
  if (!m_reply) m_reply.reset(VelaAllocMsg(VELA_MSG_HEADER));
  if (!m_reply) {
    m_app.Refuse(std::move(frame), VELA_ERR_MEMORY);
    return;
  }
  VelaCmdMSG header{};
  std::memcpy(&header, frame.get(), VELA_MSG_HEADER);
  Outcome outcome;
  try {
    outcome = Serve(std::move(frame), handler);
  } catch (const std::exception& error) {
    Trace(header, "the task could not be made", error.what());
  }
  if (header.kind != VELA_KIND_REQUEST || outcome.answered) return;
  if (outcome.code == 0) Trace(header, "the handler ended without an answer", "");
  AnswerError(header, outcome.code == 0 ? VELA_ERR_GENERAL : outcome.code);
}

void RequestRunner::AnswerError(const VelaCmdMSG& request, std::uint32_t code) {
  std::memcpy(m_reply.get(), &request, VELA_MSG_HEADER);
  MakeErrorAnswer(*m_reply, code);
  m_app.Send(std::move(m_reply), 0);
}

}  // namespace vela
