#include <gtest/gtest.h>

#include <latch>

#include "apps/asn1/ne_oper_codes.h"
#include "apps/velactl/client_process.h"
#include "asn1/error.h"
#include "asn1/ne_oper.h"
#include "asn1/progress.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/task/vela_task.h"
#include "tests/apps/child.h"

// Locks on NEs in a real server.
namespace apps_test {
namespace {

class Operation : public Child {
 public:
  explicit Operation(std::vector<std::string> arguments) : Child(Line(std::move(arguments))) {}
  bool Runs() { return Says(err, "% Configuring"); }

 private:
  static std::vector<std::string> Line(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VELA_BIN_DIR "/velactl");
    return arguments;
  }
};

const std::vector<std::string> kLong = {"configure", "9-1..9-4", "--seconds", "86400"};

TEST(LocksTest, SecondRequestIsRefusedUntilTheFirstHasEnded) {
  Server server("");
  ASSERT_TRUE(server.Ready());
  Operation first(kLong);
  ASSERT_TRUE(first.Runs());
  Operation second({"configure", "20-1,9-3", "--json"});
  EXPECT_EQ(second.End(), 2);
  const std::string said = second.Text(Child::out) + second.Text(Child::err);
  for (const char* part : {"\"errorCode\": 1107362321, \"reason\": \"a configuration of user ",
                           "\nvelactl: refused with code 0x42010211 because of 9-3: a configuration of user ",
                           " at process 3003/", " has been at work there since 20",
                           "% done; nothing was done. Wait for its end"})
    EXPECT_NE(said.find(part), std::string::npos) << said;
  EXPECT_EQ(Operation({"inspect", "9-3"}).End(), 0);
  EXPECT_EQ(Operation({"configure", "20-1"}).End(), 0) << "what was refused holds nothing";
  first.Signal(SIGINT);
  EXPECT_EQ(first.End(), 1);
  EXPECT_NE(first.Text(Child::err).find("velactl: the operation was cancelled after 0 of 4 NEs\n"),
            std::string::npos);
  EXPECT_EQ(Operation({"configure", "20-1,9-3"}).End(), 0);
}

TEST(LocksTest, ErrorsAsTableAndAsJson) {
  Server server("");
  ASSERT_TRUE(server.Ready());
  Operation table({"configure", "9-4..9-5"});
  EXPECT_EQ(table.End(), 1);
  EXPECT_EQ(table.Text(Child::out),
            "CODE        POSITION             TEXT\n"
            "0x42010224  9-5, slot 3, port 1  the port carries VC4-7\n"
            "0x42010224  9-5, slot 3, port 2  the port carries VC4-8\n"
            "0x42010223  9-5, slot 4          the board's memory is full\n"
            "\n"
            "2 NEs asked for, 1 with errors, 3 errors\n");
  Operation json({"inspect", "9-8", "--json"});
  EXPECT_EQ(json.End(), 1);
  EXPECT_EQ(
      files::Lines(json.Text(Child::out))[2],
      "{\"code\": 1107362338, \"text\": \"there is no board in the slot\", \"position\": \"9-8, slot 6\", "
      "\"objects\": [[\"9-8\", 6, 0]]}");
}

TEST(LocksTest, ErrorsBeyondTheLimitOfAnAnswerAreCounted) {
  std::string faults;
  for (int port = 1; port <= 100; ++port) faults += "9-1/1/" + std::to_string(port) + " = silent\n";
  files::Write("conf/ne_faults.cfg", faults);
  files::Write("etc/conf/vela.cfg", "AsnMaxElements = 200\n");
  Server server("");
  ASSERT_TRUE(server.Ready());
  Operation operation({"configure", "9-1"});
  EXPECT_EQ(operation.End(), 1);
  const std::size_t shown =
      files::Lines(operation.Text(Child::out)).size() - 4;  // without head, note and sum
  EXPECT_GT(shown, 0U);
  EXPECT_NE(operation.Text(Child::out).find(' ' + std::to_string(100 - shown) + " more errors did not fit"),
            std::string::npos)
      << operation.Text(Child::out);
}

// With one worker: the next client is served, and granted, when the lock of the one before it is gone.
TEST(LocksTest, NoLockOutlivesItsClientOrServer) {
  Server server("WorkerThreads = 1\n");
  ASSERT_TRUE(server.Ready());
  Operation killed(kLong);
  ASSERT_TRUE(killed.Runs());
  killed.Signal(SIGKILL);
  EXPECT_EQ(killed.End(), -SIGKILL);
  EXPECT_EQ(Operation({"configure", "9-1"}).End(), 0);

  Operation left(kLong);
  ASSERT_TRUE(left.Runs());
  server.Signal(SIGTERM);
  EXPECT_EQ(left.End(), 1);
  EXPECT_NE(left.Text(Child::err).find("velactl: the server was told to end after 0 of 4 NEs\n"),
            std::string::npos);
  EXPECT_EQ(server.End(), 0);
  EXPECT_EQ(Server::Log().find("ASSERT"), std::string::npos) << "each lock and frame was given back once";
}

TEST(LocksTest, ServerDoesNotStartWithoutItsMutexFile) {
  const struct {
    const char* content;  // null: no file
    const char* logged;
  } cases[] = {
      {"[MUTEX_TABLE]\n1:2:0\n1:2\n", "Format Error in line(3):\"1:2\""},
      {nullptr, "own.cfg) error! "},
  };
  for (const auto& c : cases) {
    std::filesystem::remove(files::Root() + "conf/own.cfg");
    if (c.content != nullptr) files::Write("conf/own.cfg", c.content);
    Server server("MutexFile = conf/own.cfg\n");
    EXPECT_EQ(server.End(), 1);
    EXPECT_NE(server.Text(Child::err).find("velad: " + files::Root() + "conf/own.cfg cannot be read"),
              std::string::npos);
    EXPECT_NE(Server::Log().find(c.logged), std::string::npos) << Server::Log();
  }
}

// Two handlers at a time want the same NE. Who is refused knows that the other one has it, and cancels it: so
// both requests end, in whatever order they came, and every round has one of each.
TEST(LocksThreadedTest, OneOfTwoIsGranted) {
  constexpr int kRounds = 100;
  constexpr std::uint32_t kRefused = 77;
  constexpr int kSeconds = 1200;
  files::Write("conf/own.cfg", "[MUTEX_TABLE]\n2162705:2162705:0\n[MUTEX_ERRORCODE]\n2162705:77\n");
  Server server("MutexFile = conf/own.cfg\n");
  ASSERT_TRUE(server.Ready());
  velactl::ClientProcess client;
  std::string error;
  std::string program = "velactl";
  ASSERT_TRUE(client.Start(program.data(), error)) << error;
  const CProcID address(100, 1);

  const auto code = [](const AsnInt& value) {
    return static_cast<std::uint32_t>(static_cast<AsnIntType>(value));
  };
  const auto cancel = [&](VelaGnlTask* task, int mission) {
    AsnAbortMissionReq request;
    request.scope = 255;
    request.missionID = mission;
    AsnAbortMissionRsp response;
    EXPECT_EQ(CAsnPhyCmd(0x208001, request, address, kSeconds, 0, 0).Exec(task, response), 0U);
    EXPECT_EQ(code(response.errorCode), 0U) << "the other one does not run";
  };
  std::map<std::uint32_t, int> answers;
  for (int round = 0; round < kRounds; ++round) {
    std::latch start(2);
    std::uint32_t codes[2] = {};
    const auto ask = [&](int which) {
      VelaGnlTask task("race");
      const VelaCurrentTaskScope current(&task);
      AsnNEOperReq request;
      request.missionID = 2 * round + which + 1;
      request.seconds = NE_OPER_MOST_SECONDS;
      *request.nes.append() = 10 + which;
      *request.nes.append() = 9;
      AsnErrRsp response;
      start.arrive_and_wait();
      EXPECT_EQ(CAsnPhyCmd(NE_CONFIGURE_COMMAND, request, address, kSeconds, 0, 0).Exec(&task, response), 0U);
      codes[which] = code(response.errorCode);
      if (codes[which] == kRefused) cancel(&task, 2 * round + 2 - which);
    };
    std::thread other(ask, 1);
    ask(0);
    other.join();
    for (const std::uint32_t answer : codes) ++answers[answer];
    ASSERT_EQ(codes[0] == kRefused, codes[1] != kRefused) << "round " << round;
  }
  EXPECT_EQ(answers, (std::map<std::uint32_t, int>{{kRefused, kRounds}, {NE_OPER_ERR_CANCELED, kRounds}}));
}

}  // namespace
}  // namespace apps_test
