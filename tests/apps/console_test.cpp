#include <gtest/gtest.h>
#include <pty.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <regex>
#include <set>
#include <thread>

#include "apps/velactl/debug_editor.h"
#include "platform/debug/console.h"
#include "tests/apps/child.h"
#include "util/basicutil/common.h"
#include "util/basicutil/common_manager.h"

// The operator's console, with real processes.
namespace apps_test {
namespace {

struct Result {
  int code;
  std::string out, err;
};

Result Velactl(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), VELA_BIN_DIR "/velactl");
  Child child(std::move(arguments));
  const int code = child.End();
  return {code, child.Text(Child::out), child.Text(Child::err)};
}

// The numbers of a process differ from run to run.
std::string WithoutNumbers(const std::string& text) {
  return std::regex_replace(text, std::regex("[0-9]+:[0-9]+:[0-9]+|[0-9]{2,}"), "N");
}

TEST(ConsoleCommandTest, TellsScriptsWhatCameOut) {
  const std::string none = "no server processes are running below " + vela::InstallRoot() + "\n";
  EXPECT_EQ(Velactl({"ps"}).out, none);
  Server server("");
  ASSERT_TRUE(server.Ready());
  const struct {
    std::vector<std::string> arguments;
    int code;
    std::string out, err;
  } rows[] = {
      {{"debug", "100/1", "setswitch", "default", "1110"}, 0, "OK\n", ""},
      {{"debug", "100", "setswitch", "default", "2"}, 1, "Syntex: setswitch ModuleName", ""},
      {{"debug", "100", "x\x1b[2J"}, 1, "", "velactl: a command is one line without"},
      {{"debug", "100", "x\xc2\x9b"}, 1, "Invalid Command: x\\xC2\\x9B\n", ""},
      {{"debug", "--json", "100", "no", "--json"},
       1,
       R"({"process": "100/1", "command": "no --json", "status": "failed", "reply": "Invalid Command: no"})",
       ""},
      {{"debug", "100/2", "status"}, 1, "", "velactl: no process 100/2 with a console is running below"},
      {{"debug", "101", "status"}, 1, "", "velactl: no process 101 with a console is running below"},
      {{"debug"}, 1, "", "velactl: no process is named; see velactl debug --help\n"},
      {{"debug", "0"}, 1, "", "velactl: '0' is neither N nor N/HANDLE"},
      {{"debug", "--process", "100"}, 1, "", "velactl: unknown option '--process'"},
      {{"debug", "100", std::string(5000, 'a')}, 1, "", "velactl: process 100/1 refused: A command has"},
      {{"ps", "--json"}, 0, "[\n  {\"number\": N, \"handle\": 1, \"pid\": N, \"uptime\": ", ""},
      {{"ps"}, 0, "NUMBER  HANDLE  PID", ""},
      {{"ps", "--process", "100"}, 1, "", "velactl: unknown option '--process'"},
  };
  for (const auto& row : rows) {
    const Result result = Velactl(row.arguments);
    const std::string& verb = row.arguments.back();
    EXPECT_EQ(result.code, row.code) << verb;
    EXPECT_TRUE((row.arguments[0] == "ps" ? WithoutNumbers(result.out) : result.out).starts_with(row.out))
        << result.out;
    EXPECT_TRUE(result.err.starts_with(row.err)) << result.err;
    EXPECT_EQ(result.err.empty(), row.err.empty()) << result.err;
  }
  Child pipe(
      {"/bin/sh", "-c", "printf 'status\\n\\nno\\nexit\\nflush\\n' | " VELA_BIN_DIR "/velactl debug 100"});
  EXPECT_EQ(pipe.End(), 1);
  EXPECT_TRUE(pipe.Text(Child::out).ends_with("\nlocks: 0\nInvalid Command: no\n")) << pipe.Text(Child::out);
  EXPECT_EQ(Velactl({"debug", "100", "shutdown"}).out, "OK\n");
  EXPECT_EQ(server.End(), 0);
  EXPECT_EQ(Velactl({"ps"}).out, none);
}

