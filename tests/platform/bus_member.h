#pragma once
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <latch>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/bus/bus.h"

// A frame that came: its header, with the fields at their natural alignment, and its payload.
struct alignas(8) Received : VelaCmdMSG {
  explicit Received(const VelaCmdMSG& frame)
      : VelaCmdMSG(frame), body(reinterpret_cast<const char*>(frame.data), VelaPayloadLength(frame)) {}
  std::string body;
};

// A process on the bus that keeps what it receives.
class BusMember {
 public:
  BusMember(std::unique_ptr<vela::Bus> bus, CProcID self, std::latch* gate = nullptr)
      : m_bus(std::move(bus)) {
    result = m_bus->Open(self, [this, gate](VelaMsgPtr frame) {
      if (gate != nullptr) gate->wait();
      const std::lock_guard lock(m_lock);
      m_frames.emplace_back(*frame);
      m_came.notify_all();
    });
  }
  ~BusMember() { m_bus->Close(); }

  vela::Bus* operator->() { return m_bus.get(); }

  // The frames that came since Clear, in order, once there are `count` (or a long time has passed).
  std::vector<Received> Await(std::size_t count) {
    std::unique_lock lock(m_lock);
    m_came.wait_for(lock, std::chrono::seconds(60), [&] { return m_frames.size() >= count; });
    return m_frames;
  }
  // Whether a frame with this serial number came since Clear, waiting for it.
  bool AwaitSn(std::uint32_t sn) {
    std::unique_lock lock(m_lock);
    return m_came.wait_for(lock, std::chrono::seconds(60), [&] {
      return std::ranges::any_of(m_frames, [sn](const Received& frame) { return frame.sn == sn; });
    });
  }
  void Clear() {
    const std::lock_guard lock(m_lock);
    m_frames.clear();
  }

  vela::BusResult result = vela::BusResult::failed;

 private:
  std::unique_ptr<vela::Bus> m_bus;
  std::mutex m_lock;
  std::condition_variable m_came;
  std::vector<Received> m_frames;
};

// Another process that opens the bus, says so, and never returns from its first frame.
class StuckProcess {
 public:
  StuckProcess(std::unique_ptr<vela::Bus> (*make)(const vela::BusOptions&), CProcID self) {
    int ready[2];
    EXPECT_EQ(0, pipe(ready));
    m_pid = fork();
    if (m_pid == 0) {
      std::latch never(1);
      const BusMember member(make({}), self, &never);
      if (write(ready[1], "r", 1) != 1) _exit(1);
      for (;;) pause();
    }
    char byte = 0;
    EXPECT_EQ(1, read(ready[0], &byte, 1));
    close(ready[0]);
    close(ready[1]);
  }
  ~StuckProcess() { Kill(); }
  void Kill() {
    if (m_pid <= 0) return;
    kill(m_pid, SIGKILL);
    waitpid(std::exchange(m_pid, -1), nullptr, 0);
  }

 private:
  pid_t m_pid = -1;
};
