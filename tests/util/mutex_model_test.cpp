#include <algorithm>
#include <array>
#include <random>
#include <set>

#include "tests/util/mutex_fixture.h"

using namespace mutex_test;

namespace {

constexpr int CODES = 5, HISTORIES = 1500, STEPS = 40;

// The rules and the running operations as plain lists, compared pair by pair.
struct Reference {
  std::map<int, std::set<int>> stoppedBy;
  std::set<int> global;
  std::map<int, Objects> running;
  int notHeld = 0, notRunning = 0;

  static auto FirstOf(const Objects& wanted, const Objects& held) {
    return std::find_if(wanted.begin(), wanted.end(), [&](const TEOperObject& a) {
      return std::any_of(held.begin(), held.end(), [&](const TEOperObject& b) { return a.IsConflict(b); });
    });
  }

  // 0: none.
  int Blocker(int code, const Objects& wanted) {
    const auto blocks = [&](int other) {
      return running.contains(other) && FirstOf(wanted, running[other]) != wanted.end();
    };
    if (global.contains(code))
      for (const auto& [other, objects] : running)
        if (blocks(other)) return other;
    for (const auto& others : {global, stoppedBy[code]})
      for (const int other : others)
        if (blocks(other)) return other;
    return 0;
  }

  void Unlock(int code, const Objects& objects) {
    for (const TEOperObject& object : objects) {
      const auto oper = running.find(code);
      notRunning += oper == running.end();
      if (oper == running.end()) continue;
      const auto held = std::find(oper->second.begin(), oper->second.end(), object);
      notHeld += held == oper->second.end();
      if (held == oper->second.end()) continue;
      oper->second.erase(held);
      if (oper->second.empty()) running.erase(oper);
    }
  }
};

class History {
 public:
  explicit History(unsigned seed) : m_random(seed) {}

  // Random rules, for the manager and for the reference. The highest code has no refusal code of its own.
  void Rules() {
    std::string file = "[MUTEX_TABLE]\n";
    for (int i = Up(4); i > 0; --i) {
      const int running = Up(CODES), stopped = Up(CODES), both = Up(2) - 1;
      const bool global = Up(3) == 1;
      file += std::to_string(running) + ":" + std::to_string(global ? 0 : stopped) + ":" +
              std::to_string(both) + "\n";
      if (global) m_reference.global.insert(running);
      if (!global) m_reference.stoppedBy[stopped].insert(running);
      if (!global && both != 0) m_reference.stoppedBy[running].insert(stopped);
    }
    ASSERT_TRUE(Load(file + "[MUTEX_ERRORCODE]\n1:101\n2:102\n3:103\n4:104"));
  }

  void Step() {
    const int code = Up(CODES);
    const bool lock = Up(5) <= 3;
    // Mostly what is held is unlocked, sometimes anything.
    Objects objects = RandomObjects();
    if (!lock && Up(4) != 1 && m_reference.running.contains(code)) objects = m_reference.running[code];
    const bool one = objects.size() == 1 && Up(2) == 1;
    if (!lock) {
      m_reference.Unlock(code, objects);
      one ? Mgr().UnlockOper(code, objects.front()) : void(Mgr().UnlockOper(code, objects));
      return;
    }
    const int blocker = m_reference.Blocker(code, objects);
    CheckBlocker(blocker, code, objects);
    const unsigned long result = one ? Mgr().LockOper(code, objects.front()) : Mgr().LockOper(code, objects);
    ASSERT_EQ(result, blocker == 0       ? 0
                      : blocker == CODES ? OPER_REFUSED
                                         : 100UL + static_cast<unsigned>(blocker));
    if (blocker != 0) return;
    Objects& held = m_reference.running[code];
    held.insert(held.end(), objects.begin(), objects.end());
  }

  void CheckRunning() {
    std::vector<TERunningOperObjects> opers;
    ASSERT_TRUE(GetRunningOpers(opers));
    std::map<int, std::multiset<TEOperObject>> seen, expected;
    for (const TERunningOperObjects& oper : opers)
      seen[oper.m_nOperCode].insert(oper.m_objects.begin(), oper.m_objects.end());
    for (const auto& [code, objects] : m_reference.running)
      expected[code].insert(objects.begin(), objects.end());
    ASSERT_TRUE(seen == expected);
    for (int code = 1; code <= CODES; ++code) ASSERT_EQ(Mgr().IsOperRunning(code), expected.contains(code));
    ASSERT_EQ(Mgr().HasRunningOper(), !expected.empty());
  }

