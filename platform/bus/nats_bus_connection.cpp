#include "platform/bus/nats_bus_connection.h"

#include <nats/nats.h>
#include <poll.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <random>
#include <system_error>
#include <utility>

#include "platform/bus/signals_blocked.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"

namespace vela {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kMaxUnansweredPings = 2;
constexpr int kLeastPing = 1000;  // milliseconds
// Messages that follow each other so closely are written together.
constexpr std::chrono::microseconds kPipelined(40);
thread_local const NatsLoop* t_direct = nullptr;  // whose messages this thread writes itself
// What one subscription holds for its handler: senders that keep to their windows stay far below it.
constexpr int kMaxWaiting = 1 << 20;
constexpr int kMaxWaitingBytes = 1 << 30;

// What a subscription keeps of messages that were handled.
constexpr std::size_t kMaxSpent = 64;
constexpr std::size_t kMaxSpentBytes = 1 << 16;

struct DestroyOptions {
  void operator()(natsOptions* options) const { natsOptions_Destroy(options); }
};
using Options = std::unique_ptr<natsOptions, DestroyOptions>;

natsStatus Attach(void** user, void* loop, natsConnection* connection, natsSock socket) {
  *user = loop;
  static_cast<NatsLoop*>(loop)->Attach(connection, socket);
  return NATS_OK;
}

natsStatus WantRead(void* loop, bool wanted) {
  static_cast<NatsLoop*>(loop)->Want(POLLIN, wanted);
  return NATS_OK;
}

natsStatus WantWrite(void* loop, bool wanted) {
  static_cast<NatsLoop*>(loop)->Want(POLLOUT, wanted);
  return NATS_OK;
}

natsStatus Detach(void* loop) {
  static_cast<NatsLoop*>(loop)->Attach(nullptr, -1);
  return NATS_OK;
}

// The engine's library frees messages on a thread of its own. That one works through them when it gets its
// turn, and does not take the core from the thread that hands them over one by one.
void StartLibrary() {
  const int policy = sched_getscheduler(0);
  sched_param ours = {};
  sched_param batch = {};
  const bool changed = policy == SCHED_OTHER && sched_getparam(0, &ours) == 0 &&
                       sched_setscheduler(0, SCHED_BATCH, &batch) == 0;
  nats_Open(-1);  // its threads inherit the policy
  if (changed) sched_setscheduler(0, policy, &ours);
}

// Collects the first failure of a row of settings.
class OptionSetter {
 public:
  explicit OptionSetter(natsStatus first) : m_status(first) {}
  void operator()(natsStatus status) {
    if (m_status == NATS_OK) m_status = status;
  }
  natsStatus Status() const { return m_status; }

 private:
  natsStatus m_status;
};

void SetTls(natsOptions* options, const NatsSettings& settings, OptionSetter& set) {
  if (!settings.tls) return;
  set(natsOptions_SetSecure(options, true));
  if (!settings.caFile.empty()) set(natsOptions_LoadCATrustedCertificates(options, settings.caFile.c_str()));
  if (!settings.certificateFile.empty())
    set(natsOptions_LoadCertificatesChain(options, settings.certificateFile.c_str(),
                                          settings.keyFile.c_str()));
  if (!settings.serverName.empty())
    set(natsOptions_SetExpectedHostname(options, settings.serverName.c_str()));
}

void SetWho(natsOptions* options, const NatsSettings& settings, const std::string& name, OptionSetter& set) {
  set(natsOptions_SetName(options, name.c_str()));
  if (!settings.user.empty())
    set(natsOptions_SetUserInfo(options, settings.user.c_str(), settings.password.c_str()));
  if (!settings.credentialsFile.empty())
    set(natsOptions_SetUserCredentialsFromFiles(options, settings.credentialsFile.c_str(), nullptr));
}

void SetWhere(natsOptions* options, const std::string& server, const NatsSettings& settings,
              OptionSetter& set) {
  set(natsOptions_SetURL(options, server.c_str()));
  set(natsOptions_SetIgnoreDiscoveredServers(options, true));
  set(natsOptions_SetTimeout(options, settings.connect.count()));
  // With an event loop, the library goes on in the middle of the message that was cut off, and takes what the
  // new connection brings for the rest of it: a connection that is lost is made anew here.
  set(natsOptions_SetAllowReconnect(options, false));
  set(natsOptions_SetPingInterval(options, std::max<std::int64_t>(settings.heartbeat.count(), kLeastPing)));
  set(natsOptions_SetMaxPingsOut(options, kMaxUnansweredPings));
}

std::string StatusText(natsStatus status) {
  const char* last = nats_GetLastError(nullptr);
  std::string text = natsStatus_GetText(status);
  if (last != nullptr && *last != '\0') text += std::string(" (") + last + ")";
  return EscapeControls(text);
}

}  // namespace

