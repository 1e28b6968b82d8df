#include "platform/bus/bus.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <map>

#include "platform/os/vela_os.h"
#include "platform/testkit/testkit.h"
#include "tests/platform/bus_engine.h"
#include "tests/platform/bus_member.h"

using vela::BusOptions;
using vela::BusResult;
namespace fs = std::filesystem;

namespace {

using MakeBus = std::unique_ptr<vela::Bus> (*)(const BusOptions&);

VelaMsgPtr MakeFrame(CProcID src, CProcID dst, std::uint32_t sn, const std::string& payload = "") {
  VelaMsgPtr frame = testkit::MakeFrame(
      {.srcProcId = src.Number(), .srcHandle = src.Handle(), .sn = sn, .payload = payload});
  frame->dstProcId = dst.Number();
  frame->dstHandle = dst.Handle();
  return frame;
}

struct Member : BusMember {
  Member(MakeBus make, const BusOptions& options, CProcID address, std::latch* gate = nullptr)
      : BusMember(make(options), address, gate), self(address) {}

  BusResult Send(CProcID dst, std::uint32_t sn, const std::string& payload = "") {
    return (*this)->Send(*MakeFrame(self, dst, sn, payload));
  }
  // Repeats while the receiver's queue is full.
  BusResult SendPatiently(CProcID dst, std::uint32_t sn) {
    BusResult sent = BusResult::full;
    while ((sent = Send(dst, sn)) == BusResult::full) std::this_thread::yield();
    return sent;
  }
  std::vector<std::uint32_t> Numbers(std::size_t count) {
    std::vector<std::uint32_t> numbers;
    for (const Received& frame : Await(count)) numbers.push_back(frame.sn);
    return numbers;
  }

  const CProcID self;
};

using List = std::vector<std::uint32_t>;

struct Kind {
  const char* name;
  MakeBus make;
};

class BusThreaded : public testing::TestWithParam<Kind> {
 protected:
  void SetUp() override {
    if (GetParam().make != vela::MakeNatsBus) return;
    m_engine = std::make_unique<Engine>();
    WriteBusConfig(m_engine->port);
  }
  std::unique_ptr<Member> Join(CProcID self, std::latch* gate = nullptr) {
    return std::make_unique<Member>(GetParam().make, options, self, gate);
  }
  // To who has just left: refused at once on one host, after a moment between hosts.
  BusResult SendToLeft(Member& client, CProcID to) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    BusResult result = client.Send(to, 9999);
    while (GetParam().make == vela::MakeNatsBus && result == BusResult::ok &&
           std::chrono::steady_clock::now() < until)
      result = client.Send(to, 9999);
    return result;
  }
  BusOptions options;

 private:
  std::unique_ptr<Engine> m_engine;
};

constexpr CProcID kServer(51, 1);
constexpr CProcID kClient(3003, 1);

TEST_P(BusThreaded, FramesArriveWholeAndInOrder) {
  auto server = Join(kServer);
  auto client = Join(kClient);
  ASSERT_EQ(BusResult::ok, server->result);
  List expected;
  for (std::uint32_t sn = 0; sn < 300; ++sn) {
    ASSERT_EQ(BusResult::ok, client->Send(kServer, sn, std::string(sn * 97, static_cast<char>(sn))));
    expected.push_back(sn);
  }
  ASSERT_EQ(expected, server->Numbers(300));
  const auto frames = server->Await(300);
  for (std::uint32_t sn = 0; sn < 300; ++sn)
    ASSERT_EQ(std::string(sn * 97, static_cast<char>(sn)), frames[sn].body);
  EXPECT_EQ(BusResult::ok, server->Send(kServer, 7)) << "to itself";
  EXPECT_EQ(301u, server->Numbers(301).size());
}

