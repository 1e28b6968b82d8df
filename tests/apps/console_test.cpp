#include <gtest/gtest.h>
#include <pty.h>

#include <filesystem>
#include <memory>
#include <regex>
#include <set>
#include <thread>
#include <tuple>

#include "apps/velactl/debug_editor.h"
#include "platform/debug/console.h"
#include "tests/apps/child.h"
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

bool Fits(const std::string& text, const std::string& pattern) {
  return std::regex_search(text, std::regex(pattern));
}

// Rows: the arguments, the exit code, and how standard output and standard error begin.
TEST(ConsoleCommandTest, TellsScriptsWhatCameOut) {
  EXPECT_TRUE(Fits(Velactl({"ps"}).out, "^no server processes are running below "));
  Server server("");
  ASSERT_TRUE(server.Ready());
  const std::tuple<std::vector<std::string>, int, std::string, std::string> rows[] = {
      {{"100/1", "setswitch", "default", "1110"}, 0, "OK\n", ""},
      {{"100", "setswitch", "default", "2"}, 1, "Syntex: setswitch ModuleName", ""},
      {{"100", "x\x1b[2J"}, 1, "", "velactl: a command is one line without"},
      {{"100", "x\xc2\x9b"}, 1, "Invalid Command: x\\xC2\\x9B\n", ""},
      {{"--json", "100", "no", "--json"},
       1,
       R"({"process": "100/1", "command": "no --json", "status": "f)",
       ""},
      {{"100/2", "status"}, 1, "", "velactl: no process 100/2 with a console is running below"},
      {{}, 1, "", "velactl: no process is named; see velactl debug --help\n"},
      {{"0"}, 1, "", "velactl: '0' is neither N nor N/HANDLE"},
      {{"--process", "100"}, 1, "", "velactl: unknown option '--process'"},
      {{"100", std::string(5000, 'a')}, 1, "", "velactl: process 100/1 refused: A command has"},
  };
  for (auto [arguments, code, out, err] : rows) {
    arguments.insert(arguments.begin(), "debug");
    const Result result = Velactl(arguments);
    EXPECT_EQ(result.code, code) << arguments.back();
    EXPECT_TRUE(result.out.starts_with(out)) << result.out;
    EXPECT_TRUE(result.err.starts_with(err) && result.err.empty() == err.empty()) << result.err;
  }
  EXPECT_TRUE(Fits(Velactl({"ps"}).out, "\n100 +1 +[0-9]+ +00:0[0-9]:[0-9]+ +0 +0\n$"));
  EXPECT_TRUE(
      Fits(Velactl({"ps", "--json"}).out, "\"handle\": 1, \"pid\": [0-9]+, \"uptime\": [0-9]+, \"missions"));
  Child pipe(
      {"/bin/sh", "-c", "printf 'status\\n\\nno\\nexit\\nflush\\n' | " VELA_BIN_DIR "/velactl debug 100"});
  EXPECT_EQ(pipe.End(), 1);
  EXPECT_TRUE(pipe.Text(Child::out).ends_with("\nlocks: 0\nInvalid Command: no\n")) << pipe.Text(Child::out);
  EXPECT_EQ(Velactl({"debug", "100", "shutdown"}).out, "OK\n");
  EXPECT_EQ(server.End(), 0);
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
  EXPECT_EQ(Velactl({"debug", "--timeout", "1", "100", "status"}).err,
            "velactl: process 100/1 gave no reply within 1 seconds; the command may still run\n");
  EXPECT_TRUE(Fits(Velactl({"ps", "--timeout", "1"}).out, "\n100 +1 +[0-9]+ +- +- +-\n"));
}

TEST(ConsoleCommandTest, TerminalCompletesAndRemembers) {
  using velactl::Complete;
  const std::vector<std::string> words = {"listswitch", "listcmd", "ListQueue", "help"};
  const std::tuple<const char*, const char*, std::size_t> rows[] = {
      {"h", "help ", 0}, {"L", "list", 0}, {"list", "list", 3}, {"listq", "ListQueue ", 0}, {"x", "x", 0}};
  for (const auto& [begun, word, others] : rows) {
    EXPECT_EQ(Complete(begun, words).word, word) << begun;
    EXPECT_EQ(Complete(begun, words).others.size(), others) << begun;
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
  // The line editor leaks the names of the functions that it is given.
  Child child(
      {"/bin/sh", "-c", std::string("exec " VELA_BIN_DIR "/velactl debug 100 <") + name + " >" + name},
      {{"TERM", "dumb"}, {"ASAN_OPTIONS", "detect_leaks=0"}});
  EXPECT_EQ(child.End(), 0) << child.Text(Child::err);
  close(slave);
  close(terminal);
  EXPECT_TRUE(Fits(Velactl({"debug", "100", "listswitch"}).out, "\ndefault +1110\n"));
  EXPECT_NE(Server::Log().find("to: setswitch default 1111\n"), std::string::npos);
}

// One content or the other, never a mixture.
TEST(ReloadThreaded, ReadsAFileThatIsReplacedMeanwhile) {
  std::string contents[2];
  for (int i = 0; i < 200; ++i) {
    contents[0] += "m" + std::to_string(i) + " = 1,0,1,0\n";
    contents[1] += "m" + std::to_string(i) + " = 1,1,0,1\n";
  }
  const std::string file = files::Write("conf/switches.cfg", contents[0]);
  auto& manager = *NSTE_util::TEDebugMgrImpl::Instance();
  manager.Init("", "", "", file);
  const std::jthread writer([&](const std::stop_token& stop) {
    for (int i = 0; !stop.stop_requested(); ++i)
      std::filesystem::rename(files::Write("conf/new.cfg", contents[i % 2]), file);
  });
  for (int i = 0; i < 100; ++i) {
    EXPECT_FALSE(manager.Run("loadswitch 2").failed);
    std::set<unsigned> seen;
    for (const auto& entry : manager.Switches())
      if (entry.module.starts_with('m')) seen.insert(entry.switches);
    EXPECT_EQ(seen.size(), 1U);
  }
}

}  // namespace
}  // namespace apps_test