// --- the loop ---

NatsLoop::NatsLoop(Tick tick) : m_tick(std::move(tick)) {}

NatsLoop::~NatsLoop() {
  Stop();
  if (m_wake >= 0) close(m_wake);
}

bool NatsLoop::Start(bool writesDirectly, std::string& error) {
  m_writesDirectly = writesDirectly;
  m_wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (m_wake < 0) {
    error = std::string("eventfd: ") + std::strerror(errno);
    return false;
  }
  try {
    m_thread = std::thread([this] { Run(); });
  } catch (const std::system_error& failure) {
    error = failure.what();
    return false;
  }
  return true;
}

void NatsLoop::Stop() {
  m_stop.store(true);
  Wake();
  if (m_thread.joinable()) m_thread.join();
}

void NatsLoop::Wake() const {
  const std::uint64_t one = 1;
  if (m_wake >= 0 && write(m_wake, &one, sizeof one) < 0) return;  // full: it is awake
}

void NatsLoop::TickSoon(milliseconds delay) {
  if (m_soon.load(std::memory_order_relaxed) || m_soon.exchange(true)) return;
  m_soonMilliseconds.store(static_cast<int>(delay.count()));
  Wake();
}

void NatsLoop::Attach(__natsConnection* connection, int socket) {
  {
    const MutexLock lock(m_mutex);
    m_connection = connection;
    m_socket = socket;
    m_events = connection != nullptr ? POLLIN : 0;
  }
  Wake();
}

void NatsLoop::Release() {
  Attach(nullptr, -1);
  const MutexLock reading(m_reading);
  const MutexLock writing(m_writing);
}

void NatsLoop::Want(short event, bool wanted) {
  {
    const MutexLock lock(m_mutex);
    m_events = static_cast<short>(wanted ? m_events | event : m_events & ~event);
  }
  const bool later = event == POLLOUT && (!wanted || t_direct == this);
  if (!later && std::this_thread::get_id() != m_thread.get_id()) Wake();
}

NatsLoop::Direct::Direct(NatsLoop& loop) : m_loop(loop) {
  if (!loop.m_writesDirectly) return;
  const auto now = steady_clock::now().time_since_epoch();
  m_active = now - loop.m_lastDirect.exchange(now, std::memory_order_relaxed) > kPipelined;
  if (m_active) t_direct = &loop;
}

NatsLoop::Direct::~Direct() {
  if (!m_active) return;
  t_direct = nullptr;
  m_loop.Write();
  if (m_loop.WantsToWrite()) m_loop.Wake();
}

bool NatsLoop::WantsToWrite() {
  const MutexLock lock(m_mutex);
  return (m_events & POLLOUT) != 0;
}

bool NatsLoop::IsAttached(const natsConnection* connection) {
  const MutexLock lock(m_mutex);
  return connection != nullptr && connection == m_connection;
}

// The engine's library takes a write of nothing for a lost connection: one thread at a time, and only when
// there is something.
void NatsLoop::Write() {
  const MutexLock writing(m_writing);
  natsConnection* connection = nullptr;
  {
    const MutexLock lock(m_mutex);
    if ((m_events & POLLOUT) != 0) connection = m_connection;
  }
  if (connection != nullptr) natsConnection_ProcessWriteEvent(connection);
}

