#include "util/basicutil/env_settings.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/config/vela_config.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/common.h"
#include "util/basicutil/env_internal.h"
#include "util/basicutil/filepath.h"

namespace NSTE_util {

// The texts and, at the end of this file, the reader are made before every other static object of the
// library; all other settings are constant-initialised.
[[gnu::init_priority(101)]] std::string g_SimIpAddress = "127.0.0.1";
[[gnu::init_priority(101)]] std::string g_strFileParam;
[[gnu::init_priority(101)]] std::string g_HostLanguage;
[[gnu::init_priority(101)]] std::string g_resPath;
[[gnu::init_priority(101)]] std::string g_UniWDMTrailName;
[[gnu::init_priority(101)]] std::string g_ProcName;
[[gnu::init_priority(101)]] std::string g_strDbName;

constinit bool g_bLCT = false;
constinit bool g_bRunUnitTest = false;
constinit bool g_bFiltPreNEToMML = false;
constinit bool g_bExportCopyXC = false;
constinit int g_nTEPServerPort = 6600;
constinit int g_IsInterruptMode = 0;
constinit bool g_bCanTimeDivisionXC = false;
constinit bool g_bAutoQueryXCState = false;
constinit int g_FiberSearchWaitTime = 5;
constinit int g_nSyncStatePeriod = 300;
constinit bool g_ReserveNMXCsForUploadAndQuerySDHSingleXC = true;
constinit int g_IsSupportPNP = 0;
constinit bool g_bEnableMSPShare = false;
constinit char g_gctCfgfile[SETTING_TEXT] = "";
constinit bool g_bEnableChangeNeVer = false;
constinit bool g_bEnableAutoIonNESyncXC = false;
constinit int g_nEnablePNP = 0;
constinit bool g_bEnableMitLockErrMgr = false;

constinit bool g_bEnableInt3 = false;
constinit bool g_bEnableLog = true;
constinit std::atomic<bool> g_bEnableAsnTrace = true;
constinit std::atomic<bool> g_bEnableAsnLog = true;
constinit std::atomic<bool> g_bEnablePrint = true;
constinit std::atomic<int> nMaxSizeOfAsnTrace = 10240;

constinit char g_NMVer[SETTING_TEXT] = VELA_PRODUCT_VERSION;
constinit char emscfgfile[SETTING_TEXT] = "";

constinit bool g_bDisplayServerTrailAlarm = false;
constinit bool g_bEnableMspParaCheckFromNeWhenSearchPSN = false;
constinit bool g_bEnableMspParaCheckFromNeWhenCreatePSN = false;
constinit bool g_bResOptimizeByCalculateRoute = false;
constinit bool g_bEnableSquelch = false;
constinit bool g_bLogMSPSquelchMgr = false;
constinit bool g_bCalculateRouteWithinPSN = false;
constinit bool g_bConsiderDiscreteServiceSlot = false;
constinit bool g_bQueryLSPRouteAlarm = false;
constinit bool g_bSupportPrefabTrail = false;
constinit int g_nMspParaCheckTestNum = 0;
constinit int g_nCreateTrailWaitTime = 0;
constinit int g_IsQueryIONEfficientRoute = 0;
constinit int g_IsSupportCopyIONTrail = 0;
constinit int g_IsImportPrefabTrail = 0;
constinit int g_SetC2AfterActive = 0;
constinit int g_ExpandCheckDynamicBoard = 0;

namespace {

constexpr int kShortestWait = 5;
constexpr int kSmallestAsnTrace = 32;
constexpr int kLargestAsnTrace = 10'000'000;

// Clears the setting and copies what fits.
void SetText(char (&setting)[SETTING_TEXT], const std::string& text) {
  std::memset(setting, 0, sizeof(setting));
  std::memcpy(setting, text.data(), std::min(text.size(), sizeof(setting) - 1));
}

void SetAsnTraceSize(int size) {
  nMaxSizeOfAsnTrace = std::clamp(size, kSmallestAsnTrace, kLargestAsnTrace);
}

// What one key of a file does: exactly one of the two functions is set.
struct Key {
  const char* name;
  void (*setInteger)(int value);
  void (*setText)(const std::string& value) = nullptr;
};

constexpr Key kAsnLog{"bEnableAsnLog", [](int value) { g_bEnableAsnLog = value != 0; }};
constexpr Key kAsnTrace{"bEnableAsnTrace", [](int value) { g_bEnableAsnTrace = value != 0; }};
constexpr Key kInt3{"bEnableInt3", [](int value) { g_bEnableInt3 = value != 0; }};
constexpr Key kLog{"bEnableLog", [](int value) { g_bEnableLog = value != 0; }};
constexpr Key kPrint{"bEnablePrint", [](int value) { g_bEnablePrint = value != 0; }};
constexpr Key kAsnTraceSize{"nMaxSizeOfAsnTrace", SetAsnTraceSize};
constexpr Key kVersion{"VER", nullptr, [](const std::string& value) { SetText(g_NMVer, value); }};
constexpr Key kMitLockErrMgr{"bEnableMitLockErrMgr", [](int value) { g_bEnableMitLockErrMgr = value > 0; }};

constexpr Key kEmsKeys[] = {
    {"bLCT", [](int value) { g_bLCT = value != 0; }},
    {"bRunUnitTest", [](int value) { g_bRunUnitTest = g_bRunUnitTest || value != 0; }},
    {"bFiltPreNEToMML", [](int value) { g_bFiltPreNEToMML = value != 0; }},
    {"bExportCopyXC", [](int value) { g_bExportCopyXC = value != 0; }},
    {"SimIpAddress", nullptr, [](const std::string& value) { g_SimIpAddress = value; }},
    {"nTEPServerPort", [](int value) { g_nTEPServerPort = value; }},
    kInt3,
    kLog,
    kAsnTrace,
    kAsnLog,
    kPrint,
    {"IsInterruptMode", [](int value) { g_IsInterruptMode = value; }},
    {"bCanTimeDivisionXC", [](int value) { g_bCanTimeDivisionXC = value != 0; }},
    {"bAutoQueryXCState", [](int value) { g_bAutoQueryXCState = value != 0; }},
    kAsnTraceSize,
    {"FiberSearchWaitTime", [](int value) { g_FiberSearchWaitTime = std::max(value, kShortestWait); }},
    {"syncStatePeriod", [](int value) { g_nSyncStatePeriod = value; }},
    {"ReserveNMXCsForUploadAndQuerySDHSingleXC",
     [](int value) { g_ReserveNMXCsForUploadAndQuerySDHSingleXC = value != 0; }},
    {"isSupportPNP", [](int value) { g_IsSupportPNP = value; }},
    {"bEnableMSPShare", [](int value) { g_bEnableMSPShare = value != 0; }},
    {"guiCutCfgFile", nullptr,
     [](const std::string& value) { SetText(g_gctCfgfile, GetVELARootPath() + "/" + value); }},
    {"bEnableChangeNeVer", [](int value) { g_bEnableChangeNeVer = value != 0; }},
    {"bEnableAutoSyncIONXC", [](int value) { g_bEnableAutoIonNESyncXC = value != 0; }},
    {"nEnablePNP", [](int value) { g_nEnablePNP = value; }},
};

constexpr Key kNemgrKeys[] = {kInt3, kLog, kAsnTrace, kAsnLog, kPrint, kAsnTraceSize, kVersion};

void Read(const std::string& file, const Key& key) {
  if (key.setInteger != nullptr) {
    int value = 0;
    if (VelaGetRegInt(file.c_str(), key.name, value) == 1) key.setInteger(value);
    return;
  }
  std::string text;
  if (VelaGetRegString(file.c_str(), key.name, text) == 1) key.setText(text);
}

[[noreturn]] void EndProcess(const char* message) {
  std::fputs(message, stdout);
  std::exit(0);
}

void WriteBanner() {
  TEDebugInterface& out = GetDefaultDebugInterface();
  out.Print(2, g_bLCT ? "This is a LCT!\n" : "This is standard version!\n");
  out.PrintF(2, "Ems Version: %s, This version was compiled at: %s, %s.\n",
             vela::EscapeControls(g_NMVer).c_str(), __DATE__, __TIME__);
}

struct EnvironmentReader {
  EnvironmentReader() {
    std::string emsFile;
    std::string velaFile;
    std::string nemgrFile;
    if (GetVELARootPath().empty()) EndProcess("Can not find VELA_ROOT env,exit ...\n");
    if (!GetEmsCfgFile(emsFile)) EndProcess("Can not open trans_ems.cfg ...");
    SetText(emscfgfile, emsFile);
    if (!GetVelaCfgFile(velaFile)) EndProcess("Can not open vela.cfg ....");

    for (const Key& key : kEmsKeys) Read(emsFile, key);
    Read(velaFile, kVersion);
    if (GetNemgrCfgFile(nemgrFile) && nemgrFile.size() < SETTING_TEXT) {
      for (const Key& key : kNemgrKeys) Read(nemgrFile, key);
    }
    WriteBanner();
    Read(emsFile, kMitLockErrMgr);
  }
};

[[gnu::init_priority(102)]] const EnvironmentReader g_reader;

}  // namespace

void ReloadAsnSwitches() {
  std::string file;
  if (!GetEmsCfgFile(file)) return;
  Read(file, kAsnLog);
  Read(file, kAsnTrace);
}

void GetLocalNMVersion(RcbVersionFlag flag, std::string& version) {
  version.clear();
  const bool cut = flag == RCB_VERSION_13 || flag == RCB_VERSION_16 || flag == RCB_VERSION_20;
  if (cut || flag == RCB_VERSION_FULL) version = g_NMVer;
  if (cut) version.resize(std::min(version.size(), static_cast<std::size_t>(flag)));
}

}  // namespace NSTE_util
