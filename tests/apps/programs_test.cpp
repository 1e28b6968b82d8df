#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/apps/child.h"

// The programs as users start them: real processes in the test's own root.
namespace apps_test {
namespace {

// A value of one line of JSON as velactl writes it; texts without their quotes.
std::string Value(const std::string& line, const std::string& key) {
  const std::size_t at = line.find('"' + key + "\": ");
  if (at == std::string::npos) return "?";
  std::string value = line.substr(at + key.size() + 4);
  if (value[0] == '"') return value.substr(1, value.find('"', 1) - 1);
  return value.substr(0, value.find_first_of(",}"));
}

TEST(ProgramsTest, AuditFindsExactlyThePlantedFaults) {
  Server server("");
  ASSERT_TRUE(server.Ready());
  Audit json(kInventory, {"--json"});
  EXPECT_EQ(json.End(), 0) << json.Text(Child::err);
  EXPECT_EQ(json.Text(Child::err), "") << "scripts see nothing but the result";
  std::string found;
  for (const std::string& line : files::Lines(json.Text(Child::out))) {
    if (line.find("\"fault\"") == std::string::npos) continue;
    const std::string other = Value(line, "otherLine");
    found += Value(line, "line") + '\t' + Value(line, "fault") + '\t' + Value(line, "identifier") + '\t' +
             (other == "null" ? "-" : other) + '\n';
  }
  EXPECT_EQ(found, files::Read("share/inventory/inventory.expected"));

  Audit table(kInventory);
  EXPECT_EQ(table.End(), 0);
  EXPECT_TRUE(table.Text(Child::out).ends_with("\n5000 of 5000 NEs checked, 50 faults found\n"));
  int last = -1;
  for (const std::string& line : files::Lines(table.Text(Child::err))) {
    const int percent = std::stoi(line);
    EXPECT_GE(percent, last) << line;
    last = percent;
  }
  EXPECT_EQ(last, 100);
}

TEST(ProgramsTest, AnAuditThatEndsEarlySaysWhyAndShowsWhatItFound) {
  const struct {
    const char* what;
    std::vector<std::string> options;
    std::function<void(Child& server, Child& audit)> action;
    const char* said;
    bool shown;   // what was found so far
    bool served;  // the next client
  } cases[] = {
      {"cancelled",
       {},
       [](Child&, Child& audit) { audit.Signal(SIGINT); },
       "the audit was cancelled after ",
       true,
       true},
      {"time-out",
       {"--timeout", "1"},
       [](Child&, Child&) {},
       "the time-out ended the audit after ",
       true,
       true},
      {"server terminated",
       {},
       [](Child& server, Child&) {
         server.Signal(SIGTERM);
         EXPECT_EQ(server.End(), 0);
         EXPECT_EQ(server.Text(Child::err), "");
         EXPECT_NE(Server::Log().find("velad: ended"), std::string::npos) << "the log is complete";
       },
       "the server was told to end after ",
       false,
       false},
      {"server killed",
       {},
       [](Child& server, Child&) { server.Signal(SIGKILL); },
       "server process 100/1 ended before it answered; start it again",
       false,
       false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Server server;
    ASSERT_TRUE(server.Ready());
    Audit audit(kInventory, c.options);
    ASSERT_TRUE(audit.Runs());
    c.action(server, audit);
    EXPECT_EQ(audit.End(), 1);
    EXPECT_NE(audit.Text(Child::err).find(std::string("velactl: ") + c.said), std::string::npos);
    EXPECT_TRUE(!c.shown || audit.Text(Child::out).find("identifier-form") != std::string::npos);
    EXPECT_TRUE(!c.served || Audit(SmallInventory()).End() == 0);
  }
}

TEST(ProgramsTest, SecondInterruptLeavesAStoppedServer) {
  Server server;
  ASSERT_TRUE(server.Ready());
  Audit audit(kInventory);
  ASSERT_TRUE(audit.Runs());
  server.Stop();
  audit.Signal(SIGINT);
  ASSERT_TRUE(audit.Says(Child::err, "cancelling"));
  audit.Signal(SIGINT);
  EXPECT_EQ(audit.End(), 130);
}

// With one worker: the mission of the dead client must end for the next one to be served.
TEST(ProgramsTest, KilledClientFreesItsWorker) {
  Server server("WorkerThreads = 1\nAuditRecordMicroseconds = 5000\n");
  ASSERT_TRUE(server.Ready());
  Audit audit(kInventory);
  ASSERT_TRUE(audit.Runs());
  audit.Signal(SIGKILL);
  EXPECT_EQ(audit.End(), -SIGKILL);
  EXPECT_EQ(Audit(SmallInventory()).End(), 0);
}

TEST(ProgramsTest, StoppedClientHoldsNobodyUp) {
  Server server;
  ASSERT_TRUE(server.Ready());
  Audit stopped(kInventory);
  ASSERT_TRUE(stopped.Runs());
  stopped.Stop();
  EXPECT_EQ(Audit(SmallInventory()).End(), 0);
  server.Signal(SIGTERM);
  EXPECT_EQ(server.End(), 0);
  stopped.Signal(SIGCONT);
  EXPECT_EQ(stopped.End(), 1);
}

TEST(ProgramsTest, OneProcessForEachAddress) {
  Server first;
  ASSERT_TRUE(first.Ready());
  Server second;
  EXPECT_EQ(second.End(), 1);
  EXPECT_EQ(second.Text(Child::err),
            "velad: the address 100/1 is taken by another process; give this one its own ProcHandle\n");
  EXPECT_EQ(Audit(SmallInventory()).End(), 0) << "the first one serves on";
}

TEST(ProgramsTest, ServerRefusesBadConfigurations) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "the key ProcNumber is missing"},
      {"ProcNumber = 0\n", "ProcNumber = 0 is not a number from 1 to 65535"},
      {"ProcNumber = ten\n", "ProcNumber = ten is not a number"},
      {"ProcNumber = 3003\n", "belongs to the clients"},
      {"ProcNumber = 9\nProcHandle = 10001\n", "ProcHandle = 10001 is not a number from 1 to 10000"},
      {"ProcNumber = 9\nWorkerThreads = 0\n", "WorkerThreads = 0"},
      {"ProcNumber = 9\nQueueLimit = -1\n", "QueueLimit = -1"},
      {"ProcNumber = 9\nStopSeconds = 1h\n", "StopSeconds = 1h"},
  };
  for (const auto& [keys, error] : cases) {
    Child server({VELA_BIN_DIR "/velad", "-f", WriteConfig("bad.cfg", keys)});
    EXPECT_EQ(server.End(), 1) << keys;
    EXPECT_NE(server.Text(Child::err).find(error), std::string::npos) << server.Text(Child::err);
    EXPECT_EQ(files::Lines(server.Text(Child::err)).size(), 1U) << server.Text(Child::err);
  }
}

