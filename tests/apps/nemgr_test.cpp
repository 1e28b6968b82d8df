#include <gtest/gtest.h>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/asn1/nms_codes.h"
#include "apps/handlers/nemgr/piece.h"
#include "apps/handlers/topology/topology.h"
#include "asn1/error.h"
#include "asn1/nms.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "platform/testkit/testkit.h"
#include "tests/files.h"
#include "util/basicutil/compress.h"
#include "util/basicutil/mutex.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/tecommonerror.h"
#include "util/basicutil/timelog.h"
#include "util/basicutil/translog.h"

namespace apps_test {
namespace {

constexpr std::uint32_t kNE = 9 << 16;
constexpr std::uint32_t kSubMission = 0x10001;

velad::Network Loaded(const std::string& text) {
  velad::Network network;
  std::string reason;
  EXPECT_TRUE(network.Load(files::Write("net.cfg", text), reason)) << reason;
  return network;
}

std::uint32_t Value(const AsnInt& value) {
  return static_cast<std::uint32_t>(static_cast<AsnIntType>(value));
}

template <class List>
void Fill(List& list, const std::vector<std::uint32_t>& nes) {
  for (const std::uint32_t ne : nes) *list.append() = static_cast<AsnIntType>(ne);
}

template <class Message>
void Decode(const std::string& bytes, Message& message) {
  std::string why;
  EXPECT_EQ(
      CAsnHelper::Decode({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}, message, why),
      0U);
}

TEST(NetworkTest, WhatTheFileSays) {
  const struct {
    const char* text;
    std::size_t nes;     // 0: refused
    const char* reason;  // part of it
  } cases[] = {
      {"A-1 = 5\n", 200, ""},
      {"A-1 = 5\nB-2 = 6\nNEs = 1000000\nNEMilliseconds = 0\n", 1000000, ""},
      {"NEs = 7\n", 0, "no type of NE has a manager"},
      {"A-1 = 5\nNEs = 0\n", 0, "net.cfg:2: "},
      {"A-1 = 5\nNEMiliseconds = 7\n", 0, "net.cfg:2: "},
      {"A-1 = 5\nA-1 = 6\n", 0, "net.cfg:2: "},
      {"A-1 = 65536\n", 0, "net.cfg:1: "},
      {"A-1 = 5\nNEs = 2\nInventory = share/inventory/inventory.csv\n", 0, "not both"},
      {"A-1 = 5\nInventory = share/none.csv\n", 0, "share/none.csv: "},
  };
  for (const auto& c : cases) {
    velad::Network network;
    std::string reason;
    EXPECT_EQ(network.Load(files::Write("net.cfg", c.text), reason), c.nes != 0) << c.text;
    EXPECT_NE(reason.find(c.reason), std::string::npos) << reason;
    EXPECT_EQ(network.All().size(), c.nes) << c.text;
  }
}

TEST(NetworkTest, NEsAreMadeUpOrRead) {
  const velad::Network made = Loaded("NEs = 150\nA-1 = 5\nB-2 = 6\n");
  EXPECT_EQ(made.All().back().ne, 0xA0000U + 50);
  EXPECT_EQ(made.Find(kNE + 100)->manager, 6);
  EXPECT_EQ(made.Find(kNE + 101), nullptr);
  EXPECT_EQ(made.Find(0), nullptr);

  files::Write("own.csv",
               "identifier,name,type,address,version,position\n"
               "10-1,b,A-1,,2.0,\n9-1,a,A-1,,1.0,\n9-1,c,A-1,,1.0,\n9-2,d,B-2,,1.0,\n9-x,e,A-1,,1.0,\n");
  const testkit::LogCapture log;
  const velad::Network read = Loaded("Inventory = own.csv\nA-1 = 5\n");
  ASSERT_EQ(read.All().size(), 2U);
  EXPECT_EQ(read.Find(0xA0001)->version, "2.0");
  EXPECT_EQ(read.Find(kNE + 1)->name, "a");
  EXPECT_EQ(log.Count("own.csv:5: left out: no process manages NEs of type 'B-2'"), 1);
  EXPECT_EQ(log.Count("own.csv: 3 of 5 rows are left out"), 1);
}

TEST(TopologyTest, KnowsNEsAndWhatBecameOfThem) {
  const velad::Network network = Loaded("A-1 = 120\nNEs = 3\n");
  velad::Topology topology(network);
  AsnNEChanges changes;
  changes.time = 1000;
  for (const std::uint32_t ne : {kNE + 2, kNE + 9, kNE + 3}) {
    AsnNEResult& result = *changes.results.append();
    result.ne = static_cast<AsnIntType>(ne);
    result.errorCode = 7;
    result.version.Set("5.1", 3);
    result.file.Set("f", 1);
    result.alarms = 4;
  }
  topology.Apply(changes);
  ASSERT_EQ(changes.results.size(), 2U) << "clients hear nothing of NEs that there are not";
  EXPECT_EQ(changes.results.back().file.Len(), 0U);
  changes.results.front().version.Set("", 0);
  changes.results.front().errorCode = static_cast<AsnIntType>(NE_ERR_LOST);
  changes.results.pop_back();
  topology.Apply(changes);

  AsnTopoNEReq request;
  Fill(request.nes, {kNE + 3, kNE + 7, kNE + 2, kNE + 3, kNE + 1});
  AsnTopoNERsp response;
  ASSERT_EQ(topology.Find(request, response), 0U);
  std::string text;
  for (const AsnTopoNE& ne : response.nes)
    text += std::to_string(Value(ne.ne) & 0xFFFFU) + " " + ne.version.data() + " " +
            std::to_string(static_cast<AsnIntType>(ne.alarms)) + " " + std::to_string(Value(ne.lastCode)) +
            ", ";
  EXPECT_EQ(text, "3 5.1 4 7, 2 5.1 4 1107362337, 1  -1 0, ") << "a lost NE was not asked anything";
  ASSERT_EQ(response.unknown.size(), 1U);
  EXPECT_EQ(Value(response.unknown.front()), kNE + 7);
}

// What is answered passes the receiver's checker, and what would not is refused.
TEST(TopologyTest, AnswersAreAsLargeAsTheirReceiverAccepts) {
  const testkit::LogCapture log;
  for (const auto& [nes, code] : {std::pair(22220, std::uint32_t{0}), std::pair(22221, VELA_ERR_TOO_LARGE)}) {
    const velad::Network network = Loaded("A-1 = 120\nNEs = " + std::to_string(nes) + "\n");
    AsnTopoNERsp response;
    EXPECT_EQ(velad::Topology(network).Find(AsnTopoNEReq(), response), code);
    AsnTopoNERsp received;
    if (code == 0) Decode(testkit::Encoded(response), received);
  }
  EXPECT_EQ(log.Count("ask for at most 22220 at a time"), 1);
}

struct Piece {
  AsnNEPieceEnd end;
  AsnErrReport report;

