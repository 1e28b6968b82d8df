#include "util/basicutil/tecommonerror.h"

#include <sstream>

#include "asn1/error.h"
#include "asn1/qcommon.h"
#include "tests/util/mission_fixture.h"

using namespace mission_test;

namespace {

TEOperErrorLogIF& Log() {
  return *TEOperErrorLogIF::Instance();
}

// An error as the tests write it: "code|text|position|first key of its object", what is empty at the end left
// out; G is the generic code.
std::string Trimmed(const std::string& error) {
  return error.substr(0, error.find_last_not_of('|') + 1);
}

std::int32_t Int(const AsnInt& value) {
  return static_cast<std::int32_t>(static_cast<AsnIntType>(value));
}

template <class List>
std::string Shown(const List& errors) {
  std::string shown;
  for (const auto& error : errors) {
    const std::int32_t code = Int(error.errorCode);
    std::string text = code == std::int32_t{GENERIC_ERROR} ? "G" : std::to_string(code);
    for (const AsnOcts* part : {error.errorText, error.position})
      text += '|' + std::string(part != nullptr ? part->data() : "");
    if constexpr (requires { error.objects; })
      if (error.objects != nullptr) text += '|' + std::to_string(Int(error.objects->front().first));
    shown += Trimmed(text) + ' ';
  }
  return shown;
}

std::string HandedOut() {
  AsnErrRsp response;
  EXPECT_TRUE(Log().GetErrList(&response));
  return Shown(response.errors);
}

// One step of a history: an error; "=" and an error for SetErr; ( starts, ) commits, ! rolls back; * clears.
void Do(const std::string& step) {
  if (step == "(") return Log().AddErrTransStart();
  if (step == ")") return void(Log().CommitAddErr());
  if (step == "!") return void(Log().RollbackAddErr());
  if (step == "*") return Log().ClearErr();
  std::istringstream in(step[0] == '=' ? step.substr(1) : step);
  std::string field[4];
  for (std::string& each : field) std::getline(in, each, '|');
  const auto code = field[0] == "G" ? GENERIC_ERROR : static_cast<std::uint32_t>(std::stol(field[0]));
  if (step[0] == '=') return Log().SetErr({code, field[1], ""});
  std::list<TEOperObject> objects;
  if (!field[3].empty()) objects.emplace_back(std::stoul(field[3]), 0, 0);
  EXPECT_TRUE(Log().AddErr(objects, code, field[1], field[2]));
}

void Play(const std::string& history) {
  std::istringstream steps(history);
  for (std::string step; steps >> step;) Do(step);
}

using OperErrorLog = ClientTest;

// Steps, what is handed out then, and why.
const char* const kHistories[][3] = {
    {"6 5 7 5||A 5||A 5", "6 5||A 7", "what says more takes the place of what says less"},
    {"5 5|||1 5||A 5||A|1 5|t 5|t 5||A", "5|||1 5||A 5||A|1 5|t", "all four count"},
    {"5||A 5 5||B 5|||3 5||B|3", "5||A 5||B 5|||3 5||B|3", "what says less is known already"},
    {"5||A =5 =5 5||B", "5||A 5 5 5||B", "untested; the first of its code and text counts"},
    {"=5 =5 5||B 5|t||4 =5|t", "5||B 5 5|t||4 5|t", "the first of its code and text is taken over"},
    {"1 ( 2||A 2||A ( 3 ) 1 )", "1 2||A 3", "compared when the outermost commits"},
    {"( =1 ( =1 =2 ) ! ( =3 )", "3", "what is untested is held back too"},
    {"1 ( ( 2 ) 1||B !", "1||B", "the inner one's are dropped with the outer; what was overwritten stays"},
    {"1 ( 2 * 1 )", "2 1", "clearing leaves the open transaction, and nothing to compare with"},
    {"G 5 G|why|A", "5", "a code says more, wherever it stands"},
    {"G||A G||B", "G||A G||B", "nothing else"},
    {"G 0 -1", "G 0 -1", "neither 0 nor an empty text says more"},
    {"G -1|t", "-1|t", "a text says more"},
};

TEST_F(OperErrorLog, KeepsWhatIsNewAndHandsOutWhatSaysMost) {
  for (const auto& [history, expected, why] : kHistories) {
    const TEOperErrorLogGuard frame;
    Play(history);
    for (const char* time : {"", ", a copy is filtered"})
      EXPECT_EQ(HandedOut(), std::string(expected) + ' ') << history << ": " << why << time;
  }
}

TEST(OperErrorLogThreaded, EachThreadHasAFrameOfItsOwn) {
  InThreads(6, [](int) {
    for (int round = 0; round < 20; ++round)
      for (const auto& [history, expected, why] : kHistories) {
        const TEOperErrorLogGuard frame;
        Play(history);
        EXPECT_EQ(HandedOut(), std::string(expected) + ' ') << history;
      }
  });
}

TEST_F(OperErrorLog, ShowsOpenFramesAndTracesTransactions) {
  const TEOperErrorLogGuard frame;
  Play("7 ( 8 9 ( ) ( ");
  const TEOpenErrFrame open = TEOperErrorLogIF::OpenFrames().at(0);
  EXPECT_EQ(std::tuple(open.m_nErrors, open.m_nPending, open.m_nDepth), std::tuple(1U, 2U, 2U));
  Play("! !");
  EXPECT_EQ(Log().CommitAddErr() + Log().RollbackAddErr(), -2);
  EXPECT_EQ(Asserted("false"), 2);
  for (const char* line : {"AddErrTransStart: 2 \n", "CommitAddErr: 2 \n", "RollbackAddErr: 1 \n",
                           "CommitAddErr: 0 \n", "RollbackAddErr: 0 \n"})
    EXPECT_NE(Traced(line), 0) << line;
  std::thread([] { Log().ClearAll(); }).join();
  EXPECT_FALSE(Log().IsRegistered());
}

TEST_F(OperErrorLog, FillsTheThreeResponses) {
  const TEOperErrorLogGuard frame;
  AsnErrRsp first;
  EXPECT_TRUE(Log().AddErr(&first, TESingleReturn(5, "reason", "E5"), "A"));
  EXPECT_TRUE(Log().AddErr(&first, TESingleReturn(0x90000006, "", "E6"), "B"));
  EXPECT_TRUE(Log().AddErr(&first, "text", ""));
  EXPECT_EQ(Shown(first.errors), "-1|reason|A -1879048186||B -1|text ") << "each once, however often filled";
  EXPECT_EQ(Int(first.errorCode), 0) << "the frame's own";

  AsnErrReport second;
  Log().SetErrCode(0x1C0000007UL);
  Log().AddErr({{7, 8, 0xFFFFFFFF}}, 9, "", "");
  EXPECT_TRUE(Log().AddErr(&second, 8UL, "C"));
  EXPECT_EQ(Shown(*second.errors), Shown(first.errors) + "9|||7 8||C ");
  EXPECT_EQ(Int(*second.errorCode), static_cast<std::int32_t>(0xC0000007));
  const AsnErrObject& object = std::next(second.errors->begin(), 3)->objects->front();
  EXPECT_EQ(std::pair(Int(object.second), Int(object.third)), std::pair(8, -1));

  qcommon::QAsnErrInfoList third;
  EXPECT_TRUE(Log().GetErrList(&third) && Shown(third) == Shown(first.errors) + "9 8||C ") << Shown(third);
  EXPECT_EQ(Log().GetErrCodeAndClear(), 0xC0000007U);
  EXPECT_TRUE(Log().GetErrList(&third) && Log().GetErrList(&second));
  EXPECT_TRUE(third.empty() && second.errors == nullptr) << "what was filled before is gone";
  EXPECT_FALSE(Log().AddErr(static_cast<AsnErrRsp*>(nullptr), 9UL, ""));
  EXPECT_EQ(Asserted("asnErrs != 0"), 1);
  EXPECT_EQ(HandedOut(), "9 ") << "kept, though there was nothing to fill";
}

TEST_F(OperErrorLog, SaysWhenThereIsNoFrame) {
  const std::string english = "Use the wrong frame, but not register yet. Orientation is needed!\n";
  const std::string chinese =
      "\xCA\xB9\xD3\xC3\xC1\xCB\xB4\xED\xCE\xF3\xC2\xEB\xBF\xF2\xBC\xDC\xC1\xCB\xA3\xAC\xB5\xAB"
      "\xCA\xC7\xC3\xBB\xD3\xD0\xD7\xA2\xB2\xE1\x2C\xD0\xE8\xD2\xAA\xB6\xA8\xCE\xBB\xA3\xA1\n";
  const TESingleReturn result(5, "", "");
  const auto expect = [&](const std::string& warning, const std::function<bool()>& call) {
    m_log.Clear();
    EXPECT_EQ(call(), warning.empty());
    EXPECT_EQ(Asserted("false"), warning.empty() ? 0 : 1);
    EXPECT_EQ(Traced(english) * 2 + Traced(chinese), (warning == english) * 2 + (warning == chinese));
  };
  const auto expectOf = [&](auto response) {
    expect(chinese, [&] { return Log().AddErr(&response, result, ""); });
    expect(chinese, [&] { return Log().AddErr(&response, "t", ""); });
    expect(english, [&] { return Log().AddErr(&response, 5UL, ""); });
    expect(english, [&] { return Log().GetErrList(&response); });
  };
  expectOf(AsnErrRsp());
  expectOf(AsnErrReport());
  qcommon::QAsnErrInfoList list;
  expect(english, [&] { return Log().GetErrList(&list); });
  expect("",
         [&] { return Log().AddErr({}, 5, "", "") && Log().AddErr(result, "") && Log().AddErr("t", ""); });
  expect("", [&] { return Log().AddErr(5UL, "") && Log().SetErrCode(5) == -1; });
  expect("", [&] { return Log().GetErrCodeAndClear() == 0 && Log().UnregisterFrame() == -1; });
  Log().SetErr(result);
  EXPECT_EQ(Asserted("false"), 1);
}

TEST_F(OperErrorLog, CallsBackForNumericErrors) {
  const TEErrCallback call = [](unsigned long cmd, unsigned long word, void* context, unsigned long code,
                                const std::string& position) {
    *static_cast<std::ostringstream*>(context)
        << cmd << ' ' << word << ' ' << code << ' ' << position << '\n';
    EXPECT_EQ(TEOperErrorLogIF::OpenFrames().size(), 1U) << "no lock is held";
  };
  const TEOperErrorLogGuard frame;
  Play("G 5||A -2||B -1|t|C");
  std::ostringstream called;
  Log().ForEachErr(&called, "NE 9-1: ", call);
  Log().ForEachErr(&called, nullptr);
  const VelaCurrentTaskScope none(nullptr);
  Log().ForEachErr(&called, call);
  EXPECT_EQ(called.str(), "28673 7 5 NE 9-1: A\n28673 7 4294967294 NE 9-1: B\n0 0 5 A\n0 0 4294967294 B\n");
}

TEST_F(OperErrorLog, AFrameServesOneRequest) {
  const auto refused = [&](const std::string& errors) {
    m_log.Clear();
    EXPECT_FALSE(Log().RegisterFrame());
    EXPECT_EQ(Asserted("false"), 1);
    EXPECT_EQ(HandedOut(), errors);
    EXPECT_NE(Traced("Use the wrong frame,  register repeatedly. Orientation is needed!\n"), 0);
  };
  {
    const TETaskContext context(m_task.get());
    Play("2");  // so nobody can take the frame over
    refused("2 ");
  }
  EXPECT_TRUE(Log().RegisterFrame()) << "the context has closed its frame";
  { const TETaskContext context(m_task.get()); }
  Play("3 (");  // not into the context's
  const std::string left = "request 0x7001, client 7, was left open: 1 errors are dropped";
  VelaGnlTask second("second"), third("third");
  for (VelaGnlTask* task : {&second, &third})
    task->SetCurReqMsg(std::make_unique<TECmdMsg>(testkit::MakeFrame(FromClient())));
  {
    const VelaCurrentTaskScope scope(&second);
    refused("");
    Play("4");
  }
  const VelaCurrentTaskScope scope(&third);
  const TETaskContext context(&third);
  const TEOperErrorLogGuard top;
  EXPECT_EQ(m_log.Count(left), 2);
  EXPECT_EQ(Asserted("false"), 2) << "the guard took the context's frame over";
  EXPECT_EQ(HandedOut(), "");
}

}  // namespace
