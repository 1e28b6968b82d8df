#include "platform/task/vela_task.h"

#include "platform/asncmd/asn_helper.h"
#include "platform/task/task_internal.h"
#include "platform/task/task_mgr_impl.h"
#include "platform/task/task_state.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"

namespace {

thread_local VelaTask* t_current = nullptr;

VelaMsgPtr MakeCommand(const VelaTask& task, CProcID dst, std::uint8_t module, std::uint32_t cmdCode,
                       const unsigned char* payload, std::size_t size) {
  VelaMsgPtr frame(VelaAllocMsg(VELA_MSG_HEADER + size));
  if (!frame) return nullptr;
  frame->srcDesk = VelaGetDeskId();
  frame->srcHandle = VelaGetProcHandle();
  frame->srcProcId = VelaGetProcId();
  frame->srcTaskId = task.GetTaskId();
  frame->dstHandle = dst.Handle();
  frame->dstProcId = dst.Number();
  frame->cmdCode = cmdCode;
  frame->kind = VELA_KIND_COMMAND;
  frame->length = static_cast<std::uint32_t>(size) + 2;
  frame->attribute = task.GetAttribute();
  frame->module = module;
  VelaMsgSetSn(frame.get(), vela::NextMsgSn());
  std::copy_n(payload, size, frame->data);
  return frame;
}

std::uint32_t SendFrame(VelaMsgPtr frame, std::uint8_t module) {
  VelaAppMgr* app = VelaAppMgr::Instance();
  if (app == nullptr) return VELA_ERR_GENERAL;
  return app->VelaOutSendMsg(frame.release(), module) == 1 ? 0 : app->LastSendError();
}

}  // namespace

VelaTask::VelaTask(const char* name, std::uint8_t attribute)
    : m_impl(std::make_unique<Impl>(name == nullptr ? "" : name, attribute)) {}

const std::string& VelaTask::GetName() const {
  return m_impl->name;
}

std::uint16_t VelaTask::GetTaskId() const {
  return m_impl->id;
}

std::uint8_t VelaTask::GetAttribute() const {
  return m_impl->attribute;
}

int VelaTask::GetTaskState() const {
  return m_impl->state.load(std::memory_order_acquire);
}

void VelaTask::VelaSetTaskState(int state) {
  std::shared_ptr<vela::HostedTask> host;
  if (state == VELA_TASK_END) {
    vela::MutexLock lock(vela::tasksLock);
    host = m_impl->host.lock();
  }
  m_impl->state.store(state, std::memory_order_release);
  if (host) host->owner.Wake(host);  // this task may be deleted from here on
}

std::uint32_t VelaTask::VelaCmdSendAnsFrameCB(VelaCmdMSG* frame) {
  if (frame == nullptr) return VELA_ERR_GENERAL;
  if (frame->srcTaskId == 0) frame->srcTaskId = GetTaskId();
  return SendFrame(VelaMsgPtr(frame), 0);
}

void VelaTask::VelaTaskCreate() {}

void VelaTask::VelaTaskTimeInterval(std::uint32_t) {}

VelaGnlTask::VelaGnlTask(const char* name, std::uint8_t attribute) : VelaTask(name, attribute) {}

VelaGnlTask::~VelaGnlTask() = default;

const TECmdMsg* VelaGnlTask::GetCurReqMsg() const {
  return m_request.get();
}

void VelaGnlTask::SetCurReqMsg(std::unique_ptr<TECmdMsg> request) {
  m_request = std::move(request);
}

std::uint32_t VelaGnlTask::AsnSendNBC(CProcID dst, std::uint8_t module, std::uint32_t cmdCode,
                                      const AsnType& msg, int format) {
  if (format != VELA_MSG_FORMAT) return VELA_ERR_GENERAL;
  unsigned char* payload = nullptr;
  std::size_t size = 0;
  if (const std::uint32_t code = CAsnHelper::Encode(msg, payload, size); code != 0) return code;
  VelaMsgPtr frame = MakeCommand(*this, dst, module, cmdCode, payload, size);
  CAsnHelper::ReleaseAsnBuf(payload);
  return frame ? SendFrame(std::move(frame), module) : VELA_ERR_MEMORY;
}

std::uint32_t VelaGnlTask::AsnSendBC(std::uint16_t group, std::uint8_t module, std::uint32_t cmdCode,
                                     const AsnType& msg, int format) {
  return AsnSendNBC(CProcID(group, 0), module, cmdCode, msg, format);
}

VelaTask* VelaGetCurrentTask() {
  return t_current;
}

VelaCurrentTaskScope::VelaCurrentTaskScope(VelaTask* task) : m_previous(t_current) {
  t_current = task;
}

VelaCurrentTaskScope::~VelaCurrentTaskScope() {
  t_current = m_previous;
}
