#include "apps/asn1/ne_oper_codes.h"
#include "apps/asn1/nms_codes.h"
#include "apps/handlers/nemgr/piece.h"
#include "apps/handlers/topology/topology.h"
#include "asn1/error.h"
#include "asn1/nms.h"
#include "asn1/progress.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/os/clock.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "tests/test_base.h"
#include "util/basicutil/compress.h"
#include "util/basicutil/mutex.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/taskcontext.h"
#include "util/basicutil/tecommonerror.h"

namespace apps_test {
namespace {

constexpr std::uint32_t kNE = 9 << 16;
constexpr int kSubMission = 0x10001;

velad::Network Loaded(const std::string& text) {
  velad::Network network;
  std::string reason;
  network.Load(files::Write("net.cfg", text), reason);
  return network;
}

std::uint32_t Value(const AsnInt& value) {
  return static_cast<std::uint32_t>(static_cast<AsnIntType>(value));
}

std::string Low(const AsnInt& value) {
  return std::to_string(Value(value) & 0xFFFFU);
}

template <class Message>
void Decode(const std::string& bytes, Message& message) {
  EXPECT_EQ(CAsnHelper::Decode(Exactly(bytes), message), 0U);
}

void Fill(AsnNMSNEIdList& list, const std::vector<std::uint32_t>& nes) {
  for (const std::uint32_t ne : nes) *list.append() = static_cast<AsnIntType>(kNE + ne);
}

TEST(NetworkTest, WhatTheFileSays) {
  for (const auto& [text, expected] :
       Rows("A-1 = 5\n -> 200; "
            "A-1 = 5\nB-2 = 6\nNEs = 1000000\nNEMilliseconds = 0\n -> 1000000; "
            "NEs = 7\n -> no type of NE has a manager; "
            "A-1 = 5\nNEs = 0\n -> net.cfg:2: ; "
            "A-1 = 5\nNEMiliseconds = 7\n -> net.cfg:2: ; "
            "A-1 = 5\nA-1 = 6\n -> net.cfg:2: ; "
            "A-1 = 65536\n -> net.cfg:1: ; "
            "A-1 = 5\nNEs = 2\nInventory = share/inventory.csv\n -> not both; "
            "A-1 = 5\nInventory = share/none.csv\n -> share/none.csv: ")) {
    velad::Network network;
    std::string reason;
    const bool good = network.Load(files::Write("net.cfg", text), reason);
    EXPECT_NE((good ? std::to_string(network.All().size()) : reason).find(expected), std::string::npos)
        << text;
  }
}

TEST(NetworkTest, NEsAreMadeUpOrRead) {
  EXPECT_EQ(Loaded("NEs = 150\nA-1 = 5\n").All().back().ne, 0xA0000U + 50);

  files::Write("own.csv",
               "identifier,name,type,address,version,position\n10-1,b,A-1,,2.0,\n9-1,a,A-1,,1.0,\n"
               "9-1,c,A-1,,1.0,\n9-2,d,B-2,,1.0,\n9-x,e,A-1,,1.0,\n");
  const velad::Network read = Loaded("Inventory = own.csv\nA-1 = 5\n");
  EXPECT_EQ(read.All().size(), 2U);
  EXPECT_EQ(read.All().front().name, "a") << "by identifier, the first of two";
}

TEST(TopologyTest, KnowsNEsAndWhatBecameOfThem) {
  const velad::Network network = Loaded("A-1 = 120\nNEs = 3\n");
  velad::Topology topology(network);
  AsnNEChanges changes;
  for (const std::uint32_t ne : {kNE + 2, kNE + 9, kNE + 3}) {
    AsnNEResult& result = *changes.results.append();
    result.ne = static_cast<AsnIntType>(ne);
    result.version = "5.1";
    result.file = "f";
  }
  topology.Apply(changes);
  ASSERT_EQ(changes.results.size(), 2U) << "clients hear nothing of NEs that there are not";
  EXPECT_EQ(changes.results.back().file.Len(), 0U);
  changes.results.pop_back();
  changes.results.front().version = "";
  changes.results.front().errorCode = 8;
  topology.Apply(changes);

  AsnTopoNEReq request;
  Fill(request.nes, {3, 7, 2, 3, 1});
  AsnTopoNERsp response;
  ASSERT_EQ(topology.Find(request, response), 0U);
  std::string text;
  for (const AsnTopoNE& ne : response.nes)
    text += Low(ne.ne) + " '" + ne.version.data() + "' " +
            std::to_string(static_cast<AsnIntType>(ne.alarms)) + " " + Low(ne.lastCode) + ", ";
  EXPECT_EQ(text, "3 '5.1' 0 0, 2 '5.1' 0 8, 1 '' -1 0, ") << "an NE that was lost was not asked anything";
  EXPECT_EQ(response.unknown.size(), 1U);
}

// What is answered passes the receiver's checker, and what would not is refused.
TEST(TopologyTest, AnswersAreAsLargeAsTheirReceiverAccepts) {
  for (const auto& [nes, code] : {std::pair("22220", 0U), std::pair("22221", VELA_ERR_TOO_LARGE)}) {
    const velad::Network network = Loaded("A-1 = 120\nNEs = " + std::string(nes));
    AsnTopoNERsp response;
    EXPECT_EQ(velad::Topology(network).Find(AsnTopoNEReq(), response), code);
    Decode(testkit::Encoded(response), *std::make_unique<AsnTopoNERsp>());
  }
}

struct Piece {
  AsnNEPieceEnd end;
  AsnErrReport report;
  std::vector<int> percents;
  bool failure = false;  // was reported
  std::uint32_t alarms = 0;

