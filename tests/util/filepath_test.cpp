#include "util/basicutil/filepath.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "tests/test_base.h"
#include "util/basicutil/env_settings.h"

namespace {

namespace fs = std::filesystem;
using namespace NSTE_util;
using files::Root;

TEST(FilePath, TextsOfPaths) {
  // path -> absolute ("-": failed) parent
  for (const auto& [given, expected] :
       Rows("/a/b/../c/./d -> /a/c/d /a/c/;  \\a\\b\\  -> /a/b/ /a/; /a/b -> /a/b /a/; "
            "/a/./././b/. -> /a/b/. /a/b/; /a/b/c/../../d -> /a/d /a/; a/b/../c -> a/c a/; /a/..b -> b ; "
            "/a/../.. -> - ; /.. -> - ; a/.. -> - ; ./a -> - ; .hidden -> - ;  -> - ; / -> / ; a -> a ")) {
    std::string path = given;
    const bool failed = ConvertAbsolutePath(path) != 0;
    EXPECT_EQ((failed ? "-" : path) + " " + GetParentPath(given), expected) << given;
    EXPECT_TRUE(!failed || path == given) << "untouched on failure";
  }
  std::string path = " a/b\\c  ";
  ConvertPathtoWin32Mode(path);
  EXPECT_EQ(path, "a\\b\\c");
}

TEST(FilePath, BelowTheRoot) {
  ::setenv("VELA_ROOT", " /opt/x ", 1);
  for (const auto& [given, full] :
       Rows("./x -> /opt/x/x; ../x -> /opt/x/../x; x/y -> x/y; /y -> /y; .x -> .x")) {
    std::string path = given;
    EXPECT_EQ(GetFullPath(path), 0) << given;
    EXPECT_EQ(path, full);
  }
  const auto found = [](bool (*get)(std::string&)) {
    std::string path;
    return get(path) ? path : "nothing";
  };
  std::string path;
  EXPECT_EQ(GetFullPath(path), PATH_INVALID);
  const testkit::Language language("zh_CN");
  EXPECT_EQ(found(GetCoreResFilePath), "/opt/x/cbb/trans/core/res/zh_CN");
  const testkit::Language none("");
  EXPECT_EQ(found(GetResBasePath), "res/en_US");
  EXPECT_EQ(GetCoreFile("a.xml") + GetCoreFile("") + GetCoreFile("\\a.xml"),
            "/opt/x/cbb/trans/core/conf/a.xml/opt/x/cbb/trans/core/conf\\a.xml");
  ::setenv("VELA_ROOT", "/opt/y\\", 1);
  EXPECT_EQ(GetVELARootPath() + GetVELAPath(), "/opt/y\\/opt/y/etc/conf");
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
  EXPECT_EQ(GetModulePath(reinterpret_cast<const void*>(&files::Root), path), 0);
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
  const std::tuple<const char*, std::string, int, const char*> rows[] = {
      // folder, line, result, what is reported behind the line
      {"/", ours, 0, ""},
      {"/", "sh -c 'exit 7'", 7, ""},
      {"/", "sh -c 'kill -9 $$'", 128 + 9, ""},
      {"/usr", "sh -c 'test $PWD = /usr'", 0, ""},
      {"/", "test '' = \"\"", 0, ""},
      {"/", "test \"$HOME\" = '$'HOME", 0, ""},
      {"/", "test 'a b' = a\\ b", 0, ""},
      {"/", "test \"a\\\"\\\\b\\c\" = 'a\"\\b\\c'", 0, ""},
      {"/", "/no/such-program x", -1, ":spawn process failed,errno:2"},
      {"/no/such-folder", "true", -1, ":spawn process failed,errno:2"},
      {"/", "echo 'x", -1, ":spawn process failed,errno:22"},
      {"/", "echo x\\", -1, ":spawn process failed,errno:22"},
      {"/", "  ", -1, ":spawn process failed,errno:22"},
  };
  for (const auto& [folder, line, result, report] : rows) {
    testkit::LogCapture log;
    EXPECT_EQ(execCMD(folder, line), result) << line;
    EXPECT_EQ(log.Records().size(), result < 0 ? 1U : 0U) << line;
    EXPECT_EQ(log.Count("ExecuteCMD " + line + report), result < 0 ? 1 : 0) << line;
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
  const auto faults = Failing(OsCall::readdir, {.error = EIO});
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
  const std::tuple<std::string, OsCall, OsFault, const char*> rows[] = {
      // file, call that fails (mkdir: none), how, the report
      {"none", OsCall::mkdir, {}, "NAME failed."},
      {"file", OsCall::stat, {.error = EIO}, "NAME failed."},
      {"empty", OsCall::mkdir, {}, "NAME is null."},
      {"file", OsCall::open, {.error = EIO}, "open NAME failed."},
      {"file", OsCall::read, {.limit = 4}, "read NAME failed."},
      {"file", OsCall::allocate, {.error = ENOMEM}, "read NAME failed."},
      {"huge", OsCall::mkdir, {}, "read NAME failed."},
      {"etc", OsCall::mkdir, {}, "read NAME failed."},
  };
  for (const auto& [name, failing, fault, why] : rows) {
    const auto faults = Failing(failing, fault);
    testkit::LogCapture log;
    data.assign(1, 1);
    EXPECT_EQ(ReadLoaclFile(data, Root() + name), 0x4108C00B) << why;
    EXPECT_TRUE(data.empty());
    std::string report = why;
    report.replace(report.find("NAME"), 4, Root() + name);
    EXPECT_EQ(log.Count("TEGetFile::ReadLoaclFile " + report), 1) << report;
  }
}

TEST(Files, Matching) {
  for (const char* file :
       {"m/a_1/conf/dev1/res/x", "m/a_1/conf/dev22/res/x", "m/a_2/conf/dev1/res/y", "m/b_1/conf/dev1/res/x",
        "m/a_/conf/other/res/x", "m/file", "m/aXa", "m/aa", "m/a"})
    files::Write(file, "");
  const std::tuple<std::string, std::vector<std::string>, const char*> rows[] = {
      {"m/a_*/conf/dev*/res/x", {"m/a_1/conf/dev1/res/x", "m/a_1/conf/dev22/res/x"}, "two components"},
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
  for (const auto& [pattern, found, why] : rows) {
    std::vector<std::string> files{"old"};
    testkit::LogCapture log;
    GetMatchFile(pattern.empty() ? "" : Root() + pattern, files);
    for (std::string& file : files) file.erase(0, Root().size());
    EXPECT_EQ(files, found) << why;
    EXPECT_EQ(log.Count("GetMatchString  * more than once: "), std::string(why) == "refused") << why;
  }
}

}  // namespace
