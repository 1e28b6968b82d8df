#include "util/basicutil/filepath.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/testkit/testkit.h"
#include "tests/files.h"
#include "util/basicutil/env_settings.h"

namespace {

namespace fs = std::filesystem;
using namespace NSTE_util;
using files::Root;
using vela::OsCall;
using vela::OsFault;

testkit::OsFaults FailingCall(OsCall call, OsFault fault) {
  return testkit::OsFaults([=](OsCall asked, const char*) { return asked == call ? fault : OsFault{}; });
}

TEST(FilePath, TextsOfPaths) {
  const std::string failed = "(failed)";
  const struct {
    std::string path;
    std::string absolute;
    std::string parent;
  } rows[] = {
      {"/a/b/../c/./d", "/a/c/d", "/a/c/"},
      {" \\a\\b\\ ", "/a/b/", "/a/"},
      {"/a/b", "/a/b", "/a/"},
      {"/a/./././b/.", "/a/b/.", "/a/b/"},
      {"/a/b/c/../../d", "/a/d", "/a/"},
      {"a/b/../c", "a/c", "a/"},
      {"/a/..b", "b", ""},
      {"/a/../..", failed, ""},
      {"/..", failed, ""},
      {"a/..", failed, ""},
      {"./a", failed, ""},
      {".hidden", failed, ""},
      {"", failed, ""},
      {"/", "/", ""},
      {"a", "a", ""},
  };
  for (const auto& row : rows) {
    std::string path = row.path;
    const int result = ConvertAbsolutePath(path);
    EXPECT_EQ(result == 0 ? path : failed, row.absolute) << row.path;
    if (result != 0) {
      EXPECT_EQ(path, row.path) << "untouched on failure";
    }
    EXPECT_EQ(GetParentPath(row.path), row.parent) << row.path;
  }
  std::string path = " a/b\\c  ";
  ConvertPathtoWin32Mode(path);
  EXPECT_EQ(path, "a\\b\\c");
}

TEST(FilePath, BelowTheRoot) {
  ::setenv("VELA_ROOT", " /opt/x ", 1);
  const std::pair<std::string, std::string> rows[] = {
      {"./x", "/opt/x/x"}, {"../x", "/opt/x/../x"}, {"x/y", "x/y"}, {"/y", "/y"}, {".x", ".x"}};
  for (const auto& [given, full] : rows) {
    std::string path = given;
    EXPECT_EQ(GetFullPath(path), 0) << given;
    EXPECT_EQ(path, full);
  }
  std::string path;
  EXPECT_EQ(GetFullPath(path), PATH_INVALID);
  const testkit::Language language("zh_CN");
  EXPECT_TRUE(GetCoreResFilePath(path));
  EXPECT_EQ(path, "/opt/x/cbb/trans/core/res/zh_CN");
  const testkit::Language none("");
  EXPECT_TRUE(GetResBasePath(path));
  EXPECT_EQ(path, "res/en_US");
  EXPECT_TRUE(GetEmsCfgFile(path));
  EXPECT_EQ(path, "/opt/x/var/trans/core/conf/trans_ems.cfg");
  EXPECT_TRUE(GetVelaCfgFile(path));
  EXPECT_EQ(path, "/opt/x/etc/conf/vela.cfg");
  EXPECT_EQ(GetCoreFile("a.xml"), "/opt/x/cbb/trans/core/conf/a.xml");
  EXPECT_EQ(GetCoreFile("\\a.xml"), "/opt/x/cbb/trans/core/conf\\a.xml");
  EXPECT_EQ(GetCoreFile(""), "");
  ::setenv("VELA_ROOT", "/opt/y\\", 1);
  EXPECT_EQ(GetVELARootPath(), "/opt/y\\");
  EXPECT_EQ(GetVELAPath(), "/opt/y/etc/conf");
}

TEST(FilePath, WithoutARoot) {
  ::unsetenv("VELA_ROOT");
  testing::internal::CaptureStderr();
  EXPECT_EQ(GetVELARootPath(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Could not found environment variable VELA !\n");
  EXPECT_EQ(GetVELAEnvironment(), "");
  std::string path = "/a";
  EXPECT_EQ(GetFullPath(path), PATH_INVALID);
  EXPECT_EQ(path, "");
  testkit::LogCapture log;
  EXPECT_EQ(GetCoreFile("a\n.xml"), "a\n.xml");
  EXPECT_EQ(log.Count("ASSERT: file util/basicutil/filepath, line"), 1);
  EXPECT_EQ(log.Count("Get VELA Path fail. Load xml file fail: a\\x0A.xml\n"), 1);
}

TEST(FilePath, BesideTheProcess) {
  std::string program;
  std::string folder;
  std::string path;
  ASSERT_TRUE(VelaGetExecutableName(program));
  ASSERT_EQ(GetProcessPath(folder), 0);
  EXPECT_EQ(GetProcessName(path), 0);
  EXPECT_EQ(folder + path, program) << "the test program has no ending";
  EXPECT_EQ(GetModulePath(reinterpret_cast<const void*>(&FailingCall), path), 0);
  EXPECT_EQ(path, folder);
  const std::string parent = GetParentPath(folder);
  g_strFileParam = "ne.cfg";
  EXPECT_TRUE(GetOptionalCfgFile(path));
  EXPECT_EQ(path, parent + "conf/ne.cfg");
  EXPECT_TRUE(GetNemgrCfgFile(path));
  EXPECT_EQ(path, parent + "conf/nemgr.cfg");
  EXPECT_EQ(GetNeMgrFile("a.xml"), folder + "../conf/a.xml");
  EXPECT_EQ(GetNeMgrFile("/a.xml"), folder + "../conf/a.xml");
  testing::internal::CaptureStdout();
  EXPECT_EQ(GetModuleFileNameA(&program, path), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Get module handle error\n");
}

TEST(ExecCmd, ResultsAndReports) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const std::string ours = "test ! -e /proc/self/fd/" + std::to_string(ends[1]);
  const struct {
    const char* workDir;
    std::string line;
    int result;
    const char* report;
  } rows[] = {
      {"/", ours, 0, nullptr},
      {"/", "sh -c 'exit 7'", 7, nullptr},
      {"/", "sh -c 'kill -9 $$'", 128 + 9, nullptr},
      {"/usr", "sh -c 'test $PWD = /usr'", 0, nullptr},
      {"/", "test '' = \"\"", 0, nullptr},
      {"/", "test \"$HOME\" = '$'HOME", 0, nullptr},
      {"/", "test 'a b' = a\\ b", 0, nullptr},
      {"/", "test \"a\\\"\\\\b\\c\" = 'a\"\\b\\c'", 0, nullptr},
      {"/", "/no/such-program x", -1, "ExecuteCMD /no/such-program x:spawn process failed,errno:2"},
      {"/no/such-folder", "true", -1, "ExecuteCMD true:spawn process failed,errno:2"},
      {"/", "echo 'x", -1, "ExecuteCMD echo 'x:spawn process failed,errno:22"},
      {"/", "echo x\\", -1, "ExecuteCMD echo x\\:spawn process failed,errno:22"},
      {"/", "  ", -1, "ExecuteCMD   :spawn process failed,errno:22"},
  };
  for (const auto& row : rows) {
    testkit::LogCapture log;
    EXPECT_EQ(execCMD(row.workDir, row.line), row.result) << row.line;
    EXPECT_EQ(log.Records().size(), row.report == nullptr ? 0U : 1U) << row.line;
    if (row.report != nullptr) {
      EXPECT_EQ(log.Count(row.report), 1) << row.line;
    }
  }
}

TEST(ExecCmd, AChildThatHangsIsKilledAndReaped) {
  ::setenv("VELA_TIME_SCALE", "1", 1);
  testkit::LogCapture log;
  EXPECT_EQ(execCMD(Root(), "sh -c 'echo $$ > pid; sleep 1000'"), -1);
  EXPECT_EQ(log.Count("ExecuteCMD error occured when waiting for child process exit,waitResult:0,status:0"),
            1);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD) << "no zombie";
  EXPECT_EQ(::kill(std::stoi(files::Read("pid")), 0), -1);
}

TEST(ExecCmd, ArchiveNamesAreNeverOptions) {
  fs::permissions(files::Write("bin/7za", "#!/bin/sh\nfor word; do echo \"[$word]\"; done > words\nexit 3\n"),
                  fs::perms::owner_all);
  ::setenv("PATH", (Root() + "bin:" + std::getenv("PATH")).c_str(), 1);
  const std::pair<const char*, const char*> rows[] = {{"a.7z", "a.7z"},
                                                      {"-o/etc", "./-o/etc"},
                                                      {"@list", "./@list"},
                                                      {"a b \"'\\.7z -o/etc", "a b \"'\\.7z -o/etc"}};
  for (const auto& [archive, word] : rows) {
    EXPECT_EQ(extractFile(archive, Root()), 3);
    EXPECT_EQ(files::Read("words"), std::string("[x]\n[-y]\n[") + word + "]\n");
  }
}

TEST(Files, ProbingAFolder) {
  const std::string folder = Root() + "probe";
  fs::create_directory(folder);
  const testkit::Clock clock(5, 42);
  std::string probe;
  const auto probing = [&](OsCall failing, std::string path, const std::string& full) {
    const testkit::OsFaults faults([&](OsCall call, const char* name) {
      if (call == OsCall::open) probe = name;
      return call == failing ? OsFault{.error = EIO} : OsFault{};
    });
    testing::internal::CaptureStderr();
    const int result = CheckPathValidity(path);
    EXPECT_EQ(path, full);
    return std::to_string(result) + " " + testing::internal::GetCapturedStderr();
  };
  char name[64];
  std::snprintf(name, sizeof(name), "/temp_thr%04d_time000042dumppath.txt",
                static_cast<int>(GetCurrentThreadId()));
  EXPECT_EQ(probing(OsCall::read, "./probe", folder), "0 ");
  EXPECT_EQ(probe, folder + name);
  EXPECT_EQ(probing(OsCall::read, folder + "\\ ", folder + "/"), "0 ");
  EXPECT_EQ(probe, folder + name);
  EXPECT_TRUE(fs::is_empty(folder)) << "the probe is removed";
  EXPECT_EQ(probing(OsCall::open, folder, folder), "1142 Fail to open: " + folder + name + ", ErrNo: 5\n");
  EXPECT_EQ(probing(OsCall::close, folder, folder), "0 fail to close file. errno: 5\n");
  EXPECT_EQ(probing(OsCall::unlink, folder, folder), "0 fail to delete file. errno: 5\n");
  EXPECT_EQ(probing(OsCall::opendir, folder, folder), "1141 ");
  EXPECT_EQ(probing(OsCall::read, " ", ""), "1141 ");
  EXPECT_EQ(probing(OsCall::read, "./none", Root() + "none"), "1141 ");
}

TEST(Files, NamesInAFolder) {
  files::Write("list/sub/x", "");
  files::Write("list/b", "");
  files::Write("list/.c", "");
  fs::create_symlink("nowhere", Root() + "list/dangling");
  std::vector<std::string> names{"kept"};
  EXPECT_EQ(GetSubFolderOrFileName(Root() + "list", names, true), 0);
  EXPECT_EQ(names, (std::vector<std::string>{"kept", "sub"}));
  EXPECT_EQ(GetSubFolderOrFileName(Root() + "list", names, false), 0);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{".c", "b", "kept", "sub"}));
  testkit::LogCapture log;
  EXPECT_EQ(GetSubFolderOrFileName("/no/such", names, true), -1);
  EXPECT_EQ(log.Count("GetSubFolderOrFileName::Open Dir /no/such failed\n"), 1);
  const auto faults = FailingCall(OsCall::readdir, {.error = EIO});
  EXPECT_EQ(GetSubFolderOrFileName(Root() + "list", names, true), -1);
  EXPECT_EQ(names.size(), 4U);
}