  // NE, code and boards of the results, in decimal, as their low halves; places of the errors.
  std::string Text() const {
    std::string text;
    for (const AsnNEResult& r : end.results)
      text +=
          Low(r.ne) + ' ' + Low(r.errorCode) + ' ' + Low(r.boards) + (r.file.Len() != 0 ? " file, " : ", ");
    if (report.errors != nullptr)
      for (const AsnErrInfo& error : *report.errors) text += error.position->data() + "; ";
    return text;
  }
};

class NEMgrTest : public testing::Test {
 protected:
  NEMgrTest() { Faults(""); }
  static void Faults(const std::string& lines) { files::Write("conf/ne_faults.cfg", lines); }
  static std::ptrdiff_t Files() {
    return std::distance(std::filesystem::directory_iterator(files::Root() + "var/upload/2"), {});
  }

  // Serves a piece in this thread.
  Piece Serve(std::uint32_t operation, const std::vector<std::uint32_t>& nes, int timeOut = 0) {
    AsnNEPieceReq request;
    request.operation = static_cast<AsnIntType>(operation);
    request.timeOut = timeOut;
    for (const int handle : {1, 2}) {
      AsnPieceShare& share = *request.shares.append();
      share.process = 120;
      share.handle = handle;
      share.subMissionID = kSubMission + 2 - handle;
    }
    Fill(request.nes, nes);
    const testkit::CurrentTask task(
        {.srcProcId = 110, .srcHandle = 1, .cmdCode = NE_PIECE_COMMAND, .payload = {}});
    const testkit::FrameCapture frames;
    EXPECT_EQ(velad::ServePiece(task.get(), request, m_network), 0U);
    Piece piece;
    for (const testkit::Frame& frame : frames.Frames()) {
      piece.failure = piece.failure || frame.header.cmdCode == 0x218005;
      if (frame.header.cmdCode != 0x208002) continue;
      AsnProgressReportEx report;
      Decode(frame.payload, report);
      piece.percents.push_back(static_cast<int>(report.progress));
    }
    Decode(frames.Frames().back().payload, piece.end);
    EXPECT_EQ(static_cast<AsnIntType>(piece.end.subMissionID), kSubMission);
    for (const AsnNEResult& result : piece.end.results) piece.alarms += Value(result.alarms);
    Decode(piece.end.report.data(), piece.report);
    EXPECT_TRUE(NSTE_util::TEOperErrorLogIF::OpenFrames().empty());
    return piece;
  }