TEST_P(BusThreaded, AnyInstanceMeansOneInTurn) {
  std::map<int, std::unique_ptr<Member>> servers;
  for (std::uint16_t handle = 1; handle <= 3; ++handle) servers[handle] = Join(CProcID(51, handle));
  auto other1 = Join(CProcID(52, 1));
  auto other2 = Join(CProcID(52, 2));
  auto client = Join(kClient);
  for (std::uint32_t sn = 0; sn < 12; ++sn) {
    ASSERT_EQ(BusResult::ok, client->Send(CProcID(51, sn % 2 == 0 ? 0 : 10001), sn));
    ASSERT_EQ(BusResult::ok, client->Send(CProcID(52, 0), sn));
  }
  for (auto& [handle, server] : servers) EXPECT_EQ(4u, server->Numbers(4).size()) << handle;
  EXPECT_EQ(6u, other1->Numbers(6).size()) << "one number's turns do not disturb another's";

  servers.erase(2);
  for (std::uint32_t sn = 12; sn < 20; ++sn) ASSERT_EQ(BusResult::ok, client->Send(CProcID(51, 0), sn));
  EXPECT_EQ(8u, servers[1]->Numbers(8).size());
  EXPECT_EQ(8u, servers[3]->Numbers(8).size());
  servers[9] = Join(CProcID(51, 9));
  for (std::uint32_t sn = 20; sn < 23; ++sn) ASSERT_EQ(BusResult::ok, client->Send(CProcID(51, 0), sn));
  EXPECT_EQ(1u, servers[9]->Numbers(1).size()) << "a newcomer is found";
}

TEST_P(BusThreaded, BroadcastReachesEveryClient) {
  constexpr CProcID everybody(VELA_CLIENT_GROUP, 0);
  auto server = Join(kServer);
  EXPECT_EQ(BusResult::ok, server->Send(everybody, 1)) << "nobody there";
  EXPECT_EQ(0u, (*server)->Stats().sent);
  auto first = Join(kClient);
  auto second = Join(CProcID(3003, 10000));
  EXPECT_EQ(BusResult::ok, server->Send(everybody, 2, std::string(100000, 'b')));
  EXPECT_EQ(List({2}), first->Numbers(1));
  EXPECT_EQ(List({2}), second->Numbers(1));
  EXPECT_EQ(std::string(100000, 'b'), second->Await(1)[0].body);
  EXPECT_EQ(BusResult::ok, server->Send(CProcID(3003, 10000), 3)) << "one client";
  EXPECT_EQ(List({2, 3}), second->Numbers(2));
  EXPECT_EQ(3u, (*server)->Stats().sent);
  EXPECT_EQ((std::vector<CProcID>{kServer, kClient, CProcID(3003, 10000)}), (*server)->LiveProcesses());
}

TEST_P(BusThreaded, RefusesWithAReason) {
  options.maxFrameBytes = 60;
  auto server = Join(kServer);
  auto client = Join(kClient);
  EXPECT_EQ(BusResult::taken, Join(kServer)->result);
  EXPECT_EQ(BusResult::failed, Join(CProcID(51, 0))->result) << "no place to live at";
  EXPECT_EQ(BusResult::failed, Join(CProcID(51, 10001))->result);

  EXPECT_EQ(BusResult::noReceiver, client->Send(CProcID(51, 2), 1));
  EXPECT_EQ(BusResult::noReceiver, client->Send(CProcID(52, 0), 1));
  EXPECT_EQ(2u, (*client)->Stats().refusedNoReceiver);
  EXPECT_EQ(BusResult::ok, client->Send(kServer, 2, "0123456789"));
  EXPECT_EQ(BusResult::tooLarge, client->Send(kServer, 3, "0123456789a"));
  auto bad = MakeFrame(kClient, kServer, 4);
  bad->length = 0xFFFFFFFF;
  EXPECT_EQ(BusResult::tooLarge, (*client)->Send(*bad));
  bad->length = 1;
  EXPECT_EQ(BusResult::failed, (*client)->Send(*bad));
  bad->length = 2;
  bad->format = 9;
  EXPECT_EQ(BusResult::failed, (*client)->Send(*bad));
  EXPECT_EQ(List({2}), server->Numbers(1));

  EXPECT_TRUE((*client)->IsAlive(kServer));
  EXPECT_TRUE((*client)->IsAlive(CProcID(51, 0)));
  (*server)->Close();
  EXPECT_FALSE((*client)->IsAlive(kServer));
  EXPECT_FALSE((*client)->IsAlive(CProcID(51, 0)));
  EXPECT_EQ(BusResult::noReceiver, SendToLeft(*client, kServer));
  EXPECT_EQ(BusResult::closed, server->Send(kClient, 6));
  EXPECT_EQ(BusResult::closed, GetParam().make(options)->Send(*bad)) << "never opened";
}

