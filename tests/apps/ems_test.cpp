#include <gtest/gtest.h>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/asn1/nms_codes.h"
#include "asn1/error.h"
#include "asn1/filetransfer.h"
#include "asn1/progress.h"
#include "platform/os/host_info.h"
#include "tests/apps/peer.h"
#include "util/basicutil/compress.h"
#include "util/basicutil/cvelaappfile.h"
#include "util/basicutil/stringutil.h"

// Missions of a real EMS and the account of a real session service; the processes around them are scripted.
namespace apps_test {
namespace {

// Knows 9-1 to 9-4 of managers 120, and 9-5 of managers 121.
void Topology(Peer& self, const Received& frame) {
  if (frame.cmdCode != TOPO_NE_COMMAND) return;
  AsnTopoNEReq request;
  Decode(frame.body, request);
  AsnTopoNERsp response;
  for (std::uint32_t ne = kFirst; ne < kFirst + 5; ++ne) {
    AsnTopoNE& one = *response.nes.append();
    one.ne = static_cast<AsnIntType>(ne);
    one.manager = ne < kFirst + 4 ? 120 : 121;
  }
  self.Answer(frame, response);
}

// What a manager does with its piece: it does (g)ood work, finds (f)aults, (r)efuses after the first NE,
// names files (o)utside of its folder, (w)aits for an abort; (s)ilent and (d)ying ones do nothing.
void End(Peer& self, std::uint32_t id, const AsnNMSNEIdList& nes, char mode) {
  AsnNEPieceEnd end;
  end.subMissionID = static_cast<AsnIntType>(id);
  end.errorCode = 0;
  if (mode == 'r') end.errorCode = 1;
  for (const AsnInt& ne : nes) {
    if (mode == 'r' && end.results.size() == 1) break;
    const std::string name = NSTE_util::TENEID2Str(Value(ne));
    std::string file = "var/upload/1/" + name + ".cfg.gz";
    NSTE_util::CompressFile(files::Write("var/upload/1/" + name, "config of " + name), files::Root() + file);
    if (mode == 'o') file = "var/trans/core/conf/trans_ems.cfg";
    AsnNEResult& result = *end.results.append();
    result.ne = static_cast<AsnIntType>(Value(ne));
    result.errorCode = mode == 'f' ? static_cast<AsnIntType>(BOARD_ERR_MISSING) : 0;
    result.file.Set(file.data(), file.size());
  }
  end.results.append()->ne = static_cast<AsnIntType>(kFirst + 7);  // that nobody has asked for
  if (mode == 'f') {
    AsnErrReport report;
    report.errors = new AsnErrInfoList;
    report.errors->append()->errorCode = static_cast<AsnIntType>(BOARD_ERR_MISSING);
    const std::string encoded = testkit::Encoded(report);
    end.report.Set(encoded.data(), encoded.size());
  }
  self.Send(kEms, NE_PIECE_END_COMMAND, VELA_KIND_COMMAND, end);
}

Peer::Script Manager(char mode, std::uint16_t handle) {
  return [mode, handle](Peer& self, const Received& frame) {
    if (frame.cmdCode == NSTE_util::CMD_GET_PROC_IP) {
      AsnGetProcIPRsp address;
      const std::string own = CHostInfo::GetIPAddresses().at(0);
      address.address.Set(own.data(), own.size());
      return self.Answer(frame, address);
    }
    if (frame.cmdCode == 0x208001 && mode == 'w') {
      AsnAbortMissionReq abort;
      Decode(frame.body, abort);
      End(self, Value(abort.missionID), {}, mode);
    }
    if (frame.cmdCode != NE_PIECE_COMMAND) return;
    AsnNEPieceReq piece;
    Decode(frame.body, piece);
    std::uint32_t id = 0;
    for (const AsnPieceShare& share : piece.shares)
      if (Value(share.handle) == handle) id = Value(share.subMissionID);
    if (mode != 's') {
      AsnProgressReportEx progress;
      progress.missionID = static_cast<AsnIntType>(id);
      progress.progress = 50;
      self.Send(kEms, 0x208002, VELA_KIND_PROGRESS, progress);
    }
    if (std::string_view("gfro").find(mode) != std::string_view::npos) End(self, id, piece.nes, mode);
  };
}

// Each line: the modes of 120/1 and 120/2, the NEs, the answer with its parts, the errors of the report, and
// how many NEs the topology service hears of.
const std::string kMissions =
    "gg 43211; 0 | 1:0 2:0 3:0 4:0 | 120/1 2/2 0 | 120/2 2/2 0 || 4\n"
    "gg all; 42012007 | 1:0 2:0 3:0 4:0 5:42012021 | 120/1 2/2 0 | 120/2 2/2 0 | 121/0 0/1 42012021 |"
    "| 42012021 4\n"
    "gg 19; 42012006 | 1:0 9:42012031 | 120/1 1/1 0 || 42012031 1\n"
    "fg 12; 42012006 | 1:42010222 2:0 | 120/1 1/1 0 | 120/2 1/1 0 || 42010222 2\n"
    "og 12; 42012006 | 1:42012033 2:0 | 120/1 1/1 0 | 120/2 1/1 0 || 42012033 2\n"
    "rg 1234; 0 | 1:0 2:0 3:0 4:0 | 120/1 1/2 42012024 | 120/2 3/3 0 || 4\n"
    "gd 1234; 0 | 1:0 2:0 3:0 4:0 | 120/1 4/4 0 | 120/2 0/2 42012022 || 4\n"
    "sg 12; 0 | 1:0 2:0 | 120/1 0/1 42012023 | 120/2 2/2 0 || 2\n"
    "rd 1234; 42012007 | 1:0 2:42012022 3:0 4:42012024 | 120/1 2/4 42012024 | 120/2 0/3 42012022 |"
    "| 42012022 42012024 2\n"
    "wg 12; 42012002 | 1:42012002 2:0 | 120/1 0/1 42012002 | 120/2 1/1 0 || 1\n";

TEST(EmsTest, AMissionEndsWithWhatItsManagersDid) {
  const NmsServer ems(110, 1, "ems");
  for (const std::string& line : files::Lines(kMissions)) {
    SCOPED_TRACE(line);
    std::vector<std::uint32_t> nes;
    for (std::size_t i = 3; std::isdigit(line[i]) != 0; ++i)
      nes.push_back(static_cast<std::uint32_t>(line[i] - '0'));
    Peer topology({51, 1}, Topology);
    Peer session({52, 1});
    Peer first({120, 1}, Manager(line[0], 1));
    auto second = std::make_unique<Peer>(CProcID(120, 2), Manager(line[1], 2));
    Client client;
    client.Ask(NE_UPLOAD_COMMAND, 1, nes, line[0] == 'w' ? 1 : 0);
    if (line[1] == 'd') {
      second->Await(NE_PIECE_COMMAND, line[0] == 'r' ? 2 : 1);
      second.reset();
    }
    AsnNEMissionRsp response;
    client.Answered(NE_UPLOAD_COMMAND, response);
    AsnErrReport report;
    Decode(response.report.data(), report);
    std::string errors;
    if (report.errors != nullptr)
      for (const AsnErrInfo& error : *report.errors) errors += Hex(Value(error.errorCode)) + ' ';
    for (const AsnNEResult& r : response.results)
      if (r.file.Len() != 0) {
        EXPECT_EQ(files::Read(r.file.data()), "config of " + NSTE_util::TENEID2Str(Value(r.ne)));
      }
    AsnNEChanges changes;
    Decode(topology.Await(TOPO_CHANGES_COMMAND, 1)[0].body, changes);
    EXPECT_EQ(Told(response) + " || " + errors + std::to_string(changes.results.size()),
              line.substr(line.find(';') + 2));
    EXPECT_EQ(response.reason.Len() == 0, Value(response.errorCode) == 0);
    AsnSessionOper ended;
    Decode(session.Await(SESSION_OPER_COMMAND, 2)[1].body, ended);
    EXPECT_EQ(Value(ended.errorCode), Value(response.errorCode));
    // The parts are told in time, and never backwards.
    int last = 0;
    std::map<std::string, std::string> details;
    for (const Received& frame : client.Await(0x218004, 1)) {
      AsnParallelTaskProgressReport progress;
      Decode(frame.body, progress);
      EXPECT_GE(static_cast<int>(progress.progress), last);
      last = static_cast<int>(progress.progress);
      details[progress.partName.data()] = progress.partDetail.data();
    }
    if (line.starts_with("gd")) {
      EXPECT_EQ(details["120/2"], "moved to 120/1");
      EXPECT_EQ(response.parts.back().reason.data(), "moved to 120/1");
    }
    EXPECT_EQ(last == 100, line[0] != 'w');
  }
}

TEST(EmsTest, WhatIsRefusedSaysWhy) {
  const NmsServer ems(110, 1, "ems");
  Client client;
  AsnNEMissionRsp alone;
  client.Ask(NE_RESET_COMMAND, 1, {1});
  client.Answered(NE_RESET_COMMAND, alone);
  EXPECT_EQ(Told(alone), "42012008 |");
  EXPECT_NE(std::string(alone.reason.data()).find("velad -f topology.cfg"), std::string::npos);

  Peer topology({51, 1}, Topology);
  Peer manager({120, 1}, Manager('w', 1));
  client.Ask(NE_UPLOAD_COMMAND, 2, {1, 2});
  manager.Await(NE_PIECE_COMMAND, 1);
  const struct {
    const char* what;
    std::uint32_t cmd;
    int mission;
    std::vector<std::uint32_t> nes;
    std::uint32_t code;
  } cases[] = {
      {"a reset beside an upload", NE_RESET_COMMAND, 3, {2, 3}, NE_MISSION_ERR_UPLOADING},
      {"an upload beside an upload", NE_UPLOAD_COMMAND, 4, {1}, NE_MISSION_ERR_UPLOADING},
      {"the same mission again", NE_UPLOAD_COMMAND, 2, {3}, 0x42011002},
      {"no NE", NE_RESET_COMMAND, 5, {0U - kFirst + 1}, NE_MISSION_ERR_BAD_NES},
  };
  std::map<std::uint32_t, std::size_t> answers = {{NE_RESET_COMMAND, 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    client.Ask(c.cmd, c.mission, c.nes);
    AsnNEMissionRsp response;
    client.Answered(c.cmd, response, ++answers[c.cmd]);
    EXPECT_EQ(Value(response.errorCode), c.code);
    AsnErrReport report;
    Decode(response.report.data(), report);
    ASSERT_TRUE(report.errors != nullptr && report.errors->size() == 1);
    const std::string text = report.errors->front().errorText->data();
    EXPECT_EQ(text.starts_with("an upload of user 7 at process 3003/5 has been at work there since "),
              c.code == NE_MISSION_ERR_UPLOADING)
        << text;
  }
  // Who works on what is not awaited any more is told to end.
  Peer late({120, 9});
  AsnProgressReportEx progress;
  progress.missionID = 0x7FFF0001;
  late.Send(kEms, 0x208002, VELA_KIND_PROGRESS, progress);
  late.Await(0x208001, 1);
  // The client gives up: the manager hears of it, and the NEs are free again.
  AsnAbortMissionReq abort;
  abort.scope = 255;
  abort.missionID = 2;
  client.Send(kEms, 0x208001, VELA_KIND_COMMAND, abort);
  AsnNEMissionRsp canceled;
  client.Answered(NE_UPLOAD_COMMAND, canceled, ++answers[NE_UPLOAD_COMMAND]);
  EXPECT_EQ(Told(canceled), "42012001 | 1:42012001 2:42012001 | 120/1 0/2 42012001");
  client.Ask(NE_RESET_COMMAND, 6, {1}, 1);
  manager.Await(NE_PIECE_COMMAND, 2);
}

TEST(EmsTest, EachLifeNumbersItsPiecesAnew) {
  Peer topology({51, 1}, Topology);
  Peer manager({120, 1}, Manager('g', 1));
  std::set<std::uint32_t> ids;
  for (int life = 1; life <= 2; ++life) {
    const NmsServer ems(110, 1, "ems");
    Client client;
    client.Ask(NE_RESET_COMMAND, 1, {1});
    AsnNEMissionRsp response;
    client.Answered(NE_RESET_COMMAND, response);
    AsnNEPieceReq piece;
    Decode(manager.Await(NE_PIECE_COMMAND, static_cast<std::size_t>(life)).back().body, piece);
    ids.insert(Value(piece.shares.front().subMissionID));
  }
  EXPECT_EQ(ids.size(), 2U) << "what comes late for the first life is taken for a part of the second";
}

TEST(EmsTest, TheSessionServiceForgetsWhatHasDied) {
  const NmsServer service(52, 1, "session");
  Client client;
  const auto tell = [](Peer& server, int handle, int mission, int ended) {
    AsnSessionOper oper;
    oper.client = 3003;
    oper.handle = handle;
    oper.missionID = mission;
    oper.ended = ended;
    server.Send({52, 1}, SESSION_OPER_COMMAND, VELA_KIND_COMMAND, oper);
  };
  std::size_t asked = 0;
  const auto list = [&] {
    client.Send({52, 1}, SESSION_LIST_COMMAND, VELA_KIND_REQUEST, AsnSessionListReq());
    AsnSessionListRsp response;
    const auto answers = client.Await(SESSION_LIST_COMMAND, ++asked);
    if (answers.size() >= asked) Decode(answers[asked - 1].body, response);
    std::string text;
    for (const AsnSessionOper& oper : response.operations)
      text += std::to_string(Value(oper.missionID)) + (Value(oper.ended) != 0 ? "- " : "+ ");
    return text;
  };
  tell(client, 5, 1, 0);
  tell(client, 5, 2, 0);
  tell(client, 6, 3, 0);  // of a client that does not live
  tell(client, 6, 4, 1);
  tell(client, 5, 1, 1);
  EXPECT_EQ(list(), "1- 4- 2+ ");
  for (int i = 0; i < 200; ++i) tell(client, 5, 100 + i, 1);
  const std::string full = list();
  EXPECT_TRUE(full.starts_with("299- 298- ") && full.ends_with(" 100- 2+ ")) << full;
}

}  // namespace
}  // namespace apps_test
