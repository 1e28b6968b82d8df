#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "apps/handlers/spread/spread_config.h"
#include "apps/velactl/parts_bar.h"
#include "tests/apps/child.h"

// Missions over three real server processes: 101 owns them, 101, 102 and 103 work on them.
namespace apps_test {
namespace {

// Slow: 5000 NEs in six pieces take 17 seconds; "endless": minutes.
const std::string kSlow = "SpreadRecordMicroseconds = 20000\n";
const std::string kEndless = "SpreadRecordMicroseconds = 1000000\n";
const std::string kHoldsAnswer = "SpreadAnswerMicroseconds = 100000000\n";

class Worker : public Child {
 public:
  explicit Worker(int number, const std::string& keys = {})
      : Child({VELA_BIN_DIR "/velad", "-f",
               WriteConfig("test" + std::to_string(number) + ".cfg",
                           keys + "ProcNumber = " + std::to_string(number) + "\nLogDirectory = var/logs/" +
                               std::to_string(number) +
                               "\nHandlerSets = spread\nSpreadProcesses = 101/1, 102/1, 103/1\n")}) {}
  bool Ready() { return Says(out, "ready\n"); }
  void Kill() {
    Signal(SIGKILL);
    End();
  }
};

class Spread : public Child {
 public:
  explicit Spread(const std::vector<std::string>& options = {}) : Child(Arguments(options)) {}
  std::string Said() const { return Text(out) + Text(err); }