  const Reference& Expected() const { return m_reference; }

 private:
  int Up(int most) { return static_cast<int>(m_random() % static_cast<unsigned>(most)) + 1; }

  // Few keys, 0 among them at every place, so that wildcards and repetitions meet all the time.
  TEOperObject RandomObject() {
    const auto key = [this](int most) { return static_cast<unsigned>(Up(most) - 1); };
    return {key(8) == 0 ? 0 : key(4) + 1, key(3), key(3)};
  }
  Objects RandomObjects() {
    Objects objects;
    for (int i = Up(4) - 1; i > 0; --i) objects.push_back(RandomObject());
    return objects;
  }

  void CheckBlocker(int blocker, int code, const Objects& wanted) {
    TEBlockingOper found;
    ASSERT_EQ(FindBlockingOper(code, wanted, found), blocker != 0);
    if (blocker == 0) return;
    const Objects& held = m_reference.running[blocker];
    ASSERT_EQ(found.m_nOperCode, blocker);
    ASSERT_EQ(found.m_wantedObject, *Reference::FirstOf(wanted, held));
    ASSERT_TRUE(found.m_heldObject.IsConflict(found.m_wantedObject));
    ASSERT_TRUE(std::find(held.begin(), held.end(), found.m_heldObject) != held.end());
  }

  std::mt19937 m_random;
  Reference m_reference;
};

TEST(MutexModel, RandomHistoriesAgreeWithPlainLists) {
  for (unsigned seed = 0; seed < HISTORIES; ++seed) {
    SCOPED_TRACE(seed);
    testkit::LogCapture log;
    History history(seed);
    history.Rules();
    for (int step = 0; step < STEPS; ++step) {
      history.Step();
      history.CheckRunning();
      ASSERT_FALSE(HasFatalFailure()) << "step " << step;
    }
    ASSERT_EQ(log.Count("line 369"), history.Expected().notHeld);
    ASSERT_EQ(log.Count("line 381"), history.Expected().notRunning);
    TEMutexOperMgr::Destroy();
  }
}

// Writers are alone on their NE, and operation 3 is alone on all of it.
TEST(MutexThreaded, NobodyMeetsWhoIsExcluded) {
  constexpr int writer = 1, reader = 2, global = 3;
  constexpr unsigned nes = 3;
  ASSERT_TRUE(Load("[MUTEX_TABLE]\n1:1-2:1\n0:3:0\n[MUTEX_ERRORCODE]\n1:11\n2:12\n3:13\n"));
  std::array<std::atomic<int>, nes> atWork{};  // on each NE; who is alone counts for a thousand
  InThreads(6, [&](int thread) {
    std::mt19937 random(static_cast<unsigned>(thread));
    for (int round = 0; round < 1500; ++round) {
      const unsigned draw = static_cast<unsigned>(random()), ne = draw / 512 % nes;
      const int code = draw % 16 == 0 ? global : draw % 2 == 0 ? writer : reader;
      const TEOperObject object(ne + 1, draw / 8192 % 2, 0);
      const TEMutexOperGuard guard(code, object);
      if (guard.GetResult() != 0) {
        TEBlockingOper blocker;
        EXPECT_TRUE(guard.GetResult() >= 11 && guard.GetResult() <= 13) << guard.GetResult();
        EXPECT_TRUE(!guard.GetBlocker(blocker) || blocker.m_heldObject.IsConflict(object));
        continue;
      }
      if (object.m_nSecond != 0) continue;  // of a part only: it need not meet others
      const int weight = code == reader ? 1 : 1000;
      const int before = atWork[ne].fetch_add(weight);
      EXPECT_TRUE(weight == 1 ? before < 1000 : before == 0) << before;
      if (draw % 5 == 0) std::this_thread::yield();
      std::vector<TERunningOperObjects> running;
      EXPECT_TRUE(draw % 64 != 0 || (GetRunningOpers(running) && !running.empty()));
      atWork[ne] -= weight;
    }
  });
  EXPECT_EQ(Mgr().LockOper(global, TEOperObject(0, 0, 0)), 0) << "nothing was left behind";
}

}  // namespace