void NatsLoop::Run() {
  steady_clock::time_point due = steady_clock::now();
  while (!m_stop.load()) {
    Poll(due);
    if (m_soon.load()) due = std::min(due, steady_clock::now() + milliseconds(m_soonMilliseconds.load()));
    if (steady_clock::now() < due) continue;
    m_soon.store(false);
    due = steady_clock::now() + m_tick();
  }
}

void NatsLoop::Poll(Time due) {
  pollfd sources[2] = {{m_wake, POLLIN, 0}, {-1, 0, 0}};
  natsConnection* connection = nullptr;
  {
    const MutexLock lock(m_mutex);
    connection = m_connection;
    if (m_events != 0) sources[1] = {m_socket, m_events, 0};
  }
  const auto left = std::chrono::ceil<milliseconds>(due - steady_clock::now()).count();
  if (poll(sources, 2, static_cast<int>(std::clamp<long>(left, 0, 1000))) <= 0) return;
  std::uint64_t count = 0;
  if (sources[0].revents != 0 && read(m_wake, &count, sizeof count) < 0) count = 0;
  if (sources[1].revents == 0) return;
  const MutexLock reading(m_reading);
  if (!IsAttached(connection)) return;
  if ((sources[1].revents & (POLLIN | POLLHUP | POLLERR)) != 0) natsConnection_ProcessReadEvent(connection);
  if ((sources[1].revents & POLLOUT) != 0) Write();
}

// --- the connection ---

struct NatsConnection::Subscription {
  NatsConnection& owner;
  std::string subject;
  std::string queue;
  Handler handler;
  natsSubscription* subscription = nullptr;
  // Handled messages. The library wakes a thread to free one, so they are given back many at a time.
  std::vector<natsMsg*> spent = {};
  std::size_t spentBytes = 0;

  void Spend(natsMsg* msg) {
    spent.push_back(msg);
    spentBytes += static_cast<std::size_t>(natsMsg_GetDataLength(msg));
    if (spent.size() >= kMaxSpent || spentBytes >= kMaxSpentBytes) FreeSpent();
  }
  void FreeSpent() {
    for (natsMsg* msg : std::exchange(spent, {})) natsMsg_Destroy(msg);
    spentBytes = 0;
  }
};

NatsConnection::NatsConnection(NatsLoop::Tick tick, Changed changed)
    : m_loop(std::move(tick)), m_changed(std::move(changed)) {}

NatsConnection::~NatsConnection() {
  Close(milliseconds(0));
}

bool NatsConnection::Connect(const NatsSettings& settings, const std::string& name, std::string& error) {
  const SignalsBlocked blocked;
  m_settings = settings;
  m_name = name;
  StartLibrary();
  // An encrypted connection must not be written and read by two threads at once.
  if (!m_loop.Start(!settings.tls, error) || !Dial(error)) return false;
  m_up.store(true);
  return true;
}

bool NatsConnection::Dial(std::string& error) {
  const std::size_t servers = m_settings.servers.size();
  for (std::size_t tried = 0; tried < servers; ++tried) {
    if (DialServer(m_settings.servers[m_nextServer++ % servers], error)) return true;
    const MutexLock lock(m_mutex);
    if (m_closing) return false;
  }
  return false;
}

