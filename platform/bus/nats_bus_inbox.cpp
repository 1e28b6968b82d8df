#include "platform/bus/nats_bus_inbox.h"

#include <algorithm>
#include <bit>
#include <string>
#include <vector>

#include "platform/bus/signals_blocked.h"
#include "platform/log/log_process.h"

namespace vela {
namespace {

// Lives of senders that are remembered; processes that were killed never say that they leave.
constexpr std::size_t kMaxFlows = 20000;

NatsControl AckOf(std::uint64_t link, std::uint64_t next, bool lost) {
  NatsControl ack;
  ack.kind = NatsControl::Kind::ack;
  ack.link = link;
  ack.number = next;
  ack.lost = lost;
  return ack;
}

}  // namespace

NatsInbox::NatsInbox(BusCounters& counters, CProcID self, std::uint32_t window, Bus::Receiver receiver,
                     Acknowledge acknowledge, AckSoon soon)
    : m_counters(counters),
      m_self(self),
      m_ackEvery(std::max(1u, window / 4)),
      m_acknowledge(std::move(acknowledge)),
      m_soon(std::move(soon)),
      m_receiver(std::move(receiver)) {
  const SignalsBlocked blocked;
  m_answering = std::thread([this] { RunAnswers(); });
}

NatsInbox::~NatsInbox() {
  Close();
  {
    const MutexLock lock(m_answersMutex);
    m_ended = true;
  }
  m_answersChanged.NotifyAll();
  m_answering.join();
}

void NatsInbox::Take(CProcID source, const NatsMark& mark, std::string_view bytes,
                     const std::function<void(const VelaCmdMSG&)>& see) {
  if (mark.link == 0 || mark.sender.address != source) return DropForeign(true);
  m_taking.store(true);
  NatsControl ack;
  const Verdict verdict = Judge(mark, ack);
  if (ack.link != 0) m_acknowledge(mark.sender, ack);
  if (verdict == Verdict::take) {
    VelaMsgPtr frame = FrameOf(source, bytes);
    if (frame) see(*frame);
    if (!frame || Hand(std::move(frame))) NoteConsumed(mark);
  }
  m_taking.store(false);
}

NatsInbox::Flow& NatsInbox::FlowOf(const NatsPeer& sender, std::uint64_t link) {
  if (m_flows.size() >= kMaxFlows) DropOldest();
  Flow& flow = m_flows[{sender.address, sender.life}];
  if (link > flow.link) {
    flow = {};
    flow.link = link;
  }
  flow.used = Clock::now();
  return flow;
}

void NatsInbox::DropOldest() {
  m_flows.erase(std::min_element(m_flows.begin(), m_flows.end(), [](const auto& left, const auto& right) {
    return left.second.used < right.second.used;
  }));
}

NatsInbox::Verdict NatsInbox::Judge(const NatsMark& mark, NatsControl& ack) {
  const MutexLock lock(m_mutex);
  Flow& flow = FlowOf(mark.sender, mark.link);
  if (mark.link == flow.link && mark.number == flow.next) {
    ++flow.next;
    flow.asked = false;
    if (mark.taken.link != 0) flow.told = mark.taken;
    return Verdict::take;
  }
  if (mark.link < flow.link || mark.number < flow.next) {
    m_counters.CountRepeated();
    flow.acknowledged = 0;  // what was said may have got lost
    if (mark.link == flow.link) Owe(mark.sender, flow);
  } else if (!flow.asked) {
    flow.asked = true;
    ack = AckOf(flow.link, flow.next, true);
  }
  return Verdict::drop;
}

void NatsInbox::NoteConsumed(const NatsMark& mark) {
  NatsControl ack;
  {
    const MutexLock lock(m_mutex);
    Flow& flow = FlowOf(mark.sender, mark.link);
    flow.consumed = flow.next;
    if (flow.consumed - flow.acknowledged >= m_ackEvery) {
      flow.acknowledged = flow.consumed;
      ack = AckOf(flow.link, flow.consumed, false);
    } else {
      Owe(mark.sender, flow);
    }
  }
  if (ack.link != 0)
    m_acknowledge(mark.sender, ack);
  else
    m_soon();
}

void NatsInbox::Owe(const NatsPeer& sender, Flow& flow) {
  if (!std::exchange(flow.owed, true)) m_owed.emplace_back(sender.address, sender.life);
}

void NatsInbox::SendAcks() {
  std::vector<std::pair<NatsPeer, NatsControl>> acks;
  {
    const MutexLock lock(m_mutex);
    for (const Key& key : std::exchange(m_owed, {})) {
      const auto found = m_flows.find(key);
      if (found == m_flows.end()) continue;
      Flow& flow = found->second;
      flow.owed = false;
      if (flow.acknowledged >= flow.consumed) continue;
      flow.acknowledged = flow.consumed;
      acks.emplace_back(NatsPeer{key.first, key.second}, AckOf(flow.link, flow.consumed, false));
    }
  }
  for (const auto& [sender, ack] : acks) m_acknowledge(sender, ack);
}

NatsProgress NatsInbox::ToTell(const NatsPeer& peer) {
  const MutexLock lock(m_mutex);
  const auto found = m_flows.find({peer.address, peer.life});
  if (found == m_flows.end()) return {};
  found->second.acknowledged = found->second.consumed;
  return {found->second.link, found->second.consumed};
}

NatsProgress NatsInbox::Told(const NatsPeer& peer) {
  const MutexLock lock(m_mutex);
  const auto found = m_flows.find({peer.address, peer.life});
  return found == m_flows.end() ? NatsProgress() : found->second.told;
}

void NatsInbox::Sync(const NatsPeer& sender, std::uint64_t link, std::uint64_t last, bool idle) {
  NatsControl ack;
  {
    const MutexLock lock(m_mutex);
    Flow& flow = FlowOf(sender, link);
    if (link < flow.link) return;
    const bool lost = idle && flow.next <= last;
    ack = AckOf(link, lost ? flow.next : flow.consumed, lost);
    flow.asked = flow.asked || lost;
    flow.acknowledged = std::max(flow.acknowledged, ack.number);
  }
  m_acknowledge(sender, ack);
}

// Null, and counted, when nobody may be given it.
VelaMsgPtr NatsInbox::FrameOf(CProcID source, std::string_view bytes) {
  VelaMsgPtr frame = VelaMsgFromBytes(bytes.data(), bytes.size());
  if (!frame || !IsMeantFor(Destination(*frame), m_self)) {
    DropForeign(false);
    return nullptr;
  }
  if (CProcID(frame->srcProcId, frame->srcHandle) == source) return frame;
  DropForeign(true);
  return nullptr;
}

void NatsInbox::DropForeign(bool forged) {
  const std::uint64_t count = m_counters.CountMalformed();
  if (forged) m_counters.CountForged();
  if (!std::has_single_bit(count)) return;  // whoever sends them must not fill the log
  LogProcess::Error(std::string("bus on NATS: ") +
                    (forged ? "a frame that names another sender than the engine does"
                            : "bytes that are no frame for this process") +
                    " dropped, in all " + std::to_string(count) + " times");
}

bool NatsInbox::Hand(VelaMsgPtr frame) {
  const MutexLock lock(m_receiving);
  if (!m_receiver) return false;
  m_counters.CountReceived();
  m_receiver(std::move(frame));
  return true;
}

void NatsInbox::Answer(VelaMsgPtr answer) {
  {
    const MutexLock lock(m_answersMutex);
    m_answers.push_back(std::move(answer));
  }
  m_answersChanged.NotifyOne();
}

void NatsInbox::RunAnswers() {
  for (;;) {
    VelaMsgPtr answer;
    {
      const MutexLock lock(m_answersMutex);
      while (m_answers.empty() && !m_ended) m_answersChanged.Wait(m_answersMutex);
      if (m_ended) return;
      answer = std::move(m_answers.front());
      m_answers.pop_front();
    }
    const MutexLock lock(m_receiving);
    if (m_receiver) m_receiver(std::move(answer));
  }
}

void NatsInbox::Close() {
  const MutexLock lock(m_receiving);
  m_receiver = nullptr;
}

}  // namespace vela
