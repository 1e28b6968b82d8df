#include <sstream>

#include "asn1/progress.h"
#include "tests/util/mission_fixture.h"
#include "util/basicutil/progress_if.h"

using namespace mission_test;

namespace {

using Ints = std::vector<int>;

class OperProgress : public MissionTest {
 protected:
  OperProgress() { m_context.SetMissionID(1, false); }
  ~OperProgress() override { TEOperProgressIF::Destroy(); }

  TEOperProgressIF& Tools() { return *TEOperProgressIF::Instance(); }
  // What the client was told since the last call.
  Ints Sent() {
    Ints sent;
    for (const testkit::Frame& frame : m_frames.Frames())
      sent.push_back(static_cast<int>(Decoded<AsnProgressReportEx>(frame).progress));
    m_frames.Clear();
    return sent;
  }

  // Runs calls like "r:50 c:20 c=10" and returns what the client was told. Objects: the roots r and s, c
  // below r, i below c. Calls: ":" register, "=" report, "~" with a text, "!" own report, "+" step,
  // "[" section, "/" step of it.
  Ints Run(const char* script) {
    Mgr().UnRegisterTask(m_task.get());
    m_context.SetMissionID(1, false);
    const std::map<char, const void*> objects = {
        {'r', m_root}, {'s', m_other}, {'c', m_child}, {'i', m_inner}};
    std::istringstream calls(script);
    char object, call;
    for (int a = 0, b = 0; calls >> object >> call >> a; b = 0) {
      if (calls.peek() == ',') calls.ignore() >> b;
      const void* tool = objects.at(object);
      if (call == ':' && (object == 'c' || object == 'i'))
        Tools().RegisterChild(tool, object == 'c' ? m_root : m_child, a);
      else if (call == ':')
        Tools().RegisterRoot(1, tool, a, 0);
      if (call == '=' || call == '~') Tools().SendProgress(tool, a, call == '~' ? "text" : nullptr, true);
      if (call == '!') Tools().SendOwnProgress(tool, a, "");
      if (call == '+') Tools().SendProgressStep(tool, a);
      if (call == '[') Tools().SetProgressSection(tool, a, b);
      if (call == '/') Tools().SendSectionStep(tool, a, b);
    }
    const Ints sent = Sent();
    Tools().Clear();
    return sent;
  }

  TETaskContext m_context{m_task.get()};
  const char m_objects[4] = {};
  const void *m_root = &m_objects[0], *m_child = &m_objects[1], *m_inner = &m_objects[2],
             *m_other = &m_objects[3];
};

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
  const std::pair<std::string, std::function<void()>> rows[] = {
      {"Error: Register progress tool repeated!\n", [&] { tools.RegisterRoot(2, m_root, 50, 0); }},
      {"Error: Register progress tool repeated!\n", [&] { TEOperProgressRegister(2, m_root, 50, 0); }},
      {repeated, [&] { tools.RegisterChild(m_root, m_root, 50); }},
      {unknown, [&] { tools.RegisterChild(m_child, m_other, 50); }},
      {unknown, [&] { tools.UnRegister(m_other); }},
      {unknown, [&] { tools.SendProgress(m_other, 101, "", true); }},
      {unknown, [&] { EXPECT_EQ(tools.GetProgressSection(m_other, a, b) + a + b, 14); }},
      {unknown, [&] { tools.SendSectionStep(m_other, 1, 1); }},
      {parameter + "50 & 50" + section, [&] { tools.SetProgressSection(m_root, 50, 50); }},
      {parameter + "-1 & 10" + section, [&] { tools.SetProgressSection(m_root, -1, 10); }},
      {parameter + "0 & 101" + section, [&] { tools.SetProgressSection(m_root, 0, 101); }},
      {parameter + "0 & 10" + step, [&] { tools.SendSectionStep(m_root, 0, 10); }},
      {parameter + "11 & 10" + step, [&] { tools.SendSectionStep(m_root, 11, 10); }},
      {parameter + "101 in TEOperProgressImpl::SendProgress!\n",
       [&] { tools.SendProgress(m_root, 101, "text", true); }},
  };
  for (const auto& [text, call] : rows) {
    m_log.Clear();
    call();
    EXPECT_EQ(Traced(text), 1) << text;
    EXPECT_EQ(Asserted("false"), 1) << text;
  }
  EXPECT_EQ(tools.GetProgressSection(m_root, a, b), 100);
  Tools().SendProgressStep(m_root, 101);  // these are no mistake that is told
  Tools().SendProgressStep(m_root, -1);
  Tools().SendProgress(m_root, -1, nullptr, true);
  EXPECT_EQ(Sent(), Ints());
}