TEST(ConsoleCommandTest, OutlivesHostileOperatorsAndKills) {
  Server killed("");
  ASSERT_TRUE(killed.Ready());
  killed.Signal(SIGKILL);
  EXPECT_EQ(killed.End(), -SIGKILL);
  EXPECT_TRUE(Velactl({"ps"}).out.starts_with("no server processes"))
      << "its socket is left, and nobody there";
  Server server("");
  ASSERT_TRUE(server.Ready());

  std::vector<vela::ConsoleClient> silent(100);
  for (vela::ConsoleClient& client : silent) {
    ASSERT_EQ(client.Connect(CProcID(100, 1), 60), 0);
    client.Send("help", 60);
  }
  vela::ConsoleClient flood;
  ASSERT_EQ(flood.Connect(CProcID(100, 1), 60), 0);
  EXPECT_FALSE(flood.Send(std::string(10'000'000, 'x'), 1'000'000)) << "hung up on";
  EXPECT_EQ(Velactl({"debug", "100", "flush"}).out, "OK\n");

  server.Stop();
  const Result hung = Velactl({"debug", "--timeout", "1", "100", "status"});
  EXPECT_EQ(hung.err, "velactl: process 100/1 gave no reply within 1 seconds; the command may still run\n");
  const Result list = Velactl({"ps", "--timeout", "1"});
  EXPECT_TRUE(std::regex_search(list.out, std::regex("\n100 +1 +[0-9]+ +- +- +-\n"))) << list.out;
}

TEST(ConsoleCommandTest, TerminalCompletesAndRemembers) {
  using velactl::Complete;
  const std::vector<std::string> words = {"listswitch", "listcmd", "ListQueue", "help"};
  const struct {
    std::string begun, word;
    std::size_t others;
  } rows[] = {
      {"h", "help ", 0}, {"L", "list", 0}, {"list", "list", 3}, {"listq", "ListQueue ", 0}, {"x", "x", 0}};
  for (const auto& row : rows) {
    EXPECT_EQ(Complete(row.begun, words).word, row.word) << row.begun;
    EXPECT_EQ(Complete(row.begun, words).others.size(), row.others) << row.begun;
  }

  Server server("");
  ASSERT_TRUE(server.Ready());
  int terminal = -1;
  int slave = -1;
  char name[64];
  ASSERT_EQ(openpty(&terminal, &slave, name, nullptr, nullptr), 0);
  const std::string typed =
      "setsw\tdef\t1111\rlistsw\t\r\x10\x10\x08"
      "0\rexit\r";  // ^P: back in the history
  ASSERT_EQ(write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
  Child child(
      {"/bin/sh", "-c", std::string("exec " VELA_BIN_DIR "/velactl debug 100 <") + name + " >" + name},
      {{"TERM", "dumb"}});
  EXPECT_EQ(child.End(), 0) << child.Text(Child::err);
  close(slave);
  close(terminal);
  EXPECT_TRUE(
      std::regex_search(Velactl({"debug", "100", "listswitch"}).out, std::regex("\ndefault +1110\n")));
  EXPECT_NE(Server::Log().find("to: setswitch default 1111\n"), std::string::npos);
}

// One content or the other, never a mixture.
TEST(ReloadThreaded, ReadsAFileThatIsReplacedMeanwhile) {
  using NSTE_util::TEDebugMgrImpl;
  constexpr int modules = 200;
  std::string contents[2];
  for (int i = 0; i < modules; ++i) {
    contents[0] += "m" + std::to_string(i) + " = 1,0,1,0\n";
    contents[1] += "m" + std::to_string(i) + " = 1,1,0,1\n";
  }
  const std::string file = files::Write("conf/switches.cfg", contents[0]);
  TEDebugMgrImpl& manager = *TEDebugMgrImpl::Instance();
  manager.Init("", "", "", file);
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    for (int i = 0; !stop; ++i) std::filesystem::rename(files::Write("conf/new.cfg", contents[i % 2]), file);
  });
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(manager.Run("loadswitch 2").failed, false);
    std::set<unsigned> seen;
    for (const auto& entry : manager.Switches())
      if (entry.module.starts_with('m')) seen.insert(entry.switches);
    EXPECT_EQ(seen.size(), 1U);
  }
  stop = true;
  writer.join();
}

}  // namespace
}  // namespace apps_test
