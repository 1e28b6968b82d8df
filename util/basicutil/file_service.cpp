#include "util/basicutil/file_service.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <utility>

#include "asn1/filetransfer.h"
#include "platform/asncmd/asn_checker.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/os/beneath.h"
#include "platform/os/host_info.h"
#include "platform/os/mutex.h"
#include "platform/os/os_faults.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common.h"
#include "util/basicutil/cvelaappfile.h"
#include "util/basicutil/file_service_internal.h"
#include "util/basicutil/msg_if.h"

namespace NSTE_util {
namespace {

constexpr const char* UNIT = "file_service";
constexpr std::size_t ANSWER_FRAME = 64;         // of an answer, around its content
constexpr std::uint64_t STREAM_MEMORY = 384000;  // of zlib and its blocks, for one transfer
constexpr std::size_t MOST_NAMES = 100000;
constexpr std::size_t NAME_FRAME = 4;  // of a name in an answer

using Settings = std::shared_ptr<const FileServiceSettings>;

constinit vela::Mutex g_settingsMutex;
constinit Settings g_settings VELA_GUARDED_BY(g_settingsMutex);

Settings CurrentSettings() {
  const vela::MutexLock lock(g_settingsMutex);
  return g_settings;
}

std::uint32_t CodeOf(int error) {
  switch (error) {
    case 0:
      return 0;
    case EPERM:
    case EACCES:
    case ELOOP:
    case ENOTDIR:
    case ENAMETOOLONG:
      return FILE_SERVICE_REFUSED;
    case ENOENT:
      return FILE_SERVICE_NO_FILE;
    case ENOMEM:
      return VELA_ERR_MEMORY;
    default:
      return VELA_ERR_GENERAL;
  }
}

void LogRefusal(const VelaGnlTask& task, const char* verb, const std::string& name, std::uint32_t code) {
  if (code == 0) return;
  const VelaCmdMSG& header = task.GetCurReqMsg()->Header();
  const std::string asker = VelaAddressText(CProcID(header.srcProcId, header.srcHandle));
  GetDefaultDebugInterface().PrintF(1, "File service: 0x%X to process %s that wants to %s \"%s\"\n", code,
                                    asker.c_str(), verb, vela::EscapeControls(name.substr(0, 256)).c_str());
}

// Logs a refusal, puts the code into the response and sends it.
template <class Rsp>
unsigned long Finish(VelaGnlTask* task, const char* verb, const std::string& name, std::uint32_t code,
                     Rsp& rsp) {
  LogRefusal(*task, verb, name, code);
  if (code == 0) {
    rsp.result.choiceId = AsnRemoteFileResult::successCid;
    rsp.result.success = new AsnNull;
  } else {
    rsp.result.choiceId = AsnRemoteFileResult::errorCodeCid;
    rsp.result.errorCode = new AsnInt(static_cast<std::int32_t>(code));
  }
  return CfgSendRsp(task, rsp);
}

// The longest content that fits into an answer.
std::uint64_t LongestContent() {
  return std::min<std::uint64_t>(CAsnHelper::maxEncoding, vela::ConfiguredAsnLimits().maxBytes) -
         ANSWER_FRAME;
}

std::uint32_t ReadContent(const FileServiceSettings& settings, std::FILE* file, AsnOcts& content) {
  struct ::stat facts {};
  if (VELA_OS::fstat(file, &facts) != 0) return CodeOf(errno);
  const auto size = static_cast<std::uint64_t>(facts.st_size);
  if (size > settings.maxBytes) return VELA_ERR_TOO_LARGE;
  const std::uint64_t room = std::min<std::uint64_t>(size + size / 1000 + 64, LongestContent());
  // Held three times: here, in the response and in its frame.
  const TransferMemory memory(3 * room + STREAM_MEMORY, settings.maxMemory);
  if (!memory.Granted()) return VELA_ERR_OVERLOAD;
  std::unique_ptr<char[]> out;
  if (!vela::AllocationFails()) out.reset(new (std::nothrow) char[room]);
  if (!out) return VELA_ERR_MEMORY;
  std::size_t used = 0;
  const std::uint32_t code = DeflateFile(file, size, out.get(), room, used);
  if (code == 0) content.Set(out.get(), used);
  return code;
}

unsigned long HandleGet(VelaGnlTask* task, const AsnType* request) {
  const std::string& name = static_cast<const AsnGetRemoteFileReq*>(request)->fileName.data();
  const Settings settings = CurrentSettings();
  AsnGetRemoteFileRsp rsp;
  std::uint32_t code = FILE_SERVICE_REFUSED;
  if (settings->read.Allows(name)) {
    const CFile file(vela::BeneathFolder(settings->folder).Open(name));
    code = file ? ReadContent(*settings, file.get(), rsp.content) : CodeOf(errno);
  }
  return Finish(task, "read", name, code, rsp);
}

std::uint32_t WriteContent(const FileServiceSettings& settings, const std::string& name,
                           const std::string& content) {
  if (!settings.write.Allows(name)) return FILE_SERVICE_REFUSED;
  // Held twice, in the frame and in the request; what it inflates to passes through a block.
  const TransferMemory memory(2 * content.size() + STREAM_MEMORY, settings.maxMemory);
  if (!memory.Granted()) return VELA_ERR_OVERLOAD;
  vela::BeneathReplacement replacement(vela::BeneathFolder(settings.folder), name);
  if (replacement.File() != nullptr) {
    if (const std::uint32_t code = InflateToFile(content, settings.maxBytes, replacement.File())) return code;
  }
  const std::uint32_t code = CodeOf(replacement.Commit());
  return code == VELA_ERR_GENERAL ? FILE_SERVICE_NOT_WRITTEN : code;
}

unsigned long HandleSend(VelaGnlTask* task, const AsnType* request) {
  const auto& req = *static_cast<const AsnSendRemoteFileReq*>(request);
  const std::uint32_t code = WriteContent(*CurrentSettings(), req.fileName.data(), req.content.data());
  AsnSendRemoteFileRsp rsp;
  return Finish(task, "write", req.fileName.data(), code, rsp);
}

unsigned long HandleDelete(VelaGnlTask* task, const AsnType* request) {
  const std::string& name = static_cast<const AsnDeleteRemoteFileReq*>(request)->fileName.data();
  const Settings settings = CurrentSettings();
  const std::uint32_t code = settings->remove.Allows(name)
                                 ? CodeOf(vela::BeneathFolder(settings->folder).Remove(name))
                                 : FILE_SERVICE_REFUSED;
  AsnDeleteRemoteFileRsp rsp;
  return Finish(task, "delete", name, code, rsp);
}

std::uint32_t ListNames(const FileServiceSettings& settings, const AsnGetRemoteFileNamesReq& req,
                        AsnFileNameList& list) {
  const NamePattern pattern(req.pattern.data());
  if (!pattern.IsValid()) return VELA_ERR_GENERAL;
  if (!settings.read.Allows(req.folder.data())) return FILE_SERVICE_REFUSED;
  std::vector<std::string> names;
  std::uint64_t room = LongestContent();
  const auto take = [&](const std::string& name) {
    if (!pattern.Fits(name)) return true;
    const bool fits = names.size() < MOST_NAMES && name.size() + NAME_FRAME <= room;
    room = fits ? room - name.size() - NAME_FRAME : 0;
    if (fits) names.push_back(name);
    return fits;
  };
  const int error = vela::BeneathFolder(settings.folder).List(req.folder.data(), take);
  if (error != 0) return CodeOf(error);
  if (room == 0) return VELA_ERR_TOO_LARGE;
  for (const std::string& name : names) list.append()->Set(name.data(), name.size());
  return 0;
}

unsigned long HandleNames(VelaGnlTask* task, const AsnType* request) {
  const auto& req = *static_cast<const AsnGetRemoteFileNamesReq*>(request);
  AsnGetRemoteFileNamesRsp rsp;
  const std::uint32_t code = ListNames(*CurrentSettings(), req, rsp.names);
  return Finish(task, "list", req.folder.data(), code, rsp);
}

unsigned long HandleAddress(VelaGnlTask* task, const AsnType* /*request*/) {
  std::string address = CurrentSettings()->address;
  if (address.empty()) {
    const std::vector<std::string> own = CHostInfo::GetIPAddresses();
    if (!own.empty()) address = own.front();
  }
  AsnGetProcIPRsp rsp;
  rsp.result = address.empty() ? 1 : 0;
  rsp.address.Set(address.data(), address.size());
  return CfgSendRsp(task, rsp);
}

template <class Message>
AsnType* New() {
  return new Message;
}

constexpr std::array<TETaskHandlerStru, 5> HANDLERS = {{
    {CMD_GET_REMOTE_FILE, 1, "GetRemoteFile", &New<AsnGetRemoteFileReq>, &New<AsnGetRemoteFileRsp>,
     &HandleGet},
    {CMD_SEND_REMOTE_FILE, 1, "SendRemoteFile", &New<AsnSendRemoteFileReq>, &New<AsnSendRemoteFileRsp>,
     &HandleSend},
    {CMD_DELETE_REMOTE_FILE, 1, "DeleteRemoteFile", &New<AsnDeleteRemoteFileReq>,
     &New<AsnDeleteRemoteFileRsp>, &HandleDelete},
    {CMD_GET_REMOTE_FILE_NAMES, 1, "GetRemoteFileNames", &New<AsnGetRemoteFileNamesReq>,
     &New<AsnGetRemoteFileNamesRsp>, &HandleNames},
    {CMD_GET_PROC_IP, 1, "GetProcIP", &New<AsnNull>, &New<AsnGetProcIPRsp>, &HandleAddress},
}};

}  // namespace

int RegFileService(unsigned char taskMgrId) {
  if (!Check(taskMgrId != 0, UNIT, "0 != TaskMgrID")) return -1;
  try {
    auto settings = std::make_shared<const FileServiceSettings>(ReadFileServiceSettings());
    vela::BeneathFolder(settings->folder).RemoveLeftovers();
    const vela::MutexLock lock(g_settingsMutex);
    g_settings = std::move(settings);
  } catch (const std::bad_alloc&) {
    return -1;
  }
  for (const TETaskHandlerStru& handler : HANDLERS) {
    if (!TETaskCreator::Instance()->RegisterTask(&handler)) return -1;
    SetTaskMgrForCmd(static_cast<std::uint32_t>(handler.cmdCode), taskMgrId);
  }
  return 0;
}

}  // namespace NSTE_util
