#include <algorithm>
#include <cstdio>

#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/os/os_types.h"
#include "platform/os/vela_os.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task_mgr.h"
#include "util/basicutil/common_commands.h"
#include "util/basicutil/common_commands_internal.h"
#include "util/basicutil/filepath.h"

// The commands about the process and the task commands that it serves.
namespace NSTE_util {
namespace {

using AsnFactory = AsnType* (*)();

std::string Hex(std::uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%x", number);
  return text;
}

class TEDebugCommand_ListCmd : public NamedCommand {
 public:
  TEDebugCommand_ListCmd()
      : NamedCommand("listcmd",
                     "Syntex: listcmd\nThis command list all registered commands int VelaTaskCreator.\n") {}

  std::string Execute(const CommandWords&) override {
    std::string list = "Query Support Command:\n";
    for (const TETaskHandlerStru* handler : TETaskCreator::Instance()->All())
      list += Hex(vela::Cut32(handler->cmdCode)) + '\t' + handler->name + '\n';
    return list;
  }
};

class TEDebugCommand_Shutdown : public NamedCommand {
 public:
  TEDebugCommand_Shutdown() : NamedCommand("shutdown", "Syntex: shutdown\nShutdown ems.\n") {}

  std::string Execute(const CommandWords&) override {
    VelaSetExitFlag();
    return "OK";
  }
};

// The empty request of a command: its payload, or why there is none.
class EmptyRequest {
 public:
  explicit EmptyRequest(const TETaskHandlerStru& handler) : m_cmdCode(vela::Cut32(handler.cmdCode)) {
    if (handler.newRequest == nullptr) return;  // it takes no bytes
    const std::unique_ptr<AsnType> request(handler.newRequest());
    m_isMade = request != nullptr;
    if (m_isMade) m_isEncoded = Encode(*request);
  }

  bool IsMade() const { return m_isMade; }
  bool IsEncoded() const { return m_isEncoded; }

  // A frame to this process itself; null without memory.
  VelaMsgPtr Frame() const {
    VelaMsgPtr frame(VelaAllocMsg(VELA_MSG_HEADER + m_payload.size()));
    if (!frame) return frame;
    frame->srcProcId = frame->dstProcId = VelaGetProcId();
    frame->srcHandle = frame->dstHandle = VelaGetProcHandle();
    frame->srcDesk = frame->dstDesk = VelaGetDeskId();
    frame->cmdCode = m_cmdCode;
    frame->kind = VELA_KIND_COMMAND;
    frame->length = static_cast<std::uint32_t>(m_payload.size() + 2);
    std::copy(m_payload.begin(), m_payload.end(), frame->data);
    return frame;
  }

 private:
  bool Encode(const AsnType& request) {
    unsigned char* bytes = nullptr;
    std::size_t size = 0;
    if (CAsnHelper::Encode(request, bytes, size) != 0) return false;
    const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owned(bytes, CAsnHelper::ReleaseAsnBuf);
    m_payload.assign(bytes, bytes + size);
    return true;
  }

  const std::uint32_t m_cmdCode;
  bool m_isMade = true;
  bool m_isEncoded = true;
  std::vector<unsigned char> m_payload;
};

// "Send OK", or why the task manager did not take the request.
std::string Send(const EmptyRequest& request, std::uint8_t taskMgrId, const char* noMemory) {
  VelaMsgPtr frame = request.Frame();
  if (!frame) return FailedReply(noMemory);
  VelaAppMgr& app = *VelaAppMgr::Instance();
  if (app.VelaOutSendMsg(frame.release(), taskMgrId) == 1) return "Send OK";
  return FailedReply("Send failed: " + Hex(app.LastSendError()));
}

VelaTaskMgr* FindTaskMgr(std::uint32_t id) {
  return id > UINT8_MAX ? nullptr : VelaAppMgr::Instance()->FindTaskMgrByID(static_cast<std::uint8_t>(id));
}

class TEDebugCommand_Test : public NamedCommand {
 public:
  TEDebugCommand_Test()
      : NamedCommand("testmsg",
                     "Syntex: testmsg taskmgrid cmdcode\n"
                     "Send cmdcode to a taskmgr to run a test, with an empty request\n") {}

  std::string Execute(const CommandWords& args) override {
    if (args.size() != 3) return FailedReply(GetHelp());
    const std::optional<std::uint32_t> id = CommandNumber(args[1]);
    const std::optional<std::uint32_t> cmdCode = CommandNumber(args[2]);
    if (!id || !cmdCode) return FailedReply(GetHelp());
    const TETaskHandlerStru* const handler = TETaskCreator::Instance()->Find(*cmdCode);
    if (handler == nullptr) return FailedReply("Don't support this command!");
    const VelaTaskMgr* const taskMgr = FindTaskMgr(*id);
    if (taskMgr == nullptr) return FailedReply("Task is NULL!");
    const EmptyRequest request(*handler);
    if (!request.IsMade()) return FailedReply("Request message is NULL!");
    if (!request.IsEncoded()) return FailedReply("Encode error!");
    return Send(request, taskMgr->GetId(), "new Message error!");
  }
};

class TEDebugCommand_SystemMonitorCmd : public NamedCommand {
 public:
  TEDebugCommand_SystemMonitorCmd()
      : NamedCommand("sysmonitor",
                     "Syntex: sysmonitor cmdcode\n"
                     "Send cmdcode to all taskmgr to get system information, with an empty request\n") {}