TEST(ProgramsTest, ErrorsOfCommandLinesAndSurroundings) {
  std::string rows = "identifier,name,type,address,version,position\n";
  for (int i = 0; i < 30000; ++i) rows += "1-1,n,t,a,v,p\n";
  const std::string many = files::Write("many.csv", rows);
  const std::string velad = VELA_BIN_DIR "/velad";
  const std::string velactl = VELA_BIN_DIR "/velactl";
  const struct {
    std::vector<std::string> arguments;
    std::map<std::string, std::string> variables;
    int code;
    std::string said;  // part of what is said on both streams
  } cases[] = {
      {{velad}, {{"VELA_ROOT", ""}}, 0, "Can not find VELA_ROOT env,exit ...\n"},
      {{velactl, "audit", kInventory}, {{"VELA_ROOT", " "}}, 0, "Can not find VELA_ROOT env,exit ...\n"},
      {{velad}, {{"VELA_ROOT", "/nowhere"}}, 1, "there is no configuration file 'velad.cfg'"},
      {{velad, "-f"}, {}, 1, "-f needs the name"},
      {{velad, "-f", "missing.cfg"}, {}, 1, "there is no configuration file 'missing.cfg'"},
      {{velad, "--serve"}, {}, 1, "unknown argument '--serve'"},
      {{velad, "--help"}, {}, 0, "usage: velad"},
      {{velad, "--version"}, {}, 0, "velad 1."},
      {{velactl}, {}, 1, "no command is given"},
      {{velactl, "odit"}, {}, 1, "unknown command 'odit'"},
      {{velactl, "--help"}, {}, 0, "usage: velactl"},
      {{velactl, "audit", "--help"}, {}, 0, "usage: velactl audit"},
      {{velactl, "audit", "missing.csv"}, {}, 1, "missing.csv: No such file or directory; nothing was sent"},
      {{velactl, "audit", many}, {}, 1, "30000 NEs are more than one request can carry; split the file"},
      {{velactl, "audit", kInventory}, {}, 1, "no server process 100 is running"},
      {{velactl, "audit", kInventory, "--process", "7/3"}, {}, 1, "no server process 7/3 is running"},
  };
  for (const auto& c : cases) {
    Child child(c.arguments, c.variables);
    EXPECT_EQ(child.End(), c.code) << c.said;
    const std::string said = child.Text(Child::out) + child.Text(Child::err);
    EXPECT_NE(said.find(c.said), std::string::npos) << said;
    if (c.code != 0) {
      EXPECT_EQ(files::Lines(said).size(), 1U) << said;
    }
  }
}

}  // namespace
}  // namespace apps_test
