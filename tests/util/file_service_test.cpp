#include "util/basicutil/file_service.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <iterator>
#include <latch>
#include <sstream>

#include "asn1/filetransfer.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/os/beneath.h"
#include "tests/files.h"
#include "tests/platform/task_fixture.h"
#include "util/basicutil/compress.h"
#include "util/basicutil/cvelaappfile.h"

namespace {

namespace fs = std::filesystem;
using namespace NSTE_util;
using enum vela::OsCall;
using vela::OsFault;

std::string Deflated(const std::string& text) {
  MemCompresser out(text.data(), text.size());
  return out.Process() == 0 ? std::string(out.GetProcessedDataPtr(), out.GetProcessedDataLen()) : "";
}

// A client on the bus that asks the service.
class Asker {
 public:
  explicit Asker(std::uint16_t handle) : m_self(301, handle) {}

  // 'g'et, 's'end, 'd'elete the file, or 'l'ist its folder; what came is in `got`.
  std::uint32_t Do(char command, const std::string& name, const std::string& deflated = Deflated("new")) {
    AsnGetRemoteFileReq req;  // looks as that of a deletion
    AsnGetRemoteFileRsp rsp;
    AsnSendRemoteFileReq sent;
    AsnSendRemoteFileRsp done;
    AsnGetRemoteFileNamesReq folder;
    AsnGetRemoteFileNamesRsp names;
    req.fileName = sent.fileName = AsnOcts(name.data(), name.size());
    sent.content = AsnOcts(deflated.data(), deflated.size());
    folder.folder = AsnOcts(name.data(), name.rfind('/') + 1);
    const std::uint32_t code = command == 'g'   ? Ask(CMD_GET_REMOTE_FILE, req, rsp)
                               : command == 's' ? Ask(CMD_SEND_REMOTE_FILE, sent, done)
                               : command == 'd' ? Ask(CMD_DELETE_REMOTE_FILE, req, done)
                                                : Ask(CMD_GET_REMOTE_FILE_NAMES, folder, names);
    MemUncompresser out(rsp.content.data().data(), rsp.content.Len());
    got = out.Process() == 0 ? std::string(out.GetProcessedDataPtr(), out.GetProcessedDataLen()) : "";
    for (const AsnOcts& found : names.names) got += found.data() + " ";
    return code;
  }
  std::string got;

 private:
  template <class Rsp>
  std::uint32_t Ask(std::uint32_t cmdCode, const AsnType& req, Rsp& rsp) {
    m_member.Clear();
    auto request = testkit::MakeFrame({.srcProcId = m_self.Number(),
                                       .srcHandle = m_self.Handle(),
                                       .cmdCode = cmdCode,
                                       .payload = testkit::Encoded(req)});
    EXPECT_EQ(m_member->Send(*request), vela::BusResult::ok);
    const std::string body = m_member.Await(1).at(0).body;
    EXPECT_EQ(CAsnHelper::Decode({reinterpret_cast<const unsigned char*>(body.data()), body.size()}, rsp),
              0u);
    if (rsp.result.choiceId == AsnRemoteFileResult::successCid) return 0;
    return static_cast<std::uint32_t>(static_cast<AsnIntType>(*rsp.result.errorCode));
  }

  const CProcID m_self;
  BusMember m_member{vela::MakeInProcessBus(task_test::Options()), m_self};
};

// A server with the service, and a client.
class FileService : public ::testing::Test {
 protected:
  FileService() {
    Configure("FileServiceMaxBytes = 100000\n");
    for (const char* name : {"served/both/f", "served/both/d/f", "served/other/f"}) files::Write(name, "old");
    for (const char* name : {"secret/f", "secret/hidden"}) files::Write(name, "secret");
    fs::create_directory_symlink(root + "secret", root + "served/both/l");
    EXPECT_EQ(asker.Do('s', "new/warm"), 0u);
    EXPECT_EQ(asker.Do('g', "both/f"), 0u);
  }
  ~FileService() override {
    EXPECT_EQ(files::Read("secret/f") + files::Read("secret/hidden"), "secretsecret");
    EXPECT_EQ(Count(root + "secret"), 2) << "nothing added outside";
  }
  void Configure(const std::string& more) {
    files::Write("etc/conf/vela.cfg", "FileServiceFolder = " + root + "served\nFileServiceRead = ./both/\n" +
                                          "FileServiceWrite = new, both\nFileServiceDelete = both,..\n" +
                                          more);
    EXPECT_EQ(RegFileService(1), 0);
  }
  static long Count(const std::string& folder) {
    return std::distance(fs::recursive_directory_iterator(folder), {});
  }

