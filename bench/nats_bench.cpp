// A request to a process of another host and its answer: the bus over NATS, with order, windows and frames
// held until they were taken, beside bare request and reply over the same engine.
#include <nats/nats.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <utility>

#include "bench/bench_process.h"
#include "platform/bus/bus.h"
#include "platform/os/vela_os.h"

namespace {

using bench::kInFlight;
using bench::kRequestBytes;
using bench::Place;
using bench::Require;
using bench::RoundTripClient;
using bench::ServerProcess;

constexpr CProcID kClient(3003, 1);
constexpr int kServers = 8;

// --- ours ---

VelaMsgPtr Frame(CProcID src, CProcID dst) {
  VelaMsgPtr frame(VelaAllocMsg(kRequestBytes));
  frame->length = kRequestBytes - VELA_MSG_HEADER + 2;
  frame->kind = VELA_KIND_COMMAND;
  frame->srcProcId = src.Number();
  frame->srcHandle = src.Handle();
  frame->dstProcId = dst.Number();
  frame->dstHandle = dst.Handle();
  return frame;
}

void ServeBus(int number, bench::Ready ready) {
  const auto bus = vela::MakeBus({});
  const auto echo = [&bus](VelaMsgPtr frame) {
    std::swap(frame->srcProcId, frame->dstProcId);
    std::swap(frame->srcHandle, frame->dstHandle);
    Require(bus->Send(*frame) == vela::BusResult::ok, "answer");
  };
  Require(bus->Open(CProcID(static_cast<std::uint16_t>(number), 1), echo) == vela::BusResult::ok, "Open");
  ready();
  for (;;) pause();
}

// As tasks wait for an answer: without spinning, which would take the core from those who work on it.
class Answers {
 public:
  void Came() {
    const std::lock_guard lock(m_mutex);
    ++m_count;
    m_came.notify_one();
  }
  void Await() {
    std::unique_lock lock(m_mutex);
    m_came.wait(lock, [this] { return m_count > 0; });
    --m_count;
  }

 private:
  std::mutex m_mutex;
  std::condition_variable m_came;
  long m_count = 0;
};

class BusClient final : public RoundTripClient {
 public:
  explicit BusClient(int servers) {
    for (int i = 0; i < servers; ++i)
      m_frames.push_back(Frame(kClient, CProcID(static_cast<std::uint16_t>(101 + i), 1)));
  }
  static void Open() {
    s_bus = vela::MakeBus({});
    Require(s_bus->Open(kClient, [](VelaMsgPtr) { s_answers.Came(); }) == vela::BusResult::ok, "Open");
  }
  static void Close() { s_bus.reset(); }
  void One() override {
    Send(0);
    s_answers.Await();
  }
  void Pipelined(long requests) override {
    for (long i = 0; i < requests + kInFlight; ++i) {
      if (i >= kInFlight) s_answers.Await();
      if (i < requests) Send(static_cast<std::size_t>(i) % m_frames.size());
    }
  }

 private:
  void Send(std::size_t server) {
    const vela::BusResult sent = s_bus->Send(*m_frames[server]);
    if (sent == vela::BusResult::ok) return;
    const vela::BusStats stats = s_bus->Stats();
    std::fprintf(
        stderr, "result %d: %llu sent, %llu received, %llu held, %llu resent, %llu repeated\n",
        static_cast<int>(sent), static_cast<unsigned long long>(stats.sent),
        static_cast<unsigned long long>(stats.received), static_cast<unsigned long long>(stats.heldFrames),
        static_cast<unsigned long long>(stats.resent), static_cast<unsigned long long>(stats.repeated));
    Require(false, "Send");
  }

  static inline std::unique_ptr<vela::Bus> s_bus;
  static inline Answers s_answers;
  std::vector<VelaMsgPtr> m_frames;
};

// --- bare NATS ---

std::string EngineUrl() {
  return "nats://127.0.0.1:" + std::string(std::getenv("BENCH_NATS_PORT"));
}

natsConnection* ConnectNats(bool immediately) {
  natsOptions* options = nullptr;
  natsConnection* connection = nullptr;
  Require(natsOptions_Create(&options) == NATS_OK &&
              natsOptions_SetURL(options, EngineUrl().c_str()) == NATS_OK &&
              natsOptions_SetSendAsap(options, immediately) == NATS_OK &&
              natsConnection_Connect(&connection, options) == NATS_OK,
          "natsConnection_Connect");
  natsOptions_Destroy(options);
  return connection;
}

void EchoNats(natsConnection* connection, natsSubscription*, natsMsg* msg, void*) {
  natsConnection_Publish(connection, natsMsg_GetReply(msg), natsMsg_GetData(msg), natsMsg_GetDataLength(msg));
  natsMsg_Destroy(msg);
}

void ServeNats(const std::string& where, bench::Ready ready) {
  natsConnection* connection = ConnectNats(where == "now");
  natsSubscription* subscription = nullptr;
  Require(natsConnection_Subscribe(&subscription, connection, ("echo." + where).c_str(), EchoNats, nullptr) ==
                  NATS_OK &&
              natsConnection_Flush(connection) == NATS_OK,
          "natsConnection_Subscribe");
  ready();
  for (;;) pause();
}

class NatsClient final : public RoundTripClient {
 public:
  explicit NatsClient(const std::string& where)
      : m_connection(ConnectNats(where == "now")), m_subject("echo." + where), m_reply("reply." + where) {
    const auto came = [](natsConnection*, natsSubscription*, natsMsg* msg, void* self) {
      natsMsg_Destroy(msg);
      static_cast<NatsClient*>(self)->m_answers.Came();
    };
    Require(natsConnection_Subscribe(&m_subscription, m_connection, m_reply.c_str(), came, this) == NATS_OK,
            "natsConnection_Subscribe");
  }
  void One() override {
    natsMsg* answer = nullptr;
    Require(natsConnection_Request(&answer, m_connection, m_subject.c_str(), m_bytes, sizeof m_bytes,
                                   10000) == NATS_OK,
            "natsConnection_Request");
    natsMsg_Destroy(answer);
  }
  void Pipelined(long requests) override {
    for (long i = 0; i < requests + kInFlight; ++i) {
      if (i >= kInFlight) m_answers.Await();
      if (i < requests)
        Require(natsConnection_PublishRequest(m_connection, m_subject.c_str(), m_reply.c_str(), m_bytes,
                                              sizeof m_bytes) == NATS_OK,
                "natsConnection_PublishRequest");
    }
  }