  // "9-1 <code> <boards> <with file>"
  std::string Results() const {
    std::string text;
    for (const AsnNEResult& r : end.results)
      text += std::to_string(Value(r.ne) & 0xFFFFU) + " " + std::to_string(Value(r.errorCode) & 0xFFFFU) +
              " " + std::to_string(Value(r.boards)) + (r.file.Len() != 0 ? " file, " : ", ");
    return text;
  }
  std::string Errors() const {
    std::string text;
    if (report.errors == nullptr) return text;
    for (const AsnErrInfo& error : *report.errors) text += std::string(error.position->data()) + "; ";
    return text;
  }
};

class NEMgrTest : public testing::Test {
 protected:
  const testkit::ProcessAddress m_address{120, 2};
  velad::Network m_network =
      Loaded("A-1 = 120\nB-2 = 121\nNEs = 20\nNEMilliseconds = 0\nBoardMilliseconds = 0\n");
  std::vector<int> m_percents;

  // Serves a piece in this thread; `onFrame` sees what is sent.
  Piece Serve(std::uint32_t operation, const std::vector<std::uint32_t>& nes, int timeOut = 0,
              const std::function<void(const VelaCmdMSG&)>& onFrame = {}) {
    AsnNEPieceReq request;
    request.operation = static_cast<AsnIntType>(operation);
    request.timeOut = timeOut;
    for (const int handle : {1, 2}) {
      AsnPieceShare& share = *request.shares.append();
      share.process = 120;
      share.handle = handle;
      share.subMissionID = static_cast<AsnIntType>(kSubMission + 2 - static_cast<unsigned>(handle));
    }
    Fill(request.nes, nes);
    const testkit::CurrentTask task(
        {.srcProcId = 110, .srcHandle = 1, .cmdCode = NE_PIECE_COMMAND, .payload = {}});
    const testkit::FrameCapture frames([&](const VelaCmdMSG& frame) {
      if (onFrame) onFrame(frame);
      return false;
    });
    EXPECT_EQ(velad::ServePiece(task.get(), request, m_network), 0U);
    Piece piece;
    Decode(frames.Frames().back().payload, piece.end);
    EXPECT_EQ(Value(piece.end.subMissionID), kSubMission);
    Decode(piece.end.report.data(), piece.report);
    EXPECT_FALSE(NSTE_util::TEMutexOperMgr::Instance()->HasRunningOper());
    EXPECT_TRUE(NSTE_util::TEOperErrorLogIF::OpenFrames().empty());
    EXPECT_TRUE(NSTE_util::TETimeLog::OpenLogs().empty());
    EXPECT_TRUE(NSTE_util::GetTransactionLogs().empty());
    return piece;
  }
};

TEST_F(NEMgrTest, ResultsAndErrorsOfEachNE) {
  files::Write(
      "conf/ne_faults.cfg",
      "9-3/1 = memory\n9-3/2/1 = busy VC4-1\n9-5/4 = missing\n9-5/6/2 = silent\n9-7/1/1 = once silent\n"
      "9-9/1 = missing\n9-9 = lost\n");
  const std::vector<std::uint32_t> nes = {kNE + 1, kNE + 3, kNE + 5, kNE + 7, kNE + 9, kNE + 2, kNE + 99};
  const Piece upload = Serve(NE_UPLOAD_COMMAND, nes);
  EXPECT_EQ(Value(upload.end.errorCode), 0U) << "all were worked on";
  EXPECT_EQ(Value(*upload.report.errorCode), NE_MISSION_ERR_FAILED);
  EXPECT_EQ(upload.Results(),
            "1 0 8 file, 3 547 7 file, 5 546 6 file, 7 0 8 file, 9 545 0, 2 8241 0, 99 8241 0, ");
  EXPECT_EQ(upload.Errors(), "9-3, slot 1; 9-5, slot 4; 9-5, slot 6, port 2; 9-9; 9-2; 9-99; ");
  const Piece reset = Serve(NE_RESET_COMMAND, {kNE + 3, kNE + 1});
  EXPECT_EQ(reset.Results(), "3 548 7, 1 0 8, ") << "a reset empties memories and interrupts traffic";
  EXPECT_EQ(reset.report.errors->front().errorText->data(), std::string("the port carries VC4-1"));
}

TEST_F(NEMgrTest, TheConfigurationIsAFile) {
  files::Write("conf/ne_faults.cfg", "9-1/4 = missing\n");
  const Piece piece = Serve(NE_UPLOAD_COMMAND, {kNE + 1});
  const AsnNEResult& result = piece.end.results.front();
  ASSERT_EQ(result.file.data(), std::string("var/upload/2/9-1.cfg.gz"));
  ASSERT_EQ(NSTE_util::UncompressFile(files::Root() + result.file.data(), files::Root() + "plain"), 0U);
  const std::string text = files::Read("plain");
  EXPECT_EQ(text.find("NE 9-1\nname "), 0U) << text;
  EXPECT_NE(text.find("\nversion " + std::string(result.version.data()) + "\n\nslot 1\nboard SCC\nport 1"),
            std::string::npos);
  EXPECT_EQ(text.find("slot 4"), std::string::npos);
  std::size_t ports = 0;
  for (const std::string& line : files::Lines(text)) ports += line.starts_with("port ") ? 1 : 0;
  EXPECT_EQ(ports, Value(result.ports));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(files::Root() + "var/upload/2"), {}), 1)
      << "nothing else";

  {
    const testkit::OsFaults full([](vela::OsCall call, const char*) {
      return call == vela::OsCall::rename ? vela::OsFault{ENOSPC} : vela::OsFault{};
    });
    EXPECT_EQ(Serve(NE_UPLOAD_COMMAND, {kNE + 1, kNE + 3}).Results(), "1 8242 7, 3 8242 8, ");
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(files::Root() + "var/upload/2"), {}), 1)
      << "the last good one";
}

TEST_F(NEMgrTest, AResetClearsTheAlarms) {
  files::Write("conf/ne_faults.cfg", "");
  std::uint32_t ne = kNE - 1;
  Piece piece;
  do {
    piece = Serve(NE_UPLOAD_COMMAND, {ne += 2});
  } while (Value(piece.end.results.front().alarms) == 0);
  EXPECT_EQ(Value(Serve(NE_RESET_COMMAND, {ne}).end.results.front().alarms), 0U);
  EXPECT_EQ(Value(Serve(NE_UPLOAD_COMMAND, {ne}).end.results.front().alarms), 0U);
}

}  // namespace
}  // namespace apps_test
