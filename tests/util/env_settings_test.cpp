#include "util/basicutil/env_settings.h"

#include <cstdio>
#include <iostream>
#include <sstream>

#include "asn1/result.h"
#include "tests/util/util_test.h"

// The settings are read while the library is loaded, so each case is a process of its own: this program
// again, started as <root>/bin/child, where it prints all settings.
namespace {

using files::Root;

// How many bytes of a long message are rendered.
std::size_t RenderedSize() {
  AsnSingleReturn message;
  message.reason = new SNACC::AsnOcts(std::string(20'000, 'x').c_str());
  return toString(message).size();
}

TEST(EnvSettings, DISABLED_Print) {
  std::cout << "\nbLCT=" << g_bLCT << "\nbRunUnitTest=" << g_bRunUnitTest
            << "\nbFiltPreNEToMML=" << g_bFiltPreNEToMML << "\nbExportCopyXC=" << g_bExportCopyXC
            << "\nSimIpAddress=" << g_SimIpAddress << "\nnTEPServerPort=" << g_nTEPServerPort
            << "\nbEnableInt3=" << g_bEnableInt3 << "\nbEnableLog=" << g_bEnableLog
            << "\nbEnableAsnTrace=" << g_bEnableAsnTrace << "\nbEnableAsnLog=" << g_bEnableAsnLog
            << "\nbEnablePrint=" << g_bEnablePrint << "\nIsInterruptMode=" << g_IsInterruptMode
            << "\nbCanTimeDivisionXC=" << g_bCanTimeDivisionXC
            << "\nbAutoQueryXCState=" << g_bAutoQueryXCState << "\nnMaxSizeOfAsnTrace=" << RenderedSize()
            << "\nFiberSearchWaitTime=" << g_FiberSearchWaitTime << "\nsyncStatePeriod=" << g_nSyncStatePeriod
            << "\nReserveNMXCsForUploadAndQuerySDHSingleXC=" << g_ReserveNMXCsForUploadAndQuerySDHSingleXC
            << "\nisSupportPNP=" << g_IsSupportPNP << "\nbEnableMSPShare=" << g_bEnableMSPShare
            << "\nguiCutCfgFile=" << g_gctCfgfile << "\nbEnableChangeNeVer=" << g_bEnableChangeNeVer
            << "\nbEnableAutoSyncIONXC=" << g_bEnableAutoIonNESyncXC << "\nnEnablePNP=" << g_nEnablePNP
            << "\nbEnableMitLockErrMgr=" << g_bEnableMitLockErrMgr << "\nVER=" << g_NMVer
            << "\ng_strFileParam=" << g_strFileParam << "\nemscfgfile=" << emscfgfile << '\n';
  testkit::LogCapture log;
  WriteException("shows what was held back");
  for (const auto& record : log.Records()) std::cout << record.text << '\n';
}

using Settings = std::map<std::string, std::string>;

// Of lines "key=value".
Settings Read(const std::string& lines) {
  Settings settings;
  for (const std::string& line : files::Lines(lines))
    if (line.find('=') != std::string::npos)
      settings[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
  return settings;
}

// Without any file.
const std::string kInitial =
    "bLCT=0\nbRunUnitTest=0\nbFiltPreNEToMML=0\nbExportCopyXC=0\nSimIpAddress=127.0.0.1\n"
    "nTEPServerPort=6600\nbEnableInt3=0\nbEnableLog=1\nbEnableAsnTrace=1\nbEnableAsnLog=1\nbEnablePrint=1\n"
    "IsInterruptMode=0\nbCanTimeDivisionXC=0\nbAutoQueryXCState=0\nnMaxSizeOfAsnTrace=10240\n"
    "FiberSearchWaitTime=5\nsyncStatePeriod=300\nReserveNMXCsForUploadAndQuerySDHSingleXC=1\n"
    "isSupportPNP=0\nbEnableMSPShare=0\nguiCutCfgFile=\nbEnableChangeNeVer=0\nbEnableAutoSyncIONXC=0\n"
    "nEnablePNP=0\nbEnableMitLockErrMgr=0\nVER=basic_util 1.0.0\ng_strFileParam=\n"
    "emscfgfile=ROOTvar/trans/core/conf/trans_ems.cfg\n";
// In the files, each unlike the initial value.
const std::string kGiven =
    "bLCT=1\nbRunUnitTest=2\nbFiltPreNEToMML=-1\nbExportCopyXC=1\nSimIpAddress=10.0.0.1\n"
    "nTEPServerPort=6601\nbEnableInt3=1\nbEnableLog=0\nbEnableAsnTrace=0\nbEnableAsnLog=0\nbEnablePrint=0\n"
    "IsInterruptMode=3\nbCanTimeDivisionXC=1\nbAutoQueryXCState=1\nnMaxSizeOfAsnTrace=2000\n"
    "FiberSearchWaitTime=9\nsyncStatePeriod=301\nReserveNMXCsForUploadAndQuerySDHSingleXC=0\n"
    "isSupportPNP=2\nbEnableMSPShare=1\nguiCutCfgFile=gui.cfg\nbEnableChangeNeVer=1\n"
    "bEnableAutoSyncIONXC=1\nnEnablePNP=4\nbEnableMitLockErrMgr=2\n";

Settings Initial() {
  Settings settings = Read(kInitial);
  settings["emscfgfile"].replace(0, 4, Root());
  return settings;
}

// Runs the child with those files; `text` is all that it printed.
Settings RunWith(const std::string& ems, const std::string& vela, const std::string& nemgr,
                 std::string& text) {
  files::Write("var/trans/core/conf/trans_ems.cfg", ems);
  files::Write("etc/conf/vela.cfg", vela);
  files::Write("conf/nemgr.cfg", nemgr);
  const std::string child = Root() + "bin/child";
  std::filesystem::create_directories(Root() + "bin");
  std::filesystem::copy_file("/proc/self/exe", child);
  const std::string command = child + " --gtest_also_run_disabled_tests --gtest_filter=*DISABLED_Print";
  std::FILE* const pipe = ::popen(command.c_str(), "r");
  char line[4096];
  while (std::fgets(line, sizeof(line), pipe) != nullptr) text += line;
  EXPECT_EQ(::pclose(pipe), 0);
  return Read(text);
}

void Expect(const Settings& expected, const Settings& found) {
  for (const auto& [key, value] : expected) EXPECT_EQ(found.at(key), value) << key;
}

TEST(EnvSettings, InitialValues) {
  std::string text;
  Expect(Initial(), RunWith("", "", "", text));
  EXPECT_NE(text.find("This is standard version!\n"), std::string::npos);
  EXPECT_NE(text.find("Ems Version: basic_util 1.0.0, This version was compiled at: "), std::string::npos);
}

TEST(EnvSettings, EveryKeyIsRead) {
  std::string text;
  Settings expected = Read(kGiven);
  for (const char* flag : {"bRunUnitTest", "bFiltPreNEToMML", "bEnableMitLockErrMgr"}) expected[flag] = "1";
  expected.merge(Settings{{"VER", "V1"}, {"g_strFileParam", ""}, {"emscfgfile", Initial()["emscfgfile"]}});
  expected["guiCutCfgFile"] = Root() + "/gui.cfg";
  Expect(expected, RunWith(kGiven + "g_strFileParam=x\nemscfgfile=x\n", "VER = V1\n", "", text));
  EXPECT_NE(text.find("This is a LCT!\n"), std::string::npos);
}

TEST(EnvSettings, NemgrOverridesItsOwnKeysOnly) {
  std::string text;
  Settings expected = Initial(), given = Read(kGiven + "VER=V1\n");
  expected["guiCutCfgFile"] = Root() + "/";
  for (const char* own : {"bEnableInt3", "bEnableLog", "bEnableAsnTrace", "bEnableAsnLog", "bEnablePrint",
                          "nMaxSizeOfAsnTrace", "VER"})
    expected[own] = given[own];
  Expect(expected, RunWith(kInitial, "VER = V0\n", kGiven + "VER=V1\n", text));
}

TEST(EnvSettings, OddValues) {
  std::string text;
  const std::string gui(500, 'x');
  const std::string odd =
      "bRunUnitTest=0\nFiberSearchWaitTime=2\nbEnableMitLockErrMgr=-1\nnMaxSizeOfAsnTrace=-5\nbLCT=yes\n"
      "nTEPServerPort=99999999999\nguiCutCfgFile=" +
      gui;
  Settings expected = Initial();
  expected["nMaxSizeOfAsnTrace"] = "32";
  expected["guiCutCfgFile"] = (Root() + "/" + gui).substr(0, 255);
  expected["VER"] = std::string(255, 'v');
  Expect(expected, RunWith(odd, "VER = " + std::string(500, 'v') + "\n", "", text));
}

TEST(EnvSettings, VersionTextsAreCut) {
  const std::string full = "Version-1.2.3-of-a-long-name";
  full.copy(g_NMVer, SETTING_TEXT - 1);
  g_NMVer[full.size()] = '\0';
  for (const int flag : {0, 12, 13, 15, 16, 20, 21, 22}) {
    std::string version = "old";
    GetLocalNMVersion(static_cast<RcbVersionFlag>(flag), version);
    const bool cut = flag == 13 || flag == 16 || flag == 20;
    const std::size_t length = flag == 21 ? full.size() : cut ? static_cast<std::size_t>(flag) : 0;
    EXPECT_EQ(version, full.substr(0, length)) << flag;
  }
}

}  // namespace
