#pragma once
#include <atomic>
#include <string>

#include "util/basicutil/export.h"

// The process-wide switches. They are read from the configuration files while the library is loaded, before
// any other thread runs, and then only read. Loading ends the process (status 0, with a message on standard
// output) when VELA_ROOT is not set. A key that is missing, or whose value cannot be read, keeps the initial
// value given here. Files: etc/conf/vela.cfg and var/trans/core/conf/trans_ems.cfg below the installation
// root; then ../conf/nemgr.cfg beside the folder of the executable, which overrides some keys of one process.
namespace NSTE_util {

constexpr int SETTING_TEXT = 256;  // room of the texts below that are arrays

// trans_ems.cfg; the key is the name without "g_" except where noted.
extern BASIC_UTIL_EXPORT bool g_bLCT;          // local craft terminal: another banner
extern BASIC_UTIL_EXPORT bool g_bRunUnitTest;  // a 0 never clears it
extern BASIC_UTIL_EXPORT bool g_bFiltPreNEToMML;
extern BASIC_UTIL_EXPORT bool g_bExportCopyXC;
extern BASIC_UTIL_EXPORT std::string g_SimIpAddress;  // "127.0.0.1"
extern BASIC_UTIL_EXPORT int g_nTEPServerPort;        // 6600
extern BASIC_UTIL_EXPORT int g_IsInterruptMode;
extern BASIC_UTIL_EXPORT bool g_bCanTimeDivisionXC;
extern BASIC_UTIL_EXPORT bool g_bAutoQueryXCState;
extern BASIC_UTIL_EXPORT int g_FiberSearchWaitTime;                        // 5, and never below
extern BASIC_UTIL_EXPORT int g_nSyncStatePeriod;                           // 300; key syncStatePeriod
extern BASIC_UTIL_EXPORT bool g_ReserveNMXCsForUploadAndQuerySDHSingleXC;  // true
extern BASIC_UTIL_EXPORT int g_IsSupportPNP;                               // key isSupportPNP
extern BASIC_UTIL_EXPORT bool g_bEnableMSPShare;
extern BASIC_UTIL_EXPORT char
    g_gctCfgfile[SETTING_TEXT];  // key guiCutCfgFile: root path, "/", the key's text
extern BASIC_UTIL_EXPORT bool g_bEnableChangeNeVer;
extern BASIC_UTIL_EXPORT bool g_bEnableAutoIonNESyncXC;  // key bEnableAutoSyncIONXC
extern BASIC_UTIL_EXPORT int g_nEnablePNP;
extern BASIC_UTIL_EXPORT bool g_bEnableMitLockErrMgr;  // true only for values above 0

// trans_ems.cfg, then nemgr.cfg.
extern BASIC_UTIL_EXPORT bool g_bEnableInt3;                   // stop in a debugger on platform assertions
extern BASIC_UTIL_EXPORT bool g_bEnableLog;                    // true
extern BASIC_UTIL_EXPORT std::atomic<bool> g_bEnableAsnTrace;  // true; an operator may read it in again
extern BASIC_UTIL_EXPORT std::atomic<bool> g_bEnableAsnLog;    // true; an operator may read it in again
extern BASIC_UTIL_EXPORT std::atomic<bool> g_bEnablePrint;     // true

// vela.cfg, then nemgr.cfg: key VER. The product's version until then.
extern BASIC_UTIL_EXPORT char g_NMVer[SETTING_TEXT];

// Where trans_ems.cfg was looked for, cut to 255 bytes.
extern BASIC_UTIL_EXPORT char emscfgfile[SETTING_TEXT];

// The file name that GetOptionalCfgFile uses. Set by the application before it starts threads.
extern BASIC_UTIL_EXPORT std::string g_strFileParam;

// Settings that applications fill for each other; no key reads them. All start as 0, false or empty.
extern BASIC_UTIL_EXPORT bool g_bDisplayServerTrailAlarm;
extern BASIC_UTIL_EXPORT bool g_bEnableMspParaCheckFromNeWhenSearchPSN;
extern BASIC_UTIL_EXPORT bool g_bEnableMspParaCheckFromNeWhenCreatePSN;
extern BASIC_UTIL_EXPORT bool g_bResOptimizeByCalculateRoute;
extern BASIC_UTIL_EXPORT bool g_bEnableSquelch;
extern BASIC_UTIL_EXPORT bool g_bLogMSPSquelchMgr;
extern BASIC_UTIL_EXPORT bool g_bCalculateRouteWithinPSN;
extern BASIC_UTIL_EXPORT bool g_bConsiderDiscreteServiceSlot;
extern BASIC_UTIL_EXPORT bool g_bQueryLSPRouteAlarm;
extern BASIC_UTIL_EXPORT bool g_bSupportPrefabTrail;
extern BASIC_UTIL_EXPORT int g_nMspParaCheckTestNum;
extern BASIC_UTIL_EXPORT int g_nCreateTrailWaitTime;
extern BASIC_UTIL_EXPORT int g_IsQueryIONEfficientRoute;
extern BASIC_UTIL_EXPORT int g_IsSupportCopyIONTrail;
extern BASIC_UTIL_EXPORT int g_IsImportPrefabTrail;
extern BASIC_UTIL_EXPORT int g_SetC2AfterActive;
extern BASIC_UTIL_EXPORT int g_ExpandCheckDynamicBoard;
extern BASIC_UTIL_EXPORT std::string g_HostLanguage;
extern BASIC_UTIL_EXPORT std::string g_resPath;
extern BASIC_UTIL_EXPORT std::string g_UniWDMTrailName;
extern BASIC_UTIL_EXPORT std::string g_ProcName;
extern BASIC_UTIL_EXPORT std::string g_strDbName;

// How many characters of the version text a caller wants.
enum RcbVersionFlag : int {
  RCB_VERSION_13 = 13,
  RCB_VERSION_16 = 16,
  RCB_VERSION_20 = 20,
  RCB_VERSION_FULL = 21
};

// The first 13, 16 or 20 characters of g_NMVer, or all of it; empty for any other flag.
BASIC_UTIL_EXPORT void GetLocalNMVersion(RcbVersionFlag flag, std::string& version);

}  // namespace NSTE_util