TEST(Files, ReadingAWholeFile) {
  const std::string content("a\0\r\nb", 5);
  const std::string path = files::Write("file", content);
  files::Write("empty", "");
  std::vector<unsigned char> data{1};
  EXPECT_EQ(ReadLoaclFile(data, path), 0);
  EXPECT_EQ(std::string(data.begin(), data.end()), content);

  fs::resize_file(files::Write("huge", ""), std::uintmax_t{1} << 40);
  const struct {
    std::string name;
    OsCall failing;
    OsFault fault;
    const char* report;  // behind "TEGetFile::ReadLoaclFile "
  } rows[] = {
      {"none", OsCall::mkdir, {}, "NAME failed."},
      {"file", OsCall::stat, {.error = EIO}, "NAME failed."},
      {"empty", OsCall::mkdir, {}, "NAME is null."},
      {"file", OsCall::open, {.error = EIO}, "open NAME failed."},
      {"file", OsCall::read, {.limit = 4}, "read NAME failed."},
      {"file", OsCall::allocate, {.error = ENOMEM}, "read NAME failed."},
      {"huge", OsCall::mkdir, {}, "read NAME failed."},
      {"etc", OsCall::mkdir, {}, "read NAME failed."},
  };
  for (const auto& row : rows) {
    const auto faults = FailingCall(row.failing, row.fault);
    testkit::LogCapture log;
    data.assign(1, 1);
    EXPECT_EQ(ReadLoaclFile(data, Root() + row.name), 0x4108C00B) << row.report;
    EXPECT_TRUE(data.empty());
    std::string report = row.report;
    report.replace(report.find("NAME"), 4, Root() + row.name);
    EXPECT_EQ(log.Count("TEGetFile::ReadLoaclFile " + report), 1) << report;
  }
}

