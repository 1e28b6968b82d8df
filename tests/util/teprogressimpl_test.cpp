#include <gtest/gtest.h>

#include <functional>
#include <numeric>

#include "asn1/progress.h"
#include "platform/asncmd/asn_helper.h"
#include "tests/util/mission_fixture.h"
#include "util/basicutil/progress_if.h"

using namespace mission_test;

namespace {

class OperProgress : public MissionTest {
 protected:
  OperProgress() { m_context.SetMissionID(1, false); }
  ~OperProgress() override { TEOperProgressIF::Destroy(); }

  TEOperProgressIF& Tools() { return *TEOperProgressIF::Instance(); }
  // What the client was told since the last call.
  std::vector<int> Sent() {
    std::vector<int> sent;
    for (const testkit::Frame& frame : m_frames.Frames()) {
      AsnProgressReportEx report;
      const auto* bytes = reinterpret_cast<const unsigned char*>(frame.payload.data());
      EXPECT_EQ(CAsnHelper::Decode({bytes, frame.payload.size()}, report), 0U);
      sent.push_back(static_cast<int>(report.progress));
    }
    m_frames.Clear();
    return sent;
  }

  // The client's mission begins again.
  void Anew() {
    Mgr().UnRegisterTask(m_task.get());
    m_context.SetMissionID(1, false);
    Sent();
  }

  TETaskContext m_context{m_task.get()};
  const char m_objects[4] = {};
  const void *m_root = &m_objects[0], *m_child = &m_objects[1], *m_inner = &m_objects[2],
             *m_other = &m_objects[3];
};

using Ints = std::vector<int>;

TEST_F(OperProgress, RefusesWithItsTextAndChangesNothing) {
  EXPECT_TRUE(Tools().RegisterRoot(1, m_root, 100, 0));
  const auto other = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(m_other));
  const auto root = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(m_root));
  char unknown[80], repeated[80];
  std::snprintf(unknown, sizeof(unknown), "Error: pointer %x not register progress tool!\n", other);
  std::snprintf(repeated, sizeof(repeated), "Error: pointer %x register progress tool repeated!\n", root);
  int a = 7, b = 7;
  TEOperProgressIF& tools = Tools();
  const std::string section = " in SetProgressSection!\n", step = " in SendSectionStep!\n",
                    parameter = "Error: nProgress parameter ";
  const struct {
    std::string text;
    std::function<void()> call;
  } rows[] = {
      {"Error: Register progress tool repeated!\n", [&] { tools.RegisterRoot(2, m_root, 50, 0); }},
      {"Error: Register progress tool repeated!\n", [&] { TEOperProgressRegister(2, m_root, 50, 0); }},
      {repeated, [&] { tools.RegisterChild(m_root, m_root, 50); }},
      {unknown, [&] { tools.RegisterChild(m_child, m_other, 50); }},
      {unknown, [&] { tools.UnRegister(m_other); }},
      {unknown, [&] { EXPECT_FALSE(tools.HasChildren(m_other)); }},
      {unknown, [&] { tools.SendProgress(m_other, 101, "", true); }},
      {unknown, [&] { tools.SendOwnProgress(m_other, 1, nullptr); }},
      {unknown, [&] { tools.SendProgressStep(m_other, 1); }},
      {unknown, [&] { tools.SetProgressSection(m_other, 0, 10); }},
      {unknown, [&] { EXPECT_EQ(tools.GetProgressSection(m_other, a, b) + a + b, 14); }},
      {unknown, [&] { tools.SendSectionStep(m_other, 1, 1); }},
      {parameter + "50 & 50" + section, [&] { tools.SetProgressSection(m_root, 50, 50); }},
      {parameter + "-1 & 10" + section, [&] { tools.SetProgressSection(m_root, -1, 10); }},
      {parameter + "0 & 101" + section, [&] { tools.SetProgressSection(m_root, 0, 101); }},
      {parameter + "0 & 10" + step, [&] { tools.SendSectionStep(m_root, 0, 10); }},
      {parameter + "11 & 10" + step, [&] { tools.SendSectionStep(m_root, 11, 10); }},
      {parameter + "1 & -1" + step, [&] { tools.SendSectionStep(m_root, 1, -1); }},
      {parameter + "101 in TEOperProgressImpl::SendProgress!\n",
       [&] { tools.SendProgress(m_root, 101, "text", true); }},
  };
  for (const auto& row : rows) {
    m_log.Clear();
    row.call();
    EXPECT_EQ(Traced(row.text), 1) << row.text;
    EXPECT_EQ(Asserted("false"), 1) << row.text;
  }
  EXPECT_FALSE(tools.IsRegistered(m_child, true));
  EXPECT_EQ(tools.GetProgressSection(m_root, a, b), 100);
  Tools().SendProgressStep(m_root, 101);  // these are no mistake that is told
  Tools().SendProgressStep(m_root, -1);
  Tools().SendProgress(m_root, -1, nullptr, true);
  EXPECT_EQ(Sent(), Ints());
}

