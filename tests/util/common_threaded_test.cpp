#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <numeric>
#include <sstream>
#include <thread>

#include "platform/asncmd/asn_runtime.h"
#include "platform/testkit/testkit.h"
#include "util/basicutil/common.h"
#include "util/basicutil/common_manager.h"

using namespace NSTE_util;

TEST(DebugLogThreaded, EveryHeldBackRecordIsDumpedOnce) {
  constexpr int kThreads = 4;
  constexpr int kEach = 2000;
  TEDebugMgrImpl::Instance()->FlushAll();
  testkit::LogCapture log;
  std::atomic<int> running = kThreads;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &running] {
      TEDebugInterface& out = *GetDebugInterface(("module" + std::to_string(t)).c_str());
      for (int i = 0; i < kEach; ++i) {
        out.PrintF(3, "%d.", i);
        if (i % 20 == 19) out.PrintException("now");  // at most 4 times 20 records wait at any time
      }
      --running;
    });
  }
  while (running > 0) TEDebugMgrImpl::Instance()->SetSwitches("default", 0b0011);
  for (std::thread& thread : threads) thread.join();
  std::vector<std::vector<int>> dumped(kThreads);
  for (const testkit::LogRecord& record : log.Records()) {
    if (!record.text.starts_with("***")) continue;
    std::istringstream lines(record.text);
    for (std::string line; std::getline(lines, line);) {
      const std::size_t at = line.find("] module");
      int module = 0, number = 0;
      if (at == std::string::npos || std::sscanf(&line[at], "] module%d %d.", &module, &number) != 2)
        continue;
      dumped.at(static_cast<std::size_t>(module)).push_back(number);
    }
  }
  std::vector<int> all(kEach);
  std::iota(all.begin(), all.end(), 0);
  for (const std::vector<int>& numbers : dumped) EXPECT_EQ(numbers, all);
}

TEST(DebugLogThreaded, SwitchesCommandsAndDumpsRunTogether) {
  constexpr int kRounds = 300;
  class Slow : public TEDebugCommand {
   public:
    explicit Slow(std::atomic<bool>& alive) : m_alive(alive) {}
    std::string GetName() override { return "slow"; }
    std::string GetHelp() override { return ""; }
    std::string Execute(const std::vector<std::string>&) override {
      std::this_thread::yield();
      return m_alive ? "alive" : "dead";
    }

   private:
    std::atomic<bool>& m_alive;
  };
  testkit::LogCapture log;
  std::atomic<bool> stop = false;
  std::thread tracer([&stop] {
    while (!stop) {
      TETrace("trace %d", 1);
      AsnTrace(SNACC::AsnInt(7), GetDefaultDebugInterface());
      EXPECT_FALSE(toString(SNACC::AsnInt(7)).empty());
    }
  });
  std::thread user([&stop] {
    while (!stop) EXPECT_NE(TEDebugMgrImpl::Instance()->Excute("slow"), "dead");
  });
  for (int i = 0; i < kRounds; ++i) {
    std::atomic<bool> alive = true;
    Slow slow(alive);
    EXPECT_EQ(AddDebugCommand(&slow), 0);
    GetDebugInterface(("module" + std::to_string(i)).c_str());
    TEDebugMgrImpl::Instance()->Excute(i % 2 == 0 ? "setswitch All 1111" : "setswitch All 1000");
    TEDebugMgrImpl::Instance()->ReadAsnConfig({i % 2 == 0 ? "NotPrint = AsnInt" : "Print = AsnInt"});
    if (i % 50 == 0) TEDebugMgrImpl::Instance()->FlushAll();
    RemoveDebugCommand(&slow);
    alive = false;
  }
  stop = true;
  tracer.join();
  user.join();
}
