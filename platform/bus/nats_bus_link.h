#pragma once
#include <chrono>
#include <cstdint>
#include <deque>
#include <utility>

#include "platform/message/vela_cmd_msg.h"

// The way from here to one life of a process. Internal; the bus' lock guards it.
namespace vela {

// Holds what was sent until the receiver has acknowledged it, so that it can be sent again when an engine
// node or a connection was lost on the way. The receiver takes frames in the order of their numbers only.
class NatsLink {
 public:
  using Time = std::chrono::steady_clock::time_point;

  NatsLink(std::uint64_t id, std::uint32_t window) : m_id(id), m_window(window) {}

  std::uint64_t Id() const { return m_id; }
  bool HasRoom() const { return m_held.size() < m_window; }
  bool IsEmpty() const { return m_held.empty(); }
  std::uint64_t Next() const { return m_first + m_held.size(); }
  const std::deque<VelaMsgPtr>& Held() const { return m_held; }
  std::uint64_t First() const { return m_first; }

  // The frame's number.
  std::uint64_t Add(VelaMsgPtr frame, Time now) {
    if (m_held.empty()) m_lastProgress = now;
    m_held.push_back(std::move(frame));
    return m_first + m_held.size() - 1;
  }

  // The receiver has all before `next`. The bytes that are not held any more; a number that cannot be is
  // ignored.
  std::size_t Acknowledge(std::uint64_t next, Time now) {
    if (next <= m_first || next > Next()) return 0;
    std::size_t bytes = 0;
    for (; m_first < next; ++m_first) {
      bytes += VelaFrameSize(*m_held.front());
      m_held.pop_front();
    }
    m_lastProgress = now;
    return bytes;
  }

  Time LastProgress() const { return m_lastProgress; }
  void NoteAsked(Time now) { m_lastProgress = now; }

 private:
  const std::uint64_t m_id;  // never the same for two links of a process
  const std::uint32_t m_window;
  std::uint64_t m_first = 1;  // number of the first frame held
  std::deque<VelaMsgPtr> m_held;
  Time m_lastProgress;
};

}  // namespace vela