TEST_F(OperProgress, SectionStepsSendRisesOfAPercent) {
  const struct {
    const char* why;
    int start, end, reached, step, total;
    Ints sent;
  } rows[] = {
      {"target 21", 20, 60, 20, 1, 40, {21}},
      {"target 20.5 waits", 20, 60, 20, 1, 80, {}},
      {"from outside the section", 20, 60, 0, 1, 80, {21}},
      {"beyond the section already", 20, 60, 70, 7, 7, {}},
      {"nothing to do: to the end of the section", 20, 60, 30, 5, 0, {60}},
      {"a third is rounded", 0, 100, 0, 1, 3, {33}},
  };
  for (const auto& row : rows) {
    Anew();
    const TEOperProgressRegister root(1, m_root, 100, 0);
    if (row.reached > 0) Tools().SendProgress(m_root, row.reached, nullptr, true);
    Sent();
    Tools().SetProgressSection(m_root, row.start, row.end);
    Tools().SendSectionStep(m_root, row.step, row.total);
    EXPECT_EQ(Sent(), row.sent) << row.why;
  }
}

TEST_F(OperProgress, RiseIsScaledOnEachLevelAndWhatRoundingDropsCountsAgain) {
  const struct {
    const char* why;
    int span, weight;
    Ints reports;  // of the child
    Ints sent;
    int reached;  // by the child
  } rows[] = {
      {"0.3 is dropped, 0.6 counts as 1: 3.3 reached", 100, 30, {1, 2}, {1}, 3},
      {"10 of 25 is 2.5, which counts as 3 and so as 12", 100, 25, {10}, {3}, 12},
      {"less than reached is ignored, equal is no rise", 100, 100, {50, 40, 50, 51}, {50, 51}, 51},
      {"99 of 50 is 49.5, which counts as all of it", 100, 50, {99, 100}, {50}, 100},
      {"a weight out of range is 0", 100, 101, {50, 100}, {}, 100},
      {"a negative one too", 100, -1, {50}, {}, 50},
      {"a span out of range is 100", 101, 50, {50}, {25}, 50},
  };
  for (const auto& row : rows) {
    Anew();
    const TEOperProgressRegister root(1, m_root, row.span, 0);
    const TEOperProgressRegister child(m_child, m_root, row.weight);
    for (const int report : row.reports) Tools().SendProgress(m_child, report, nullptr, true);
    EXPECT_EQ(Sent(), row.sent) << row.why;
    EXPECT_EQ(Tools().GetProgress(m_child), row.reached) << row.why;
  }
}

TEST_F(OperProgress, StepsTooSmallToBeSeenAreAddedUp) {
  const TEOperProgressRegister root(1, m_root, 100, 0);
  const TEOperProgressRegister child(m_child, m_root, 10);
  Tools().SendProgressStep(m_child, 2);  // 0.2
  Tools().SendProgressStep(m_child, 2);  // 0.4
  EXPECT_EQ(Sent(), Ints());
  Tools().SendProgressStep(m_child, 2);  // 0.6 is 1, that is 10 of the child
  Tools().SendProgressStep(m_child, 5);
  EXPECT_EQ(Sent(), (Ints{1, 2}));
  EXPECT_EQ(Tools().GetProgress(m_child), 20);
  Tools().SendProgressStep(m_child, 1);  // no more than one percent: not kept
  Tools().SendProgressStep(m_child, 4);
  EXPECT_EQ(Sent(), Ints());
  // A text goes up, but does not reach the client while the figure stands; it ends the adding up.
  Tools().SendProgress(m_child, 20, "text", true);
  Tools().SendProgressStep(m_child, 4);
  EXPECT_EQ(Sent(), Ints());
}

