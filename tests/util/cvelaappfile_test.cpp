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
#include "util/basicutil/common.h"
#include "util/basicutil/compress.h"

namespace {

using namespace NSTE_util;
using files::Root;
using vela::OsCall;
using vela::OsFault;
using Commands = std::vector<unsigned>;

constexpr CProcID kSelf(51, 1);
constexpr CProcID kOwner(60, 1);
constexpr int kGeneral = static_cast<int>(VELA_ERR_GENERAL);

std::string Deflated(const std::string& text) {
  MemCompresser out(text.data(), text.size());
  EXPECT_EQ(out.Process(), 0u);
  return {out.GetProcessedDataPtr(), out.GetProcessedDataLen()};
}

std::string Inflated(const std::string& text) {
  MemUncompresser out(text.data(), text.size());
  EXPECT_EQ(out.Process(), 0u);
  return {out.GetProcessedDataPtr(), out.GetProcessedDataLen()};
}

// The test is a server process, and what it sends to others is answered by an owner made of a map.
class AppFile : public ::testing::Test {
 protected:
  AppFile() {
    EXPECT_EQ(::chdir(Root().c_str()), 0);
    Inflated(Deflated(""));  // reads the configuration
  }

  template <class Message>
  static void Decode(const VelaCmdMSG& frame, Message& message) {
    EXPECT_EQ(CAsnHelper::Decode({frame.data, VelaPayloadLength(frame)}, message), 0u);
  }

  template <class Rsp>
  std::string Judged(Rsp& rsp) const {
    if (refusal == 0) {
      rsp.result.choiceId = AsnRemoteFileResult::successCid;
      rsp.result.success = new AsnNull;
    } else {
      rsp.result.choiceId = AsnRemoteFileResult::errorCodeCid;
      rsp.result.errorCode = new AsnInt(refusal == 1 ? 0 : refusal);
    }
    return testkit::Encoded(rsp);
  }

  std::string AnswerTo(const VelaCmdMSG& frame) {
    if (frame.cmdCode == CMD_GET_PROC_IP) {
      AsnGetProcIPRsp rsp;
      rsp.result = addressResult;
      rsp.address = address.c_str();
      return testkit::Encoded(rsp);
    }
    if (frame.cmdCode == CMD_GET_REMOTE_FILE) {
      AsnGetRemoteFileReq req;
      Decode(frame, req);
      asked.push_back(req.fileName.data());
      AsnGetRemoteFileRsp rsp;
      const std::string content = damaged ? "damaged" : Deflated(owned[req.fileName.data()]);
      rsp.content.Set(content.data(), content.size());
      return Judged(rsp);
    }
    if (frame.cmdCode == CMD_SEND_REMOTE_FILE) {
      AsnSendRemoteFileReq req;
      Decode(frame, req);
      if (refusal == 0) owned[req.fileName.data()] = Inflated(req.content.data());
      AsnSendRemoteFileRsp rsp;
      return Judged(rsp);
    }
    if (frame.cmdCode == CMD_DELETE_REMOTE_FILE) {
      AsnDeleteRemoteFileReq req;
      Decode(frame, req);
      owned.erase(req.fileName.data());
      AsnDeleteRemoteFileRsp rsp;
      return Judged(rsp);
    }
    AsnGetRemoteFileNamesReq req;
    Decode(frame, req);
    asked.push_back(req.folder.data() + "|" + req.pattern.data());
    AsnGetRemoteFileNamesRsp rsp;
    for (const auto& [name, content] : owned) *rsp.names.append() = name.c_str();
    return Judged(rsp);
  }

  bool Answer(const VelaCmdMSG& frame) {
    serving = true;
    EXPECT_EQ(CProcID(frame.dstProcId, frame.dstHandle).Number(), owner.Number());
    sent.push_back(frame.cmdCode & 0xFF);
    VelaMsgPtr rsp = testkit::MakeFrame(
        {.cmdCode = frame.cmdCode, .sn = frame.sn, .kind = VELA_KIND_RESPONSE, .payload = AnswerTo(frame)});
    rsp->srcProcId = frame.dstProcId;
    rsp->srcHandle = frame.dstHandle;
    rsp->dstTaskId = frame.srcTaskId;
    task.Deliver(std::move(rsp));
    serving = false;
    return false;
  }

