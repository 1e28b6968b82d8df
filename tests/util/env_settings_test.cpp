#include "util/basicutil/env_settings.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>

#include "asn1/result.h"
#include "platform/os/vela_os.h"
#include "platform/testkit/testkit.h"
#include "util/basicutil/common.h"

// The settings are read while the library is loaded, so each case is a process of its own: this program
// again, started as <root>/bin/child, where it prints all settings.
namespace {

namespace fs = std::filesystem;
using namespace NSTE_util;

std::string Root() {
  return vela::InstallRoot();
}

// How many bytes of a long message are rendered.
std::size_t RenderedSize() {
  AsnSingleReturn message;
  message.reason = new SNACC::AsnOcts(std::string(20'000, 'x').c_str());
  return toString(message).size();
}

TEST(EnvSettings, DISABLED_Print) {
  const std::map<std::string, std::string> texts = {{"SimIpAddress", g_SimIpAddress},
                                                    {"guiCutCfgFile", g_gctCfgfile},
                                                    {"VER", g_NMVer},
                                                    {"emscfgfile", emscfgfile},
                                                    {"g_strFileParam", g_strFileParam}};
  const std::map<std::string, long> numbers = {
      {"bLCT", g_bLCT},
      {"bRunUnitTest", g_bRunUnitTest},
      {"bFiltPreNEToMML", g_bFiltPreNEToMML},
      {"bExportCopyXC", g_bExportCopyXC},
      {"nTEPServerPort", g_nTEPServerPort},
      {"bEnableInt3", g_bEnableInt3},
      {"bEnableLog", g_bEnableLog},
      {"bEnableAsnTrace", g_bEnableAsnTrace},
      {"bEnableAsnLog", g_bEnableAsnLog},
      {"bEnablePrint", g_bEnablePrint},
      {"IsInterruptMode", g_IsInterruptMode},
      {"bCanTimeDivisionXC", g_bCanTimeDivisionXC},
      {"bAutoQueryXCState", g_bAutoQueryXCState},
      {"nMaxSizeOfAsnTrace", static_cast<long>(RenderedSize())},
      {"FiberSearchWaitTime", g_FiberSearchWaitTime},
      {"syncStatePeriod", g_nSyncStatePeriod},
      {"ReserveNMXCsForUploadAndQuerySDHSingleXC", g_ReserveNMXCsForUploadAndQuerySDHSingleXC},
      {"isSupportPNP", g_IsSupportPNP},
      {"bEnableMSPShare", g_bEnableMSPShare},
      {"bEnableChangeNeVer", g_bEnableChangeNeVer},
      {"bEnableAutoSyncIONXC", g_bEnableAutoIonNESyncXC},
      {"nEnablePNP", g_nEnablePNP},
      {"bEnableMitLockErrMgr", g_bEnableMitLockErrMgr}};
  for (const auto& [name, text] : texts) std::printf("setting %s=%s\n", name.c_str(), text.c_str());
  for (const auto& [name, number] : numbers) std::printf("setting %s=%ld\n", name.c_str(), number);
  testkit::LogCapture log;
  WriteException("shows what was held back");
  for (const auto& record : log.Records()) std::printf("%s\n", record.text.c_str());
}

struct Output {
  std::string text;
  std::map<std::string, std::string> settings;
  int status = -1;
};

Output RunChild(const std::string& environment) {
  const std::string child = Root() + "bin/child";
  fs::create_directories(Root() + "bin");
  if (!fs::exists(child)) fs::copy_file("/proc/self/exe", child);
  std::FILE* const pipe =
      ::popen(("env " + environment + " " + child +
               " --gtest_also_run_disabled_tests --gtest_filter=EnvSettings.DISABLED_Print")
                  .c_str(),
              "r");
  Output output;
  char line[4096];
  while (std::fgets(line, sizeof(line), pipe) != nullptr) {
    const std::string text = line;
    output.text += text;
    const std::size_t equals = text.find('=');
    if (text.starts_with("setting ") && equals != std::string::npos)
      output.settings[text.substr(8, equals - 8)] = text.substr(equals + 1, text.size() - equals - 2);
  }
  output.status = ::pclose(pipe);
  return output;
}

Output RunWith(const std::string& ems, const std::string& vela, const std::string& nemgr) {
  std::ofstream(Root() + "var/trans/core/conf/trans_ems.cfg") << ems;
  std::ofstream(Root() + "etc/conf/vela.cfg") << vela;
  std::ofstream(Root() + "conf/nemgr.cfg") << nemgr;
  return RunChild("");
}

struct Row {
  std::string key;
  std::string initial;  // no file has the key
  std::string given;    // what trans_ems.cfg (VER: vela.cfg) says
  std::string expected;
};

const std::vector<Row>& Rows() {
  static const std::vector<Row> rows = {
      {"bLCT", "0", "1", "1"},
      {"bRunUnitTest", "0", "2", "1"},
      {"bFiltPreNEToMML", "0", "-1", "1"},
      {"bExportCopyXC", "0", "1", "1"},
      {"SimIpAddress", "127.0.0.1", "10.0.0.1", "10.0.0.1"},
      {"nTEPServerPort", "6600", "6601", "6601"},
      {"bEnableInt3", "0", "1", "1"},
      {"bEnableLog", "1", "0", "0"},
      {"bEnableAsnTrace", "1", "0", "0"},
      {"bEnableAsnLog", "1", "0", "0"},
      {"bEnablePrint", "1", "0", "0"},
      {"IsInterruptMode", "0", "3", "3"},
      {"bCanTimeDivisionXC", "0", "1", "1"},
      {"bAutoQueryXCState", "0", "1", "1"},
      {"nMaxSizeOfAsnTrace", "10240", "2000", "2000"},
      {"FiberSearchWaitTime", "5", "9", "9"},
      {"syncStatePeriod", "300", "301", "301"},
      {"ReserveNMXCsForUploadAndQuerySDHSingleXC", "1", "0", "0"},
      {"isSupportPNP", "0", "2", "2"},
      {"bEnableMSPShare", "0", "1", "1"},
      {"guiCutCfgFile", "", "gui.cfg", Root() + "/gui.cfg"},
      {"bEnableChangeNeVer", "0", "1", "1"},
      {"bEnableAutoSyncIONXC", "0", "1", "1"},
      {"nEnablePNP", "0", "4", "4"},
      {"bEnableMitLockErrMgr", "0", "2", "1"},
      {"VER", "basic_util 1.0.0", "V1", "V1"},
      {"g_strFileParam", "", "x", ""},
      {"emscfgfile", Root() + "var/trans/core/conf/trans_ems.cfg", "x",
       Root() + "var/trans/core/conf/trans_ems.cfg"},
  };
  return rows;
}

TEST(EnvSettings, InitialValues) {
  const Output child = RunWith("", "", "");
  for (const Row& row : Rows()) EXPECT_EQ(child.settings.at(row.key), row.initial) << row.key;
  EXPECT_NE(child.text.find("This is standard version!\n"), std::string::npos);
  EXPECT_NE(child.text.find("Ems Version: basic_util 1.0.0, This version was compiled at: "),
            std::string::npos);
}

TEST(EnvSettings, EveryKeyIsRead) {
  std::string ems;
  for (const Row& row : Rows())
    if (row.key != "VER") ems += row.key + " = " + row.given + "\n";
  const Output child = RunWith(ems, "VER = V1\n", "");
  for (const Row& row : Rows()) EXPECT_EQ(child.settings.at(row.key), row.expected) << row.key;
  EXPECT_NE(child.text.find("This is a LCT!\n"), std::string::npos);
}

TEST(EnvSettings, NemgrOverridesItsOwnKeysOnly) {
  std::string ems;
  std::string nemgr;
  for (const Row& row : Rows()) {
    if (row.key != "VER") ems += row.key + " = " + row.initial + "\n";
    nemgr += row.key + " = " + row.given + "\n";
  }
  const Output child = RunWith(ems, "VER = V0\n", nemgr);
  const std::string own =
      " bEnableInt3 bEnableLog bEnableAsnTrace bEnableAsnLog bEnablePrint nMaxSizeOfAsnTrace VER ";
  for (const Row& row : Rows()) {
    if (row.key == "guiCutCfgFile") continue;
    const bool overridden = own.find(" " + row.key + " ") != std::string::npos;
    EXPECT_EQ(child.settings.at(row.key), overridden ? row.expected : row.initial) << row.key;
  }
}

TEST(EnvSettings, OddValues) {
  const Output child = RunWith(
      "bRunUnitTest = 0\nFiberSearchWaitTime = 2\nbEnableMitLockErrMgr = -1\n"
      "nMaxSizeOfAsnTrace = -5\nbLCT = yes\nnTEPServerPort = 99999999999\nguiCutCfgFile = " +
          std::string(500, 'x') + "\n",
      "VER = " + std::string(500, 'v') + "\n", "");
  const std::map<std::string, std::string> expected = {
      {"bRunUnitTest", "0"},
      {"FiberSearchWaitTime", "5"},
      {"bEnableMitLockErrMgr", "0"},
      {"nMaxSizeOfAsnTrace", "32"},
      {"bLCT", "0"},
      {"nTEPServerPort", "6600"},
      {"guiCutCfgFile", (Root() + "/" + std::string(500, 'x')).substr(0, 255)},
      {"VER", std::string(255, 'v')}};
  for (const auto& [key, value] : expected) EXPECT_EQ(child.settings.at(key), value) << key;
}

TEST(EnvSettings, NothingRunsWithoutARoot) {
  for (const char* environment : {"-u VELA_ROOT", "VELA_ROOT= "}) {
    const Output child = RunChild(environment);
    EXPECT_EQ(child.text, "Can not find VELA_ROOT env,exit ...\n");
    EXPECT_EQ(child.status, 0);
  }
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
