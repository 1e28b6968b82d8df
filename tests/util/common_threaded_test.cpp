#include <numeric>

#include "tests/util/util_test.h"
#include "util/basicutil/common_manager.h"

TEST(DebugLogThreaded, EveryHeldBackRecordIsDumpedOnce) {
  constexpr int kThreads = 4;
  constexpr int kEach = 2000;
  TEDebugMgrImpl::Instance()->FlushAll();
  testkit::LogCapture log;
  std::atomic<int> running = kThreads;
  InThreads(kThreads + 1, [&running](int t) {
    while (t == kThreads && running > 0) TEDebugMgrImpl::Instance()->SetSwitches("default", 0b0011);
    if (t == kThreads) return;
    TEDebugInterface& out = *GetDebugInterface(("module" + std::to_string(t)).c_str());
    for (int i = 0; i < kEach; ++i) {
      out.PrintF(3, "%d.", i);
      if (i % 20 == 19) out.PrintException("now");  // at most 4 times 20 records wait at any time
    }
    --running;
  });
  std::vector<std::vector<int>> dumped(kThreads);
  for (const testkit::LogRecord& record : log.Records()) {
    if (!record.text.starts_with("***")) continue;
    for (const std::string& line : files::Lines(record.text)) {
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
  TEDebugMgrImpl& mgr = *TEDebugMgrImpl::Instance();
  InThreads(3, [&](int thread) {
    for (int i = 0; thread == 0 && i < 300; ++i) {
      std::atomic<bool> alive = true;
      Slow slow(alive);
      EXPECT_EQ(AddDebugCommand(&slow), 0);
      GetDebugInterface(("module" + std::to_string(i)).c_str());
      mgr.Excute(i % 2 == 0 ? "setswitch All 1111" : "setswitch All 1000");
      mgr.ReadAsnConfig({i % 2 == 0 ? "NotPrint = AsnInt" : "Print = AsnInt"});
      if (i % 50 == 0) mgr.FlushAll();
      RemoveDebugCommand(&slow);
      alive = false;
    }
    if (thread == 0) stop = true;
    while (thread == 1 && !stop) {
      TETrace("trace %d", 1);
      AsnTrace(SNACC::AsnInt(7), GetDefaultDebugInterface());
      EXPECT_FALSE(toString(SNACC::AsnInt(7)).empty());
    }
    while (thread == 2 && !stop) EXPECT_NE(mgr.Excute("slow"), "dead");
  });
}