  // Records held back come with the next one of level 0.
  int Traced(const char* text) {
    WriteException("now");
    return log.Count(text);
  }
  bool Exists(const std::string& name) { return std::filesystem::exists(Root() + name); }

  CProcID owner = kOwner;
  std::map<std::string, std::string> owned{{"d/f", "old"}};
  std::string address = "192.0.2.1";
  int addressResult = 0;
  int refusal = 0;  // of the file commands; 1: an error of code 0
  bool damaged = false;
  bool serving = false;
  Commands sent;
  std::vector<std::string> asked;
  testkit::ProcessAddress self{51, 1};
  testkit::CurrentTask task;
  testkit::LogCapture log;
  testkit::FrameCapture capture{[this](const VelaCmdMSG& frame) { return Answer(frame); }};
};

void Append(CVelaAppFile& file, unsigned type, const std::string& text) {
  if (type == APPFILE_STREAM) {
    file.GetStream() << text;
  } else {
    EXPECT_EQ(std::fputs(text.c_str(), file.GetFile()) >= 0, true);
  }
}

TEST_F(AppFile, ModesDecideWhatIsFetchedSentBackAndKept) {
  const struct {
    int mode;
    Commands commands;
    std::string written;  // what the file holds after "+new" was written
  } rows[] = {
      {APPFILE_READ, {0xEB, 0xE7}, ""},
      {APPFILE_READ_BINARY, {0xEB, 0xE7}, ""},
      {APPFILE_APPEND, {0xEB, 0xE7, 0xE8}, "old+new"},
      {APPFILE_APPEND_BINARY, {0xEB, 0xE7, 0xE8}, "old+new"},
      {APPFILE_TRUNCATE, {0xEB, 0xE8}, "+new"},
      {APPFILE_TRUNCATE_BINARY, {0xEB, 0xE8}, "+new"},
  };
  for (const auto& row : rows) {
    for (const unsigned type : {APPFILE_C, APPFILE_STREAM}) {
      for (const CProcID& process : {kOwner, kSelf}) {
        SCOPED_TRACE(std::to_string(row.mode) + " " + std::to_string(type));
        std::filesystem::remove_all(Root() + "d");
        owned["d/f"] = "old";
        sent.clear();
        const bool remote = process == kOwner;
        const bool reads = row.written.empty();
        if (!remote) files::Write("d/f", "old");
        CVelaAppFile file("d/f", row.mode, type, process);
        ASSERT_EQ(file.GetResult(), 0);
        EXPECT_EQ(type == APPFILE_C, file.GetFile() != nullptr);
        if (!reads) Append(file, type, "+new");
        EXPECT_EQ(file.Close(), 0);
        EXPECT_EQ(sent, remote ? row.commands : Commands{});
        EXPECT_EQ(owned["d/f"], !remote || reads ? "old" : row.written);
        EXPECT_EQ(Exists("d/f"), !remote || !reads);
        EXPECT_EQ(files::Read("d/f"), remote && reads ? "" : (reads ? "old" : row.written));
      }
    }
  }
}

TEST_F(AppFile, OnlyTheSixModesAndTwoTypesOpen) {
  files::Write("d/f", "old");
  for (const int mode : {0, 2, 3, 9, 17, 24, 35, -1}) {
    EXPECT_EQ(CVelaAppFile("d/f", mode, APPFILE_C, kSelf).GetResult(), kGeneral) << mode;
  }
  EXPECT_EQ(CVelaAppFile("d/none", APPFILE_READ, APPFILE_STREAM, kSelf).GetResult(), kGeneral);
  EXPECT_EQ(CVelaAppFile("d/f", APPFILE_READ, 2, kSelf).GetResult(), kGeneral);
  EXPECT_EQ(log.Count("ASSERT: file util/basicutil/cvelaappfile"), 1);
  EXPECT_EQ(CVelaAppFile("d/f", 2, APPFILE_C, kOwner).GetResult(), kGeneral);
  EXPECT_FALSE(Exists("d/f")) << "fetched, and not left behind";
}

TEST_F(AppFile, AnOpenObjectStaysAsItIs) {
  files::Write("a", "first");
  CVelaAppFile file("a", APPFILE_READ, APPFILE_STREAM, kSelf);
  file.Open("b", APPFILE_TRUNCATE, APPFILE_C, kOwner);
  EXPECT_EQ(file.GetResult(), kGeneral);
  EXPECT_EQ(Traced("CVelaAppFile::file has be open... "), 1);
  std::string text;
  file.GetStream() >> text;
  EXPECT_EQ(text, "first");
  EXPECT_EQ(file.Close(), 0);
  EXPECT_EQ(file.GetResult(), 0);
  EXPECT_TRUE(sent.empty());
}

TEST_F(AppFile, AnOwnerIsLocalByItsNumbersOrByItsAddress) {
  const std::string own = CHostInfo::GetIPAddresses().at(0);
  const struct {
    CProcID process;
    std::string address;
    int result;
    bool asks;
    bool local;
  } rows[] = {
      {{51, 1}, "", 0, false, true},     {{51, 0}, "", 0, false, true},
      {{51, 10001}, "", 0, false, true}, {{51, 10000}, "192.0.2.1", 0, true, false},
      {{51, 2}, own, 0, true, true},     {{60, 1}, own, 0, true, true},
      {{60, 1}, own, 5, true, false},    {{60, 1}, own + "1", 0, true, false},
      {{60, 1}, "", 0, true, false},     {{60, 0}, "192.0.2.1", 0, true, false},
  };
  files::Write("d/here", "");
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.process.Number()) + "/" + std::to_string(row.process.Handle()));
    owner = row.process;
    address = row.address;
    addressResult = row.result;
    sent.clear();
    std::vector<std::string> names{"before"};
    EXPECT_EQ(CVelaAppFile::GetFiles("d", names, row.process, "*"), 0);
    EXPECT_EQ(names,
              row.local ? std::vector<std::string>{"here"} : (std::vector<std::string>{"before", "d/f"}));
    EXPECT_EQ(std::count(sent.begin(), sent.end(), 0xEBu), row.asks ? 1 : 0);
  }
  EXPECT_EQ(asked.at(0), "d|*");
}