TEST_F(OperProgress, RootReportsStraightAndItsChildrenGoOnFromThere) {
  const TEOperProgressRegister root(1, m_root, 50, 0);
  Tools().SendProgress(m_root, 40, "text", true);
  Tools().SendProgress(m_root, 40, nullptr, true);
  Tools().SendProgress(m_root, 39, nullptr, true);
  EXPECT_EQ(Sent(), (Ints{40, 40}));
  {
    const TEOperProgressRegister child(m_child, m_root, 20);
    EXPECT_TRUE(Tools().HasChildren(m_root));
    Tools().SendOwnProgress(m_root, 90, nullptr);
    Tools().SendOwnProgress(m_child, 100, nullptr);
    EXPECT_EQ(Sent(), Ints{50});
    EXPECT_EQ(Tools().GetProgress(m_root), 60);
  }
  EXPECT_FALSE(Tools().HasChildren(m_root));
  Tools().SendOwnProgress(m_root, 90, nullptr);
  EXPECT_EQ(Sent(), Ints{90});
}

TEST_F(OperProgress, RootsOfOneClientsMissionShareItsFigure) {
  const TEOperProgressRegister root(1, m_root, 50, 0);
  const TEOperProgressRegister other(1, m_other, 50, 0);
  Tools().SendSectionStep(m_root, 1, 1);
  Tools().SendSectionStep(m_other, 1, 2);
  EXPECT_EQ(Sent(), (Ints{50, 75}));

  testkit::Request request = FromClient();
  request.clientNo = 8;  // has a mission 1 of its own
  const testkit::CurrentTask task(request);
  TETaskContext context(task.get());
  context.SetMissionID(1, false);
  const TEOperProgressRegister foreign(1, m_inner, 100, 0);
  Tools().SendSectionStep(m_inner, 1, 10);
  EXPECT_EQ(Sent(), Ints{10});
}

TEST_F(OperProgress, OutlivesAParentThatIsGoneWhateverTakesItsAddress) {
  TEOperProgressRegister root(1, m_root, 100, 0);
  const TEOperProgressRegister child(m_child, m_root, 100);
  root.UnRegister();
  root.UnRegister();
  EXPECT_EQ(Traced("not register progress tool"), 0);
  EXPECT_TRUE(Tools().RegisterChild(m_root, m_child, 100));  // a ring of addresses
  Tools().SendProgress(m_root, 10, nullptr, true);
  EXPECT_EQ(Sent(), Ints());
  EXPECT_EQ(Traced("not register progress tool"), 1);
  EXPECT_TRUE(Tools().HasChildren(m_child));
  Tools().UnRegister(m_root);
  EXPECT_FALSE(Tools().HasChildren(m_child));
}

TEST_F(OperProgress, ManyStepsOfNestedOperationsSendEachFigureOnce) {
  const TEOperProgressRegister root(1, m_root, 100, 0);
  for (int part = 0; part < 2; ++part) {
    const TEOperProgressRegister child(m_child, m_root, 50);
    const TEOperProgressRegister inner(m_inner, m_child, 100);
    for (int i = 1; i <= 20000; ++i) Tools().SendSectionStep(m_inner, i, 20000);
  }
  Ints each(100);
  std::iota(each.begin(), each.end(), 1);
  EXPECT_EQ(Sent(), each);
}

using OperProgressThreaded = OperProgress;

TEST_F(OperProgressThreaded, ReportsOfManyThreadsAllCount) {
  constexpr int THREADS = 4;
  const TEOperProgressRegister root(1, m_root, 100, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < THREADS; ++t) {
    threads.emplace_back([&] {
      const char own = 0;
      const TEOperProgressRegister child(&own, m_root, 100 / THREADS);
      for (int i = 1; i <= 500; ++i) {
        Tools().SendSectionStep(&own, i, 500);
        Tools().GetProgress(m_root);
      }
      EXPECT_EQ(Tools().GetProgress(&own), 100);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Tools().GetProgress(m_root), 100);
  EXPECT_EQ(Overall(Key(1)), 100);
}

}  // namespace
