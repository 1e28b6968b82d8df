#include <gtest/gtest.h>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/common/ne_list.h"
#include "apps/handlers/oper/ne_faults.h"
#include "apps/handlers/oper/ne_oper_request.h"
#include "apps/velactl/ne_oper_options.h"
#include "asn1/error.h"
#include "asn1/ne_oper.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/os/clock.h"
#include "tests/files.h"
#include "tests/platform/task_fixture.h"
#include "util/basicutil/mutex_ne.h"
#include "util/basicutil/taskcontext.h"
#include "util/basicutil/tecommonerror.h"

namespace apps_test {
namespace {

using velad::NEOper;
using Errors = std::vector<std::pair<std::uint32_t, std::string>>;  // code, position

bool Runs() {
  return NSTE_util::TEMutexOperMgr::Instance()->HasRunningOper();
}

void Fill(AsnNEOperReq& request, const std::vector<std::uint32_t>& nes) {
  for (const std::uint32_t ne : nes)
    *request.nes.append() = static_cast<AsnIntType>(static_cast<std::int32_t>(ne));
}

// The code of the whole, then the errors.
Errors Decoded(const std::string& payload) {
  AsnErrRsp response;
  EXPECT_EQ(
      CAsnHelper::Decode({reinterpret_cast<const unsigned char*>(payload.data()), payload.size()}, response),
      0U);
  const auto code = [](const AsnInt& value) {
    return static_cast<std::uint32_t>(static_cast<AsnIntType>(value));
  };
  Errors errors = {{code(response.errorCode), ""}};
  for (const AsnErrInfo& error : response.errors)
    errors.emplace_back(code(error.errorCode), error.position != nullptr ? error.position->data() : "");
  return errors;
}

// A request served in this thread.
Errors Operate(NEOper oper, const std::vector<std::uint32_t>& nes, int timeOut = 0) {
  AsnNEOperReq request;
  Fill(request, nes);
  request.timeOut = timeOut;
  const testkit::CurrentTask task({.cmdCode = NE_CONFIGURE_COMMAND, .payload = {}});
  std::string payload;
  {
    const testkit::FrameCapture frames([](const VelaCmdMSG& frame) {
      EXPECT_EQ(Runs(), frame.kind != VELA_KIND_RESPONSE) << "who has the answer may ask again at once";
      return false;
    });
    EXPECT_EQ(velad::ServeNEOper(task.get(), request, oper), 0U);
    payload = frames.Frames().back().payload;
  }
  EXPECT_FALSE(Runs());
  EXPECT_TRUE(NSTE_util::TEOperErrorLogIF::OpenFrames().empty());
  return Decoded(payload);
}

TEST(NEOperTest, AnswersOfWhatIsAskedFor) {
  const std::uint32_t ne = 9 << 16;
  const Errors badNEs = {{NE_OPER_ERR_BAD_NES, ""}, {NE_OPER_ERR_BAD_NES, ""}};
  const struct {
    const char* why;
    NEOper oper;
    std::vector<std::uint32_t> nes;
    Errors answer;
  } cases[] = {
      {"all is well; the upper half of the numbers is no different",
       NEOper::configure,
       {ne + 1, 0xFFFFFFFF},
       {{0, ""}}},
      {"a board that does well when asked again leaves nothing", NEOper::configure, {ne + 6}, {{0, ""}}},
      {"the errors of a lost NE's boards do not count, those of others before and behind it do",
       NEOper::configure,
       {ne + 8, ne + 9, ne + 5},
       {{NE_OPER_ERR_FAILED, ""},
        {PORT_ERR_SILENT, "9-8, slot 2, port 1"},
        {BOARD_ERR_MISSING, "9-8, slot 6"},
        {NE_ERR_LOST, "9-9"},
        {PORT_ERR_BUSY, "9-5, slot 3, port 1"},
        {PORT_ERR_BUSY, "9-5, slot 3, port 2"},
        {BOARD_ERR_MEMORY, "9-5, slot 4"}}},
      {"traffic and full memories stop nobody who reads", NEOper::inspect, {ne + 5}, {{0, ""}}},
      {"without objects it would run for ever", NEOper::configure, {}, badNEs},
      {"0 would be all NEs", NEOper::configure, {ne + 1, 0}, badNEs},
  };
  for (const auto& c : cases) EXPECT_EQ(Operate(c.oper, c.nes), c.answer) << c.why;

  files::Write("conf/ne_faults.cfg", "9-1/1 = missing\n9-1/1 = memory\n");
  EXPECT_EQ(Operate(NEOper::configure, {ne + 1}),
            (Errors{{NE_OPER_ERR_FAULTS, ""}, {NE_OPER_ERR_FAULTS, ""}}));
  std::filesystem::remove(files::Root() + "conf/ne_faults.cfg");
  EXPECT_EQ(Operate(NEOper::configure, {ne + 9}), (Errors{{0, ""}}));

  vela::SetWallClock(
      [second = std::int64_t{0}]() mutable { return vela::WallTime(std::chrono::seconds(++second)); });
  EXPECT_EQ(Operate(NEOper::configure, {ne + 1, ne + 2}, 1),
            (Errors{{NE_OPER_ERR_TIMEOUT, ""}, {NE_OPER_ERR_TIMEOUT, "9-1"}}));
  vela::SetWallClock({});
}

// On one worker thread: the first handler leaves as much behind as a handler can.
TEST(NEOperTest, HandlerThatThrowsHoldsNobodyUp) {
  const std::string code = std::to_string(task_test::kPlain);
  ASSERT_TRUE(NSTE_util::TEMutexOperMgr::Instance()->LoadMutexFile(
      files::Write("own.cfg", "[MUTEX_TABLE]\n" + code + ":" + code + ":0\n")));
  const testkit::LogCapture log;
  task_test::Process process(task_test::Workers(1));
  const auto answer = [&process](std::uint32_t sn, const task_test::Hook& hook) {
    task_test::TheHook() = hook;
    process.client->Clear();
    process.client->Send({.cmdCode = task_test::kPlain, .sn = sn, .payload = {}});
    for (std::size_t count = 1;; ++count) {
      const std::vector<Received> frames = process.client->Await(count);
      if (frames.size() < count || frames[count - 1].kind == VELA_KIND_RESPONSE) return frames.back();
    }
  };
  const Received failed = answer(1, [](VelaGnlTask*, const AsnType*) -> unsigned long {
    NSTE_util::TEOperErrorLogIF& errors = *NSTE_util::TEOperErrorLogIF::Instance();
    EXPECT_TRUE(errors.RegisterFrame());
    errors.AddErr(5, "left");
    errors.AddErrTransStart();
    const NSTE_util::TEMutexOperNEGuard locks(0x90008, true);
    EXPECT_EQ(locks.GetResult(), 0U);
    throw std::runtime_error("broken");
  });
  EXPECT_EQ(failed.status, VELA_ERR_GENERAL);
  EXPECT_FALSE(Runs());
  EXPECT_EQ(NSTE_util::TEOperErrorLogIF::OpenFrames().size(), 1U);

  const Received served = answer(2, [](VelaGnlTask* task, const AsnType*) {
    AsnNEOperReq request;
    Fill(request, {0x90008});
    return velad::ServeNEOper(task, request, NEOper::configure);
  });
  EXPECT_EQ(Decoded(served.body), (Errors{{NE_OPER_ERR_FAILED, ""},
                                          {PORT_ERR_SILENT, "9-8, slot 2, port 1"},
                                          {BOARD_ERR_MISSING, "9-8, slot 6"}}));
  EXPECT_EQ(log.Count("The error frame of request 0x700001, client 0, was left open: 1 errors are dropped"),
            1);
}

TEST(NEOperTest, CommandLines) {
  const struct {
    std::vector<std::string> arguments;
    const char* error;  // part of it; empty: none
    std::vector<std::uint32_t> nes = {};
  } cases[] = {
      {{"9-1"}, "", {0x90001}},
      {{"--seconds", "7", "9-8..9-10,9-9,65535-65535,9-1..9-1", "--timeout=5", "--json", "--process", "7"},
       "",
       {0x90008, 0x90009, 0x9000A, 0xFFFFFFFF, 0x90001}},
      {{}, "no NEs are named"},
      {{"0-1..0-10001"}, "more than 10000 NEs"},
      {{"0-1..0-9999,1-1,1-2"}, "more than 10000 NEs"},
      {{"0-0"}, "'0-0' is neither"},
      {{"9-1,"}, "'' is neither"},
      {{"9-2..9-1"}, "'9-2..9-1' is neither"},
      {{"9-01"}, "'9-01' is neither"},
      {{"589825"}, "'589825' is neither"},
      {{"9-1", "--seconds", "-1"}, "--seconds takes a number from 0 to 86400; see velactl inspect --help"},
      {{"9-1", "--lock"}, "unknown option '--lock'"},
  };
  for (const auto& c : cases) {
    velactl::NEOperOptions options;
    std::string error;
    EXPECT_EQ(velactl::ParseNEOperOptions("inspect", c.arguments, options, error), *c.error == '\0') << error;
    EXPECT_NE(error.find(c.error), std::string::npos) << error;
    if (c.nes.empty()) continue;
    EXPECT_EQ(options.nes, c.nes);
    EXPECT_EQ(options.seconds, c.arguments.size() == 1 ? 0 : 7);
  }
}

TEST(NEFaultsTest, Lines) {
  const struct {
    const char* place;
    const char* fault;
    bool good;
  } cases[] = {
      {"9-1", "lost", true},           {"9-1/8", "missing", true},     {"9-1/1/1024", "busy a b", true},
      {"9-1/1", "once memory", true},  {"9-1", "lost", false},         {"9-2", "once lost", false},
      {"9-2", "missing", false},       {"9-2/1", "busy x", false},     {"9-2/1/1", "memory", false},
      {"9-2/0", "missing", false},     {"9-2/9", "missing", false},    {"9-2/1/0", "silent", false},
      {"9-2/1/1025", "silent", false}, {"9-2/1/1/1", "silent", false}, {"9-2/", "missing", false},
      {"0-0", "lost", false},          {"9-2/1/1", "busy", false},     {"9-2/1/1", "silent x", false},
      {"9-2/1/1", "once", false},      {"9-2/1/1", "", false},
  };
  velad::NEFaults faults;
  for (const auto& c : cases) EXPECT_EQ(faults.Add(c.place, c.fault), c.good) << c.place << " = " << c.fault;
}

}  // namespace
}  // namespace apps_test
