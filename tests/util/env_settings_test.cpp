#include "util/basicutil/env_settings.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <map>

#include "asn1/result.h"
#include "platform/testkit/testkit.h"
#include "tests/files.h"
#include "util/basicutil/common.h"

// The settings are read while the library is loaded, so each case is a process of its own: this program
// again, started as <root>/bin/child, where it prints all settings.
namespace {

namespace fs = std::filesystem;
using namespace NSTE_util;
using files::Root;

// How many bytes of a long message are rendered.
long RenderedSize() {
  AsnSingleReturn message;
  message.reason = new SNACC::AsnOcts(std::string(20'000, 'x').c_str());
  return static_cast<long>(toString(message).size());
}

struct Row {
  std::string key;
  std::string initial;  // no file has the key
  std::string given;    // what trans_ems.cfg (VER: vela.cfg) says
  std::string expected;
  std::string now;  // in this process
};

std::vector<Row> Rows() {
  return {
      {"bLCT", "0", "1", "1", std::to_string(g_bLCT)},
      {"bRunUnitTest", "0", "2", "1", std::to_string(g_bRunUnitTest)},
      {"bFiltPreNEToMML", "0", "-1", "1", std::to_string(g_bFiltPreNEToMML)},
      {"bExportCopyXC", "0", "1", "1", std::to_string(g_bExportCopyXC)},
      {"SimIpAddress", "127.0.0.1", "10.0.0.1", "10.0.0.1", g_SimIpAddress},
      {"nTEPServerPort", "6600", "6601", "6601", std::to_string(g_nTEPServerPort)},
      {"bEnableInt3", "0", "1", "1", std::to_string(g_bEnableInt3)},
      {"bEnableLog", "1", "0", "0", std::to_string(g_bEnableLog)},
      {"bEnableAsnTrace", "1", "0", "0", std::to_string(g_bEnableAsnTrace)},
      {"bEnableAsnLog", "1", "0", "0", std::to_string(g_bEnableAsnLog)},
      {"bEnablePrint", "1", "0", "0", std::to_string(g_bEnablePrint)},
      {"IsInterruptMode", "0", "3", "3", std::to_string(g_IsInterruptMode)},
      {"bCanTimeDivisionXC", "0", "1", "1", std::to_string(g_bCanTimeDivisionXC)},
      {"bAutoQueryXCState", "0", "1", "1", std::to_string(g_bAutoQueryXCState)},
      {"nMaxSizeOfAsnTrace", "10240", "2000", "2000", std::to_string(RenderedSize())},
      {"FiberSearchWaitTime", "5", "9", "9", std::to_string(g_FiberSearchWaitTime)},
      {"syncStatePeriod", "300", "301", "301", std::to_string(g_nSyncStatePeriod)},
      {"ReserveNMXCsForUploadAndQuerySDHSingleXC", "1", "0", "0",
       std::to_string(g_ReserveNMXCsForUploadAndQuerySDHSingleXC)},
      {"isSupportPNP", "0", "2", "2", std::to_string(g_IsSupportPNP)},
      {"bEnableMSPShare", "0", "1", "1", std::to_string(g_bEnableMSPShare)},
      {"guiCutCfgFile", "", "gui.cfg", Root() + "/gui.cfg", g_gctCfgfile},
      {"bEnableChangeNeVer", "0", "1", "1", std::to_string(g_bEnableChangeNeVer)},
      {"bEnableAutoSyncIONXC", "0", "1", "1", std::to_string(g_bEnableAutoIonNESyncXC)},
      {"nEnablePNP", "0", "4", "4", std::to_string(g_nEnablePNP)},
      {"bEnableMitLockErrMgr", "0", "2", "1", std::to_string(g_bEnableMitLockErrMgr)},
      {"VER", "basic_util 1.0.0", "V1", "V1", g_NMVer},
      {"g_strFileParam", "", "x", "", g_strFileParam},
      {"emscfgfile", Root() + "var/trans/core/conf/trans_ems.cfg", "x",
       Root() + "var/trans/core/conf/trans_ems.cfg", emscfgfile},
  };
}

TEST(EnvSettings, DISABLED_Print) {
  for (const Row& row : Rows()) std::printf("setting %s=%s\n", row.key.c_str(), row.now.c_str());
  testkit::LogCapture log;
  WriteException("shows what was held back");
  for (const auto& record : log.Records()) std::printf("%s\n", record.text.c_str());
}

struct Output {
  std::string text;
  std::map<std::string, std::string> settings;
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
  EXPECT_EQ(::pclose(pipe), 0);
  return output;
}

Output RunWith(const std::string& ems, const std::string& vela, const std::string& nemgr) {
  files::Write("var/trans/core/conf/trans_ems.cfg", ems);
  files::Write("etc/conf/vela.cfg", vela);
  files::Write("conf/nemgr.cfg", nemgr);
  return RunChild("");
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
