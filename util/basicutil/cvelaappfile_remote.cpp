// The commands to the process that owns a file.
#include <algorithm>
#include <exception>
#include <limits>
#include <new>

#include "asn1/filetransfer.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/os/host_info.h"
#include "platform/os/os_faults.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/compress.h"
#include "util/basicutil/cvelaappfile.h"
#include "util/basicutil/cvelaappfile_internal.h"

namespace NSTE_util {
namespace {

constexpr int FILE_TIME_OUT = 240;
constexpr int ADDRESS_TIME_OUT = 60;
constexpr off_t LONGEST_FILE = std::numeric_limits<std::int32_t>::max();

std::uint32_t Exec(std::uint32_t cmdCode, const AsnType& req, AsnType& rsp, const CProcID& owner,
                   int timeOut) {
  return CAsnPhyCmd(cmdCode, req, owner, timeOut, 0, 0)
      .Exec(dynamic_cast<VelaGnlTask*>(VelaGetCurrentTask()), rsp);
}

std::uint32_t CodeOf(const AsnRemoteFileResult& result) {
  if (result.choiceId == AsnRemoteFileResult::successCid) return 0;
  const auto code = static_cast<std::uint32_t>(static_cast<AsnIntType>(*result.errorCode));
  return code != 0 ? code : VELA_ERR_GENERAL;
}

template <class Rsp>
std::uint32_t ExecFileCommand(std::uint32_t cmdCode, const AsnType& req, Rsp& rsp, const CProcID& owner) {
  const std::uint32_t code = Exec(cmdCode, req, rsp, owner, FILE_TIME_OUT);
  return code != 0 ? code : CodeOf(rsp.result);
}

void SetText(AsnOcts& to, const std::string& text) {
  to.Set(text.data(), text.size());
}

// What MemBufProcesser tells, in the words of a transfer.
std::uint32_t TransferCode(unsigned long code) {
  return code == COMPRESS_ZLIB_ERROR ? VELA_ERR_GENERAL : static_cast<std::uint32_t>(code);
}

std::uint32_t InflateInto(CFile file, const std::string& content) {
  MemUncompresser inflated(content.data(), content.size());
  if (const std::uint32_t code = TransferCode(inflated.Process())) return code;
  const std::size_t size = inflated.GetProcessedDataLen();
  if (VELA_OS::fwrite(inflated.GetProcessedDataPtr(), 1, size, file.get()) != size) return VELA_ERR_GENERAL;
  return VELA_OS::fclose(file.release()) == 0 ? 0 : VELA_ERR_GENERAL;
}

std::uint32_t StoreCopy(const std::string& path, const std::string& content) {
  if (!CreateParentFolder(path)) return VELA_ERR_GENERAL;
  CFile file(VELA_OS::fopen(path.c_str(), "wb", "UTF-8"));
  if (!file) return VELA_ERR_GENERAL;
  const std::uint32_t code = InflateInto(std::move(file), content);
  if (code != 0) VELA_OS::unlink(path.c_str(), "UTF-8");
  return code;
}

std::uint32_t ReadWhole(const std::string& path, std::unique_ptr<char[]>& data, std::size_t& size) {
  struct ::stat facts {};
  if (VELA_OS::stat(path.c_str(), &facts, "UTF-8") != 0) return VELA_ERR_GENERAL;
  if (facts.st_size > LONGEST_FILE) return VELA_ERR_TOO_LARGE;
  const CFile file(VELA_OS::fopen(path.c_str(), "rb", "UTF-8"));
  if (!file) return VELA_ERR_GENERAL;
  size = static_cast<std::size_t>(facts.st_size);
  if (!vela::AllocationFails()) data.reset(new (std::nothrow) char[size]);
  if (!data) return VELA_ERR_MEMORY;
  return VELA_OS::fread(data.get(), 1, size, file.get()) == size ? 0 : VELA_ERR_GENERAL;
}

std::uint32_t FillContent(const std::string& path, AsnOcts& content) {
  std::unique_ptr<char[]> data;
  std::size_t size = 0;
  if (const std::uint32_t code = ReadWhole(path, data, size)) return code;
  MemCompresser deflated(data.get(), size);
  if (const std::uint32_t code = TransferCode(deflated.Process())) return code;
  content.Set(deflated.GetProcessedDataPtr(), deflated.GetProcessedDataLen());
  return 0;
}

bool IsOwnAddress(const CProcID& owner) {
  return owner.Number() == VelaGetProcId() &&
         (owner.Handle() == VelaGetProcHandle() || owner.IsAnyInstance());
}

std::uint32_t RemoteFiles(const std::string& folder, std::vector<std::string>& names, const CProcID& owner,
                          const std::string& pattern) {
  AsnGetRemoteFileNamesReq req;
  SetText(req.folder, folder);
  SetText(req.pattern, pattern);
  AsnGetRemoteFileNamesRsp rsp;
  if (const std::uint32_t code = ExecFileCommand(CMD_GET_REMOTE_FILE_NAMES, req, rsp, owner)) return code;
  for (const AsnOcts& name : rsp.names) names.push_back(name.data());
  return 0;
}

}  // namespace

bool IsOwnerLocal(const CProcID& owner) {
  if (IsOwnAddress(owner)) return true;
  const AsnNull nothing{};
  AsnGetProcIPRsp rsp;
  if (Exec(CMD_GET_PROC_IP, nothing, rsp, owner, ADDRESS_TIME_OUT) != 0) return false;
  if (static_cast<AsnIntType>(rsp.result) != 0) return false;
  const std::vector<std::string> own = CHostInfo::GetIPAddresses();
  return std::find(own.begin(), own.end(), rsp.address.data()) != own.end();
}

std::uint32_t CVelaAppFile::GetRemoteFile(const std::string& name, const CProcID& owner) {
  AsnGetRemoteFileReq req;
  SetText(req.fileName, name);
  AsnGetRemoteFileRsp rsp;
  if (const std::uint32_t code = ExecFileCommand(CMD_GET_REMOTE_FILE, req, rsp, owner)) return code;
  return StoreCopy(RootedName(name), rsp.content.data());
}

std::uint32_t CVelaAppFile::SendRemoteFile(const std::string& name, const CProcID& owner) {
  AsnSendRemoteFileReq req;
  SetText(req.fileName, name);
  if (const std::uint32_t code = FillContent(name, req.content)) return code;
  AsnSendRemoteFileRsp rsp;
  return ExecFileCommand(CMD_SEND_REMOTE_FILE, req, rsp, owner);
}

std::uint32_t CVelaAppFile::DeleteRemoteFile(const std::string& name, const CProcID& owner) {
  AsnDeleteRemoteFileReq req;
  SetText(req.fileName, name);
  AsnDeleteRemoteFileRsp rsp;
  return ExecFileCommand(CMD_DELETE_REMOTE_FILE, req, rsp, owner);
}

int CVelaAppFile::GetFiles(const std::string& folder, std::vector<std::string>& names, const CProcID& owner,
                           const std::string& pattern) {
  try {
    if (IsOwnerLocal(owner)) return GetLocalFiles(folder, names, pattern);
    return static_cast<int>(RemoteFiles(folder, names, owner, pattern));
  } catch (const std::bad_alloc&) {
    return static_cast<int>(VELA_ERR_MEMORY);
  } catch (...) {
    return static_cast<int>(VELA_ERR_GENERAL);
  }
}

int CVelaAppFile::DeleteFileA(const std::string& name, const CProcID& owner) {
  try {
    if (IsOwnerLocal(owner)) return DeleteLocalFile(name);
    return static_cast<int>(DeleteRemoteFile(name, owner));
  } catch (const std::bad_alloc&) {
    return static_cast<int>(VELA_ERR_MEMORY);
  } catch (...) {
    return static_cast<int>(VELA_ERR_GENERAL);
  }
}

}  // namespace NSTE_util
