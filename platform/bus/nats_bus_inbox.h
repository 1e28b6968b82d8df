#pragma once
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/bus/bus.h"
#include "platform/bus/bus_routing.h"
#include "platform/bus/nats_bus_wire.h"
#include "platform/os/mutex.h"

// The receiving half. Internal.
namespace vela {

// Brings each frame to the receiver once and in order, and tells the senders what it has taken. Thread-safe.
class NatsInbox {
 public:
  // Called without a lock held.
  using Acknowledge = std::function<void(const NatsPeer& sender, const NatsControl& ack)>;
  using AckSoon = std::function<void()>;

  // Acknowledges after a quarter of `window` frames, and when SendAcks is called, which `soon` asks for.
  NatsInbox(BusCounters& counters, CProcID self, std::uint32_t window, Bus::Receiver receiver,
            Acknowledge acknowledge, AckSoon soon);
  ~NatsInbox();
  NatsInbox(const NatsInbox&) = delete;
  NatsInbox& operator=(const NatsInbox&) = delete;

  // A frame as it came: who sent it, as far as the engine vouches for him, and how it is numbered.
  // One at a time. `see` gets a look at a frame that is about to be handed over.
  void Take(CProcID source, const NatsMark& mark, std::string_view bytes,
            const std::function<void(const VelaCmdMSG&)>& see);
  // An answer that the bus itself gives, brought to the receiver by a thread of this object.
  void Answer(VelaMsgPtr answer);
  void SendAcks();
  // What to tell `peer` with the next frame to it, which need not be acknowledged otherwise.
  NatsProgress ToTell(const NatsPeer& peer);
  // How far `peer` has come with the frames from here, as its own frames said last.
  NatsProgress Told(const NatsPeer& peer);
  // The sender asks how far we are; `idle`: nothing waits to be taken, so what did not come yet got lost.
  void Sync(const NatsPeer& sender, std::uint64_t link, std::uint64_t last, bool idle);
  bool IsTaking() const { return m_taking.load(); }
  // The receiver is not called again.
  void Close();

 private:
  using Clock = std::chrono::steady_clock;
  using Key = std::pair<CProcID, std::uint64_t>;

  struct Flow {
    std::uint64_t link = 0;
    std::uint64_t next = 1;      // number of the frame that is expected
    std::uint64_t consumed = 1;  // all before it have gone through the receiver
    std::uint64_t acknowledged = 1;
    NatsProgress told;
    bool owed = false;
    bool asked = false;  // for what got lost
    Clock::time_point used;
  };
  enum class Verdict { take, drop };

  Flow& FlowOf(const NatsPeer& sender, std::uint64_t link) VELA_REQUIRES(m_mutex);
  void DropOldest() VELA_REQUIRES(m_mutex);
  Verdict Judge(const NatsMark& mark, NatsControl& ack);
  void Owe(const NatsPeer& sender, Flow& flow) VELA_REQUIRES(m_mutex);
  void NoteConsumed(const NatsMark& mark);
  VelaMsgPtr FrameOf(CProcID source, std::string_view bytes);
  // False once closed.
  bool Hand(VelaMsgPtr frame);
  void DropForeign(bool forged);
  void RunAnswers();

  BusCounters& m_counters;
  const CProcID m_self;
  const std::uint64_t m_ackEvery;
  const Acknowledge m_acknowledge;
  const AckSoon m_soon;
  std::atomic<bool> m_taking{false};

  Mutex m_mutex;
  std::map<Key, Flow> m_flows VELA_GUARDED_BY(m_mutex);
  std::vector<Key> m_owed VELA_GUARDED_BY(m_mutex);

  Mutex m_receiving;                                      // held while the receiver runs
  Bus::Receiver m_receiver VELA_GUARDED_BY(m_receiving);  // empty once closed

  Mutex m_answersMutex;
  CondVar m_answersChanged;
  std::deque<VelaMsgPtr> m_answers VELA_GUARDED_BY(m_answersMutex);
  bool m_ended VELA_GUARDED_BY(m_answersMutex) = false;
  std::thread m_answering;
};

}  // namespace vela
