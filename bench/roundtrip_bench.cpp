// A request to another process and its answer. Ours is the whole way: encoded, sent over the local bus,
// checked, decoded, handled by a task with its context, encoded, sent back, checked, decoded. The peers carry
// bytes.
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zmq.h>

#include <utility>

#include "asn1/progress.h"
#include "bench/bench_process.h"
#include "bench/bench_util.h"
#include "bench/roundtrip_peers.h"
#include "platform/asncmd/asn_cmd.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/bus/bus.h"
#include "platform/os/vela_os.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task.h"
#include "platform/task/vela_task_mgr.h"
#include "util/basicutil/env_settings.h"
#include "util/basicutil/msg_if.h"
#include "util/basicutil/taskcontext.h"

namespace {

using bench::kInFlight;
using bench::kRequestBytes;
using bench::MedianOfOne;
using bench::Place;
using bench::Require;
using bench::RoundTripClient;
using bench::SayReady;
using bench::ServerProcess;
using bench::ThousandsPerSecond;

constexpr CProcID kServer(51, 1);
constexpr CProcID kDumpingServer(51, 2);
constexpr CProcID kClient(3003, 1);
constexpr std::uint32_t kCommand = 0x219001;

// --- ours ---

unsigned long Handle(VelaGnlTask* task, const AsnType* request) {
  const NSTE_util::TETaskContext context(task);
  return NSTE_util::CfgSendRsp(task, *request);
}

const TETaskHandlerStru kHandler = {
    kCommand, 1, "roundtrip", []() -> AsnType* { return new AsnProgressReportEx; }, nullptr, Handle};

void Start(CProcID self) {
  Require(VelaAppMgr::Instance()->Start(vela::MakeLocalBus({}), self, 0) == 0, "Start");
}

// Dumps of the messages' content are a debugging aid that costs about as much as all the rest.
void ServeOurs(bool dumps, bench::Ready ready) {
  NSTE_util::g_bEnableAsnTrace = dumps;
  NSTE_util::g_bEnableAsnLog = dumps;
  TETaskCreator::Instance()->RegisterTask(&kHandler);
  VelaAppMgr::Instance()->CreateTaskMgr({});
  Start(dumps ? kDumpingServer : kServer);
  ready();
  for (;;) pause();
}

class OurClient final : public RoundTripClient {
 public:
  explicit OurClient(CProcID server) : m_server(server), m_task("client") {
    m_request.missionID = 7;
    m_request.progress = 50;
    m_request.info = new SNACC::AsnTaskProgressInfo;
    m_request.info->value = 1;
    const std::string text(kRequestBytes - 27, 'x');
    m_request.info->third.Set(text.data(), text.size());
  }

  void One() override {
    const VelaCurrentTaskScope current(&m_task);
    AsnProgressReportEx answer;
    CAsnPhyCmd command(kCommand, m_request, m_server, 0, 0, 0);
    Require(command.Exec(&m_task, answer) == 0, "Exec");
  }

  void Pipelined(long requests) override {
    const VelaCurrentTaskScope current(&m_task);
    long begun = 0;
    while (begun < std::min<long>(kInFlight, requests)) Send(begun);
    for (long ended = 0; ended < requests; ++ended) {
      VelaMsgPtr msg;
      std::uint32_t status = 0;
      Require(m_task.VelaSynRecv(kCommand, 0, msg, status) == 0 && status == 0, "VelaSynRecv");
      AsnProgressReportEx answer;
      Require(CAsnHelper::Decode({msg->data, VelaPayloadLength(*msg)}, answer) == 0, "Decode");
      if (begun < requests) Send(begun);
    }
  }

 private:
  void Send(long& begun) {
    ++begun;
    unsigned char* bytes = nullptr;
    std::size_t size = 0;
    Require(CAsnHelper::Encode(m_request, bytes, size) == 0, "Encode");
    VelaCmdMSG* msg =
        NSTE_util::CfgCreateReqMsg(&m_task, kCommand, bytes, static_cast<unsigned>(size), m_server.Number(),
                                   m_server.Handle(), 0, VELA_KIND_REQUEST, 0);
    CAsnHelper::ReleaseAsnBuf(bytes);
    Require(VelaAppMgr::Instance()->VelaOutSendMsg(msg, 0) == 1, "VelaOutSendMsg");
  }

  const CProcID m_server;
  VelaGnlTask m_task;
  AsnProgressReportEx m_request;
};

// --- raw ZeroMQ ---

class ZmqSocket {
 public:
  explicit ZmqSocket(int type) : m_context(zmq_ctx_new()), m_socket(zmq_socket(m_context, type)) {
    const int none = 0;
    zmq_setsockopt(m_socket, ZMQ_LINGER, &none, sizeof none);
  }
  ~ZmqSocket() {
    zmq_close(m_socket);
    zmq_ctx_term(m_context);
  }
  ZmqSocket(const ZmqSocket&) = delete;
  ZmqSocket& operator=(const ZmqSocket&) = delete;
  void* get() const { return m_socket; }

