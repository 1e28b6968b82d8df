// Opening and closing.
#include "util/basicutil/cvelaappfile.h"

#include <array>
#include <exception>
#include <new>
#include <utility>

#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common.h"
#include "util/basicutil/cvelaappfile_internal.h"

namespace NSTE_util {
namespace {

constexpr const char* UNIT = "cvelaappfile";

struct ModeRow {
  int mode;
  const char* cMode;
  std::ios_base::openmode flags;
  bool writes;
  bool truncates;
};

constexpr auto IN = std::ios_base::in;
constexpr auto IN_OUT = std::ios_base::in | std::ios_base::out;
constexpr auto BINARY = std::ios_base::binary;
constexpr std::array<ModeRow, 6> MODES = {{
    {APPFILE_READ, "r", IN, false, false},
    {APPFILE_READ_BINARY, "r+b", IN | BINARY, false, false},
    {APPFILE_APPEND, "a+", IN_OUT | std::ios_base::app, true, false},
    {APPFILE_APPEND_BINARY, "a+b", IN_OUT | std::ios_base::app | BINARY, true, false},
    {APPFILE_TRUNCATE, "w+", IN_OUT | std::ios_base::trunc, true, true},
    {APPFILE_TRUNCATE_BINARY, "w+b", IN_OUT | std::ios_base::trunc | BINARY, true, true},
}};

const ModeRow* FindMode(int mode) {
  for (const ModeRow& row : MODES) {
    if (row.mode == mode) return &row;
  }
  return nullptr;
}

// A script of a remote installation, named by its full path, has its place below this root too.
std::string LocalName(const std::string& name) {
  const std::size_t script = name.find("/server/script");
  if (script == std::string::npos || name.find(':') == std::string::npos) return name;
  return name.substr(script + 8);
}

// Runs what may throw; its result, or the code of what it threw.
template <class Steps>
std::uint32_t Caught(Steps steps) {
  try {
    return steps();
  } catch (const std::bad_alloc&) {
    return VELA_ERR_MEMORY;
  } catch (...) {
    return VELA_ERR_GENERAL;
  }
}

}  // namespace

CVelaAppFile::CVelaAppFile() = default;

CVelaAppFile::CVelaAppFile(const std::string& name, int mode, unsigned int type, const CProcID& owner) {
  Open(name, mode, type, owner);
}

CVelaAppFile::~CVelaAppFile() {
  Close();
}

void CVelaAppFile::Init() {
  m_pFile = nullptr;
  m_nResult = 0;
  m_strFileName.clear();
  m_nMode = APPFILE_READ;
  m_nType = APPFILE_STREAM;
  m_stOwner = CProcID();
  m_bOwnerIsLocal = 1;
}

void CVelaAppFile::Open(const std::string& name, int mode, unsigned int type, const CProcID& owner) {
  if (!m_strFileName.empty()) {
    TETrace("CVelaAppFile::file has be open... \n");
    m_nResult = VELA_ERR_GENERAL;
    return;
  }
  const std::uint32_t result = Caught([&]() -> std::uint32_t {
    return name.empty() ? VELA_ERR_GENERAL : OpenSteps(name, mode, type, owner);
  });
  if (result != 0) Init();
  m_nResult = result;
}

std::uint32_t CVelaAppFile::OpenSteps(const std::string& name, int mode, unsigned int type,
                                      const CProcID& owner) {
  m_bOwnerIsLocal = IsOwnerLocal(owner) ? 1 : 0;
  m_strFileName = name;
  m_nMode = static_cast<std::uint32_t>(mode);
  m_nType = type;
  m_stOwner = owner;
  const std::string local = LocalName(name);
  const ModeRow* const row = FindMode(mode);
  const bool fetches = m_bOwnerIsLocal == 0 && (row == nullptr || !row->truncates);
  if (fetches) {
    if (const std::uint32_t code = GetRemoteFile(local, owner)) return code;
  }
  const std::uint32_t code = OpenLocalFile(local, mode, type);
  if (code != 0 && fetches) DeleteLocalFile(local);
  return code;
}

std::uint32_t CVelaAppFile::OpenLocalFile(const std::string& name, int mode, unsigned int type) {
  const std::string path = RootedName(name);
  const ModeRow* const row = FindMode(mode);
  if (row == nullptr) return VELA_ERR_GENERAL;
  if (row->writes ? !CreateParentFolder(path) : IsFolder(path)) return VELA_ERR_GENERAL;
  if (type == APPFILE_C) {
    m_pFile = VELA_OS::fopen(path.c_str(), row->cMode, "UTF-8");
    return m_pFile != nullptr ? 0 : VELA_ERR_GENERAL;
  }
  if (!Check(type == APPFILE_STREAM, UNIT, "APPFILE_STREAM == type")) return VELA_ERR_GENERAL;
  m_fsFile.clear();
  return VELA_OS::open(m_fsFile, path.c_str(), row->flags, "UTF-8") ? 0 : VELA_ERR_GENERAL;
}

// False when what was written could not be stored, now or before. The file is closed either way.
bool CVelaAppFile::CloseFiles(bool& wasOpen) {
  const bool isC = m_nType == APPFILE_C;
  wasOpen = isC ? m_pFile != nullptr : m_fsFile.is_open();
  if (!wasOpen) return true;
  const ModeRow* const row = FindMode(static_cast<int>(m_nMode));
  const bool failed = isC ? std::ferror(m_pFile) != 0 : m_fsFile.bad();
  const bool closed = isC ? VELA_OS::fclose(std::exchange(m_pFile, nullptr)) == 0 : CloseStream();
  return closed && !(failed && row != nullptr && row->writes);
}

bool CVelaAppFile::CloseStream() {
  m_fsFile.clear();
  m_fsFile.close();
  return !m_fsFile.fail();
}

int CVelaAppFile::GiveBack() const {
  const ModeRow* const row = FindMode(static_cast<int>(m_nMode));
  if (row == nullptr) return 0;
  if (!row->writes) return DeleteLocalFile(m_strFileName);
  return static_cast<int>(SendRemoteFile(m_strFileName, m_stOwner));
}

int CVelaAppFile::Close() {
  if (m_strFileName.empty()) return 0;
  const std::uint32_t result = Caught([this]() -> std::uint32_t {
    bool wasOpen = false;
    if (!CloseFiles(wasOpen)) return VELA_ERR_GENERAL;
    const int given = wasOpen && m_bOwnerIsLocal == 0 ? GiveBack() : 0;
    Init();
    return static_cast<std::uint32_t>(given);
  });
  return static_cast<int>(result);
}

int CVelaAppFile::RegUsingCVelaAppFile(unsigned char taskMgrId, bool skip) {
  if (skip) return 0;
  Check(taskMgrId != 0, UNIT, "0 != TaskMgrID");
  for (std::uint32_t cmdCode = CMD_GET_REMOTE_FILE; cmdCode <= CMD_GET_PROC_IP; ++cmdCode) {
    SetTaskMgrForCmd(cmdCode, taskMgrId);
  }
  return 0;
}

}  // namespace NSTE_util