  std::string Execute(const CommandWords& args) override {
    const std::optional<std::uint32_t> cmdCode = args.size() == 2 ? CommandNumber(args[1]) : std::nullopt;
    const TETaskHandlerStru* const handler = cmdCode ? TETaskCreator::Instance()->Find(*cmdCode) : nullptr;
    if (handler == nullptr) return FailedReply("Param error!");
    const EmptyRequest request(*handler);
    if (!request.IsMade() || !request.IsEncoded()) return FailedReply("Encode error!");
    return SendToAll(request);
  }

 private:
  // The first failure does not keep the others from being asked.
  static std::string SendToAll(const EmptyRequest& request) {
    const std::string good = "Send OK";
    std::string reply = good;
    for (const VelaTaskMgr* taskMgr : VelaAppMgr::Instance()->TaskMgrs()) {
      const std::string result = Send(request, taskMgr->GetId(), "New VelaCmdMSG Error!");
      if (reply == good) reply = result;
    }
    return reply;
  }
};

class TEDebugCommand_GetRegesterCmd : public NamedCommand {
 public:
  TEDebugCommand_GetRegesterCmd()
      : NamedCommand("GetRegCmd", "Syntex: GetRegCmd\nget all task cmd.\nGetRegCmd [cmd.txt].\n") {}

  std::string Execute(const CommandWords& args) override {
    const std::string name = args.size() > 1 ? args[1] : DefaultName();
    const std::string path = GetVELARootPath() + "var/logs/" + name;
    if (!IsFileName(name) || !Write(path, Table())) return FailedReply("open file fail:" + path);
    return "dump ok: " + path;
  }

 private:
  static std::string DefaultName() {
    std::string process;
    return GetProcessName(process) == 0 ? process + ".txt" : "NULL.txt";
  }

  static bool IsFileName(const std::string& name) { return name.find_first_of("/\\") == std::string::npos; }

  static std::string Table() {
    std::string table = "taskMgrID\tcmdCode(dec)\tcmdCode(hex)\tReqAsn\tRspAsn\tResult\n";
    for (const TETaskHandlerStru* handler : TETaskCreator::Instance()->All()) AppendRow(table, *handler);
    return table;
  }

  static void AppendRow(std::string& table, const TETaskHandlerStru& handler) {
    char numbers[64];
    const std::uint32_t cmdCode = vela::Cut32(handler.cmdCode);
    std::snprintf(numbers, sizeof(numbers), "%d\t%d\t0x%x", handler.taskMgrId, static_cast<int>(cmdCode),
                  cmdCode);
    table += numbers;
    const bool request = AppendType(table, handler.newRequest);
    const bool response = AppendType(table, handler.newResponse);
    table += request && response ? "\tGood\n" : "\tErr\n";
  }

  // False when there should be an object, but is none.
  static bool AppendType(std::string& table, AsnFactory factory) {
    const std::unique_ptr<AsnType> object(factory == nullptr ? nullptr : factory());
    table += '\t';
    table += object ? object->typeName() : "NULL";
    return object || factory == nullptr;
  }

  static bool Write(const std::string& path, const std::string& text) {
    std::FILE* const file = VELA_OS::fopen(path.c_str(), "w", "UTF-8");
    if (file == nullptr) return false;
    const bool written = VELA_OS::fwrite(text.data(), 1, text.size(), file) == text.size();
    return VELA_OS::fclose(file) == 0 && written;
  }
};

}  // namespace

TEDebugCommand& ListCmdCommand() {
  static TEDebugCommand& command = *new TEDebugCommand_ListCmd;
  return command;
}

std::unique_ptr<TEDebugCommand> MakeShutdown() {
  return std::make_unique<TEDebugCommand_Shutdown>();
}

std::unique_ptr<TEDebugCommand> MakeTestMsg() {
  return std::make_unique<TEDebugCommand_Test>();
}

std::unique_ptr<TEDebugCommand> MakeGetRegCmd() {
  return std::make_unique<TEDebugCommand_GetRegesterCmd>();
}

std::unique_ptr<TEDebugCommand> MakeSysMonitor() {
  return std::make_unique<TEDebugCommand_SystemMonitorCmd>();
}

}  // namespace NSTE_util