  const std::string root = files::Root();
  testkit::LogCapture log;
  task_test::Process process{task_test::Workers(4)};
  Asker asker{1};
};
using FileServiceThreaded = FileService;

TEST_F(FileService, NothingOutsideItsFolderIsTouched) {
  fs::create_symlink(root + "secret/f", root + "served/both/link");
  fs::create_symlink("../other/f", root + "served/both/inner");
  ASSERT_EQ(::mkfifo((root + "served/both/pipe").c_str(), 0600), 0);
  std::istringstream table(R"(
/ // . ./ .. ../ ../.. ./.. .././ ..// //.. /.. ../both/f ../served/both/f ../secret/f ../secret/new ../../secret/f
      ./../secret/f both/.. both/../.. both/../../secret/f both/../../secret/new both/../f both/./../f both//..//f
      both/d/.. both/d/../f both/d/../../../secret/f both/f/.. both/f/../f both/l/.. both/l/../f new/../both/f
      new/../../secret/f no/../both/f other other/ other/f ./other//f other/../both/f other/no bothf bot/h bot Both/f
      BOTH/f both.f both./f .both/f both/f/ both/f// both/f/. both/f/f both/f/./f both/pipe/ both/pipe/f both/link/f
      both/l/ both/l/f both/l/./f both/l/new both/l/hidden ./both/./l/f both/l/no/f .incoming .incoming/x
      ./.incoming/x both/.incoming both/.incoming/x /both/f //both/f /both/../secret/f /etc/passwd
      /proc/self/root/etc/passwd /dev/null /secret/f C:/both/f both:f both/f:x :both/f file:///etc/passwd both\f
      both\..\f both\..\..\secret\f \both\f \\host\both\f both/\f both/..\f ~/f $VELA_ROOT/secret/f `id` *
      %2e%2e/secret/f ..%2fsecret/f secret secret/f)");
  std::vector<std::string> bad{std::istream_iterator<std::string>(table), {}};  // more than a hundred
  for (const std::string& c :
       {std::string(1, '\0'), std::string("\n"), std::string("\x1B"), std::string(300, 'a')})
    for (const std::string& name : {c + "both/f", "both/" + c + "f", "both/f" + c, "both" + c + "/../f"})
      bad.push_back(name);
  bad.insert(bad.end(), {"", root, root + "secret/f", root + "served/both/f", "..\xC0\xAFsecret/f"});
  std::atomic<int> escapes = 0;
  const testkit::OsFaults seam([&](vela::OsCall, const char* path) {
    const std::string name = path == nullptr || path == root + "served" ? "" : path;
    escapes += name == ".." || name.find('/') != std::string::npos;
    return OsFault{};
  });
  const auto inside = Count(root + "served");
  int refused = 0;
  const auto refuses = [&](const std::string& commands, const std::string& name) {
    for (const char command : commands) {
      EXPECT_NE(asker.Do(command, name + (command == 'l' ? "/" : "")), 0u) << command << name;
      EXPECT_EQ(log.Count("File service: 0x"), ++refused) << command << name;
      EXPECT_EQ(asker.got, "") << command << name;
      EXPECT_EQ(escapes, 0) << command << name;
    }
  };
  for (const std::string& name : bad) refuses("gsdl", name);
  for (const char* name :
       {"both/link", "both/inner", "both/l", "both/d", "both/d/", "both/pipe", "both", "both/"})
    refuses("gsd", name);
  EXPECT_EQ(Count(root + "served"), inside);
  EXPECT_EQ(files::Read("served/both/f"), "old");
  EXPECT_EQ(asker.Do('g', "new/warm"), FILE_SERVICE_REFUSED) << "written below, not read";
  EXPECT_EQ(asker.Do('l', "both/"), 0u);
  EXPECT_EQ(asker.got, "f ");
  EXPECT_EQ(escapes, 0) << "not even the facts of what is above";
}

TEST_F(FileService, TransfersWithinTheLimits) {
  fs::permissions(root + "served/both/f", fs::perms(0640));
  const std::string text(100000, 'a');
  EXPECT_EQ(asker.Do('s', "both/f", Deflated(text)), 0u);
  EXPECT_EQ(asker.Do('g', "./both//f"), 0u);
  EXPECT_EQ(asker.got, text);
  EXPECT_EQ(fs::status(root + "served/both/f").permissions(), fs::perms(0640));
  EXPECT_EQ(asker.Do('s', "new/a/b", Deflated("")), 0u);
  EXPECT_TRUE(fs::is_empty(root + "served/new/a/b"));
  EXPECT_EQ(asker.Do('s', "both/f", Deflated(text + "a")), VELA_ERR_TOO_LARGE);
  EXPECT_EQ(asker.Do('s', "both/f", Deflated(text).substr(0, 60)), VELA_ERR_DECODE);
  EXPECT_EQ(files::Read("served/both/f"), text);
  files::Write("served/both/f", text + "a");
  EXPECT_EQ(asker.Do('g', "both/f"), VELA_ERR_TOO_LARGE);
  EXPECT_EQ(asker.Do('d', "both/f"), 0u);
  EXPECT_EQ(asker.Do('g', "both/f"), FILE_SERVICE_NO_FILE);
}

TEST_F(FileService, OnlyLeftoversOfTheDeadAreRemoved) {
  const std::string folder = "served/.incoming/", ours = folder + std::to_string(::getpid()) + ".";
  for (const char* name : {"1.1", "9999999.20", "7.7", "1", "1.", ".1", "1.1x", "x.1"})
    files::Write(folder + name, "half");
  const int owner = ::open((root + folder + "7.7").c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(::flock(owner, LOCK_EX), 0);
  Configure("");
  EXPECT_EQ(Count(root + folder), 6) << "not 1.1 and 9999999.20";
  EXPECT_TRUE(fs::exists(root + folder + "7.7")) << "somebody is at it";
  ::close(owner);
  for (const int n : {2, 3, 4}) files::Write(ours + std::to_string(n), "of a process that had our number");
  const testkit::OsFaults another([&](vela::OsCall call, const char*) {
    if (call == write || call == rename) vela::BeneathFolder(root + "served").RemoveLeftovers();
    return OsFault{};
  });
  EXPECT_EQ(asker.Do('s', "both/f"), 0u) << "while another server starts";
  EXPECT_EQ(files::Read("served/both/f"), "new");
}

TEST_F(FileService, FailuresOfTheSystemLeaveTheOldFile) {
  constexpr auto FAILED = VELA_ERR_GENERAL, UNWRITTEN = FILE_SERVICE_NOT_WRITTEN;
  // Which call, and which one of it, fails.
  const std::tuple<char, int, std::uint32_t, std::vector<std::pair<vela::OsCall, int>>> rows[] = {
      {'g', EIO, FAILED, {{opendir, 0}, {open, 0}, {stat, 0}, {stat, 1}, {read, 0}}},
      {'g', ENOENT, FILE_SERVICE_NO_FILE, {{opendir, 0}, {opendir, 1}, {open, 0}}},
      {'g', ENOMEM, VELA_ERR_MEMORY, {{opendir, 1}, {allocate, 0}}},
      {'g', EIO, 0, {{close, 0}}},
      {'s', EIO, UNWRITTEN, {{opendir, 0}, {opendir, 4}, {write, 1}, {stat, 0}, {close, 0}, {rename, 0}}},
      {'s', ENOSPC, UNWRITTEN, {{mkdir, 0}, {open, 0}, {write, 0}, {write, 1}, {close, 0}}},
      {'d', EACCES, FILE_SERVICE_REFUSED, {{opendir, 0}, {opendir, 1}, {stat, 0}, {unlink, 0}}},
      {'d', EIO, FAILED, {{opendir, 0}, {stat, 0}, {unlink, 0}}},
      {'l', EIO, FAILED, {{opendir, 0}, {opendir, 1}, {readdir, 0}}},
      {'l', EIO, 0, {{stat, 0}}},
  };
  const auto descriptors = Count("/proc/self/fd");
  const auto check = [&](char command, int error, std::uint32_t code, vela::OsCall call, int skipped) {
    SCOPED_TRACE(command + std::to_string(static_cast<int>(call)) + "." + std::to_string(skipped));
    fs::remove_all(root + "served/.incoming");
    log.Clear();
    std::atomic<int> left = skipped;
    std::atomic<bool> opened = false;  // memory is asked for on the way to the service too
    const testkit::OsFaults faults([&](vela::OsCall asked, const char*) {
      opened = opened || asked == open;
      const bool fails = asked == call && (asked != allocate || opened) && left-- == 0;
      return OsFault{.error = fails ? error : 0};
    });
    EXPECT_EQ(asker.Do(command, "both/f"), code);
    EXPECT_LT(left, 0);
    EXPECT_EQ(log.Count("File service: 0x"), code != 0);
    EXPECT_EQ(files::Read("served/both/f"), "old");
    EXPECT_TRUE(!fs::exists(root + "served/.incoming") || fs::is_empty(root + "served/.incoming"));
    EXPECT_EQ(Count("/proc/self/fd"), descriptors);
  };
  for (const auto& [command, error, code, calls] : rows)
    for (const auto& [call, skipped] : calls) check(command, error, code, call, skipped);
}

TEST_F(FileServiceThreaded, TransfersShareOneMemory) {
  Configure("FileServiceMaxMemory = 500000\n");  // for one
  Asker other(2);
  for (const auto& [command, held] : {std::pair('g', read), std::pair('s', write)}) {
    std::latch inside(1), go(1);
    std::atomic<bool> first = true;
    const testkit::OsFaults faults([&, awaited = held](vela::OsCall call, const char*) {
      if (call != awaited || !first.exchange(false)) return OsFault{};
      inside.count_down();
      go.wait();
      return OsFault{};
    });
    std::thread transfer([&, what = command] { EXPECT_EQ(asker.Do(what, "both/f"), 0u); });
    inside.wait();
    EXPECT_EQ(other.Do('g', "both/f"), VELA_ERR_OVERLOAD);
    EXPECT_EQ(other.Do('s', "both/f"), VELA_ERR_OVERLOAD);
    go.count_down();
    transfer.join();
    EXPECT_EQ(other.Do('s', "both/f") + other.Do('g', "both/f"), 0u) << "given back";
  }
}

// A folder of the service and a link that leads out of it change places at every third step of its threads.
TEST_F(FileServiceThreaded, ClientsWhileAFolderIsSwappedForALink) {
  Configure("FileServiceMaxMemory = 1000000\n");  // for two
  const std::string folder = root + "served/both/d", link = root + "served/both/l";
  std::atomic<int> steps = 0;
  {
    const testkit::OsFaults seam([&](vela::OsCall, const char* path) {
      if (path != nullptr && ++steps % 3 == 0)
        ::renameat2(AT_FDCWD, folder.c_str(), AT_FDCWD, link.c_str(), RENAME_EXCHANGE);
      return OsFault{};
    });
    std::vector<std::thread> clients;
    for (std::uint16_t i = 2; i <= 4; ++i) {
      clients.emplace_back([i] {
        Asker client(i);
        for (int round = 0; round < 100; ++round) {
          client.Do("gsdl"[round % 4], "both/d/f");
          EXPECT_TRUE(client.got != "secret" && client.got.find("hidden") == std::string::npos);
        }
      });
    }
    for (std::thread& client : clients) client.join();
  }
  EXPECT_GT(steps, 1000);
  EXPECT_TRUE(fs::is_symlink(folder) != fs::is_symlink(link)) << "swapped";
  EXPECT_EQ(asker.Do('s', "both/f") + asker.Do('g', "both/f"), 0u) << "nothing is held for ever";
}

}  // namespace