  const testkit::ProcessAddress m_address{120, 2};
  velad::Network m_network = Loaded("A-1 = 120\nB-2 = 121\nNEMilliseconds = 0\nBoardMilliseconds = 0\n");
};

TEST_F(NEMgrTest, ResultsAndErrorsOfEachNE) {
  Faults(
      "9-3/1 = memory\n9-3/2/1 = busy VC4-1\n9-5/4 = missing\n9-5/6/2 = silent\n9-7/1/1 = once silent\n"
      "9-9/1 = missing\n9-9 = lost\n");
  const Piece upload = Serve(NE_UPLOAD_COMMAND, {1, 3, 5, 7, 9, 2, 999});
  EXPECT_EQ(Value(upload.end.errorCode), 0U) << "all were worked on";
  EXPECT_EQ(upload.Text(),
            "1 0 8 file, 3 547 7 file, 5 546 6 file, 7 0 8 file, 9 545 0, 2 8241 0, 999 8241 0, "
            "9-3, slot 1; 9-5, slot 4; 9-5, slot 6, port 2; 9-9; 9-2; 9-999; ");
  EXPECT_GT(std::set<int>(upload.percents.begin(), upload.percents.end()).size(), 30U) << "each board counts";

  const Piece reset = Serve(NE_RESET_COMMAND, {3, 1});
  EXPECT_EQ(reset.Text(), "3 548 7, 1 0 8, 9-3, slot 2, port 1; ")
      << "a reset empties memories and interrupts traffic";
}

TEST_F(NEMgrTest, TheConfigurationIsAFile) {
  Faults("9-1/4 = missing\n");
  const Piece piece = Serve(NE_UPLOAD_COMMAND, {1});
  const AsnNEResult& result = piece.end.results.front();
  ASSERT_EQ(result.file.data(), "var/upload/2/9-1.cfg.gz");
  ASSERT_EQ(NSTE_util::UncompressFile(files::Root() + result.file.data(), files::Root() + "plain"), 0U);
  const std::string text = files::Read("plain");
  EXPECT_NE(text.find("\nversion " + result.version.data() + "\n\nslot 1\nboard SCC\nport 1"),
            std::string::npos);
  EXPECT_EQ(files::Lines(text).size(), 4 + 7 * 3 + Value(result.ports));
  {
    const testkit::OsFaults full = Failing(OsCall::rename, {ENOSPC});
    EXPECT_EQ(Serve(NE_UPLOAD_COMMAND, {1, 3}).Text(), "1 8242 7, 3 8242 8, 9-1, slot 4; 9-1; 9-3; ");
  }
  EXPECT_EQ(Files(), 1) << "the last good one";
}

TEST_F(NEMgrTest, AResetClearsTheAlarms) {
  EXPECT_GT(Serve(NE_UPLOAD_COMMAND, {1, 3, 5, 7, 9}).alarms, 0U);
  EXPECT_EQ(Serve(NE_RESET_COMMAND, {1, 3, 5, 7, 9}).alarms, 0U);
  EXPECT_EQ(Serve(NE_UPLOAD_COMMAND, {1, 3, 5, 7, 9}).alarms, 0U);
}

TEST_F(NEMgrTest, AnNEIsWorkedOnOnce) {
  ASSERT_TRUE(NSTE_util::TEMutexOperMgr::Instance()->LoadMutexFile(files::Root() + "conf/mutex.cfg"));
  {
    const NSTE_util::TEMutexOperGuard other(NE_RESET_COMMAND, NSTE_util::TEOperObject(kNE + 1, 0, 0));
    EXPECT_EQ(Serve(NE_UPLOAD_COMMAND, {1, 3}).Text(), "1 8244 0, 3 0 8 file, 9-1; ");
  }
  EXPECT_EQ(Serve(NE_UPLOAD_COMMAND, {1}).Text(), "1 0 8 file, ");
}

TEST_F(NEMgrTest, APieceMayEndEarly) {
  const auto expect = [](const Piece& piece, std::uint32_t code, const char* results, bool failure) {
    EXPECT_EQ(Value(piece.end.errorCode), code) << piece.end.reason.data();
    EXPECT_EQ(piece.Text(), results);
    EXPECT_EQ(piece.failure, failure);
  };
  {
    const testkit::OsFaults cancel([](OsCall call, const char*) {
      if (call != OsCall::rename) return OsFault{};
      NSTE_util::ProgressMgr::Instance()->CancelMission(
          NSTE_util::MakeMissionKey(NSTE_util::GetTaskContext()->GetReqMsg(), kSubMission));
      return OsFault{};
    });
    expect(Serve(NE_UPLOAD_COMMAND, {1, 3}), NE_MISSION_ERR_CANCELED, "1 0 8 file, ", false);
  }
  expect(Serve(NE_PIECE_COMMAND, {1}), VELA_ERR_GENERAL, "", true);
  Faults("9-3/1 = missing\n");
  vela::SetWallClock(
      [second = std::int64_t{0}]() mutable { return vela::WallTime(std::chrono::seconds(++second)); });
  expect(Serve(NE_UPLOAD_COMMAND, {3}, 9), NE_MISSION_ERR_TIMEOUT, "", false);
  vela::SetWallClock({});
  EXPECT_EQ(Files(), 1) << "of what was done before";
  Faults("9-3/1 = mising\n");
  expect(Serve(NE_UPLOAD_COMMAND, {3}), NE_OPER_ERR_FAULTS, "", true);
  VelaSetExitFlag();
  Faults("");
  expect(Serve(NE_RESET_COMMAND, {3}), NE_MISSION_ERR_STOPPING, "", true);
}

}  // namespace
}  // namespace apps_test
