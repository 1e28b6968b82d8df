#include "util/basicutil/filepath.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "platform/os/vela_os.h"
#include "platform/text/vela_msg.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common.h"
#include "util/basicutil/env_settings.h"

namespace NSTE_util {
namespace {

constexpr std::size_t kLongestProgramName = 259;
const char* const kSeparators = "/\\";

bool IsSeparator(char c) {
  return c == '/' || c == '\\';
}

void StripBlanks(std::string& path) {
  path.erase(path.find_last_not_of(' ') + 1);
  path.erase(0, path.find_first_not_of(' '));
}

// "a/b/../c" to "a/c", from the front on; false when there is nothing left to climb out of.
bool ResolveParents(std::string& path) {
  for (std::size_t at = path.find("/.."); at != std::string::npos; at = path.find("/..")) {
    const std::size_t parent = at == 0 ? std::string::npos : path.rfind('/', at - 1);
    if (parent == std::string::npos) return false;
    path.erase(parent, at + 3 - parent);
  }
  return true;
}

void DropDots(std::string& path) {
  for (std::size_t at = path.find("/./"); at != std::string::npos; at = path.find("/./", at))
    path.erase(at, 2);
}

// The executable's full name, asked once; empty when unknown.
const std::string& ProgramName() {
  static const std::string& cached = *new std::string([] {
    std::string name;
    return VelaGetExecutableName(name) && name.size() <= kLongestProgramName ? name : std::string();
  }());
  return cached;
}

// The folder part of a file name with its final separator.
int FolderOf(const std::string& file, std::string& folder) {
  const std::size_t separator = file.find_last_of(kSeparators);
  if (separator == std::string::npos) return -1;
  folder = file.substr(0, separator + 1);
  return 0;
}

bool BesideProcess(const char* relative, std::string& path) {
  std::string found;
  if (GetProcessPath(found) != 0) return false;
  path = found + relative;
  return true;
}

std::string InConf(const std::string& conf, const std::string& name) {
  return conf + (IsSeparator(name.front()) ? "" : "/") + name;
}

}  // namespace

std::string GetVELARootPath() {
  std::string root = vela::InstallRoot();
  if (root.empty()) VelaOutputString("Could not found environment variable VELA !");
  return root;
}

std::string GetSysEnvironment(const std::string& name) {
  std::string value;
  VelaGetEnv(name.c_str(), value);
  if (!value.empty() && IsSeparator(value.back())) value.pop_back();
  return value;
}

std::string GetVELAEnvironment() {
  std::string value;
  if (!VelaGetEnv("VELA_ROOT", value) || value.empty()) return {};
  return GetSysEnvironment("VELA_ROOT") + "/etc/conf";
}

std::string GetVELAPath() {
  return GetVELAEnvironment();
}

int GetFullPath(std::string& path) {
  const std::string root = path.empty() ? std::string() : GetVELARootPath();
  if (root.empty()) {
    path.clear();
    return PATH_INVALID;
  }
  if (path.starts_with("./")) path = root + path.substr(2);
  if (path.starts_with("../")) path = root + path;
  return 0;
}

void ConvertPathtoUnixMode(std::string& path) {
  StripBlanks(path);
  std::replace(path.begin(), path.end(), '\\', '/');
}

void ConvertPathtoWin32Mode(std::string& path) {
  StripBlanks(path);
  std::replace(path.begin(), path.end(), '/', '\\');
}

int ConvertAbsolutePath(std::string& path) {
  std::string result = path;
  ConvertPathtoUnixMode(result);
  if (result.empty() || result.front() == '.' || !ResolveParents(result)) return -1;
  DropDots(result);
  path = std::move(result);
  return 0;
}

std::string GetParentPath(const std::string& path) {
  std::string parent = path;
  if (ConvertAbsolutePath(parent) != 0) return {};
  if (parent.ends_with('/')) parent.pop_back();
  parent.erase(parent.rfind('/') + 1);
  return parent;
}

int GetProcessPath(std::string& path) {
  return FolderOf(ProgramName(), path);
}

int GetProcessName(std::string& name) {
  const std::string& program = ProgramName();
  const std::size_t separator = program.find_last_of(kSeparators);
  if (separator == std::string::npos) return -1;
  const std::string file = program.substr(separator + 1);
  name = file.substr(0, file.rfind('.'));
  return 0;
}

int GetModuleFileNameA(const void* address, std::string& name) {
  if (VelaGetModuleName(address, name)) return 0;
  std::fputs("Get module handle error\n", stdout);
  return -1;
}

int GetModulePath(const void* address, std::string& path) {
  std::string name;
  if (GetModuleFileNameA(address, name) != 0) return -1;
  return FolderOf(name, path);
}

bool GetVelaCfgFile(std::string& path) {
  path = GetVELARootPath() + "etc/conf/";
  ConvertAbsolutePath(path);
  path += "vela.cfg";
  return true;
}

bool GetEmsCfgFile(std::string& path) {
  path = GetVELARootPath() + "var/trans/core/conf/";
  ConvertAbsolutePath(path);
  path += "trans_ems.cfg";
  return true;
}

bool GetNemgrCfgFile(std::string& path) {
  if (!BesideProcess("../conf/nemgr.cfg", path)) return false;
  ConvertAbsolutePath(path);
  return true;
}

bool GetOptionalCfgFile(std::string& path) {
  if (!BesideProcess("../conf/", path)) return false;
  ConvertAbsolutePath(path);
  path += g_strFileParam;
  return true;
}

bool GetResBasePath(std::string& path) {
  const std::string language = VELAcommon::VELAMsg::getLanguage();
  path = "res/" + (language.empty() ? "en_US" : language);
  return true;
}

bool GetCoreResFilePath(std::string& path) {
  std::string base;
  GetResBasePath(base);
  path = GetVELARootPath() + "cbb/trans/core/" + base;
  return true;
}

bool GetNemgrResFilePath(std::string& path) {
  std::string base;
  GetResBasePath(base);
  return BesideProcess(("../" + base).c_str(), path);
}

std::string GetCoreFile(const std::string& name) {
  if (name.empty()) return {};
  const std::string root = GetVELARootPath();
  if (root.empty())
    TETrace("Get VELA Path fail. Load xml file fail: %s\n", vela::EscapeControls(name).c_str());
  if (!Check(!root.empty(), "filepath", "!root.empty()")) return name;
  return InConf(root + "cbb/trans/core/conf", name);
}

std::string GetNeMgrFile(const std::string& name) {
  if (name.empty()) return {};
  std::string conf;
  const bool known = BesideProcess("../conf", conf);
  if (!known) TETrace("Get NeMgr Path fail. Load xml file fail: %s\n", vela::EscapeControls(name).c_str());
  if (!Check(known, "filepath", "known")) return name;
  return InConf(conf, name);
}

}  // namespace NSTE_util
