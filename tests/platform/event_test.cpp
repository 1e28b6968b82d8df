#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "platform/event/te_event_mgr.h"
#include "platform/event/te_value.h"
#include "platform/task/vela_error.h"

namespace {

TEST(Value, Conversions) {
  const struct {
    TEValue value;
    bool isText;
    std::string text;
    std::int32_t integer;
  } rows[] = {
      {TEValue(), false, "0", 0},
      {TEValue(-7), false, "-7", -7},
      {TEValue("12 apples"), true, "12 apples", 12},
      {TEValue(" -3", TEValue::TEXT2), true, " -3", -3},
      {TEValue("+4", TEValue::TEXT_LONG), true, "+4", 4},
      {TEValue("apples", TEValue::TEXT2_LONG), true, "apples", 0},
      {TEValue("+-4"), true, "+-4", 0},
      {TEValue("99999999999"), true, "99999999999", INT32_MAX},
      {TEValue("-99999999999"), true, "-99999999999", INT32_MIN},
      {TEValue(""), true, "", 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.value.IsText(), row.isText) << row.text;
    EXPECT_EQ(row.value.AsText(), row.text);
    EXPECT_EQ(row.value.AsInteger(), row.integer) << row.text;
  }
}

TEST(Events, RunInOrderOfSubscription) {
  TEEventMgr* const events = TEEventMgr::Instance();
  std::string ran;
  const auto handler = [&ran](char name) {
    return [&ran, name](std::uint32_t eventId, const TEEventParam& param) {
      ran += name + std::to_string(eventId);
      if (const auto* common = dynamic_cast<const TECommonEventParam*>(&param))
        ran += std::to_string(common->first);
    };
  };
  const std::uint32_t a = events->Subscribe(5, handler('a'));
  events->Subscribe(5, handler('b'));
  events->Subscribe(6, handler('c'));
  EXPECT_EQ(events->PostEvent(5, std::make_shared<TECommonEventParam>(9, nullptr, nullptr)), 0U);
  EXPECT_EQ(ran, "a59b59");
  events->Unsubscribe(a);
  events->Unsubscribe(a);
  events->Unsubscribe(0);
  EXPECT_EQ(events->PostEvent(5, nullptr), 0U);
  EXPECT_EQ(ran, "a59b59b5");
  EXPECT_EQ(events->PostEvent(7, nullptr), 1U) << "nobody subscribed";
}

TEST(Events, AThrowingHandlerDoesNotStopTheOthers) {
  TEEventMgr* const events = TEEventMgr::Instance();
  int ran = 0;
  const auto thrower = [](std::uint32_t, const TEEventParam&) { throw std::runtime_error("x"); };
  events->Subscribe(1, thrower);
  events->Subscribe(1, nullptr);
  EXPECT_EQ(events->PostEvent(1, nullptr), VELA_ERR_GENERAL);
  events->Subscribe(1, [&ran](std::uint32_t, const TEEventParam&) { ++ran; });
  EXPECT_EQ(events->PostEvent(1, nullptr), 0U);
  EXPECT_EQ(ran, 1);
}

TEST(Events, AHandlerMayChangeTheSubscriptions) {
  TEEventMgr* const events = TEEventMgr::Instance();
  int late = 0;
  std::uint32_t self = 0;
  self = events->Subscribe(1, [&](std::uint32_t, const TEEventParam&) {
    events->Unsubscribe(self);
    events->Subscribe(1, [&](std::uint32_t, const TEEventParam&) { ++late; });
  });
  events->PostEvent(1, nullptr);
  EXPECT_EQ(late, 0) << "subscribed behind the post";
  events->PostEvent(1, nullptr);
  EXPECT_EQ(late, 1);
}

TEST(EventsThreaded, NoPostIsLost) {
  constexpr int posts = 500;
  TEEventMgr* const events = TEEventMgr::Instance();
  std::atomic<int> ran{0};
  events->Subscribe(1, [&ran](std::uint32_t, const TEEventParam&) { ++ran; });
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([events] {
      for (int n = 0; n < posts; ++n) {
        const std::uint32_t other = events->Subscribe(1, [](std::uint32_t, const TEEventParam&) {});
        EXPECT_EQ(events->PostEvent(1, nullptr), 0U);
        events->Unsubscribe(other);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(ran, 3 * posts);
  TEEventMgr::Destroy();
}

}  // namespace