TEST_P(BusThreaded, SlowReceiverIsRefusedAndRecovers) {
  options.queueFrames = 8;
  std::latch gate(1);
  auto server = Join(kServer, &gate);
  auto client = Join(kClient);
  List accepted;
  BusResult result = BusResult::ok;
  for (std::uint32_t sn = 0; sn < 100000 && result == BusResult::ok; ++sn) {
    result = client->Send(kServer, sn, std::string(20000, 'x'));
    if (result == BusResult::ok) accepted.push_back(sn);
  }
  EXPECT_EQ(BusResult::full, result);
  EXPECT_EQ(1u, (*client)->Stats().refusedFull);
  EXPECT_EQ(accepted.size(), (*client)->Stats().sent);
  gate.count_down();
  EXPECT_EQ(accepted, server->Numbers(accepted.size())) << "what was accepted before is kept";
  ASSERT_EQ(BusResult::ok, client->SendPatiently(kServer, 100000));
  EXPECT_EQ(100000u, server->Numbers(accepted.size() + 1).back());
}

TEST_P(BusThreaded, SuccessorGetsOnlyNewFrames) {
  auto client = Join(kClient);
  for (std::uint32_t life = 1; life <= 20; ++life) {
    auto server = Join(kServer);
    ASSERT_EQ(BusResult::ok, server->result);
    EXPECT_EQ(BusResult::ok, client->Send(kServer, life));
    EXPECT_EQ(List({life}), server->Numbers(1));
    for (int i = 0; i < 50; ++i) client->Send(kServer, 9999);
    server.reset();
    EXPECT_EQ(BusResult::noReceiver, SendToLeft(*client, kServer));
  }
}

TEST_P(BusThreaded, CloseLetsFramesLeave) {
  auto server = Join(kServer);
  {
    auto client = Join(kClient);
    for (std::uint32_t sn = 0; sn < 200; ++sn)
      ASSERT_EQ(BusResult::ok, client->Send(kServer, sn, std::string(5000, 'x')));
  }
  EXPECT_EQ(200u, server->Numbers(200).size());
}

TEST_P(BusThreaded, ConcurrentSendersCountExactly) {
  options.queueFrames = 50;
  auto server1 = Join(kServer);
  auto server2 = Join(CProcID(52, 7));
  auto client = Join(kClient);
  std::vector<std::thread> senders;
  for (int i = 0; i < 4; ++i) {
    senders.emplace_back([&] {
      for (std::uint32_t sn = 0; sn < 500; ++sn) {
        client->SendPatiently(sn % 2 == 0 ? kServer : CProcID(52, 0), sn);
        if (sn % 100 == 0) client->Send(CProcID(51, 3), sn);
      }
    });
  }
  for (std::thread& sender : senders) sender.join();
  EXPECT_EQ(2000u, (*client)->Stats().sent);
  EXPECT_EQ(20u, (*client)->Stats().refusedNoReceiver);
  EXPECT_EQ(1000u, server1->Numbers(1000).size());
  EXPECT_EQ(1000u, server2->Numbers(1000).size());
  EXPECT_EQ(1000u, (*server1)->Stats().received);
}

INSTANTIATE_TEST_SUITE_P(All, BusThreaded,
                         testing::Values(Kind{"InProcess", vela::MakeInProcessBus},
                                         Kind{"Local", vela::MakeLocalBus}, Kind{"Nats", vela::MakeNatsBus}),
                         [](const auto& test) { return test.param.name; });

std::string Folder() {
  return vela::InstallRoot() + "var/run/bus";
}

std::vector<fs::path> Endpoints() {
  std::vector<fs::path> found;
  for (const auto& entry : fs::directory_iterator(Folder()))
    if (entry.path().extension() == ".sock") found.push_back(entry.path());
  return found;
}

TEST(LocalBusThreaded, KilledReceiverLeavesNothingBehind) {
  StuckProcess first(vela::MakeLocalBus, kServer);
  StuckProcess second(vela::MakeLocalBus, CProcID(51, 2));
  Member client(vela::MakeLocalBus, {}, kClient);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(BusResult::ok, client.Send(kServer, 1, std::string(10000, 'o')));
  EXPECT_EQ(BusResult::taken, Member(vela::MakeLocalBus, {}, kServer).result);
  first.Kill();
  EXPECT_EQ(BusResult::noReceiver, client.Send(kServer, 2));
  for (int i = 0; i < 4; ++i)
    EXPECT_EQ(BusResult::ok, client.Send(CProcID(51, 0), 3)) << "the other instance";

  Member successor(vela::MakeLocalBus, {}, kServer);
  ASSERT_EQ(BusResult::ok, successor.result);
  EXPECT_EQ(BusResult::ok, client.Send(kServer, 4));
  EXPECT_EQ(List({4}), successor.Numbers(1));
  second.Kill();
  EXPECT_EQ((std::vector<CProcID>{kServer, kClient}), client->LiveProcesses());
  EXPECT_EQ(2u, Endpoints().size()) << "the dead one's endpoint is removed";
}

