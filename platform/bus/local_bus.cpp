#include <sys/socket.h>
#include <zmq.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

#include "platform/bus/bus.h"
#include "platform/bus/bus_routing.h"
#include "platform/bus/local_folder.h"
#include "platform/bus/signals_blocked.h"
#include "platform/log/log_process.h"
#include "platform/os/mutex.h"
#include "platform/os/vela_os.h"

namespace vela {
namespace {

constexpr int kMaxPeers = 16384;
constexpr int kReconnectMilliseconds = 10;  // a listener whose backlog is full; doubles
constexpr int kReconnectMaxMilliseconds = 5000;

std::string ZmqError() {
  return zmq_strerror(zmq_errno());
}

struct CloseSocket {
  void operator()(void* socket) const { zmq_close(socket); }
};
using Socket = std::unique_ptr<void, CloseSocket>;

// Waits until the sockets' lingering is over.
struct EndContext {
  void operator()(void* context) const {
    while (zmq_ctx_term(context) != 0 && zmq_errno() == EINTR) {
    }
  }
};
using Context = std::unique_ptr<void, EndContext>;

// Nothing held at all would mean "no limit" to ZeroMQ.
int HighWaterMark(const BusOptions& options) {
  return static_cast<int>(std::clamp<std::uint32_t>(options.queueFrames, 1, INT_MAX));
}

std::string Text(CProcID address) {
  return std::to_string(address.Number()) + "-" + std::to_string(address.Handle());
}

bool SetOption(void* socket, int option, int value) {
  return zmq_setsockopt(socket, option, &value, sizeof value) == 0;
}

Context NewContext() {
  Context context(zmq_ctx_new());
  if (context) zmq_ctx_set(context.get(), ZMQ_MAX_SOCKETS, kMaxPeers);
  return context;
}

// One copy of a frame; of a broadcast, shared by all the sockets that it goes to.
class Packet {
 public:
  Packet(const VelaCmdMSG& frame, bool shared) : m_shared(shared) {
    const std::size_t size = VelaFrameSize(frame);
    m_valid = zmq_msg_init_size(&m_msg, size) == 0;
    if (m_valid) std::memcpy(zmq_msg_data(&m_msg), &frame, size);
  }
  ~Packet() {
    if (m_valid) zmq_msg_close(&m_msg);
  }
  Packet(const Packet&) = delete;
  Packet& operator=(const Packet&) = delete;

  bool IsValid() const { return m_valid; }

  // True at most once unless it is shared.
  bool SendTo(void* socket) {
    if (!m_shared) return zmq_msg_send(&m_msg, socket, ZMQ_DONTWAIT) >= 0;
    zmq_msg_t copy;
    zmq_msg_init(&copy);
    zmq_msg_copy(&copy, &m_msg);
    if (zmq_msg_send(&copy, socket, ZMQ_DONTWAIT) >= 0) return true;
    const int error = zmq_errno();
    zmq_msg_close(&copy);
    errno = error;
    return false;
  }

 private:
  zmq_msg_t m_msg;
  const bool m_shared;
  bool m_valid = false;
};

// The way to one address. Retired once the process there has died or the bus is closing; then a sender looks
// for another one.
class Peer {
 public:
  Peer(void* context, std::shared_ptr<LocalFolder> folder, CProcID address, AddressProbe probe,
       int highWaterMark)
      : m_context(context),
        m_folder(std::move(folder)),
        m_address(address),
        m_highWaterMark(highWaterMark),
        m_probe(std::move(probe)),
        m_mark(m_probe.Mark()) {}

  BusResult Send(Packet& packet) {
    const MutexLock lock(m_mutex);
    if (m_retired) return BusResult::closed;
    if (!m_mark.Shows(m_incarnation)) {
      const Incarnation current = m_probe.Current();
      if (current == 0) return BusResult::noReceiver;
      if (current != m_incarnation && !Connect(current)) return BusResult::failed;
    }
    return SendNow(packet);
  }

  // What has not left yet waits so long; nothing waits for the dead.
  void Retire(int lingerMilliseconds) {
    const MutexLock lock(m_mutex);
    m_retired = true;
    if (!m_socket) return;
    if (m_probe.Current() == m_incarnation) SetOption(m_socket.get(), ZMQ_LINGER, lingerMilliseconds);
    m_socket.reset();
  }

