#include "util/basicutil/translog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "platform/testkit/testkit.h"

using namespace NSTE_util;

namespace {

std::atomic<int> g_deleted = 0;

struct Counted : TETransactionBuffer {
  ~Counted() override { ++g_deleted; }
};

class TransLog : public testing::Test {
 protected:
  // Since the last call: how often the check failed; every failure must be asked for.
  int Asserted(const std::string& expression) {
    return m_log.Count("ASSERT: file util/basicutil/translog, line") == 0
               ? 0
               : m_log.Count("assertion failed for '" + expression + "'.\n");
  }
  int AllAsserted() { return m_log.Count("assertion failed for"); }

  testkit::LogCapture m_log;
};

std::string Counts() {
  std::string shown;
  for (const TETransactionLogInfo& log : GetTransactionLogs())
    shown += std::to_string(log.m_nHandle) + ':' + std::to_string(log.m_nRefCount) + '/' +
             std::to_string(log.m_nRefCountEx) + '/' + std::to_string(log.m_nBuffers) + ' ';
  return shown;
}

TEST_F(TransLog, IsSharedByHandle) {
  auto first = std::make_unique<TETransactionLog>();
  EXPECT_EQ(first->GetHandle(), 1U);
  const TETransactionLog second;
  auto again = std::make_unique<TETransactionLog>(0x100000001UL);
  ASSERT_TRUE(again->IsValid());
  auto* buffer = new Counted;
  first->AddBuffer("a", 0x700000007UL, buffer);
  EXPECT_EQ(again->GetBuffer("a", 7), buffer);
  EXPECT_EQ(again->GetBuffer("a", 8), nullptr);
  EXPECT_EQ(again->GetBuffer("A", 7), nullptr);
  EXPECT_EQ(Counts(), "1:2/0/1 2:1/0/0 ");
  first.reset();
  EXPECT_EQ(again->RemoveBuffer("a", 7), buffer);
  EXPECT_EQ(again->RemoveBuffer("a", 7), nullptr);
  again->AddBuffer("b", 7, buffer);
  EXPECT_EQ(g_deleted, 0);
  again.reset();
  EXPECT_EQ(g_deleted, 1);
  EXPECT_EQ(Counts(), "2:1/0/0 ");
  EXPECT_EQ(AllAsserted(), 0);
}

TEST_F(TransLog, ReportsMisuseAndGoesOn) {
  TETransactionLog none(77);
  none.AddBuffer("a", 1, nullptr);
  EXPECT_EQ(none.GetBuffer("a", 1), none.RemoveBuffer("a", 1));
  EXPECT_FALSE(none.IsValid() || none.AddRef(-1) != 0 || none.Release() != 0);
  EXPECT_EQ(AllAsserted(), 0);
  EXPECT_EQ(none.GetHandle(), 0U);
  EXPECT_EQ(Asserted("false"), 1);

  auto log = std::make_unique<TETransactionLog>();
  EXPECT_EQ(log->AddRef(2), 2);
  EXPECT_EQ(log->Release(), 1);
  EXPECT_EQ(log->Release(), 0);
  EXPECT_EQ(AllAsserted(), 1);
  EXPECT_EQ(log->Release(), 0);
  EXPECT_EQ(Asserted("m_nRefCountEx > 0") + Asserted("m_nRefCount > m_nRefCountEx"), 2);
  EXPECT_EQ(Counts(), "1:1/0/0 ");

  auto* second = new Counted;
  const Counted first;
  log->AddBuffer("a", 1, const_cast<Counted*>(&first));
  log->AddBuffer("a", 1, second);
  EXPECT_EQ(Asserted("m_TransBufMap.find(key) == m_TransBufMap.end()"), 1);
  EXPECT_EQ(log->GetBuffer("a", 1), second);
  log->AddBuffer("null", 1, nullptr);
  EXPECT_EQ(Asserted("0 != pBuffer"), 1);

  TETransactionLog other(1);
  EXPECT_EQ(log->AddRef(0), 0);
  EXPECT_EQ(log->AddRef(-3), -3);
  EXPECT_EQ(Asserted("n > 0"), 2);
  EXPECT_EQ(log->Release(), -3);
  EXPECT_EQ(Asserted("ret >= 0"), 1);
  log.reset();
  EXPECT_EQ(Asserted("m_nRefCount > 0"), 1);
  EXPECT_EQ(Counts(), "") << "ended below its other owner,";
  EXPECT_EQ(other.GetBuffer("a", 1), nullptr);
  other.AddBuffer("a", 1, new Counted);
  EXPECT_EQ(g_deleted, 1);
}

TEST_F(TransLog, EndsEverythingAtOnce) {
  struct Nested : TETransactionBuffer {
    TETransactionLog m_log;
  };
  {
    TETransactionLog log, plain;
    log.AddBuffer("nested", 1, new Nested);
    log.AddRef(1);
    TETransactionLog::ClearAllLog();
    EXPECT_EQ(Counts(), "");
    EXPECT_EQ(Asserted("m_nRefCount <= 0"), 2) << "the nested one had no owner left";
    EXPECT_EQ(Asserted("m_nRefCountEx <= 0"), 1);
    log.AddBuffer("late", 1, new Counted);
    EXPECT_FALSE(TETransactionLog(log.GetHandle()).IsValid());
    EXPECT_EQ(TETransactionLog().GetHandle(), 4U);
    m_log.Clear();
  }
  EXPECT_EQ(g_deleted, 1);
  EXPECT_EQ(AllAsserted(), 0);
}

// Beside plain tables of counts and keys.
TEST_F(TransLog, CountsLikeAPlainTable) {
  struct Counters {
    int references = 0, added = 0;
    std::set<unsigned long> keys;
  };
  std::map<unsigned long, Counters> expected;
  std::vector<std::unique_ptr<TETransactionLog>> logs;
  std::mt19937 random(1);
  const auto below = [&random](std::size_t bound) { return static_cast<unsigned long>(random() % bound); };
  unsigned long next = 1;
  int deleted = 0;
  for (int step = 0; step < 4000; ++step) {
    if (const auto choice = below(10); logs.empty() || choice == 0) {
      logs.push_back(std::make_unique<TETransactionLog>());
      expected[next++].references = 1;
    } else if (choice <= 2) {
      const unsigned long handle = below(next + 1);
      auto log = std::make_unique<TETransactionLog>(handle);
      ASSERT_EQ(log->IsValid(), expected.contains(handle));
      if (!log->IsValid()) continue;
      ++expected[handle].references;
      logs.push_back(std::move(log));
    } else {
      const auto at = logs.begin() + static_cast<std::ptrdiff_t>(below(logs.size()));
      TETransactionLog& log = **at;
      const unsigned long handle = log.GetHandle(), key = below(4);
      Counters& counters = expected.at(handle);
      if (choice <= 5) {
        logs.erase(at);
        if (--counters.references > 0) continue;
        deleted += static_cast<int>(counters.keys.size());
        expected.erase(handle);
      } else if (choice == 6) {
        const int n = 1 + static_cast<int>(below(2));
        counters.references += n;
        ASSERT_EQ(log.AddRef(n), counters.added += n);
      } else if (choice == 7) {
        if (counters.added > 0) --counters.added, --counters.references;
        ASSERT_EQ(log.Release(), counters.added);
      } else if (counters.keys.insert(key).second) {
        log.AddBuffer("", key, new Counted);
      } else {
        counters.keys.erase(key);
        delete log.RemoveBuffer("", key);
        ++deleted;
      }
    }
    std::string shown;
    for (const auto& [handle, counters] : expected)
      shown += std::to_string(handle) + ':' + std::to_string(counters.references) + '/' +
               std::to_string(counters.added) + '/' + std::to_string(counters.keys.size()) + ' ';
    ASSERT_EQ(Counts(), shown) << step;
    ASSERT_EQ(g_deleted, deleted) << step;
  }
}

TEST(TransLogThreaded, EveryTaskSharesOneStateUntilTheLastLeaves) {
  constexpr unsigned THREADS = 6, ROUNDS = 200;
  std::atomic<unsigned long> offered = 0;
  std::atomic<unsigned> attached = 0;
  std::latch start(THREADS);
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < THREADS; ++i)
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      for (unsigned round = 0; round < ROUNDS; ++round) {
        TETransactionLog own;
        own.AddBuffer("own", i, new Counted);
        TETransactionLog other(offered.exchange(own.GetHandle()));
        if (other.IsValid()) {
          ++attached;
          other.AddRef(1);
          other.AddBuffer("guest", i, new Counted);
          other.Release();
        }
        EXPECT_NE(own.GetBuffer("own", i), nullptr);
        for (const TETransactionLogInfo& log : GetTransactionLogs()) EXPECT_GE(log.m_nHandle, 1U);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Counts(), "");
  EXPECT_EQ(g_deleted, THREADS * ROUNDS + attached);
}

}  // namespace