bool NatsConnection::DialServer(const std::string& server, std::string& error) {
  natsOptions* made = nullptr;
  OptionSetter set(natsOptions_Create(&made));
  const Options options(made);
  if (set.Status() == NATS_OK) {
    SetWhere(made, server, m_settings, set);
    SetWho(made, m_settings, m_name, set);
    SetTls(made, m_settings, set);
    set(natsOptions_SetEventLoop(made, &m_loop, Attach, WantRead, WantWrite, Detach));
    set(natsOptions_SetSendAsap(made, true));
    set(natsOptions_SetMaxPendingMsgs(made, kMaxWaiting));
    set(natsOptions_SetDisconnectedCB(
        made, [](natsConnection*, void* self) { static_cast<NatsConnection*>(self)->SetUp(false); }, this));
    set(natsOptions_SetClosedCB(made, OnClosed, this));
    set(natsOptions_SetErrorHandler(
        made,
        [](natsConnection*, natsSubscription*, natsStatus status, void* self) {
          const std::uint64_t count = ++static_cast<NatsConnection*>(self)->m_errors;
          if (std::has_single_bit(count))
            LogProcess::Error(std::string("bus on NATS: ") + natsStatus_GetText(status) + ", error number " +
                              std::to_string(count));
        },
        this));
  }
  {
    const MutexLock lock(m_mutex);
    m_closed = false;
  }
  natsStatus status = set.Status();
  natsConnection* connection = nullptr;
  if (status == NATS_OK) status = natsConnection_Connect(&connection, made);
  const MutexLock lock(m_mutex);
  if (status != NATS_OK) {
    m_closed = true;
    error = StatusText(status);
    return false;
  }
  m_connection = connection;
  m_maxBytes.store(
      static_cast<std::size_t>(std::max<std::int64_t>(0, natsConnection_GetMaxPayload(connection))));
  return true;
}

int NatsConnection::Subscribe(const std::string& subject, const std::string& queue, Handler handler,
                              std::string& error) {
  const SignalsBlocked blocked;
  const MutexLock lock(m_mutex);
  m_subscriptions.push_back(
      std::make_unique<Subscription>(Subscription{*this, subject, queue, std::move(handler)}));
  if (!Start(*m_subscriptions.back(), error)) return -1;
  return static_cast<int>(m_subscriptions.size()) - 1;
}

bool NatsConnection::Start(Subscription& made, std::string& error) {
  natsSubscription** place = &made.subscription;
  natsStatus status =
      made.queue.empty()
          ? natsConnection_Subscribe(place, m_connection, made.subject.c_str(), OnMessage, &made)
          : natsConnection_QueueSubscribe(place, m_connection, made.subject.c_str(), made.queue.c_str(),
                                          OnMessage, &made);
  if (status == NATS_OK) status = natsSubscription_SetOnCompleteCB(*place, OnComplete, this);
  if (status != NATS_OK) {
    error = made.subject + ": " + StatusText(status);
    return false;
  }
  ++m_running;
  natsSubscription_SetPendingLimits(*place, kMaxWaiting, kMaxWaitingBytes);
  return true;
}

bool NatsConnection::RoundTrip(milliseconds limit) {
  return natsConnection_FlushTimeout(Own(), std::max<long>(1, limit.count())) == NATS_OK;
}

std::string NatsConnection::Refusal() const {
  const char* text = nullptr;
  if (natsConnection_GetLastError(Own(), &text) == NATS_OK || text == nullptr) return {};
  return EscapeControls(text);
}

natsConnection* NatsConnection::Own() const {
  const MutexLock lock(m_mutex);
  return m_connection;
}

void NatsConnection::Close(milliseconds limit) {
  {
    const MutexLock lock(m_mutex);
    m_closing = true;
    m_ended.NotifyAll();
  }
  if (m_keeper.joinable()) m_keeper.join();
  if (limit.count() > 0 && IsUp()) RoundTrip(limit);
  Drop();
  m_loop.Stop();
}

void NatsConnection::Drop() {
  natsConnection* const connection = Own();
  if (connection == nullptr) return;
  std::vector<natsSubscription*> subscriptions;
  {
    const MutexLock lock(m_mutex);
    for (const auto& each : m_subscriptions)
      if (each->subscription != nullptr) subscriptions.push_back(each->subscription);
  }
  for (natsSubscription* each : subscriptions) natsSubscription_Unsubscribe(each);
  natsConnection_Close(connection);
  {
    const MutexLock lock(m_mutex);
    while (m_running > 0 || !m_closed) m_ended.Wait(m_mutex);
    m_connection = nullptr;
    for (const auto& each : m_subscriptions) {
      each->subscription = nullptr;
      each->FreeSpent();
    }
  }
  SetUp(false);
  m_loop.Release();
  for (natsSubscription* each : subscriptions) natsSubscription_Destroy(each);
  natsConnection_Destroy(connection);
}

// --- a connection that was lost ---