  bool IsDead() {
    const MutexLock lock(m_mutex);
    return m_probe.Current() == 0;
  }

 private:
  // Frames that waited for the predecessor are dropped with its socket.
  bool Connect(Incarnation incarnation) VELA_REQUIRES(m_mutex) {
    m_incarnation = 0;
    m_socket.reset(zmq_socket(m_context, ZMQ_PUSH));
    void* socket = m_socket.get();
    if (socket != nullptr && SetOption(socket, ZMQ_LINGER, 0) &&
        SetOption(socket, ZMQ_SNDHWM, m_highWaterMark) &&
        SetOption(socket, ZMQ_RECONNECT_IVL, kReconnectMilliseconds) &&
        SetOption(socket, ZMQ_RECONNECT_IVL_MAX, kReconnectMaxMilliseconds) &&
        zmq_connect(socket, m_folder->Endpoint(m_address, incarnation).c_str()) == 0) {
      m_incarnation = incarnation;
      return true;
    }
    LogProcess::Error("local bus: cannot connect to " + Text(m_address) + ": " + ZmqError());
    m_socket.reset();
    return false;
  }

  BusResult SendNow(Packet& packet) VELA_REQUIRES(m_mutex) {
    if (packet.SendTo(m_socket.get())) return BusResult::ok;
    if (zmq_errno() != EAGAIN) return BusResult::failed;
    // The socket may not have noticed yet that its queue has room again; asking makes it look.
    int events = 0;
    std::size_t size = sizeof events;
    if (zmq_getsockopt(m_socket.get(), ZMQ_EVENTS, &events, &size) == 0 && (events & ZMQ_POLLOUT) != 0 &&
        packet.SendTo(m_socket.get()))
      return BusResult::ok;
    return BusResult::full;
  }

  void* const m_context;
  const std::shared_ptr<LocalFolder> m_folder;
  const CProcID m_address;
  const int m_highWaterMark;
  Mutex m_mutex;
  const AddressProbe m_probe;
  const MappedLifeMark m_mark;
  Incarnation m_incarnation VELA_GUARDED_BY(m_mutex) = 0;  // that the socket is connected to
  Socket m_socket VELA_GUARDED_BY(m_mutex);
  bool m_retired VELA_GUARDED_BY(m_mutex) = false;
};

using PeerMap = std::unordered_map<std::uint32_t, std::shared_ptr<Peer>>;

// The receiving half: endpoint and thread. Ends by shutting the context down; of the sending half, only
// closed sockets may be left, which linger on. Both share the context and so one thread for input and output,
// which finds more to do each time that it is woken than two would.
class Endpoint {
 public:
  Endpoint(void* context, BusCounters& counters, CProcID self, Bus::Receiver receiver)
      : m_counters(counters), m_self(self), m_receiver(std::move(receiver)), m_context(context) {}

  ~Endpoint() {
    if (m_context != nullptr) zmq_ctx_shutdown(m_context);
    if (m_thread.joinable()) m_thread.join();
  }

  bool Bind(const std::string& name, const BusOptions& options, std::string& error) {
    m_socket.reset(m_context != nullptr ? zmq_socket(m_context, ZMQ_PULL) : nullptr);
    void* socket = m_socket.get();
    const std::int64_t maxBytes = options.maxFrameBytes;
    if (socket != nullptr && SetOption(socket, ZMQ_LINGER, 0) &&
        SetOption(socket, ZMQ_RCVHWM, HighWaterMark(options)) && SetOption(socket, ZMQ_BACKLOG, SOMAXCONN) &&
        zmq_setsockopt(socket, ZMQ_MAXMSGSIZE, &maxBytes, sizeof maxBytes) == 0 &&
        zmq_bind(socket, name.c_str()) == 0)
      return true;
    error = "bind: " + ZmqError();
    return false;
  }

  // `mark` (or null) outlives this object.
  bool Start(LifeMark* mark, std::string& error) {
    const SignalsBlocked blocked;
    try {
      m_thread = std::thread([this, mark] {
        const LifeMarkKeeper keeper(mark);
        Run();
      });
    } catch (const std::system_error& failure) {
      error = failure.what();
      return false;
    }
    return true;
  }

