// Who is there: what other processes say, what the engine says of them, and what silence means.
#include <algorithm>
#include <string>
#include <utility>

#include "platform/bus/nats_bus_session.h"
#include "platform/log/log_process.h"
#include "platform/os/clock.h"
#include "platform/task/vela_error.h"

namespace vela {
namespace {

using Kind = NatsControl::Kind;
using std::chrono::milliseconds;

constexpr std::size_t kMaxBuried = 4096;
constexpr milliseconds kLongestTick(100);

std::string Text(const NatsPeer& peer) {
  return std::to_string(peer.address.Number()) + "/" + std::to_string(peer.address.Handle());
}

}  // namespace

// --- what comes in ---

void NatsSession::OnFrame(const NatsMessage& message) {
  const auto source = m_subjects.SourceOf(message.subject);
  const auto mark = m_subjects.ParseMark(message.reply);
  m_inbox->Take(source.value_or(CProcID()), mark.value_or(NatsMark()), message.data,
                [this](const VelaCmdMSG& frame) {
                  if (frame.kind != VELA_KIND_RESPONSE) return;
                  const MutexLock lock(m_mutex);
                  m_asked.erase(frame.sn);
                });
}

void NatsSession::OnControl(const NatsMessage& message) {
  if (message.noResponders) {
    const auto mark = m_subjects.ParseMark(message.subject);
    if (!mark) return;
    const MutexLock lock(m_mutex);
    OnNobodyThere(*mark);
    return;
  }
  const auto source = m_subjects.SourceOf(message.subject);
  const auto control = DecodeControl(message.data);
  if (!source || !control) return;
  if (control->kind == Kind::sync) {
    const int frames = m_frames.load();
    const bool idle = frames >= 0 && !m_inbox->IsTaking() && m_connection->Waiting(frames) == 0;
    m_inbox->Sync({*source, control->life}, control->link, control->number, idle);
  }
  const MutexLock lock(m_mutex);
  OnMemberControl(*source, *control);
}

void NatsSession::OnNobodyThere(const NatsMark& mark) {
  if (mark.receiver.address == m_self.address) {
    if (mark.receiver.life == kClaimQuestion) m_claim = m_claim.value_or(BusResult::ok);
    if (mark.receiver.life == kDirectoryQuestion) m_listed = true;  // nobody to list
  }
  Member* member = Find(mark.receiver.address);
  if (member != nullptr && member->peer.life == mark.receiver.life) {
    MarkLost(*member, Clock::now());
    member->refused = true;
  }
  m_awaited.erase(mark.receiver.address);
  m_changed.NotifyAll();
}

void NatsSession::OnMemberControl(CProcID source, const NatsControl& control) {
  const NatsPeer peer{source, control.life};
  switch (control.kind) {
    case Kind::hello:
      if (See(peer, control.host) != nullptr) SendControl(m_subjects.ControlTo(peer), Own(Kind::here));
      break;
    case Kind::here:
      See(peer, control.host);
      if (m_state == State::joining) m_awaited.erase(source);  // who leaves waits for "gone"
      break;
    case Kind::bye:
      OnBye(peer);
      break;
    case Kind::gone:
      m_awaited.erase(source);
      break;
    case Kind::taken:
      OnTaken(source, control.life);
      break;
    case Kind::list:
      if (std::exchange(m_listed, true)) break;  // nobody asked
      for (const NatsPeer& listed : control.list) {
        if (listed.address == m_self.address) continue;
        if (m_state == State::joining) m_awaited.insert(listed.address);
        SendControl(m_subjects.ControlTo(listed), Own(Kind::hello), m_subjects.MarkOf(listed, 0) + '0');
      }
      break;
    case Kind::ack:
      OnAck(source, control);
      break;
    case Kind::sync:
      break;
  }
  m_changed.NotifyAll();
}

void NatsSession::OnAck(CProcID source, const NatsControl& control) {
  Member* member = Find(source);
  if (member == nullptr || member->link.Id() != control.link) return;
  const bool wasLost = member->lostSince.has_value();
  NoteProgress(*member, {control.link, control.number});
  Touch(*member);
  if (control.lost && !wasLost) Resend(*member);
}

void NatsSession::OnBye(const NatsPeer& peer) {
  const auto found = m_members.find(peer.address);
  if (found != m_members.end() && found->second.peer.life == peer.life) Remove(found);
  Bury(peer);
  m_awaited.erase(peer.address);
  SendControl(m_subjects.ControlTo(peer), Own(Kind::gone));
}

void NatsSession::OnTaken(CProcID source, std::uint64_t life) {
  if (source != m_self.address || life == m_self.life) return;
  if (m_state == State::joining) {
    m_claim = BusResult::taken;
    m_state = State::withdrawn;
  } else {
    SeeOwnAddressElsewhere(0);
  }
}

// Somebody asks whether the own address is free.
void NatsSession::OnAddressQuestion(const NatsMessage& message) {
  const auto source = m_subjects.SourceOf(message.subject);
  const auto control = DecodeControl(message.data);
  if (source != m_self.address || !control || control->kind != Kind::hello || control->life == m_self.life)
    return;
  SendControl(m_subjects.ControlTo({*source, control->life}), Own(Kind::taken));
}

void NatsSession::OnDirectoryQuestion(const NatsMessage& message) {
  const auto source = m_subjects.SourceOf(message.subject);
  const auto control = DecodeControl(message.data);
  if (!source || !control || control->kind != Kind::hello) return;
  NatsControl answer = Own(Kind::list);
  {
    const MutexLock lock(m_mutex);
    for (const auto& [address, member] : m_members) answer.list.push_back(member.peer);
  }
  SendControl(m_subjects.ControlTo({*source, control->life}), answer);
}

void NatsSession::OnPresence(const NatsMessage& message) {
  const auto source = m_subjects.SourceOf(message.subject);
  const auto control = DecodeControl(message.data);
  if (!source || !control || control->kind != Kind::here) return;
  const MutexLock lock(m_mutex);
  if (m_state == State::leaving) return;
  const bool known = Find(*source) != nullptr;
  const Member* member = See({*source, control->life}, control->host);
  if (!known && member != nullptr) SendControl(member->control, Own(Kind::here));
}

void NatsSession::OnChanged(bool up) {
  const MutexLock lock(m_mutex);
  if (m_state == State::leaving) return;
  const Time now = Clock::now();
  if (!up) {
    m_counters.CountDisconnect();
    m_downSince = now;
    LogProcess::Error("bus on NATS: the connection to the engine is lost");
    return;
  }
  m_downSince.reset();
  m_knownDown = false;
  LogProcess::Info("bus on NATS: the connection to the engine is there again");
  SendHeartbeat(now);
  m_listed = false;
  SendControl(m_subjects.AskDirectory(), Own(Kind::hello));
  for (auto& [address, member] : m_members)
    if (!member.lostSince) Resend(member);
}

// --- the directory ---

NatsSession::Member* NatsSession::Find(CProcID address) {
  const auto found = m_members.find(address);
  return found == m_members.end() ? nullptr : &found->second;
}

NatsSession::Member* NatsSession::See(const NatsPeer& peer, const std::string& host) {
  if (peer.address == m_self.address && peer.life != m_self.life) {
    SeeOwnAddressElsewhere(peer.life);
    return nullptr;
  }
  if (m_state == State::leaving || m_buried.contains(peer.life)) return nullptr;
  auto found = m_members.find(peer.address);
  if (found != m_members.end() && found->second.peer.life != peer.life) {
    Bury(found->second.peer);
    Remove(found);
    found = m_members.end();
  }
  if (found == m_members.end()) {
    found = m_members.try_emplace(peer.address, m_subjects, peer, ++m_lastLink, m_window).first;
    found->second.host = host;
  }
  Touch(found->second);
  return &found->second;
}

// Two that claimed an address at the same moment, or on both sides of a cut: one gives way.
void NatsSession::SeeOwnAddressElsewhere(std::uint64_t life) {
  if (m_state == State::withdrawn || m_state == State::leaving) return;
  if (life > m_self.life) return;
  LogProcess::Error("bus on NATS: another process lives at " + Text(m_self) + ": this one leaves the bus");
  m_state = State::withdrawn;
  while (!m_members.empty()) Remove(m_members.begin());
  m_changed.NotifyAll();
}

void NatsSession::Touch(Member& member) {
  member.lastSeen = Clock::now();
  if (!member.lostSince) return;
  member.lostSince.reset();
  member.refused = false;
  Resend(member);
}

void NatsSession::MarkLost(Member& member, Time now) {
  if (!member.lostSince) member.lostSince = now;
}

void NatsSession::Remove(MemberMap::iterator member) {
  for (const VelaMsgPtr& frame : member->second.link.Held()) {
    m_heldBytes -= VelaFrameSize(*frame);
    if (frame->kind == VELA_KIND_REQUEST) AnswerHere(*frame, VELA_ERR_NO_RECEIVER);
  }
  m_members.erase(member);
}

void NatsSession::Bury(const NatsPeer& peer) {
  if (!m_buried.insert(peer.life).second) return;
  m_buriedInTurn.push_back(peer.life);
  if (m_buriedInTurn.size() <= kMaxBuried) return;
  m_buried.erase(m_buriedInTurn.front());
  m_buriedInTurn.pop_front();
}

// --- timed work ---

milliseconds NatsSession::Tick() {
  m_inbox->SendAcks();
  const MutexLock lock(m_mutex);
  if (m_state == State::joining || m_state == State::withdrawn) return kLongestTick;
  const Time now = Clock::now();
  if (m_state == State::joined && now >= m_nextHeartbeat) SendHeartbeat(now);
  for (auto it = m_members.begin(); it != m_members.end();) {
    const auto current = it++;
    if (current->first == m_self.address || WatchMember(current->second, now)) continue;
    LogProcess::Info("bus on NATS: " + Text(current->second.peer) + " is gone");
    m_awaited.erase(current->first);
    Remove(current);
    m_changed.NotifyAll();
  }
  WatchConnection(now);
  return std::min(kLongestTick, std::max(milliseconds(1), m_settings.heartbeat / 4));
}

void NatsSession::SendHeartbeat(Time now) {
  m_nextHeartbeat = now + m_settings.heartbeat;
  SendControl(m_subjects.OwnPresence(), Own(Kind::here));
}

// False when it is gone.
bool NatsSession::WatchMember(Member& member, Time now) {
  NoteProgress(member, m_inbox->Told(member.peer));
  const auto silence = now - member.lastSeen;
  if (silence > 2 * m_settings.heartbeat) MarkLost(member, now);
  if (member.lostSince) {
    // Not at once: if this process itself stood still, the others were not silent.
    if (silence >= m_settings.expiry && now - *member.lostSince >= m_settings.heartbeat) return false;
    if (member.refused && now - *member.lostSince >= m_settings.grace) return false;
    const auto interval = std::clamp<milliseconds>(m_settings.grace / 8, milliseconds(10), milliseconds(500));
    if (now - member.lastProbe >= interval) {
      member.lastProbe = now;
      SendControl(member.control, Own(Kind::hello), member.probe);
    }
  } else if (!member.link.IsEmpty() && now - member.link.LastProgress() >= ScaledSeconds(1)) {
    member.link.NoteAsked(now);
    NatsControl sync = Own(Kind::sync);
    sync.link = member.link.Id();
    sync.number = member.link.Next() - 1;
    SendControl(member.control, sync, member.probe);
  }
  return true;
}

void NatsSession::WatchConnection(Time now) {
  if (!m_downSince || m_knownDown || now - *m_downSince < m_settings.grace) return;
  m_knownDown = true;
  LogProcess::Error(
      "bus on NATS: the connection does not come back: requests are answered as if they had timed out");
  for (auto& [sn, header] : std::exchange(m_asked, {})) AnswerHere(*header, VELA_ERR_NO_ANSWER);
}

}  // namespace vela