TEST(Files, Matching) {
  for (const char* file :
       {"m/a_1/conf/dev1/res/x", "m/a_1/conf/dev22/res/x", "m/a_2/conf/dev1/res/y", "m/b_1/conf/dev1/res/x",
        "m/a_/conf/other/res/x", "m/file", "m/aXa", "m/aa", "m/a"})
    files::Write(file, "");
  const struct {
    const char* pattern;
    std::vector<std::string> found;
    const char* why;
  } rows[] = {
      {"m/a_*/conf/dev*/res/x",
       {"m/a_1/conf/dev1/res/x", "m/a_1/conf/dev22/res/x"},
       "a star in two components"},
      {"m/a_*/conf/dev*/res/",
       {"m/a_1/conf/dev1/res/", "m/a_1/conf/dev22/res/", "m/a_2/conf/dev1/res/"},
       "folders"},
      {"m/a*a", {"m/aXa", "m/aa"}, "the star may stand for nothing, but not for a shared character"},
      {"m/*e/", {}, "a file is no folder"},
      {"m/file", {"m/file"}, "no star"},
      {"m/none", {}, "no such file"},
      {"m/none/*", {}, "no such folder"},
      {"m/**", {}, "refused"},
      {"m/a*_*/conf/dev*/res/x", {}, "refused"},
      {"", {}, "empty"},
  };
  for (const auto& row : rows) {
    std::vector<std::string> files{"old"};
    testkit::LogCapture log;
    GetMatchFile(*row.pattern == '\0' ? "" : Root() + row.pattern, files);
    for (std::string& file : files) file.erase(0, Root().size());
    EXPECT_EQ(files, row.found) << row.why;
    EXPECT_EQ(log.Count("GetMatchString  * more than once: "), std::string(row.why) == "refused" ? 1 : 0)
        << row.why;
  }
}

}  // namespace
