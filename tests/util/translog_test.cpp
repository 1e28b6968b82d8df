#include "util/basicutil/translog.h"

#include <algorithm>
#include <random>
#include <sstream>

#include "tests/test_base.h"

using namespace NSTE_util;

namespace {

std::atomic<std::size_t> g_alive = 0;

struct Counted : TETransactionBuffer {
  Counted() { ++g_alive; }
  ~Counted() override { --g_alive; }
};

// The checks that were reported as failed since the last call.
std::string Reported(testkit::LogCapture& capture) {
  std::string failed;
  for (const testkit::LogRecord& record : capture.Records()) {
    if (record.text.find("ASSERT: file util/basicutil/translog, line ") == std::string::npos) continue;
    const std::size_t begin = record.text.find(" for '") + 6;
    failed += record.text.substr(begin, record.text.rfind('\'') - begin) + "; ";
  }
  capture.Clear();
  return failed;
}

std::string Shown(const std::vector<TETransactionLogInfo>& logs = GetTransactionLogs()) {
  std::ostringstream shown;
  for (const auto& [handle, references, added, buffers] : logs)
    shown << handle << ':' << references << '/' << added << '/' << buffers << ' ';
  return shown.str();
}

TEST(TransLog, ReportsMisuseAndGoesOn) {
  testkit::LogCapture capture;
  TETransactionLog none(77);
  none.AddBuffer("a", 1, nullptr);
  EXPECT_FALSE(none.IsValid() || none.AddRef(-1) != 0 || none.Release() != 0 || none.GetHandle() != 0 ||
               none.GetBuffer("a", 1) != nullptr || none.RemoveBuffer("a", 1) != nullptr);
  EXPECT_EQ(Reported(capture), "false; ");

  auto log = std::make_unique<TETransactionLog>();
  TETransactionLog other(1);
  EXPECT_EQ(log->AddRef(1) + log->Release() + log->Release(), 1);
  EXPECT_EQ(Reported(capture), "m_nRefCountEx > 0; m_nRefCount > m_nRefCountEx; ");
  Counted first;
  log->AddBuffer("a", 1, &first);
  log->AddBuffer("a", 1, new Counted);
  log->AddBuffer("null", 1, nullptr);
  EXPECT_EQ(Reported(capture), "m_TransBufMap.find(key) == m_TransBufMap.end(); 0 != pBuffer; ");
  EXPECT_TRUE(other.GetBuffer("a", 1) != &first && other.GetBuffer("a", 2) == other.GetBuffer("A", 1));
  EXPECT_EQ(log->AddRef(0) + log->AddRef(-3) + log->Release(), -6);
  log.reset();
  EXPECT_EQ(Reported(capture),
            "n > 0; n > 0; m_nRefCountEx > 0; m_nRefCount > m_nRefCountEx; ret >= 0; m_nRefCount > 0; ");
  EXPECT_TRUE(Shown().empty() && other.GetBuffer("a", 1) == nullptr) << "ended below its other owner";
  EXPECT_EQ(g_alive, 1U) << "the first one, overwritten but not deleted";
}

TEST(TransLog, EndsEverythingAtOnce) {
  testkit::LogCapture capture;
  struct Nested : Counted {
    TETransactionLog m_log;
  };
  {
    TETransactionLog log, plain;
    log.AddBuffer("nested", 1, new Nested);
    log.AddRef(1);
    TETransactionLog::ClearAllLog();
    EXPECT_TRUE(Shown().empty() && g_alive == 0);
    EXPECT_EQ(Reported(capture), "m_nRefCount <= 0; m_nRefCountEx <= 0; m_nRefCount <= 0; ");
    log.AddBuffer("late", 1, new Counted);
    EXPECT_EQ(TETransactionLog().GetHandle(), 4U);
  }
  EXPECT_TRUE(Reported(capture).empty() && g_alive == 0);
}

TEST(TransLog, CountsLikeAPlainTable) {
  std::vector<TETransactionLogInfo> expected;
  std::vector<std::unique_ptr<TETransactionLog>> logs;
  std::mt19937 random(1);
  for (std::uint32_t handles = 0, step = 0; step < 4000; ++step) {
    const auto choice = random() % 10, id = random() % 4;
    if (choice <= 1 || logs.empty()) {
      logs.push_back(std::make_unique<TETransactionLog>());
      expected.push_back({++handles, 1, 0, 0});
      continue;
    }
    std::swap(logs[random() % logs.size()], logs.back());
    TETransactionLog& log = *logs.back();
    const unsigned long handle = choice <= 3 ? random() % (handles + 2) : log.GetHandle();
    const auto row = std::ranges::find(expected, handle, &TETransactionLogInfo::m_nHandle);
    if (choice <= 3) {
      auto attached = std::make_unique<TETransactionLog>(handle + 0x100000000);
      ASSERT_EQ(attached->IsValid(), row != expected.end());
      if (attached->IsValid()) ++row->m_nRefCount, logs.push_back(std::move(attached));
    } else if (choice <= 5) {
      logs.pop_back();
      if (--row->m_nRefCount == 0) expected.erase(row);
    } else if (choice == 6) {
      row->m_nRefCount += log.AddRef(1) - row->m_nRefCountEx++;
    } else if (choice == 7) {
      if (row->m_nRefCountEx > 0) --row->m_nRefCountEx, --row->m_nRefCount;
      ASSERT_EQ(log.Release(), row->m_nRefCountEx);
    } else if (TETransactionBuffer* buffer = log.RemoveBuffer("b", id + 0x100000000)) {
      delete buffer, --row->m_nBuffers;
    } else {
      log.AddBuffer("b", id, new Counted), ++row->m_nBuffers;
    }
    ASSERT_EQ(Shown(), Shown(expected)) << step;
  }
}

TEST(TransLogThreaded, StatesEndWithTheirLastTask) {
  std::atomic<unsigned long> offered = 0;
  InThreads(6, [&offered](unsigned long i) {
    for (int round = 0; round < 200; ++round) {
      TETransactionLog own, other(offered.exchange(own.GetHandle()));
      own.AddBuffer("own", i, new Counted);
      if (other.IsValid()) other.AddBuffer("guest", i, new Counted);
      EXPECT_EQ(other.AddRef(1) >= 1 && !GetTransactionLogs().empty(), other.IsValid());
      other.Release();
    }
  });
  EXPECT_TRUE(Shown().empty() && g_alive == 0);
}

}  // namespace
