#include <stdexcept>

#include "platform/event/te_event_mgr.h"
#include "platform/event/te_value.h"
#include "platform/task/vela_error.h"
#include "tests/test_base.h"

namespace {

TEST(Value, Conversions) {
  const std::tuple<TEValue, bool, std::string, std::int32_t> rows[] = {
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
  for (const auto& [value, isText, text, integer] : rows)
    EXPECT_EQ(std::tuple(value.IsText(), value.AsText(), value.AsInteger()),
              std::tuple(isText, text, integer));
}

class Events : public testing::Test {
 protected:
  ~Events() override { TEEventMgr::Destroy(); }
  // Subscribes what notes its name, the event and its value.
  std::uint32_t Note(std::uint32_t eventId, const std::string& name) {
    return m_events->Subscribe(eventId, [this, name](std::uint32_t id, const TEEventParam& param) {
      const auto* common = dynamic_cast<const TECommonEventParam*>(&param);
      m_ran += name + std::to_string(id) + (common != nullptr ? std::to_string(common->first) : "");
    });
  }

  TEEventMgr* const m_events = TEEventMgr::Instance();
  std::string m_ran;
};

TEST_F(Events, RunInOrderOfSubscription) {
  const std::uint32_t a = Note(5, "a");
  Note(5, "b");
  Note(6, "c");
  EXPECT_EQ(m_events->PostEvent(5, std::make_shared<TECommonEventParam>(9, nullptr, nullptr)), 0U);
  for (const std::uint32_t each : {a, a, 0U}) m_events->Unsubscribe(each);
  EXPECT_EQ(m_events->PostEvent(5, nullptr), 0U);
  EXPECT_EQ(m_ran, "a59b59b5");
  EXPECT_EQ(m_events->PostEvent(7, nullptr), 1U) << "nobody subscribed";
}

TEST_F(Events, AThrowingHandlerDoesNotStopTheOthers) {
  m_events->Subscribe(1, [](std::uint32_t, const TEEventParam&) { throw std::runtime_error("x"); });
  m_events->Subscribe(1, nullptr);
  EXPECT_EQ(m_events->PostEvent(1, nullptr), VELA_ERR_GENERAL);
  Note(1, "a");
  EXPECT_EQ(m_events->PostEvent(1, nullptr), 0U);
  EXPECT_EQ(m_ran, "a1");
}

TEST_F(Events, AHandlerMayChangeTheSubscriptions) {
  std::uint32_t self = 0;
  self = m_events->Subscribe(1, [&](std::uint32_t, const TEEventParam&) {
    m_events->Unsubscribe(self);
    Note(1, "late");
  });
  m_events->PostEvent(1, nullptr);
  EXPECT_EQ(m_ran, "") << "subscribed behind the post";
  m_events->PostEvent(1, nullptr);
  EXPECT_EQ(m_ran, "late1");
}

using EventsThreaded = Events;

TEST_F(EventsThreaded, NoPostIsLost) {
  std::atomic<int> ran{0};
  m_events->Subscribe(1, [&ran](std::uint32_t, const TEEventParam&) { ++ran; });
  InThreads(3, [this](int) {
    for (int n = 0; n < 500; ++n) {
      const std::uint32_t other = m_events->Subscribe(1, [](std::uint32_t, const TEEventParam&) {});
      EXPECT_EQ(m_events->PostEvent(1, nullptr), 0U);
      m_events->Unsubscribe(other);
    }
  });
  EXPECT_EQ(ran, 1500);
}

}  // namespace