bool NatsConnection::KeepUp(std::string& error) {
  const SignalsBlocked blocked;
  try {
    m_keeper = std::thread([this] { RunKeeper(); });
  } catch (const std::system_error& failure) {
    error = failure.what();
    return false;
  }
  return true;
}

void NatsConnection::RunKeeper() {
  std::uint64_t failures = 0;
  for (std::string error;;) {
    {
      const MutexLock lock(m_mutex);
      while (!m_closed && !m_closing) m_ended.Wait(m_mutex);
      if (m_closing) return;
    }
    Drop();
    {
      const MutexLock lock(m_mutex);
      if (!AwaitNextAttempt(failures == 0)) return;
    }
    if (Revive(error)) {
      failures = 0;
    } else if (std::has_single_bit(++failures)) {
      LogProcess::Error("bus on NATS: no connection to the engine: " + error + ", attempt number " +
                        std::to_string(failures));
    }
  }
}

// The first attempt comes soon, but not those of all processes at once.
bool NatsConnection::AwaitNextAttempt(bool first) {
  std::uniform_int_distribution<std::int64_t> jitter(0, m_settings.reconnect.count());
  std::random_device random;
  const milliseconds wait = milliseconds(jitter(random)) + (first ? milliseconds(0) : m_settings.reconnect);
  const auto until = steady_clock::now() + wait;
  while (!m_closing && steady_clock::now() < until) m_ended.WaitUntil(m_mutex, until);
  return !m_closing;
}

bool NatsConnection::Revive(std::string& error) {
  if (!Dial(error)) return false;
  if (!StartAll(error)) {  // it was closed meanwhile
    Drop();
    return false;
  }
  SetUp(true);
  return true;
}

bool NatsConnection::StartAll(std::string& error) {
  const MutexLock lock(m_mutex);
  return std::all_of(m_subscriptions.begin(), m_subscriptions.end(),
                     [&](const auto& each) VELA_REQUIRES(m_mutex) { return Start(*each, error); });
}

void NatsConnection::Publish(const char* subject, const char* reply, const void* data, std::size_t size) {
  if (!IsUp()) return;
  const NatsLoop::Direct direct(m_loop);
  const int bytes = static_cast<int>(size);
  const MutexLock lock(m_mutex);
  if (m_connection == nullptr) return;
  if (reply != nullptr && *reply != '\0')
    natsConnection_PublishRequest(m_connection, subject, reply, data, bytes);
  else
    natsConnection_Publish(m_connection, subject, data, bytes);
}

std::size_t NatsConnection::Waiting(int subscription) const {
  int messages = 0;
  const MutexLock lock(m_mutex);
  natsSubscription* const counted = m_subscriptions[static_cast<std::size_t>(subscription)]->subscription;
  if (counted != nullptr) natsSubscription_GetPending(counted, &messages, nullptr);
  return static_cast<std::size_t>(std::max(0, messages));
}

void NatsConnection::OnMessage(natsConnection*, natsSubscription*, natsMsg* msg, void* closure) {
  const char* reply = natsMsg_GetReply(msg);
  NatsMessage message;
  message.subject = natsMsg_GetSubject(msg);
  message.reply = reply != nullptr ? reply : "";
  message.data = {natsMsg_GetData(msg), static_cast<std::size_t>(natsMsg_GetDataLength(msg))};
  message.noResponders = natsMsg_IsNoResponders(msg);
  auto* subscription = static_cast<Subscription*>(closure);
  subscription->handler(message);
  subscription->Spend(msg);
}

void NatsConnection::OnComplete(void* closure) {
  auto* self = static_cast<NatsConnection*>(closure);
  const MutexLock lock(self->m_mutex);
  --self->m_running;
  self->m_ended.NotifyAll();
}

void NatsConnection::OnClosed(natsConnection*, void* closure) {
  auto* self = static_cast<NatsConnection*>(closure);
  self->SetUp(false);
  const MutexLock lock(self->m_mutex);
  self->m_closed = true;
  self->m_ended.NotifyAll();
}

void NatsConnection::SetUp(bool up) {
  if (m_up.exchange(up) != up) m_changed(up);
}

}  // namespace vela
