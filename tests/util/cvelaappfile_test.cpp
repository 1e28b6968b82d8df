#include "util/basicutil/cvelaappfile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "asn1/filetransfer.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/os/host_info.h"
#include "platform/task/vela_error.h"
#include "platform/testkit/testkit.h"
#include "tests/files.h"
#include "util/basicutil/compress.h"

namespace {

using namespace NSTE_util;
using vela::OsCall;
using vela::OsFault;
using enum vela::OsCall;
namespace fs = std::filesystem;
using Names = std::vector<std::string>;

constexpr CProcID kSelf(51, 1), kOwner(60, 1);
constexpr int kGeneral = VELA_ERR_GENERAL, kMemory = VELA_ERR_MEMORY;

template <class Processer>
std::string Processed(const std::string& text) {
  Processer out(text.data(), text.size());
  return out.Process() == 0 ? std::string(out.GetProcessedDataPtr(), out.GetProcessedDataLen()) : "(failed)";
}

// The test is a server process; what it sends to others is answered by an owner of one file.
class AppFile : public ::testing::Test {
 protected:
  AppFile() {
    EXPECT_EQ(::chdir(files::Root().c_str()), 0);
    Processed<MemUncompresser>("");  // reads the configuration
  }
  template <class Rsp>
  std::string Judged(Rsp& rsp) const {
    rsp.result.choiceId = AsnRemoteFileResult::ChoiceIdEnum(refusal >= 0);
    if (refusal < 0) rsp.result.success = new AsnNull;
    if (refusal >= 0) rsp.result.errorCode = new AsnInt(refusal);
    return testkit::Encoded(rsp);
  }
  std::string AnswerTo(const VelaCmdMSG& frame) {
    AsnGetProcIPRsp place;
    place.result = addressResult;
    place.address = address.c_str();
    if (frame.cmdCode == CMD_GET_PROC_IP) return testkit::Encoded(place);
    AsnGetRemoteFileNamesRsp listed;
    *listed.names.append() = "f";
    if (frame.cmdCode == CMD_GET_REMOTE_FILE_NAMES) return Judged(listed);
    const std::span<const unsigned char> payload(frame.data, VelaPayloadLength(frame));
    AsnSendRemoteFileReq send;
    if (frame.cmdCode == CMD_SEND_REMOTE_FILE && refusal < 0 && CAsnHelper::Decode(payload, send) == 0)
      owned = Processed<MemUncompresser>(send.content.data());
    AsnGetRemoteFileRsp got;
    const std::string content = damaged ? "damaged" : Processed<MemCompresser>(owned);
    got.content.Set(content.data(), content.size());
    AsnSendRemoteFileRsp done;
    return frame.cmdCode == CMD_GET_REMOTE_FILE ? Judged(got) : Judged(done);
  }
  bool Answer(const VelaCmdMSG& frame) {
    serving = true;
    sent += "IGSDNA"[frame.cmdCode == CMD_GET_PROC_IP ? 0 : frame.cmdCode - CMD_GET_REMOTE_FILE + 1];
    VelaMsgPtr rsp = testkit::MakeFrame(
        {.cmdCode = frame.cmdCode, .sn = frame.sn, .kind = VELA_KIND_RESPONSE, .payload = AnswerTo(frame)});
    rsp->dstTaskId = frame.srcTaskId;
    task.Deliver(std::move(rsp));
    return serving = false;
  }