TEST_F(AppFile, FailuresOfTheOwnerBecomeTheResult) {
  const struct {
    int refusal;
    bool damaged;
    int result;
  } rows[] = {{0x42001234, false, 0x42001234}, {1, false, kGeneral}, {0, true, kGeneral}};
  for (const auto& row : rows) {
    refusal = row.refusal;
    damaged = row.damaged;
    CVelaAppFile file("d/f", APPFILE_READ, APPFILE_C, kOwner);
    EXPECT_EQ(file.GetResult(), row.result);
    EXPECT_FALSE(Exists("d/f"));
    EXPECT_EQ(file.Close(), 0) << "closed";
  }
  refusal = 0x42001234;
  EXPECT_EQ(CVelaAppFile().DeleteFileA("d/f", kOwner), 0x42001234);
  std::vector<std::string> names;
  EXPECT_EQ(CVelaAppFile::GetFiles("d", names, kOwner, ""), 0x42001234);
  EXPECT_TRUE(names.empty());
  CVelaAppFile file("d/f", APPFILE_TRUNCATE, APPFILE_STREAM, kOwner);
  file.GetStream() << "mine";
  EXPECT_EQ(file.Close(), 0x42001234);
  EXPECT_EQ(files::Read("d/f"), "mine") << "what could not be sent stays";
  EXPECT_EQ(file.Close(), 0) << "and the object is closed";
}

TEST_F(AppFile, FailuresOfTheSystemBecomeTheResult) {
  const struct {
    OsCall call;
    int skip;  // so many calls go well
    int opened;
    int closed;
  } rows[] = {
      {OsCall::mkdir, 0, kGeneral, 0},
      {OsCall::open, 0, kGeneral, 0},
      {OsCall::open, 1, kGeneral, 0},
      {OsCall::open, 2, 0, kGeneral},
      {OsCall::write, 0, kGeneral, 0},
      {OsCall::close, 1, kGeneral, 0},
      {OsCall::allocate, 2, static_cast<int>(VELA_ERR_MEMORY), 0},
      {OsCall::allocate, 3, 0, static_cast<int>(VELA_ERR_MEMORY)},
      {OsCall::allocate, 4, 0, static_cast<int>(VELA_ERR_MEMORY)},
      {OsCall::stat, 0, 0, kGeneral},
      {OsCall::read, 0, 0, kGeneral},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(static_cast<int>(row.call) * 10 + row.skip);
    std::filesystem::remove_all(Root() + "d");
    int left = row.skip;
    const testkit::OsFaults faults([&](OsCall call, const char*) {
      return !serving && call == row.call && left-- == 0 ? OsFault{.error = EIO} : OsFault{};
    });
    CVelaAppFile file("d/f", APPFILE_APPEND, APPFILE_C, kOwner);
    EXPECT_EQ(file.GetResult(), row.opened);
    EXPECT_EQ(Exists("d/f"), row.opened == 0);
    EXPECT_EQ(file.Close(), row.closed);
    EXPECT_EQ(files::Read("d/f"), row.opened == 0 ? "old" : "");
  }
  sent.clear();
  CVelaAppFile file("d/g", APPFILE_TRUNCATE, APPFILE_C, kOwner);
  {
    const testkit::OsFaults faults([](OsCall call, const char*) {
      return call == OsCall::close ? OsFault{.error = ENOSPC} : OsFault{};
    });
    EXPECT_EQ(file.Close(), kGeneral);
  }
  file.Open("d/h", APPFILE_READ, APPFILE_C, kOwner);
  EXPECT_EQ(file.GetResult(), kGeneral) << "still open";
  EXPECT_EQ(file.Close(), 0);
  EXPECT_EQ(sent, Commands{0xEB}) << "nothing half written is sent";
}