 private:
  void Run() {
    zmq_msg_t msg;
    bool within = false;  // a message of several parts
    for (;;) {
      zmq_msg_init(&msg);
      if (zmq_msg_recv(&msg, m_socket.get(), 0) >= 0) {
        const bool more = zmq_msg_more(&msg) != 0;
        if (!more) Take(within ? nullptr : FrameOf(msg));
        within = more;
      } else if (zmq_errno() != EINTR) {
        break;  // shut down
      }
      zmq_msg_close(&msg);
    }
    zmq_msg_close(&msg);
    m_socket.reset();
  }

  VelaMsgPtr FrameOf(zmq_msg_t& msg) const {
    VelaMsgPtr frame = VelaMsgFromBytes(zmq_msg_data(&msg), zmq_msg_size(&msg));
    return frame && IsMeantFor(Destination(*frame), m_self) ? std::move(frame) : nullptr;
  }

  void Take(VelaMsgPtr frame) {
    if (frame) {
      m_counters.CountReceived();
      m_receiver(std::move(frame));
      return;
    }
    const std::uint64_t count = m_counters.CountMalformed();
    if (std::has_single_bit(count))  // whoever sends them must not fill the log
      LogProcess::Error("local bus: bytes that are no frame for this process were dropped, in all " +
                        std::to_string(count) + " times");
  }

  BusCounters& m_counters;
  const CProcID m_self;
  const Bus::Receiver m_receiver;
  void* const m_context;
  Socket m_socket;  // the thread's own once it runs
  std::thread m_thread;
};

class LocalBus final : public Bus {
 public:
  explicit LocalBus(const BusOptions& options) : m_options(options) {}
  ~LocalBus() override { LocalBus::Close(); }

  BusResult Open(CProcID self, Receiver receiver) override {
    std::string error;
    const BusResult result = OpenAt(self, std::move(receiver), error);
    if (result == BusResult::failed) LogProcess::Error("local bus: cannot open " + Text(self) + ": " + error);
    return result;
  }

  BusResult Send(const VelaCmdMSG& frame) override {
    const CProcID dst = Destination(frame);
    std::shared_ptr<LocalFolder> folder;  // to one instance, only a new peer needs it
    if (!IsInstanceAddress(dst)) {
      folder = Folder();
      if (!folder) return BusResult::closed;
    }
    const BusResult check = CheckFrame(frame, m_options.maxFrameBytes);
    if (check != BusResult::ok) return Refuse(check);
    Packet packet(frame, IsBroadcast(dst));
    if (!packet.IsValid()) {
      LogProcess::Error("local bus: no memory for a frame");
      return BusResult::failed;
    }
    return m_router.Route(
        dst, [&](std::uint16_t number) { return folder->InstancesOf(number); },
        [&](CProcID address) { return Deliver(address, packet); });
  }

  void Close() override {
    std::shared_ptr<LocalFolder> folder;  // outlives the sockets: their names lead through it
    PeerMap peers;
    {
      const MutexLock lock(m_mutex);
      if (!m_folder) return;
      folder.swap(m_folder);
      peers.swap(m_peers);
    }
    m_claim.Withdraw();
    for (const auto& [address, peer] : peers) peer->Retire(m_options.lingerMilliseconds);
    m_endpoint.reset();
    m_claim = {};
    m_context.reset();
  }

  bool IsAlive(CProcID address) const override {
    const std::shared_ptr<LocalFolder> folder = Folder();
    if (!folder) return false;
    if (IsInstanceAddress(address)) return folder->Probe(address).Current() != 0;
    for (const CProcID live : folder->Live())
      if (live.Number() == address.Number()) return true;
    return false;
  }

  std::uint64_t LifeOf(CProcID address) const override {
    if (!IsInstanceAddress(address)) return Bus::LifeOf(address);
    const std::shared_ptr<LocalFolder> folder = Folder();
    return folder ? folder->Probe(address).Current() : 0;
  }

  std::vector<CProcID> LiveProcesses() const override {
    const std::shared_ptr<LocalFolder> folder = Folder();
    return folder ? folder->Live() : Instances();
  }

  BusStats Stats() const override { return m_counters.Read(); }