  std::string owned = "old", address, sent;  // `sent`: a letter for each command
  int addressResult = 0, refusal = -1;       // -1: none
  bool damaged = false, serving = false;
  testkit::ProcessAddress self{51, 1};
  testkit::CurrentTask task;
  testkit::LogCapture log;
  testkit::FrameCapture capture{[this](const VelaCmdMSG& frame) { return Answer(frame); }};
};

TEST_F(AppFile, ModesDecideWhatIsFetchedSentBackAndKept) {
  const std::tuple<int, std::string, std::string> rows[] = {
      {APPFILE_READ, "IG", ""},        {APPFILE_READ_BINARY, "IG", ""},
      {APPFILE_APPEND, "IGS", "old+"}, {APPFILE_APPEND_BINARY, "IGS", "old+"},
      {APPFILE_TRUNCATE, "IS", "+"},   {APPFILE_TRUNCATE_BINARY, "IS", "+"},
      {2, "IG", "(refused)"},          {35, "IG", "(refused)"}};
  Names names;
  EXPECT_EQ(CVelaAppFile::GetLocalFiles("no\nne", names, ""), kGeneral);
  for (const char* folder : {"", "."})
    EXPECT_EQ(CVelaAppFile(folder, APPFILE_READ, 1, kSelf).GetResult(), kGeneral);
  for (const auto& [mode, commands, written] : rows) {
    for (const bool remote : {false, true}) {
      for (const unsigned type : {APPFILE_C, APPFILE_STREAM}) {
        SCOPED_TRACE(mode * 10 + static_cast<int>(type));
        fs::remove_all(files::Root() + "d");
        owned = "old";
        sent.clear();
        if (!remote) files::Write("d/f", "old");
        CVelaAppFile file("d/f", mode, type, remote ? kOwner : kSelf);
        const bool changed = file.GetResult() == 0 && !written.empty();
        EXPECT_EQ(file.GetResult(), written == "(refused)" ? kGeneral : 0);
        if (changed && type == APPFILE_C) std::fputs("+", file.GetFile());
        if (changed && type == APPFILE_STREAM) file.GetStream() << "+";
        file.Open("other", APPFILE_READ, 2, kSelf);
        EXPECT_EQ(file.GetResult(), kGeneral);
        EXPECT_EQ(file.Close(), 0);
        EXPECT_EQ(sent, remote ? commands : "");
        EXPECT_EQ(owned, remote && changed ? written : "old");
        EXPECT_EQ(files::Read("d/f"), changed ? written : remote ? "" : "old");
      }
    }
  }
  EXPECT_EQ(log.Count("CVelaAppFile::Open Dir no\\x0Ane failed\n"), 1);
  EXPECT_EQ(log.Count("CVelaAppFile::file has be open... "), 1) << "in the block before an assertion";
  EXPECT_EQ(log.Count("ASSERT: file util/basicutil/cvelaappfile"), 8) << "a third type";
}

TEST_F(AppFile, AnOwnerIsLocalByItsNumbersOrByItsAddress) {
  const std::string own = CHostInfo::GetIPAddresses().at(0);
  const std::tuple<CProcID, std::string, int, bool> rows[] = {
      {{51, 1}, "", 0, true},      {{51, 0}, "", 0, true},        {{51, 10001}, "", 0, true},
      {{51, 10000}, "", 0, false}, {{51, 2}, own, 0, true},       {{60, 1}, own, 0, true},
      {{60, 1}, own, 5, false},    {{60, 1}, own + "1", 0, false}};
  files::Write("d/here", "");
  for (const auto& [process, given, result, local] : rows) {
    address = given;
    addressResult = result;
    sent.clear();
    Names names{"before"};
    EXPECT_EQ(CVelaAppFile::GetFiles("d", names, process, "*"), 0);
    EXPECT_EQ(names, local ? Names{"here"} : (Names{"before", "f"})) << process.Value() << given;
    EXPECT_EQ(sent, !local ? "IN" : given.empty() ? "" : "I");
  }
}

TEST_F(AppFile, FailuresOfTheOwnerBecomeTheResult) {
  const std::tuple<int, bool, int> rows[] = {
      {0x42001234, false, 0x42001234}, {0, false, kGeneral}, {-1, true, kGeneral}, {-1, false, 0}};
  CVelaAppFile file;
  for (const auto& [code, broken, result] : rows) {
    refusal = code;
    damaged = broken;
    file.Open("C:/x/server/script/a", APPFILE_READ, APPFILE_C, kOwner);
    EXPECT_EQ(file.GetResult(), result);
    EXPECT_EQ(fs::exists("script/a"), result == 0) << "its place below this root";
  }
  EXPECT_EQ(file.Close(), -1) << "removed under its full name";
  refusal = 0x42001234;
  EXPECT_EQ(file.DeleteFileA("d/f", kOwner), refusal);
  file.Open("d/f", APPFILE_TRUNCATE, APPFILE_STREAM, kOwner);
  file.GetStream() << "mine";
  EXPECT_EQ(file.Close(), refusal);
  EXPECT_EQ(files::Read("d/f"), "mine") << "what could not be sent stays";
}

TEST_F(AppFile, FailuresOfTheSystemBecomeTheResult) {
  Names names;
  const auto list = [&] { return CVelaAppFile::GetLocalFiles("in", names, ""); };
  const auto make = [] { return int{CVelaAppFile::CreateFolder("./in/x")}; };
  const auto drop = [] { return CVelaAppFile().DeleteFileA("in/f", kSelf); };
  const auto look = [] { return CVelaAppFile("in/f", APPFILE_READ, APPFILE_STREAM, kSelf).GetResult(); };
  const auto use = [](int mode, bool closes) {
    CVelaAppFile file("d/f", mode, APPFILE_C, kOwner);
    const int result = closes ? file.Close() : file.GetResult();
    EXPECT_EQ(fs::exists("d/f"), closes) << "what cannot be given back stays";
    return result;
  };
  const auto add = [&] { return use(APPFILE_APPEND, false); };
  const auto back = [&] { return use(APPFILE_APPEND, true); };
  const auto give = [&] { return use(APPFILE_READ, true); };
  const std::tuple<OsCall, int, std::function<int()>, int> rows[] = {
      {opendir, 0, list, kGeneral}, {readdir, 0, list, kGeneral}, {mkdir, 0, make, 0},
      {unlink, 0, drop, -1},        {open, 0, look, kGeneral},    {unlink, 0, give, -1},
      {mkdir, 0, add, kGeneral},    {open, 0, add, kGeneral},     {open, 1, add, kGeneral},
      {write, 0, add, kGeneral},    {close, 1, add, kGeneral},    {allocate, 2, add, kMemory},
      {allocate, 3, back, kMemory}, {open, 2, back, kGeneral},    {allocate, 4, back, kMemory},
      {stat, 0, back, kGeneral},    {read, 0, back, kGeneral},    {close, 3, back, kGeneral}};
  const auto descriptors = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
  const long before = descriptors();
  for (const auto& [failing, skipped, step, result] : rows) {
    SCOPED_TRACE(static_cast<int>(failing) * 10 + skipped);
    for (const char* folder : {"d", "in"}) fs::remove_all(folder);
    files::Write("in/f", "");
    const testkit::OsFaults faults([&, bad = failing, left = skipped](OsCall call, const char*) mutable {
      return OsFault{.error = !serving && call == bad && left-- == 0 ? EIO : 0};
    });
    EXPECT_EQ(step(), result);
    EXPECT_EQ(descriptors(), before);
  }
  fs::create_symlink("/dev/full", "full");
  for (const unsigned type : {APPFILE_C, APPFILE_STREAM}) {
    sent.clear();
    CVelaAppFile file("full", APPFILE_TRUNCATE, type, kOwner);
    for (int i = 0; i < 10000 && type == APPFILE_C; ++i) std::fputs("text", file.GetFile());
    file.GetStream() << std::string(50000, 'x');
    EXPECT_EQ(file.Close(), kGeneral) << "the content could not be written";
    EXPECT_EQ(file.Close(), 0);
    EXPECT_EQ(sent, "I") << "nothing is sent";
  }
}

TEST_F(AppFile, PatternsOfLocalNamesAndFolders) {
  for (const char* name : {"aba", "abba", "a.txt", "xlogx", "sub/in"})
    files::Write(std::string("p/") + name, "");
  const std::pair<std::string, Names> rows[] = {{"", {"a.txt", "aba", "abba", "xlogx"}},
                                                {"*.txt", {"a.txt"}},
                                                {"ab*ba", {"abba"}},
                                                {"log", {"xlogx"}},
                                                {"a*b*c", {}}};
  for (const auto& [pattern, expected] : rows) {
    Names names{"before"};
    EXPECT_EQ(CVelaAppFile::GetLocalFiles("p", names, pattern), pattern == "a*b*c" ? kGeneral : 0);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, expected) << pattern;
  }
  for (const char* folder : {"./x/y/z", "./x/v/", "./x//w", "x/u", "/"})
    EXPECT_TRUE(CVelaAppFile::CreateFolder(folder) && fs::is_directory(folder)) << folder;
  for (const char* folder : {"p/aba/x", "p/aba", "none/x", ""})
    EXPECT_FALSE(CVelaAppFile::CreateFolder(folder)) << folder;
}

}  // namespace
