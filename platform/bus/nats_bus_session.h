#pragma once
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/bus/bus.h"
#include "platform/bus/bus_routing.h"
#include "platform/bus/nats_bus_connection.h"
#include "platform/bus/nats_bus_inbox.h"
#include "platform/bus/nats_bus_link.h"
#include "platform/bus/nats_bus_settings.h"
#include "platform/bus/nats_bus_wire.h"
#include "platform/os/mutex.h"

// One time of being on the bus, from joining to leaving. Internal.
//
// Every process knows all others. What it thinks of one:
//
//   state   | sign of life   | the engine: "nobody there"    | silence
//   --------+----------------+-------------------------------+---------------------------------------
//   unknown | -> alive       | -                             | -
//   alive   | alive          | -> lost                       | two heartbeats: -> lost
//   lost    | -> alive, held | a grace long: -> unknown      | expiry: -> unknown
//           | frames go again|                               |
//
// "bye" and another life at the same address make a process unknown at once, and for good. A process that
// becomes unknown has its held requests answered with "no receiver".
namespace vela {

class NatsSession {
 public:
  NatsSession(const BusOptions& options, const NatsSettings& settings, BusCounters& counters, CProcID self);
  ~NatsSession();
  NatsSession(const NatsSession&) = delete;
  NatsSession& operator=(const NatsSession&) = delete;

  // ok, taken, or failed with the reason. One thread at a time calls Join and Leave.
  BusResult Join(Bus::Receiver receiver, std::string& error);
  void Leave();

  // To one live process.
  BusResult Deliver(CProcID address, const VelaCmdMSG& frame);
  std::size_t MaxFrameBytes() const;
  std::unique_ptr<Instances> InstancesOf(std::uint16_t number) const;
  bool IsAlive(CProcID address) const;
  std::uint64_t LifeOf(CProcID address) const;
  std::vector<BusMemberInfo> Members() const;
  void FillStats(BusStats& stats) const;

 private:
  using Clock = std::chrono::steady_clock;
  using Time = Clock::time_point;

  // Stand in a mark for the life of a receiver: questions to whoever is there.
  static constexpr std::uint64_t kClaimQuestion = 1;
  static constexpr std::uint64_t kDirectoryQuestion = 2;

  struct Member {
    Member(const NatsSubjects& subjects, const NatsPeer& who, std::uint64_t linkId, std::uint32_t window);
    NatsPeer peer;
    std::string host;
    NatsLink link;
    std::string frames;   // subject
    std::string control;  // subject
    std::string mark;     // of a frame, without its number
    std::string probe;    // mark of what is no frame
    Time lastSeen;
    std::optional<Time> lostSince;
    Time lastProbe;
    bool refused = false;  // since then, by the engine
  };
  using MemberMap = std::map<CProcID, Member>;

  // Joining.
  bool Subscribe(std::string& error);
  BusResult Claim(std::string& error);
  // Whether the engine has taken all subscriptions so far.
  bool IsSubscribed(std::string& error);
  void Meet();
  bool HasDelivered() const VELA_REQUIRES(m_mutex);
  // Until `done`, or the deadline: false.
  template <class Done>
  bool WaitFor(Time deadline, const Done& done) VELA_REQUIRES(m_mutex);

  // What comes in, each kind on a thread of its own.
  void OnFrame(const NatsMessage& message);
  void OnControl(const NatsMessage& message);
  void OnAddressQuestion(const NatsMessage& message);
  void OnDirectoryQuestion(const NatsMessage& message);
  void OnPresence(const NatsMessage& message);
  void OnNobodyThere(const NatsMark& mark) VELA_REQUIRES(m_mutex);
  void OnMemberControl(CProcID source, const NatsControl& control) VELA_REQUIRES(m_mutex);
  void OnAck(CProcID source, const NatsControl& control) VELA_REQUIRES(m_mutex);
  void OnBye(const NatsPeer& peer) VELA_REQUIRES(m_mutex);
  void OnTaken(CProcID source, std::uint64_t life) VELA_REQUIRES(m_mutex);
  void OnChanged(bool up);