 private:
  BusResult OpenAt(CProcID self, Receiver receiver, std::string& error) {
    if (Folder() || !IsInstanceAddress(self)) {
      error = Folder() ? "the bus is open" : "the address means any instance";
      return BusResult::failed;
    }
    const std::string path = FolderName();
    if (path.empty()) {
      error = "VELA_ROOT is not set";
      return BusResult::failed;
    }
    std::shared_ptr<LocalFolder> folder = LocalFolder::Open(path, error);
    if (!folder) {
      error = path + ": " + error;
      return BusResult::failed;
    }
    AddressClaim claim;
    const BusResult claimed = folder->Claim(self, claim, error);
    if (claimed != BusResult::ok) return claimed;

    Context context = NewContext();
    auto endpoint = std::make_unique<Endpoint>(context.get(), m_counters, self, std::move(receiver));
    if (!endpoint->Bind(folder->Endpoint(self, claim.GetIncarnation()), m_options, error) ||
        !endpoint->Start(claim.Mark(), error))
      return BusResult::failed;
    m_context = std::move(context);
    m_endpoint = std::move(endpoint);
    m_claim = std::move(claim);
    {
      const MutexLock lock(m_mutex);
      m_folder = std::move(folder);
    }
    if (m_claim.Announce()) return BusResult::ok;
    error = std::strerror(errno);
    Close();
    return BusResult::failed;
  }

  std::string FolderName() const {
    if (!m_options.folder.empty()) return m_options.folder;
    const std::string root = InstallRoot();
    return root.empty() ? root : root + "var/run/bus";
  }

  // Null unless the bus is open.
  std::shared_ptr<LocalFolder> Folder() const {
    const MutexLock lock(m_mutex);
    return m_folder;
  }

  BusResult Refuse(BusResult check) const {
    if (!Folder()) return BusResult::closed;
    if (check == BusResult::failed) LogProcess::Error("local bus: a frame with a bad header was not sent");
    return check;
  }

  BusResult Deliver(CProcID address, Packet& packet) {
    for (;;) {
      std::shared_ptr<Peer> peer = FindPeer(address);
      if (!peer) {
        const BusResult made = MakePeer(address, peer);
        if (made != BusResult::ok) return made;
      }
      const BusResult result = peer->Send(packet);
      if (result == BusResult::closed) continue;  // retired meanwhile
      if (result == BusResult::noReceiver) Drop(address, peer);
      return result;
    }
  }

  std::shared_ptr<Peer> FindPeer(CProcID address) {
    const MutexLock lock(m_mutex);
    const auto found = m_peers.find(address.Value());
    return found == m_peers.end() ? nullptr : found->second;
  }

  BusResult MakePeer(CProcID address, std::shared_ptr<Peer>& peer) {
    const std::shared_ptr<LocalFolder> folder = Folder();
    if (!folder) return BusResult::closed;
    AddressProbe probe = folder->Probe(address);
    if (probe.Current() == 0) return BusResult::noReceiver;
    DropTheDead();
    const MutexLock lock(m_mutex);
    if (!m_folder) return BusResult::closed;
    std::shared_ptr<Peer>& entry = m_peers[address.Value()];
    if (!entry)
      entry = std::make_shared<Peer>(m_context.get(), m_folder, address, std::move(probe),
                                     HighWaterMark(m_options));
    peer = entry;
    return BusResult::ok;
  }

  // Sockets to processes that died unnoticed would stay for ever.
  void DropTheDead() {
    PeerMap all;
    {
      const MutexLock lock(m_mutex);
      all = m_peers;
    }
    for (const auto& [address, peer] : all)
      if (peer->IsDead()) Drop(CProcID(address), peer);
  }

  void Drop(CProcID address, const std::shared_ptr<Peer>& peer) {
    peer->Retire(0);
    const MutexLock lock(m_mutex);
    const auto found = m_peers.find(address.Value());
    if (found != m_peers.end() && found->second == peer) m_peers.erase(found);
    if (m_folder) m_folder->ForgetInstances();
  }

  const BusOptions m_options;
  BusCounters m_counters;
  BusRouter m_router{m_counters};
  Context m_context;
  std::unique_ptr<Endpoint> m_endpoint;
  AddressClaim m_claim;
  mutable Mutex m_mutex;
  std::shared_ptr<LocalFolder> m_folder VELA_GUARDED_BY(m_mutex);  // null unless open
  PeerMap m_peers VELA_GUARDED_BY(m_mutex);
};

}  // namespace

std::unique_ptr<Bus> MakeLocalBus(const BusOptions& options) {
  return std::make_unique<LocalBus>(options);
}

}  // namespace vela