 private:
  void* m_context;
  void* m_socket;
};

void ServeZmq(const std::string& path, bench::Ready ready) {
  const ZmqSocket socket(ZMQ_ROUTER);
  Require(zmq_bind(socket.get(), ("ipc://" + path).c_str()) == 0, "zmq_bind");
  ready();
  for (;;) {
    zmq_msg_t part;
    zmq_msg_init(&part);
    Require(zmq_msg_recv(&part, socket.get(), 0) >= 0, "zmq_msg_recv");
    const int more = zmq_msg_more(&part) != 0 ? ZMQ_SNDMORE : 0;
    Require(zmq_msg_send(&part, socket.get(), more) >= 0, "zmq_msg_send");
  }
}

class ZmqClient final : public RoundTripClient {
 public:
  explicit ZmqClient(const std::string& path) : m_socket(ZMQ_DEALER) {
    Require(zmq_connect(m_socket.get(), ("ipc://" + path).c_str()) == 0, "zmq_connect");
  }
  void One() override {
    Send();
    Receive();
  }
  void Pipelined(long requests) override {
    for (long i = 0; i < requests + kInFlight; ++i) {
      if (i >= kInFlight) Receive();
      if (i < requests) Send();
    }
  }

 private:
  void Send() { Require(zmq_send(m_socket.get(), m_bytes, sizeof m_bytes, 0) == sizeof m_bytes, "zmq_send"); }
  void Receive() { Require(zmq_recv(m_socket.get(), m_bytes, sizeof m_bytes, 0) >= 0, "zmq_recv"); }

  ZmqSocket m_socket;
  char m_bytes[kRequestBytes] = {};
};

// --- the floor: a bare socket pair ---

void ServeSocket(int socket, bench::Ready ready) {
  ready();
  char bytes[kRequestBytes];
  for (;;) {
    Require(recv(socket, bytes, sizeof bytes, 0) == sizeof bytes, "recv");
    Require(send(socket, bytes, sizeof bytes, 0) == sizeof bytes, "send");
  }
}

class SocketClient final : public RoundTripClient {
 public:
  explicit SocketClient(int socket) : m_socket(socket) {}
  void One() override {
    Send();
    Receive();
  }
  void Pipelined(long requests) override {
    for (long i = 0; i < requests + kInFlight; ++i) {
      if (i >= kInFlight) Receive();
      if (i < requests) Send();
    }
  }

 private:
  void Send() { Require(send(m_socket, m_bytes, sizeof m_bytes, 0) == sizeof m_bytes, "send"); }
  void Receive() { Require(recv(m_socket, m_bytes, sizeof m_bytes, 0) == sizeof m_bytes, "recv"); }

  int m_socket;
  char m_bytes[kRequestBytes] = {};
};

// --- processes ---

int Serve(const std::string& kind, const std::string& where) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (kind == "ours") ServeOurs(where == "dumps", SayReady);
  if (kind == "zmq") ServeZmq(where, SayReady);
  if (kind == "socket") ServeSocket(std::stoi(where), SayReady);
#ifdef VELA_BENCH_PEERS
  if (kind == "grpc") bench::ServeGrpc(where, SayReady);
#endif
  return EXIT_FAILURE;
}

// --- figures ---

using SideOf = bench::Side (*)(RoundTripClient*, long);

struct Targets {
  double zmq;
  double grpc;
};

void Measure(const bench::Options& options, const std::vector<RoundTripClient*>& clients, SideOf side,
             long operations, const std::string& figure, bench::Better better, Targets targets,
             std::vector<bench::Row>& rows) {
  std::vector<bench::Side> sides;
  for (RoundTripClient* client : clients) sides.push_back(side(client, options.Operations(operations)));
  const std::vector<bench::Sample> found = bench::Interleaved(options, sides);
  rows.push_back({figure + ", peer ZeroMQ", found[0], found[1], found[2], targets.zmq, better});
  rows.push_back({figure + ", with dumps, peer ZeroMQ", found[3], found[1], found[2], 0, better});
  if (clients[4] != nullptr)
    rows.push_back({figure + ", peer gRPC", found[0], found[4], found[2], targets.grpc, better});
}

int Run(const bench::Options& options) {
  const std::string folder = vela::InstallRoot();
  int pair[2];
  Require(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, pair) == 0, "socketpair");
  std::vector<std::unique_ptr<ServerProcess>> servers;
  servers.push_back(std::make_unique<ServerProcess>("ours", ""));
  servers.push_back(std::make_unique<ServerProcess>("ours", "dumps"));
  servers.push_back(std::make_unique<ServerProcess>("zmq", folder + "zmq"));
  servers.push_back(std::make_unique<ServerProcess>("socket", std::to_string(pair[1])));
  Start(kClient);
  OurClient ours(kServer);
  OurClient dumped(kDumpingServer);
  ZmqClient zmq(folder + "zmq");
  SocketClient floor(pair[0]);
  std::unique_ptr<RoundTripClient> grpc;
#ifdef VELA_BENCH_PEERS
  servers.push_back(std::make_unique<ServerProcess>("grpc", folder + "grpc"));
  grpc = bench::ConnectGrpc(folder + "grpc");
#endif
  const std::vector<RoundTripClient*> clients = {&ours, &zmq, &floor, &dumped, grpc.get()};
  for (RoundTripClient* client : clients)
    if (client != nullptr) client->One();  // connected, all threads running

  std::vector<bench::Row> rows;
  for (const bool oneCore : {true, false}) {
    Place(getpid(), oneCore);
    for (const auto& server : servers) Place(server->Pid(), oneCore);
    const std::string where = oneCore ? "one core" : "free";
    Measure(options, clients, MedianOfOne, 2000, "round trip of 200 B, " + where + ", p50 us",
            bench::Better::lower, oneCore ? Targets{1.5, 1.0} : Targets{0, 0}, rows);
    Measure(options, clients, ThousandsPerSecond, 20000, "64 in flight, " + where + ", 1000/s",
            bench::Better::higher, Targets{0, 5}, rows);
  }
  VelaAppMgr::Instance()->Stop(1);
  bench::Print(options, rows);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--server") == 0) return Serve(argv[2], argv[3]);
  return Run(bench::Parse(argc, argv));
}