 private:
  static std::vector<std::string> Arguments(const std::vector<std::string>& options) {
    std::vector<std::string> arguments = {VELA_BIN_DIR "/velactl", "spread", kInventory};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
  }
};

std::string Missions() {
  Child child({VELA_BIN_DIR "/velactl", "missions"});
  EXPECT_EQ(child.End(), 0) << child.Text(Child::err);
  return child.Text(Child::out);
}

// The line of a process in the final table.
std::string StateOf(const std::string& process, const std::string& text) {
  for (const std::string& line : files::Lines(text))
    if (line.starts_with(process + ' ')) return line.substr(line.find_first_not_of(' ', process.size()));
  return "?";
}

TEST(SpreadTest, ThreeProcessesFindWhatOneDoes) {
  Worker owner(101);
  Worker second(102);
  Worker third(103, "SpreadRecordMicroseconds = 8000\n");
  ASSERT_TRUE(owner.Ready() && second.Ready() && third.Ready());
  Spread spread;
  ASSERT_TRUE(spread.Says(Child::err, "101/1 done") && spread.Says(Child::err, "102/1 done"));
  const std::string missions = Missions();
  EXPECT_NE(missions.find("spread"), std::string::npos) << missions;
  EXPECT_NE(missions.find("101/1 100%, 102/1 100%, 103/1 "), std::string::npos) << missions;
  EXPECT_NE(missions.find("3003/"), std::string::npos) << "the client";

  ASSERT_EQ(spread.End(), 0) << spread.Said();
  std::string found;
  for (const std::string& line : files::Lines(spread.Text(Child::out)))
    if (const std::size_t space = line.find(' '); line.find("-", space) != std::string::npos)
      found += line.substr(0, space) + ' ';
  std::string planted;
  for (const std::string& line : files::Lines(files::Read("share/inventory/inventory.expected")))
    planted += line.substr(0, line.find('\t')) + ' ';
  EXPECT_EQ(found, planted);
  EXPECT_NE(spread.Text(Child::out).find("5000 of 5000 NEs checked, 50 faults found"), std::string::npos);
  EXPECT_EQ(StateOf("103/1", spread.Text(Child::out)), "1667  1667     0      done");
  int last = -1;
  for (const std::string& line : files::Lines(spread.Text(Child::err))) {
    EXPECT_GE(std::stoi(line), last) << line;
    last = std::stoi(line);
  }
  EXPECT_EQ(last, 100);
  EXPECT_NE(files::Read("var/logs/101/velad.log").find("process 103/1 at "), std::string::npos);
  EXPECT_EQ(Missions(), "no missions are under way\n");
}

TEST(SpreadTest, AWorkerMayDieAtEachStage) {
  const struct {
    const char* stage;
    std::string keys;       // of the worker that is to die
    std::string otherKeys;  // of those that live
    bool stopped;           // it takes its part, but does not begin
    const char* reached;    // what the client is told at the stage; null: it dies before the mission
  } stages[] = {
      {"before it got its part", "", "", false, nullptr},
      {"before it began", "", "", true, "103/1 done"},
      {"while working", kSlow, "", false, "\n7"},
      {"after its last report, before its answer", kHoldsAnswer, "", false, "102/1 checked"},
  };
  const struct {
    const char* option;
    int code;
    const char* state;  // of the part
    const char* said;
  } modes[] = {
      {"go-on", 1, "1667  0        0      failed: server process 102/1 is not running (any more)",
       "velactl: parts of the mission have failed; 3333 of 5000 records were checked"},
      {"move", 0, "1667  0        1667   failed: server process 102/1 is not running (any more)",
       "5000 of 5000 NEs checked, 50 faults found"},
  };
  for (const auto& stage : stages) {
    Worker owner(101, stage.otherKeys);
    Worker third(103, stage.otherKeys);
    ASSERT_TRUE(owner.Ready() && third.Ready());
    for (const auto& mode : modes) {
      SCOPED_TRACE(std::string(stage.stage) + ", " + mode.option);
      Worker second(102, stage.keys);
      ASSERT_TRUE(second.Ready());
      if (stage.reached == nullptr) second.Kill();
      if (stage.stopped) second.Stop();
      Spread spread({"--on-failure", mode.option});
      if (stage.reached != nullptr) {
        ASSERT_TRUE(spread.Says(Child::err, stage.reached)) << spread.Said();
        second.Kill();
      }
      EXPECT_EQ(spread.End(), mode.code);
      EXPECT_EQ(StateOf("102/1", spread.Text(Child::out)), mode.state);
      EXPECT_NE(spread.Said().find(mode.said), std::string::npos) << spread.Said();
      EXPECT_NE(spread.Text(Child::err).find("\n9"), std::string::npos)
          << "its share is done by others, or left out";
    }
  }
}

// Every worker is at its first NEs when something ends the mission; the client is told, nothing goes on.
TEST(SpreadTest, AMissionThatIsStoppedEndsEverywhere) {
  const struct {
    const char* what;
    std::vector<std::string> options;
    std::function<void(Worker& owner, Worker& second, Spread& spread)> action;
    int code;
    const char* said;
    bool owned;  // the owner serves on
  } cases[] = {
      {"cancelled",
       {},
       [](Worker&, Worker&, Spread& spread) { spread.Signal(SIGINT); },
       1,
       "velactl: the audit was cancelled after ",
       true},
      {"time-out",
       {"--timeout", "1"},
       [](Worker&, Worker&, Spread&) {},
       1,
       "velactl: the time-out ended the audit after ",
       true},
      {"a part failed",
       {"--on-failure", "stop"},
       [](Worker&, Worker& second, Spread&) { second.Kill(); },
       1,
       "velactl: parts of the mission have failed; ",
       true},
      {"client killed",
       {},
       [](Worker&, Worker&, Spread& spread) { spread.Signal(SIGKILL); },
       -SIGKILL,
       "",
       true},
      {"owner told to end",
       {},
       [](Worker& owner, Worker&, Spread&) { owner.Signal(SIGTERM); },
       1,
       "velactl: the server was told to end after ",
       false},
      {"owner killed",
       {},
       [](Worker& owner, Worker&, Spread&) { owner.Kill(); },
       1,
       "velactl: server process 101/1 ended before it answered",
       false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Worker owner(101, kEndless);
    // One thread: its second piece waits, and does not know its abort yet.
    Worker second(102, kEndless + "WorkerThreads = 1\n");
    Worker third(103, kEndless);
    ASSERT_TRUE(owner.Ready() && second.Ready() && third.Ready());
    Spread spread(c.options);
    ASSERT_TRUE(spread.Says(Child::err, "\n1") || spread.Says(Child::err, "velactl: ")) << spread.Said();
    c.action(owner, second, spread);
    EXPECT_EQ(spread.End(), c.code);
    EXPECT_NE(spread.Said().find(c.said), std::string::npos) << spread.Said();
    EXPECT_EQ(spread.Said().find("100%"), std::string::npos) << spread.Said();
    if (!c.owned) continue;
    EXPECT_TRUE(c.code < 0 || StateOf("103/1", spread.Text(Child::out)).ends_with(" stopped"));
    std::string missions;
    for (int i = 0; i < 1000 && missions.find("no missions") == std::string::npos; ++i) missions = Missions();
    EXPECT_EQ(missions, "no missions are under way\n");
  }
}

TEST(SpreadTest, ASilentWorkerIsGivenUp) {
  Worker owner(101, "SpreadSilenceSeconds = 3\n");
  Worker second(102);
  ASSERT_TRUE(owner.Ready() && second.Ready());
  second.Stop();
  Spread spread;
  EXPECT_EQ(spread.End(), 1);
  EXPECT_NE(spread.Text(Child::out).find("failed: server process 102/1 gave no sign of life for 3 seconds"),
            std::string::npos)
      << spread.Said();
}

// The client counts a second as 20 ms, the owner does not.
TEST(SpreadTest, AMissionThatStandsStillIsReportedAndInTheEndGivenUp) {
  Worker owner(101, kHoldsAnswer);
  ASSERT_TRUE(owner.Ready());
  Child spread({VELA_BIN_DIR "/velactl", "spread", kInventory}, {{"VELA_TIME_SCALE", "20"}});
  EXPECT_TRUE(spread.Says(Child::err, "velactl: nothing has moved for 10 seconds"))
      << spread.Text(Child::err);
  EXPECT_EQ(spread.End(), 1);
  EXPECT_TRUE(spread.Says(Child::err, "velactl: server process 101/1 gave no sign of life for a long time"))
      << spread.Text(Child::err);
}

TEST(SpreadTest, RefusesWhatCannotBegin) {
  Worker owner(101, "SpreadProcesses = 101, 102/1\n");
  EXPECT_TRUE(owner.Ready());
  Spread spread;
  EXPECT_EQ(spread.End(), 1);
  EXPECT_NE(spread.Said().find("velactl: server process 101/1 knows no processes"), std::string::npos);
  for (const auto& [options, error] : std::vector<std::pair<std::vector<std::string>, const char*>>{
           {{"--on-failure", "hope"}, "--on-failure takes go-on, move or stop"},
           {{"--process", "109"}, "no server process 109 is running"}}) {
    Spread bad(options);
    EXPECT_EQ(bad.End(), 1);
    EXPECT_NE(bad.Said().find(error), std::string::npos) << bad.Said();
  }
}

TEST(SpreadTest, WorkersThatCannotWorkEndTheMission) {
  Worker owner(101);
  Worker second(102);
  Worker third(103);
  ASSERT_TRUE(owner.Ready() && second.Ready() && third.Ready());
  files::Write("conf/ne_types.cfg", "RTN-620 = x\n");
  for (const char* mode : {"go-on", "move", "stop"}) {
    Spread spread({"--on-failure", mode});
    EXPECT_EQ(spread.End(), 1) << mode;
    EXPECT_NE(spread.Text(Child::out).find("ne_types.cfg:1: "), std::string::npos) << spread.Said();
  }
}

TEST(SpreadTest, RecordsAreCutIntoPiecesOfNearlyTheSameSize) {
  const std::vector<CProcID> three = {{101, 1}, {102, 1}, {103, 1}};
  for (const std::size_t records : {0, 1, 2, 3, 5, 6, 7, 100}) {
    std::size_t next = 0;
    std::vector<int> pieces(3);
    for (const velad::Cut& cut : velad::CutRecords(records, three, 2)) {
      EXPECT_EQ(cut.begin, next);
      EXPECT_TRUE(cut.end - cut.begin == (records + 5) / 6 ||
                  cut.end - cut.begin == std::max<std::size_t>(records / 6, 1));
      next = cut.end;
      ++pieces[cut.process.Number() - 101U];
    }
    EXPECT_EQ(next, records);
    EXPECT_TRUE(records < 6 || pieces == std::vector<int>(3, 2)) << records;
  }
  for (const auto& [text, count] : std::vector<std::pair<const char*, std::size_t>>{{"101/1, 102/10000", 2},
                                                                                    {"101/1,", 1},
                                                                                    {"", 0},
                                                                                    {"101", 0},
                                                                                    {"101/1,101/1", 0},
                                                                                    {"0/1", 0},
                                                                                    {"1/10001", 0},
                                                                                    {"101/1,,102/1", 0},
                                                                                    {"101/x", 0}}) {
    std::vector<CProcID> processes;
    EXPECT_EQ(velad::ParseProcesses(text, processes) ? processes.size() : 0, count) << text;
  }
}

TEST(SpreadTest, TheBarShowsThePartsAndNeverGoesBack) {
  velactl::PartsBar plain({0, 0});
  EXPECT_EQ(plain.Update(0, "101/1", "0%"), "0%  101/1 0%\n");
  EXPECT_EQ(plain.Update(9, "101/1", "9%"), "") << "less than a tenth";
  EXPECT_EQ(plain.Update(12, "102/1", "3%"), "12%  101/1 9%, 102/1 3%\n");
  EXPECT_EQ(plain.Update(5, "101/1", "failed: \x1b[2J"), "12%  101/1 failed: \\x1B[2J, 102/1 3%\n");
  plain.Update(12, "101/1", "1 of 20 files");
  EXPECT_EQ(plain.Update(13, "101/1", "2 of 20 files"), "") << "only another number";
  EXPECT_EQ(plain.Update(13, "101/1", "done"), "13%  101/1 done, 102/1 3%\n");
  EXPECT_EQ(plain.Update(12), "");
  EXPECT_FALSE(plain.Moved());

  velactl::PartsBar drawn({40, 4});
  EXPECT_EQ(drawn.Update(50, "101/1", "50%"), "[######.......]  50%\n  101/1  50%");
  EXPECT_EQ(drawn.Note("news"), "\r\x1b[1A\x1b[Jnews\n[######.......]  50%\n  101/1  50%");
  drawn.Update(50, "102/1", "1%");
  EXPECT_EQ(drawn.Update(50, "103/1", "1%"), "\r\x1b[2A\x1b[J[######.......]  50%")
      << "no room for the parts";
  EXPECT_EQ(drawn.Finish(true), "\r\x1b[J[#############] 100%\n");
}

}  // namespace
}  // namespace apps_test