TEST_F(AppFile, AScriptOfAnotherInstallationHasItsPlaceHere) {
  const std::string name = "C:/nms/server/script/a.sh";
  owned["script/a.sh"] = "echo";
  CVelaAppFile file(name, APPFILE_READ, APPFILE_STREAM, kOwner);
  EXPECT_EQ(file.GetResult(), 0);
  EXPECT_EQ(asked.back(), "script/a.sh");
  EXPECT_EQ(files::Read("script/a.sh"), "echo");
  EXPECT_EQ(file.Close(), -1) << "the full name is no file here";
  file.Open("nms/server/script/b", APPFILE_READ, APPFILE_STREAM, kOwner);
  EXPECT_EQ(asked.back(), "nms/server/script/b") << "no drive, no script";
}

TEST_F(AppFile, PatternsOfLocalNames) {
  for (const char* name : {"aba", "abba", "a.txt", "txt", "xlogx", "sub/inner"})
    files::Write(std::string("p/") + name, "");
  using Names = std::vector<std::string>;
  const Names all{"a.txt", "aba", "abba", "txt", "xlogx"};
  const std::pair<std::string, Names> rows[] = {
      {"", all},           {"*", all},         {"*.txt", {"a.txt"}},      {"ab*", {"aba", "abba"}},
      {"ab*ba", {"abba"}}, {"log", {"xlogx"}}, {"txt", {"a.txt", "txt"}}, {"none", {}},
  };
  Names names;
  for (const auto& [pattern, expected] : rows) {
    EXPECT_EQ(CVelaAppFile::GetLocalFiles("p", names, pattern), 0);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, expected) << pattern;
  }
  for (const auto& [folder, pattern] : {std::pair("p", "a*b*c"), {"p", "**"}, {"none", "*"}}) {
    names = {"old"};
    EXPECT_EQ(CVelaAppFile::GetLocalFiles(folder, names, pattern), kGeneral);
    EXPECT_TRUE(names.empty());
  }
  EXPECT_EQ(Traced("CVelaAppFile::Open Dir none failed"), 1);
}

TEST_F(AppFile, FoldersAreMadeFromTheNearestOneThatExists) {
  files::Write("file", "");
  const std::pair<std::string, bool> rows[] = {{Root() + "x/y/z", true},
                                               {Root() + "x/y/z/", true},
                                               {Root() + "x//w", true},
                                               {Root() + "file/x", false},
                                               {"none/x", false},
                                               {"x/v", true},
                                               {"", false},
                                               {"/", true}};
  for (const auto& [path, made] : rows) {
    EXPECT_EQ(CVelaAppFile::CreateFolder(path), made) << path;
    EXPECT_TRUE(!made || std::filesystem::is_directory(path)) << path;
  }
}

TEST_F(AppFile, RegistrationNamesATaskManager) {
  EXPECT_EQ(CVelaAppFile::RegUsingCVelaAppFile(0, true), 0);
  EXPECT_EQ(log.Count("0 != TaskMgrID"), 0);
  EXPECT_EQ(CVelaAppFile::RegUsingCVelaAppFile(0, false), 0);
  EXPECT_EQ(log.Count("0 != TaskMgrID"), 1);
}

}  // namespace
