#include "platform/debug/console.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <latch>
#include <semaphore>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "platform/debug/vela_debug_mgr.h"
#include "platform/testkit/testkit.h"
#include "tests/files.h"

namespace {

using vela::ConsoleClient;
using vela::ConsoleOptions;
using vela::ConsoleReply;

constexpr CProcID kSelf{600, 3};
constexpr int kLong = 1'000'000;  // seconds: never, within a test
const auto kNever = std::chrono::steady_clock::now() + std::chrono::hours(1);

class EchoEngine : public VelaDebugEngine {
 public:
  std::string Execute(const std::string& line) override {
    if (line == "throw") throw std::runtime_error("no");
    if (line == "big" || line == "wait") begun.release();
    if (line == "big") return std::string(3'000'000, 'x');
    if (line == "wait") end.wait();
    return "<" + line + ">\n";
  }
  VelaDebugReply Run(const std::string& line) override { return {Execute(line), line.starts_with("fail")}; }

  std::counting_semaphore<> begun{0};  // "big" and "wait"
  std::latch end{1};                   // of "wait"
};

sockaddr_un AddressIn(const std::string& folder) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  (folder + "/600-3.sock").copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

// An operator's connection without any program around it.
class RawOperator {
 public:
  RawOperator() : m_socket(socket(AF_UNIX, SOCK_STREAM, 0)) {
    const sockaddr_un address = AddressIn(files::Root() + "var/run/console");
    EXPECT_EQ(connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  ~RawOperator() { close(m_socket); }
  RawOperator(const RawOperator&) = delete;
  RawOperator& operator=(const RawOperator&) = delete;

  bool Send(const std::string& bytes) const {
    return send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
  }
  void SendNoMore() const { shutdown(m_socket, SHUT_WR); }
  // All that comes until the other side hangs up.
  std::string Rest() const {
    std::string rest;
    char block[4096];
    for (ssize_t got; (got = recv(m_socket, block, sizeof block, 0)) > 0;)
      rest.append(block, static_cast<std::size_t>(got));
    return rest;
  }

 private:
  const int m_socket;
};

// Another process' console, as far as its socket goes.
class Listener {
 public:
  explicit Listener(const std::string& folder) : m_socket(socket(AF_UNIX, SOCK_STREAM, 0)) {
    std::filesystem::create_directories(folder);
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    const sockaddr_un address = AddressIn(folder);
    EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(m_socket, 9), 0);
  }
  ~Listener() { close(m_socket); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

 private:
  const int m_socket;
};

class ConsoleThreaded : public testing::Test {
 protected:
  ConsoleThreaded() { m_mgr.RegDebugEngine(&m_engine); }
  ~ConsoleThreaded() override {
    m_engine.end.count_down();
    EXPECT_TRUE(m_mgr.CloseConsole(kLong)) << "no thread is left";
    m_mgr.UnRegDebugEngine(&m_engine);
    VelaDebugMgr::Destroy();
  }

  bool Open(const ConsoleOptions& options) {
    m_error.clear();
    return m_mgr.OpenConsole(kSelf, options, m_error);
  }
  static std::string Ask(ConsoleClient& client, const std::string& line) {
    ConsoleReply reply;
    return client.Ask(line, kLong, reply) == ConsoleClient::Result::ok ? reply.text : "no reply";
  }
  static std::string AskAnew(const std::string& line) {
    ConsoleClient client;
    return client.Connect(kSelf, kLong) == 0 ? Ask(client, line) : "no connection";
  }

  testkit::LogCapture m_log;
  EchoEngine m_engine;
  VelaDebugMgr& m_mgr = *VelaDebugMgr::Instance();
  std::string m_error;
};

TEST_F(ConsoleThreaded, AnswersWhatIsALineAndSaysSoInTheLog) {
  ASSERT_TRUE(Open({.idleSeconds = kLong})) << m_error;
  const std::string longest(4096, 'a');
  const std::string refusal = "REFUSED 34\nA command has at most 4096 bytes.\n";
  const struct {
    std::string sent, received, logged;
  } rows[] = {
      {"a\n", "OK 4\n<a>\n", ": OK \"<a>\" to: a"},
      {"a b\r\nfail\n", "OK 6\n<a b>\nFAILED 7\n<fail>\n", ": FAILED \"<fail>\" to: fail"},
      {"\n", "OK 3\n<>\n", ": OK \"<>\" to: "},
      {std::string("x\0\x1b[2Jy\n", 8), std::string("OK 10\n<x\0\x1b[2Jy>\n", 16), "to: x\\x00\\x1B[2Jy"},
      {"throw\n", "FAILED 23\nThe command failed: no\n", "to: throw"},
      {longest + '\n', "OK 4099\n<" + longest + ">\n", "to: " + longest},
      {longest + "a\n", refusal, "REFUSED \"A command has at most 4096 bytes.\""},
      {longest + "a", refusal, "REFUSED"},
      {"cut off", "", ""},
  };
  for (const auto& row : rows) {
    m_log.Clear();
    RawOperator one;
    ASSERT_TRUE(one.Send(row.sent));
    one.SendNoMore();
    EXPECT_EQ(one.Rest(), row.received) << row.sent.substr(0, 20);
    EXPECT_EQ(m_log.Count(row.logged), row.logged.empty() ? 0 : 1) << row.logged.substr(0, 60);
  }
}

TEST_F(ConsoleThreaded, NobodyWaitsForACommandThatTakesLong) {
  ASSERT_TRUE(Open({.operators = 3, .idleSeconds = kLong})) << m_error;
  RawOperator first, second, silent;
  ASSERT_TRUE(first.Send("wait\n") && second.Send("wait\n"));
  m_engine.begun.acquire();
  m_engine.begun.acquire();
  {
    const RawOperator quick;
    ASSERT_TRUE(quick.Send("a\n"));
    quick.SendNoMore();
    EXPECT_EQ(quick.Rest(), "OK 4\n<a>\n");  // and its place is free
  }
  EXPECT_EQ(silent.Rest(), "") << "who was silent longest gives way";
  RawOperator third;
  ASSERT_TRUE(third.Send("wait\n"));
  m_engine.begun.acquire();
  EXPECT_EQ(AskAnew("a"), "All consoles run commands; try again later.\n");
  EXPECT_FALSE(m_mgr.CloseConsole(0)) << "commands were abandoned";
}

TEST_F(ConsoleThreaded, WhoNeverReadsIsHungUpOn) {
  ASSERT_TRUE(Open({.operators = 5, .idleSeconds = kLong, .writeSeconds = 1, .maxReply = 2'000'000}));
  std::vector<std::unique_ptr<RawOperator>> silent;
  for (int i = 0; i < 100; ++i) silent.push_back(std::make_unique<RawOperator>());
  EXPECT_EQ(AskAnew("a"), "<a>\n");
  for (int i = 0; i < 5; ++i) {
    silent.push_back(std::make_unique<RawOperator>());
    ASSERT_TRUE(silent.back()->Send("big\n"));
    m_engine.begun.acquire();
  }
  std::string reply = AskAnew("a");
  while (reply.starts_with("All consoles")) reply = AskAnew("a");  // until writing was given up
  EXPECT_EQ(reply, "<a>\n");
  silent.back()->SendNoMore();
  EXPECT_TRUE(silent.back()->Rest().starts_with("OK 2000024\nxxx")) << "3000000 bytes, cut";
}

TEST_F(ConsoleThreaded, WhoSendsNothingIsHungUpOn) {
  ASSERT_TRUE(Open({.idleSeconds = 1}));
  const RawOperator one;
  ASSERT_TRUE(one.Send("no line end"));
  EXPECT_EQ(one.Rest(), "");
  ConsoleClient client;
  ASSERT_EQ(client.Connect(kSelf, kLong), 0);
  ConsoleReply reply;
  EXPECT_EQ(client.Receive(kNever, reply), ConsoleClient::Result::broken);
  EXPECT_EQ(client.Ask("a", kLong, reply), ConsoleClient::Result::hungUp) << "so it may be asked again";
}

TEST_F(ConsoleThreaded, FolderIsPrivateAndNamesAreTakenOnce) {
  const std::string folder = files::Root() + "console";
  {
    const Listener live(folder);
    EXPECT_FALSE(Open({.folder = folder}));
    EXPECT_EQ(m_error, "another process listens at 600-3.sock");
  }
  ConsoleClient client;
  EXPECT_EQ(client.Connect(kSelf, kLong, folder), ECONNREFUSED) << "left by a process that was killed";
  std::filesystem::permissions(folder, std::filesystem::perms(0770));
  EXPECT_FALSE(Open({.folder = folder}));
  EXPECT_TRUE(m_error.ends_with("others may write to the folder")) << m_error;
  std::filesystem::permissions(folder, std::filesystem::perms(0755));
  const std::string deep = files::Root() + std::string(120, 'd') + "/console";
  for (const std::string& path : {folder, deep}) {
    EXPECT_TRUE(Open({.folder = path})) << m_error;
    EXPECT_FALSE(Open({})) << "one console at a time";
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms::owner_all);
    EXPECT_EQ(client.Connect(kSelf, kLong, path), 0);
    EXPECT_EQ(client.Connect(CProcID(600, 4), kLong, path), ENOENT);
    EXPECT_TRUE(m_mgr.CloseConsole(kLong));
    EXPECT_TRUE(std::filesystem::is_empty(path)) << "an orderly end leaves nothing";
  }
}

TEST_F(ConsoleThreaded, AnotherUserIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  ASSERT_TRUE(Open({}));
  const std::string folder = files::Root() + "var/run/console";
  for (const std::string& path : {files::Root(), folder, folder + "/600-3.sock"})
    std::filesystem::permissions(path, std::filesystem::perms(0777));
  std::string reply;
  std::thread([&reply] {
    constexpr int nobody = 65534;  // of this thread alone
    ASSERT_EQ(syscall(SYS_setresuid, nobody, nobody, nobody), 0);
    reply = RawOperator().Rest();
  }).join();
  EXPECT_EQ(reply, "REFUSED 49\nOnly the process' own user and root may connect.\n");
  EXPECT_EQ(m_log.Count("of user 65534"), 1);
}

TEST(ConsoleOptionsTest, AreReadFromTheConfiguration) {
  const testkit::LogCapture log;
  const std::tuple<const char*, const char*, int> rows[] = {
      {"ConsoleOperators = 1000\nConsoleIdleSeconds = 1\nConsoleWriteSeconds = 2\n", "1000 1 2", 0},
      {"ConsoleOperators = 1001\nConsoleIdleSeconds = 0\nConsoleWriteSeconds = x\n", "16 600 10", 3}};
  for (const auto& [keys, read, errors] : rows) {
    files::Write("etc/conf/vela.cfg", keys);
    const ConsoleOptions options = vela::ReadConsoleOptions();
    EXPECT_EQ(std::to_string(options.operators) + ' ' + std::to_string(options.idleSeconds) + ' ' +
                  std::to_string(options.writeSeconds),
              read);
    EXPECT_EQ(log.Count(" is no number from 1 to "), errors) << keys;
  }
}

}  // namespace
