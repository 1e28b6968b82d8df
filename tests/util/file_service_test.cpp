#include "util/basicutil/file_service.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "asn1/filetransfer.h"
#include "platform/asncmd/asn_helper.h"
#include "tests/files.h"
#include "tests/platform/task_fixture.h"
#include "util/basicutil/compress.h"
#include "util/basicutil/cvelaappfile.h"

namespace {

namespace fs = std::filesystem;
using namespace NSTE_util;
using vela::OsCall;

std::string Deflated(const std::string& text) {
  MemCompresser out(text.data(), text.size());
  return out.Process() == 0 ? std::string(out.GetProcessedDataPtr(), out.GetProcessedDataLen()) : "";
}

// A server with the service, and a client on the bus that asks it.
class FileService : public ::testing::Test {
 protected:
  FileService() {
    Configure("FileServiceMaxBytes = 100000\n");
    files::Write("served/both/f", "old");
    files::Write("served/other/f", "other");
    files::Write("secret/f", "secret");
  }
  void Configure(const std::string& more) {
    files::Write("etc/conf/vela.cfg", "FileServiceFolder = " + root + "served\nFileServiceRead = ./both/\n" +
                                          "FileServiceWrite = new, both\nFileServiceDelete = both,..\n" +
                                          more);
    EXPECT_EQ(RegFileService(1), 0);
  }
  template <class Rsp>
  std::uint32_t Ask(std::uint32_t cmdCode, const AsnType& req, Rsp& rsp) {
    process.client->Clear();
    auto request = testkit::MakeFrame({.srcProcId = task_test::kClient.Number(),
                                       .srcHandle = task_test::kClient.Handle(),
                                       .cmdCode = cmdCode,
                                       .payload = testkit::Encoded(req)});
    request->dstProcId = task_test::kServer.Number();
    request->dstHandle = task_test::kServer.Handle();
    EXPECT_EQ((*process.client)->Send(*request), vela::BusResult::ok);
    const std::string body = process.client->Await(1).at(0).body;
    EXPECT_EQ(CAsnHelper::Decode({reinterpret_cast<const unsigned char*>(body.data()), body.size()}, rsp),
              0u);
    if (rsp.result.choiceId == AsnRemoteFileResult::successCid) return 0;
    return static_cast<std::uint32_t>(static_cast<AsnIntType>(*rsp.result.errorCode));
  }
  template <class Req, class Rsp>
  std::uint32_t AskFor(std::uint32_t cmdCode, const std::string& name, Rsp& rsp, Req req = {}) {
    req.fileName.Set(name.data(), name.size());
    return Ask(cmdCode, req, rsp);
  }
  std::uint32_t Get(const std::string& name) {
    AsnGetRemoteFileRsp rsp;
    const std::uint32_t code = AskFor<AsnGetRemoteFileReq>(CMD_GET_REMOTE_FILE, name, rsp);
    MemUncompresser out(rsp.content.data().data(), rsp.content.Len());
    got = out.Process() == 0 ? std::string(out.GetProcessedDataPtr(), out.GetProcessedDataLen()) : "";
    return code;
  }
  std::uint32_t Send(const std::string& name, const std::string& deflated) {
    AsnSendRemoteFileReq req;
    req.content.Set(deflated.data(), deflated.size());
    AsnSendRemoteFileRsp rsp;
    return AskFor(CMD_SEND_REMOTE_FILE, name, rsp, req);
  }
  std::uint32_t Delete(const std::string& name) {
    AsnDeleteRemoteFileRsp rsp;
    return AskFor<AsnDeleteRemoteFileReq>(CMD_DELETE_REMOTE_FILE, name, rsp);
  }
  std::uint32_t List(const std::string& folder) {
    AsnGetRemoteFileNamesReq req;
    req.folder.Set(folder.data(), folder.size());
    AsnGetRemoteFileNamesRsp rsp;
    const std::uint32_t code = Ask(CMD_GET_REMOTE_FILE_NAMES, req, rsp);
    names.clear();
    for (const AsnOcts& name : rsp.names) names += name.data() + " ";
    return code;
  }
  static long Count(const std::string& folder) {
    return std::distance(fs::recursive_directory_iterator(folder), {});
  }