TEST(LocalBusThreaded, FolderIsDeepAndPrivate) {
  struct Row {
    mode_t before;  // 0: missing
    BusResult result;
  };
  for (const Row& row : {Row{0, BusResult::ok}, Row{0755, BusResult::ok}, Row{0770, BusResult::failed}}) {
    BusOptions options;
    options.folder = vela::InstallRoot() + std::string(200, 'd') + "/" + std::to_string(row.before) + "/bus/";
    if (row.before != 0) {
      fs::create_directories(options.folder);
      fs::permissions(options.folder, fs::perms(row.before));
    }
    Member client(vela::MakeLocalBus, options, kClient);
    EXPECT_EQ(row.result, client.result) << row.before;
    if (row.result != BusResult::ok) continue;
    EXPECT_EQ(fs::perms::owner_all, fs::status(options.folder).permissions());
    EXPECT_EQ(BusResult::ok, client.Send(kClient, 1));
    EXPECT_EQ(List({1}), client.Numbers(1));
  }
}

// Speaks ZeroMQ's wire protocol (ZMTP 3.0) badly on purpose.
class RawPeer {
 public:
  explicit RawPeer(const fs::path& endpoint) : m_fd(socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un name = {};
    name.sun_family = AF_UNIX;
    std::strncpy(name.sun_path, endpoint.c_str(), sizeof name.sun_path - 1);
    EXPECT_EQ(0, connect(m_fd, reinterpret_cast<sockaddr*>(&name), sizeof name)) << endpoint;
  }
  ~RawPeer() { close(m_fd); }
  void Write(const std::string& bytes) {
    EXPECT_EQ(static_cast<ssize_t>(bytes.size()), send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
  }
  void Greet() {
    std::string greeting("\xFF\0\0\0\0\0\0\0\0\x7F\3\0NULL", 16);
    greeting.resize(64);
    const std::string ready("\5READY\13Socket-Type\0\0\0\4PUSH", 26);
    Write(greeting + std::string("\4") + static_cast<char>(ready.size()) + ready);
    Skip(64);
    Skip(static_cast<unsigned char>(Skip(2).back()));
  }
  void WriteMessage(const std::string& body, bool more = false) {
    Write(std::string(1, static_cast<char>(more)) + static_cast<char>(body.size()) + body);
  }

 private:
  std::string Skip(std::size_t size) {
    std::string bytes(size, '\0');
    EXPECT_EQ(static_cast<ssize_t>(size), recv(m_fd, bytes.data(), size, MSG_WAITALL));
    return bytes;
  }

  int m_fd;
};

TEST(LocalBusThreaded, MalformedBytesAreDroppedAndCounted) {
  Member server(vela::MakeLocalBus, {}, kServer);
  ASSERT_EQ(1u, Endpoints().size());
  const fs::path endpoint = Endpoints().front();
  const auto bytes = [](CProcID dst) {
    return std::string(reinterpret_cast<const char*>(MakeFrame(kClient, dst, 9).get()), VELA_MSG_HEADER);
  };
  RawPeer(endpoint).Write("GET / HTTP/1.1\r\n\r\n" + std::string(500, '\xFF'));
  RawPeer huge(endpoint);
  huge.Greet();
  huge.Write(std::string("\2\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 9));  // the length of what never comes
  RawPeer raw(endpoint);
  raw.Greet();
  raw.WriteMessage("");
  raw.WriteMessage(bytes(kServer).substr(0, 49));
  raw.WriteMessage(bytes(kServer) + "x");
  raw.WriteMessage(bytes(CProcID(51, 2)));  // somebody else's
  raw.WriteMessage(bytes(kServer), true);   // two parts: one message
  raw.WriteMessage(bytes(kServer));
  raw.WriteMessage(bytes(CProcID(51, 0)));  // good
  raw.Write(std::string("\0\62", 2) + "cut");
  EXPECT_EQ(List({9}), server.Numbers(1));
  EXPECT_EQ(5u, server->Stats().malformed);
  EXPECT_EQ(BusResult::ok, server.Send(kServer, 10));
  EXPECT_EQ(List({9, 10}), server.Numbers(2));
}

}  // namespace