TEST_F(OperProgress, TurnsReportsIntoRisesOfTheMission) {
  const std::tuple<const char*, const char*, Ints> rows[] = {
      {"section: target 21", "r:100 r[20,60 r=20 r/1,40", {20, 21}},
      {"20.5 waits", "r:100 r[20,60 r=20 r/1,80", {20}},
      {"from outside the section", "r:100 r[20,60 r/1,80", {21}},
      {"nothing to do: to the end of the section", "r:100 r[20,60 r/5,0", {60}},
      {"a third is rounded", "r:100 r/1,3", {33}},
      {"three levels", "r:100 c:50 i:50 i=40", {10}},
      {"0.3 is dropped, 0.6 counts as 1, that is 3.3", "r:100 c:30 c=1 c=2 c=3 c=4 c=6", {1, 2}},
      {"2.5 counts as 3, that is 12", "r:100 c:25 c=10 c=11 c=14", {3, 4}},
      {"what a level above drops is not repeated", "r:100 c:25 i:100 i=1 i=2 i=3", {}},
      {"less is ignored, equal is no rise", "r:100 c:100 c=50 c=40 c=50 c=51 c=-1", {50, 51}},
      {"the mission is full", "r:100 r=99 c:50 c=1 c=2 c=100", {99, 100}},
      {"a weight out of range is 0", "r:100 c:101 c=50 c=100", {}},
      {"a span out of range is 100", "r:101 c:50 c=50", {25}},
      {"small steps add up to 0.6, then 0.5 more", "r:100 c:10 c+2 c+2 c+2 c+5", {1, 2}},
      {"one percent is not kept", "r:100 c:10 c+1 c+4", {}},
      {"a text ends the adding up", "r:100 c:10 c+4 c~0 c+4", {}},
      {"steps out of range", "r:100 r+101 r+-1 r+100", {100}},
      {"a root's report as it is", "r:50 r=40 r~40 r=39", {40, 40}},
      {"its children go on from there", "r:50 r=40 c:20 c=100", {40, 50}},
      {"own reports of those without children", "r:100 r!10 c:50 r!90 c!100", {10, 60}},
      {"two roots", "r:50 s:50 r/1,1 s/1,2", {50, 75}},
  };
  for (const auto& [why, script, told] : rows) EXPECT_EQ(Run(script), told) << why;
}

TEST_F(OperProgress, ClientsWithTheSameNumberHaveMissionsOfTheirOwn) {
  const TEOperProgressRegister root(1, m_root, 100, 0);
  Tools().SendSectionStep(m_root, 1, 2);
  testkit::Request request = FromClient();
  request.clientNo = 8;
  const testkit::CurrentTask task(request);
  TETaskContext context(task.get());
  context.SetMissionID(1, false);
  const TEOperProgressRegister foreign(1, m_inner, 100, 0);
  Tools().SendSectionStep(m_inner, 1, 10);
  EXPECT_EQ(Sent(), (Ints{50, 10}));
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

using OperProgressThreaded = OperProgress;

TEST_F(OperProgressThreaded, ManyStepsOfManyThreadsSendEachFigureOnce) {
  const TEOperProgressRegister root(1, m_root, 100, 0);
  InThreads(2, [this](int thread) {
    const void* own = &m_objects[1 + thread];
    const TEOperProgressRegister child(own, m_root, 50);
    for (int i = 1; i <= 3000; ++i) Tools().SendSectionStep(own, i, 3000);
    EXPECT_EQ(Tools().GetProgress(own), 100);
  });
  EXPECT_EQ(Tools().GetProgress(m_root), 100);
  EXPECT_EQ(Sent().size(), 100U);
}

}  // namespace
