#include "platform/bus/nats_bus_session.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>

#include "platform/log/log_process.h"
#include "platform/task/vela_error.h"

namespace vela {
namespace {

using Kind = NatsControl::Kind;

constexpr std::size_t kMaxAsked = 4096;  // beyond it, some are taken for never answered
constexpr int kDirectoryAttempts = 3;    // the one that is asked may just have died
constexpr std::chrono::milliseconds kAckDelay(5);

std::uint64_t NewLife() {
  std::random_device random;
  std::uint64_t life = 0;
  while (life == 0) life = (std::uint64_t{random()} << 32) | random();
  return life;
}

}  // namespace

NatsSession::Member::Member(const NatsSubjects& subjects, const NatsPeer& who, std::uint64_t linkId,
                            std::uint32_t window)
    : peer(who),
      link(linkId, window),
      frames(subjects.FramesTo(who)),
      control(subjects.ControlTo(who)),
      mark(subjects.MarkOf(who, linkId)),
      probe(subjects.MarkOf(who, 0) + '0') {}

NatsSession::NatsSession(const BusOptions& options, const NatsSettings& settings, BusCounters& counters,
                         CProcID self)
    : m_options(options),
      m_settings(settings),
      m_counters(counters),
      m_self{self, NewLife()},
      m_host(HostName().substr(0, 64)),
      m_subjects(settings.prefix, m_self),
      m_window(std::max(1u, options.queueFrames)) {}

NatsSession::~NatsSession() {
  Leave();
}

// --- joining and leaving ---

BusResult NatsSession::Join(Bus::Receiver receiver, std::string& error) {
  m_inbox = std::make_unique<NatsInbox>(
      m_counters, m_self.address, m_window, std::move(receiver),
      [this](const NatsPeer& sender, const NatsControl& ack) {
        SendControl(m_subjects.ControlTo(sender), ack);
      },
      [this] { m_connection->TickSoon(kAckDelay); });
  m_connection =
      std::make_unique<NatsConnection>([this] { return Tick(); }, [this](bool up) { OnChanged(up); });
  const std::string name =
      std::to_string(m_self.address.Number()) + "/" + std::to_string(m_self.address.Handle()) + "@" + m_host;
  if (!m_connection->Connect(m_settings, name, error)) return BusResult::failed;
  const BusResult claimed = Claim(error);
  if (claimed != BusResult::ok) return claimed;
  if (!Subscribe(error)) return BusResult::failed;
  Meet();
  // From now on the next ones may ask this one; the engine must know before Open returns.
  const int asked = m_connection->Subscribe(
      m_subjects.Directory(), "members", [this](const NatsMessage& m) { OnDirectoryQuestion(m); }, error);
  if (asked < 0 || !IsSubscribed(error) || !m_connection->KeepUp(error)) return BusResult::failed;
  const MutexLock lock(m_mutex);
  if (m_state == State::withdrawn) return BusResult::taken;
  m_state = State::joined;
  return BusResult::ok;
}

template <class Done>
bool NatsSession::WaitFor(Time deadline, const Done& done) {
  while (!done()) {
    if (Clock::now() >= deadline) return false;
    m_changed.WaitUntil(m_mutex, deadline);
  }
  return true;
}

BusResult NatsSession::Claim(std::string& error) {
  const int control = m_connection->Subscribe(
      m_subjects.Control(), "", [this](const NatsMessage& m) { OnControl(m); }, error);
  if (control < 0 || !IsSubscribed(error)) return BusResult::failed;
  const std::string mark = m_subjects.MarkOf({m_self.address, kClaimQuestion}, 0) + '0';
  SendControl(m_subjects.AskAddress(), Own(Kind::hello), mark);
  const MutexLock lock(m_mutex);
  if (WaitFor(Clock::now() + m_settings.connect,
              [this]() VELA_REQUIRES(m_mutex) { return m_claim.has_value(); }))
    return *m_claim;
  error = m_connection->Refusal();
  return error.empty() ? BusResult::taken : BusResult::failed;  // somebody is there, and stuck
}

bool NatsSession::Subscribe(std::string& error) {
  const int frames = m_connection->Subscribe(
      m_subjects.Frames(), "", [this](const NatsMessage& m) { OnFrame(m); }, error);
  m_frames.store(frames);
  if (frames < 0 ||
      m_connection->Subscribe(
          m_subjects.Address(), "", [this](const NatsMessage& m) { OnAddressQuestion(m); }, error) < 0 ||
      m_connection->Subscribe(
          m_subjects.Presence(), "", [this](const NatsMessage& m) { OnPresence(m); }, error) < 0)
    return false;
  return IsSubscribed(error);
}

bool NatsSession::IsSubscribed(std::string& error) {
  if (m_connection->RoundTrip(m_settings.connect))
    error = m_connection->Refusal();
  else
    error = "the engine does not answer";
  return error.empty();
}

// Asks one process who else is there, and each of those to take notice of this one.
void NatsSession::Meet() {
  const MutexLock lock(m_mutex);
  See(m_self, m_host);
  SendHeartbeat(Clock::now());
  const auto listed = [this]() VELA_REQUIRES(m_mutex) { return m_listed; };
  const std::string mark = m_subjects.MarkOf({m_self.address, kDirectoryQuestion}, 0) + '0';
  for (int i = 0; i < kDirectoryAttempts && !listed(); ++i) {
    SendControl(m_subjects.AskDirectory(), Own(Kind::hello), mark);
    WaitFor(Clock::now() + m_settings.connect / kDirectoryAttempts, listed);
  }
  if (!m_listed)
    LogProcess::Error("bus on NATS: nobody tells who is there; others will be found by their heartbeats");
  WaitFor(Clock::now() + m_settings.connect, [this]() VELA_REQUIRES(m_mutex) { return m_awaited.empty(); });
}

void NatsSession::Leave() {
  if (!m_connection) return;
  m_inbox->Close();
  const Time deadline = Clock::now() + std::chrono::milliseconds(m_options.lingerMilliseconds);
  {
    const MutexLock lock(m_mutex);
    const bool joined = m_state == State::joined;
    if (m_state != State::withdrawn) m_state = State::leaving;
    const auto own = m_members.find(m_self.address);
    if (own != m_members.end()) Remove(own);
    m_awaited.clear();
    for (auto& [address, member] : m_members) {
      if (!member.lostSince) m_awaited.insert(address);
      SendControl(member.control, Own(Kind::bye), member.probe);
    }
    if (joined)
      WaitFor(deadline, [this]() VELA_REQUIRES(m_mutex) { return m_awaited.empty() && HasDelivered(); });
  }
  m_connection->Close(std::chrono::milliseconds(100));
}

// All that can be: nothing waits for who may be dead.
bool NatsSession::HasDelivered() const {
  return std::all_of(m_members.begin(), m_members.end(), [](const auto& entry) {
    return entry.second.lostSince.has_value() || entry.second.link.IsEmpty();
  });
}

// --- sending ---

std::size_t NatsSession::MaxFrameBytes() const {
  const std::size_t engine = m_connection->MaxBytes();
  return engine == 0 ? m_options.maxFrameBytes : std::min<std::size_t>(engine, m_options.maxFrameBytes);
}

BusResult NatsSession::Deliver(CProcID address, const VelaCmdMSG& frame) {
  const std::size_t size = VelaFrameSize(frame);
  VelaMsgPtr copy = VelaMsgFromBytes(&frame, size);
  if (!copy) return BusResult::failed;
  const MutexLock lock(m_mutex);
  if (m_state == State::leaving || m_state == State::withdrawn) return BusResult::closed;
  Member* member = Find(address);
  if (member == nullptr) return BusResult::noReceiver;
  if (m_knownDown && frame.kind == VELA_KIND_REQUEST) {
    AnswerHere(frame, VELA_ERR_NO_ANSWER);
    return BusResult::ok;
  }
  NoteProgress(*member, m_inbox->Told(member->peer));
  const bool fits = m_heldBytes == 0 || m_heldBytes + size <= m_settings.bufferBytes;
  if (!member->link.HasRoom() || !fits) return BusResult::full;
  if (frame.kind == VELA_KIND_REQUEST) NoteAsked(frame);
  m_heldBytes += size;
  const std::uint64_t number = member->link.Add(std::move(copy), Clock::now());
  if (!member->lostSince) PublishFrame(*member, number, frame);
  return BusResult::ok;
}

void NatsSession::PublishFrame(const Member& member, std::uint64_t number, const VelaCmdMSG& frame) {
  const NatsProgress taken = m_inbox->ToTell(member.peer);
  m_scratch.assign(member.mark).append(std::to_string(number));
  if (taken.link != 0)
    m_scratch.append(".").append(std::to_string(taken.link)).append(".").append(std::to_string(taken.next));
  m_connection->Publish(member.frames.c_str(), m_scratch.c_str(), &frame, VelaFrameSize(frame));
}

void NatsSession::NoteProgress(Member& member, NatsProgress taken) {
  if (member.link.Id() != taken.link) return;
  const std::size_t bytes = member.link.Acknowledge(taken.next, Clock::now());
  if (bytes == 0) return;
  m_heldBytes -= bytes;
  Touch(member);
  m_changed.NotifyAll();
}

void NatsSession::Resend(Member& member) {
  std::uint64_t number = member.link.First();
  for (const VelaMsgPtr& frame : member.link.Held()) {
    PublishFrame(member, number++, *frame);
    m_counters.CountResent();
  }
  member.link.NoteAsked(Clock::now());
}

void NatsSession::SendControl(const std::string& subject, const NatsControl& control,
                              const std::string& mark) {
  const std::string text = Encode(control);
  m_connection->Publish(subject.c_str(), mark.c_str(), text.data(), text.size());
}

NatsControl NatsSession::Own(Kind kind) const {
  NatsControl control;
  control.kind = kind;
  control.life = m_self.life;
  control.host = m_host;
  return control;
}

// --- answers that the bus gives itself ---

void NatsSession::NoteAsked(const VelaCmdMSG& frame) {
  if (m_asked.size() >= kMaxAsked) m_asked.erase(m_asked.begin());
  VelaMsgPtr header(VelaAllocMsg(VELA_MSG_HEADER));
  if (!header) return;
  std::memcpy(header.get(), &frame, VELA_MSG_HEADER);
  m_asked[frame.sn] = std::move(header);
}

void NatsSession::AnswerHere(const VelaCmdMSG& request, std::uint32_t code) {
  VelaMsgPtr answer(VelaAllocMsg(VELA_MSG_HEADER));
  if (!answer) return;
  std::memcpy(answer.get(), &request, VELA_MSG_HEADER);
  std::swap(answer->srcProcId, answer->dstProcId);
  std::swap(answer->srcHandle, answer->dstHandle);
  std::swap(answer->srcDesk, answer->dstDesk);
  std::swap(answer->srcTaskId, answer->dstTaskId);
  answer->kind = VELA_KIND_RESPONSE;
  answer->status = code;
  answer->length = 2;
  m_asked.erase(request.sn);
  m_inbox->Answer(std::move(answer));
}

// --- what is known ---

std::unique_ptr<Instances> NatsSession::InstancesOf(std::uint16_t number) const {
  auto instances = std::make_unique<Instances>();
  const MutexLock lock(m_mutex);
  for (auto it = m_members.lower_bound(CProcID(number, 0)); it != m_members.end(); ++it) {
    if (it->first.Number() != number) break;
    instances->push_back(it->first);
  }
  return instances;
}

bool NatsSession::IsAlive(CProcID address) const {
  if (address.IsAnyInstance()) return !InstancesOf(address.Number())->empty();
  return LifeOf(address) != 0;
}

std::uint64_t NatsSession::LifeOf(CProcID address) const {
  const MutexLock lock(m_mutex);
  const auto found = m_members.find(address);
  return found == m_members.end() ? 0 : found->second.peer.life;
}

std::vector<BusMemberInfo> NatsSession::Members() const {
  std::vector<BusMemberInfo> list;
  const MutexLock lock(m_mutex);
  for (const auto& [address, member] : m_members)
    list.push_back({address, member.peer.life, member.host, member.lostSince.has_value()});
  return list;
}

void NatsSession::FillStats(BusStats& stats) const {
  stats.connected = m_connection->IsUp();
  const MutexLock lock(m_mutex);
  stats.heldBytes = m_heldBytes;
  for (const auto& [address, member] : m_members) stats.heldFrames += member.link.Held().size();
}

}  // namespace vela
