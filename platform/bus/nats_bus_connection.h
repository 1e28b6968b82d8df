#pragma once
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/bus/nats_bus_settings.h"
#include "platform/os/mutex.h"

// The engine's library names them so. NOLINTBEGIN(bugprone-reserved-identifier)
struct __natsConnection;
struct __natsMsg;
struct __natsSubscription;
// NOLINTEND(bugprone-reserved-identifier)

// The connection to the engine. Internal.
namespace vela {

struct NatsMessage {
  std::string_view subject;
  std::string_view reply;
  std::string_view data;
  bool noResponders =
      false;  // the engine's own: nobody receives what was sent with this subject as its reply
};

// Polls the socket, writes what was published as soon as the socket takes it, and ticks. Publishing never
// waits: a lone message is written by the thread that publishes it, what does not leave at once or comes in
// quick succession by this one, many messages with one call.
class NatsLoop {
 public:
  // Called on the loop's thread; the time until the next one is its result.
  using Tick = std::function<std::chrono::milliseconds()>;

  explicit NatsLoop(Tick tick);
  ~NatsLoop();
  NatsLoop(const NatsLoop&) = delete;
  NatsLoop& operator=(const NatsLoop&) = delete;

  bool Start(bool writesDirectly, std::string& error);
  void Stop();

  // Around a call that publishes.
  class Direct {
   public:
    explicit Direct(NatsLoop& loop);
    ~Direct();
    Direct(const Direct&) = delete;
    Direct& operator=(const Direct&) = delete;

   private:
    NatsLoop& m_loop;
    bool m_active = false;
  };
  // The next tick comes within `delay`. Repeated calls cost nothing until it came.
  void TickSoon(std::chrono::milliseconds delay);

  // What the engine's library asks for. `connection` lives until Release has returned.
  void Attach(__natsConnection* connection, int socket);
  void Want(short event, bool wanted);
  // No thread uses the connection any more once it has returned. Not on the loop's thread.
  void Release();

 private:
  using Time = std::chrono::steady_clock::time_point;

  void Run();
  void Poll(Time due);
  void Wake() const;
  bool WantsToWrite();
  bool IsAttached(const __natsConnection* connection);
  void Write();

  const Tick m_tick;
  int m_wake = -1;
  std::atomic<bool> m_stop{false};
  std::atomic<bool> m_soon{false};
  std::atomic<int> m_soonMilliseconds{0};
  bool m_writesDirectly = false;
  std::atomic<std::chrono::steady_clock::duration> m_lastDirect{};
  Mutex m_reading;  // each taken before the next: this, m_writing, the library's own locks, m_mutex
  Mutex m_writing;
  Mutex m_mutex;
  __natsConnection* m_connection VELA_GUARDED_BY(m_mutex) = nullptr;
  int m_socket VELA_GUARDED_BY(m_mutex) = -1;
  short m_events VELA_GUARDED_BY(m_mutex) = 0;
  std::thread m_thread;
};

// Thread-safe, except that Connect, Subscribe, RoundTrip, Refusal, KeepUp and Close belong to one thread, and
// that only Close follows KeepUp.
class NatsConnection {
 public:
  // Each subscription calls its own on a thread of its own.
  using Handler = std::function<void(const NatsMessage&)>;
  // On any thread: the connection was lost or is there again.
  using Changed = std::function<void(bool up)>;

  NatsConnection(NatsLoop::Tick tick, Changed changed);
  ~NatsConnection();
  NatsConnection(const NatsConnection&) = delete;
  NatsConnection& operator=(const NatsConnection&) = delete;

  // False with the reason.
  bool Connect(const NatsSettings& settings, const std::string& name, std::string& error);
  // An empty `queue`: every subscriber gets each message. The number of the subscription, or -1 with the
  // reason.
  int Subscribe(const std::string& subject, const std::string& queue, Handler handler, std::string& error);
  // Whether the engine answered in time; before that, it has seen all that was published and subscribed.
  bool RoundTrip(std::chrono::milliseconds limit);
  // What the engine refused last, or nothing.
  std::string Refusal() const;
  // From now on a connection that is lost is made again, subscriptions included, with the next server first,
  // for as long as it takes. False with the reason.
  bool KeepUp(std::string& error);
  // No handler runs after it has returned, and what is published is dropped. Waits for an attempt to connect.
  void Close(std::chrono::milliseconds limit);

  // Nothing happens while the connection is lost. Null or empty `reply`: none.
  void Publish(const char* subject, const char* reply, const void* data, std::size_t size);
  bool IsUp() const { return m_up.load(std::memory_order_acquire); }
  // Of one message; 0 before the first connection.
  std::size_t MaxBytes() const { return m_maxBytes.load(std::memory_order_relaxed); }
  // Messages that wait for their handler.
  std::size_t Waiting(int subscription) const;
  void TickSoon(std::chrono::milliseconds delay) { m_loop.TickSoon(delay); }

 private:
  struct Subscription;

  static void OnMessage(__natsConnection*, __natsSubscription*, __natsMsg* msg, void* closure);
  static void OnComplete(void* closure);
  static void OnClosed(__natsConnection*, void* closure);
  // A new connection, without subscriptions.
  bool Dial(std::string& error);
  bool DialServer(const std::string& server, std::string& error);
  bool Start(Subscription& subscription, std::string& error) VELA_REQUIRES(m_mutex);
  bool StartAll(std::string& error);
  // Dial, and all subscriptions.
  bool Revive(std::string& error);
  // Ends the connection and its subscriptions.
  void Drop();
  void RunKeeper();
  // False when it is to end.
  bool AwaitNextAttempt(bool first) VELA_REQUIRES(m_mutex);
  void SetUp(bool up);
  // Lives as long as its caller is who ends it.
  __natsConnection* Own() const;

  NatsLoop m_loop;
  const Changed m_changed;
  NatsSettings m_settings;
  std::string m_name;
  std::size_t m_nextServer = 0;
  std::atomic<bool> m_up{false};
  std::atomic<std::uint64_t> m_errors{0};
  std::atomic<std::size_t> m_maxBytes{0};
  mutable Mutex m_mutex;  // taken before the library's own locks
  CondVar m_ended;
  // Null between two connections.
  __natsConnection* m_connection VELA_GUARDED_BY(m_mutex) = nullptr;
  std::vector<std::unique_ptr<Subscription>> m_subscriptions VELA_GUARDED_BY(m_mutex);
  std::size_t m_running VELA_GUARDED_BY(m_mutex) = 0;  // subscriptions whose thread has not ended
  bool m_closed VELA_GUARDED_BY(m_mutex) = false;      // said the library of the connection
  bool m_closing VELA_GUARDED_BY(m_mutex) = false;
  std::thread m_keeper;
};

}  // namespace vela