  // The directory.
  Member* See(const NatsPeer& peer, const std::string& host) VELA_REQUIRES(m_mutex);
  Member* Find(CProcID address) VELA_REQUIRES(m_mutex);
  void SeeOwnAddressElsewhere(std::uint64_t life) VELA_REQUIRES(m_mutex);
  void Touch(Member& member) VELA_REQUIRES(m_mutex);
  void MarkLost(Member& member, Time now) VELA_REQUIRES(m_mutex);
  void Remove(MemberMap::iterator member) VELA_REQUIRES(m_mutex);
  void Bury(const NatsPeer& peer) VELA_REQUIRES(m_mutex);

  // Timed work.
  std::chrono::milliseconds Tick();
  void SendHeartbeat(Time now) VELA_REQUIRES(m_mutex);
  bool WatchMember(Member& member, Time now) VELA_REQUIRES(m_mutex);
  void WatchConnection(Time now) VELA_REQUIRES(m_mutex);

  // What the member has said to have taken is not held any more.
  void NoteProgress(Member& member, NatsProgress taken) VELA_REQUIRES(m_mutex);
  void Resend(Member& member) VELA_REQUIRES(m_mutex);
  void PublishFrame(const Member& member, std::uint64_t number, const VelaCmdMSG& frame)
      VELA_REQUIRES(m_mutex);
  // With `mark`, the engine says when nobody is there.
  void SendControl(const std::string& subject, const NatsControl& control, const std::string& mark = {});
  NatsControl Own(NatsControl::Kind kind) const;
  void NoteAsked(const VelaCmdMSG& frame) VELA_REQUIRES(m_mutex);
  void AnswerHere(const VelaCmdMSG& request, std::uint32_t code) VELA_REQUIRES(m_mutex);

  const BusOptions m_options;
  const NatsSettings m_settings;
  BusCounters& m_counters;
  const NatsPeer m_self;
  const std::string m_host;
  const NatsSubjects m_subjects;
  const std::uint32_t m_window;
  std::unique_ptr<NatsInbox> m_inbox;
  std::unique_ptr<NatsConnection> m_connection;
  std::atomic<int> m_frames{-1};  // subscription

  mutable Mutex m_mutex;
  CondVar m_changed;
  MemberMap m_members VELA_GUARDED_BY(m_mutex);  // with the own one
  enum class State { joining, joined, leaving, withdrawn };
  State m_state VELA_GUARDED_BY(m_mutex) = State::joining;
  std::optional<BusResult> m_claim VELA_GUARDED_BY(m_mutex);
  bool m_listed VELA_GUARDED_BY(m_mutex) = false;
  std::set<CProcID> m_awaited VELA_GUARDED_BY(m_mutex);  // answers to hello or bye
  std::set<std::uint64_t> m_buried VELA_GUARDED_BY(m_mutex);
  std::deque<std::uint64_t> m_buriedInTurn VELA_GUARDED_BY(m_mutex);
  std::uint64_t m_lastLink VELA_GUARDED_BY(m_mutex) = 0;
  std::size_t m_heldBytes VELA_GUARDED_BY(m_mutex) = 0;
  std::string m_scratch VELA_GUARDED_BY(m_mutex);
  Time m_nextHeartbeat VELA_GUARDED_BY(m_mutex);
  std::optional<Time> m_downSince VELA_GUARDED_BY(m_mutex);
  bool m_knownDown VELA_GUARDED_BY(m_mutex) = false;
  // Requests without an answer so far: their headers, by serial number.
  std::unordered_map<std::uint32_t, VelaMsgPtr> m_asked VELA_GUARDED_BY(m_mutex);
};

}  // namespace vela