 private:
  natsConnection* const m_connection;
  natsSubscription* m_subscription = nullptr;
  const std::string m_subject;
  const std::string m_reply;
  Answers m_answers;
  char m_bytes[kRequestBytes] = {};
};

// --- the engine ---

int ConnectSocket(int port, bool free) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  auto* name = reinterpret_cast<sockaddr*>(&address);
  const int result = free ? bind(fd, name, size) : connect(fd, name, size);
  getsockname(fd, name, &size);
  close(fd);
  return result == 0 ? ntohs(address.sin_port) : -1;
}

class EngineProcess {
 public:
  EngineProcess() {
    const int port = ConnectSocket(0, true);
    const std::string text = std::to_string(port);
    setenv("BENCH_NATS_PORT", text.c_str(), 1);
    const std::filesystem::path config = vela::InstallRoot() + "etc/conf/bus.cfg";
    std::filesystem::create_directories(config.parent_path());
    std::ofstream(config) << "Bus = nats\nNatsServers = 127.0.0.1:" << port
                          << "\nNatsConnectSeconds = 600\nNatsHeartbeatSeconds = 100\nNatsGraceSeconds = "
                             "400\nNatsExpirySeconds = 1200\n";
    m_pid = fork();
    if (m_pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      execlp("nats-server", "nats-server", "-a", "127.0.0.1", "-p", text.c_str(), "-l", "/dev/null", nullptr);
      _exit(127);
    }
    for (int tries = 0; ConnectSocket(port, false) < 0; ++tries) {
      Require(tries < 1000, "nats-server");
      usleep(10000);
    }
  }
  ~EngineProcess() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
  EngineProcess(const EngineProcess&) = delete;
  EngineProcess& operator=(const EngineProcess&) = delete;
  pid_t Pid() const { return m_pid; }

 private:
  pid_t m_pid = -1;
};

int Serve(const std::string& kind, const std::string& where) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (kind == "bus") ServeBus(std::stoi(where), bench::SayReady);
  if (kind == "nats") ServeNats(where, bench::SayReady);
  return EXIT_FAILURE;
}

int Run(const bench::Options& options) {
  const EngineProcess engine;
  std::vector<std::unique_ptr<ServerProcess>> servers;
  for (int i = 0; i < kServers; ++i)
    servers.push_back(std::make_unique<ServerProcess>("bus", std::to_string(101 + i)));
  for (const char* where : {"now", "default"})
    servers.push_back(std::make_unique<ServerProcess>("nats", where));
  BusClient::Open();
  BusClient ours(1);
  NatsClient now("now");
  NatsClient byDefault("default");
  for (RoundTripClient* client : std::initializer_list<RoundTripClient*>{&ours, &now, &byDefault})
    client->One();

  std::vector<bench::Row> rows;
  for (const bool oneCore : {true, false}) {
    Place(getpid(), oneCore);
    Place(engine.Pid(), oneCore);
    for (const auto& server : servers) Place(server->Pid(), oneCore);
    const std::string where = oneCore ? ", one core, " : ", free, ";
    const long calls = options.Operations(400);
    const auto one =
        bench::Interleaved(options, {bench::MedianOfOne(&ours, calls), bench::MedianOfOne(&now, calls),
                                     bench::MedianOfOne(&byDefault, options.Operations(100))});
    const std::string trip = "bus on NATS, round trip of 200 B" + where + "p50 us, peer NATS ";
    rows.push_back({trip + "flushed at once", one[0], one[1], {}, 1.3, bench::Better::lower});
    rows.push_back({trip + "by default", one[0], one[2], {}, 0, bench::Better::lower});
    const long many = options.Operations(6000);
    const auto piped = bench::Interleaved(
        options, {bench::ThousandsPerSecond(&ours, many), bench::ThousandsPerSecond(&now, many),
                  bench::ThousandsPerSecond(&byDefault, many)});
    const std::string pipe = "bus on NATS, 64 in flight" + where + "1000/s, peer NATS ";
    rows.push_back({pipe + "flushed at once", piped[0], piped[1], {}, 0.8, bench::Better::higher});
    rows.push_back({pipe + "by default", piped[0], piped[2], {}, 0.8, bench::Better::higher});
  }
  for (const int count : {1, 2, 4, 8}) {
    BusClient spread(count);
    const auto figure =
        bench::Interleaved(options, {bench::ThousandsPerSecond(&spread, options.Operations(6000))});
    rows.push_back({"bus on NATS, 64 in flight to " + std::to_string(count) + " processes, 1000/s",
                    figure[0],
                    {},
                    {},
                    0,
                    bench::Better::higher});
  }
  BusClient::Close();
  bench::Print(options, rows);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--server") == 0) return Serve(argv[2], argv[3]);
  return Run(bench::Parse(argc, argv));
}