  const std::string root = files::Root();
  std::string got, names;
  testkit::LogCapture log;
  task_test::Process process;
};

TEST_F(FileService, NothingOutsideItsFolderIsTouched) {
  fs::create_symlink(root + "secret/f", root + "served/both/link");
  fs::create_symlink("../other/f", root + "served/both/inner");
  fs::create_directory_symlink(root + "secret", root + "served/both/dir");
  ASSERT_EQ(::mkfifo((root + "served/both/pipe").c_str(), 0600), 0);
  const std::string bad[] = {"",
                             "/",
                             "..",
                             "../secret/f",
                             "both/../../secret/f",
                             "both/..",
                             "both/../f",
                             "both/./../f",
                             "other/f",
                             "other/../both/f",
                             "bothf",
                             "bot/h",
                             "BOTH/f",
                             "/both/f",
                             "//both/f",
                             root + "served/both/f",
                             root + "secret/f",
                             "both\\..\\f",
                             "both:f",
                             "C:/both/f",
                             "both/f\n",
                             "both/\x1b[2J",
                             "both/dir/f",
                             "both/dir/new",
                             "both/dir/../f",
                             ".incoming/x",
                             "./.incoming/x",
                             "both/.incoming",
                             "both/f/f",
                             "both/f/",
                             std::string("both/f\0x", 8),
                             std::string("both/f\0", 7),
                             "both/" + std::string(1100, 'a'),
                             "both/pipe/x"};
  const auto outside = Count(root + "secret") + Count(root + "served");
  int refused = 0;
  const auto refuses = [&](std::uint32_t code, const std::string& what) {
    EXPECT_NE(code, 0u) << what;
    EXPECT_EQ(log.Count("File service: 0x"), ++refused) << what;
    EXPECT_EQ(got + names, "") << what;
  };
  for (const std::string& name : bad) {
    refuses(Get(name), "read " + name);
    refuses(Send(name, Deflated("x")), "write " + name);
    refuses(Delete(name), "delete " + name);
    if (name != "both/../f") refuses(List(name), "list " + name);
  }
  for (const char* name : {"both/link", "both/inner", "both/dir", "both/pipe", "both", "both/"}) {
    refuses(Get(name), name);
    refuses(Send(name, Deflated("x")), name);
    refuses(Delete(name), name);
  }
  EXPECT_GT(refused, 100);
  EXPECT_EQ(Count(root + "secret") + Count(root + "served"), outside + 1) << "but for the folder under way";
  EXPECT_EQ(files::Read("secret/f") + files::Read("served/both/f"), "secretold");
  EXPECT_EQ(List("both") + Get("new/f"), FILE_SERVICE_REFUSED) << "written below, not read";
  EXPECT_EQ(names, "f ");
}

TEST_F(FileService, TransfersWithinTheLimits) {
  fs::permissions(root + "served/both/f", fs::perms(0640));
  const std::string longer(100001, 'a');
  const std::string text(100000, 'a');
  EXPECT_EQ(Send("both/f", Deflated(text)), 0u);
  EXPECT_EQ(Get("./both//f"), 0u);
  EXPECT_EQ(got, text);
  EXPECT_EQ(fs::status(root + "served/both/f").permissions(), fs::perms(0640));
  EXPECT_EQ(Send("new/a/b", Deflated("")), 0u);
  EXPECT_TRUE(fs::is_empty(root + "served/new/a/b"));
  EXPECT_EQ(Send("both/f", Deflated(longer)), VELA_ERR_TOO_LARGE);
  EXPECT_EQ(Send("both/f", Deflated(text).substr(0, 60)), VELA_ERR_DECODE);
  EXPECT_EQ(files::Read("served/both/f"), text);
  EXPECT_TRUE(fs::is_empty(root + "served/.incoming"));
  files::Write("served/both/f", longer);
  EXPECT_EQ(Get("both/f"), VELA_ERR_TOO_LARGE);
  Configure("FileServiceMaxMemory = 1000\n");
  EXPECT_EQ(Get("both/f"), VELA_ERR_OVERLOAD);
  EXPECT_EQ(Delete("both/f"), 0u);
  EXPECT_EQ(Get("both/f"), FILE_SERVICE_NO_FILE);
}

TEST_F(FileService, FailuresOfTheSystemLeaveTheOldFile) {
  const std::tuple<OsCall, char> rows[] = {
      {OsCall::open, 'g'},    {OsCall::opendir, 'g'}, {OsCall::read, 'g'},   {OsCall::open, 's'},
      {OsCall::opendir, 's'}, {OsCall::write, 's'},   {OsCall::stat, 's'},   {OsCall::close, 's'},
      {OsCall::rename, 's'},  {OsCall::stat, 'd'},    {OsCall::unlink, 'd'}, {OsCall::readdir, 'l'}};
  EXPECT_EQ(Send("new/warm", Deflated("x")) + Get("both/f"), 0u);
  const auto descriptors = Count("/proc/self/fd");
  for (const auto& [failing, command] : rows) {
    SCOPED_TRACE(command + std::to_string(static_cast<int>(failing)));
    std::atomic<int> left = 1;
    const testkit::OsFaults faults([&, bad = failing](OsCall call, const char*) {
      return vela::OsFault{.error = call == bad && left-- == 1 ? EIO : 0};
    });
    EXPECT_NE(command == 'g'   ? Get("both/f")
              : command == 's' ? Send("both/f", Deflated("new"))
              : command == 'd' ? Delete("both/f")
                               : List("both"),
              0u);
    EXPECT_EQ(files::Read("served/both/f"), "old");
    EXPECT_EQ(Count("/proc/self/fd"), descriptors);
  }
}

}  // namespace
