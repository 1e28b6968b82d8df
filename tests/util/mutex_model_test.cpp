#include <algorithm>
#include <map>
#include <optional>
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
  std::map<int, unsigned long> errors;
  std::map<int, Objects> running;
  int notHeld = 0, notRunning = 0;

  static bool Overlap(const Objects& left, const Objects& right) {
    return std::any_of(left.begin(), left.end(), [&](const TEOperObject& a) {
      return std::any_of(right.begin(), right.end(), [&](const TEOperObject& b) { return a.IsConflict(b); });
    });
  }

  std::optional<int> Blocker(int code, const Objects& wanted) {
    const auto blocks = [&](int other) { return running.contains(other) && Overlap(running[other], wanted); };
    if (global.contains(code))
      for (const auto& [other, objects] : running)
        if (blocks(other)) return other;
    for (const int other : global)
      if (blocks(other)) return other;
    for (const int other : stoppedBy[code])
      if (blocks(other)) return other;
    return std::nullopt;
  }

  unsigned long Lock(int code, const Objects& wanted) {
    if (const auto blocker = Blocker(code, wanted))
      return errors.contains(*blocker) ? errors[*blocker] : 0x4101F012;
    running[code].insert(running[code].end(), wanted.begin(), wanted.end());
    return 0;
  }

  void Unlock(int code, const Objects& objects) {
    for (const TEOperObject& object : objects) {
      if (!running.contains(code)) {
        ++notRunning;
        continue;
      }
      Objects& held = running[code];
      const auto it = std::find(held.begin(), held.end(), object);
      if (it == held.end()) {
        ++notHeld;
        continue;
      }
      held.erase(it);
      if (held.empty()) running.erase(code);
    }
  }
};

class History {
 public:
  explicit History(unsigned seed) : m_random(seed) {}

  // Random rules, for the manager and for the reference.
  void Rules() {
    std::string file = "[MUTEX_TABLE]\n";
    for (int i = Up(4); i > 0; --i) {
      const int running = Up(CODES), stopped = Up(CODES), both = Up(2) - 1;
      const int kind = Up(6);
      if (kind <= 2) {
        m_reference.global.insert(running);
        file += (kind == 1 ? "0:" + std::to_string(running) : std::to_string(running) + ":0") + ":0\n";
        continue;
      }
      file += std::to_string(running) + ":" + std::to_string(stopped) + ":" + std::to_string(both) + "\n";
      m_reference.stoppedBy[stopped].insert(running);
      if (both != 0) m_reference.stoppedBy[running].insert(stopped);
    }
    file += "[MUTEX_ERRORCODE]\n";
    for (int code = 1; code < CODES; ++code) {
      m_reference.errors[code] = 100UL + static_cast<unsigned long>(code);
      file += std::to_string(code) + ":" + std::to_string(100 + code) + "\n";
    }
    ASSERT_TRUE(Load(file));
  }

  void Step() {
    const int code = Up(CODES);
    const bool lock = Up(5) <= 3;
    // Mostly what is held is unlocked, sometimes anything.
    Objects objects = RandomObjects();
    if (!lock && Up(4) != 1 && m_reference.running.contains(code)) objects = m_reference.running[code];
    if (objects.size() == 1 && Up(2) == 1) return One(code, objects.front(), lock);
    if (!lock) {
      m_reference.Unlock(code, objects);
      Mgr().UnlockOper(code, objects);
      return;
    }
    CheckBlocker(code, objects);
    ASSERT_EQ(Mgr().LockOper(code, objects), m_reference.Lock(code, objects));
  }

  void CheckRunning() {
    std::vector<TERunningOperObjects> opers;
    ASSERT_TRUE(GetRunningOpers(opers));
    std::map<int, Objects> seen;
    for (const TERunningOperObjects& oper : opers)
      seen[oper.m_nOperCode].insert(seen[oper.m_nOperCode].end(), oper.m_objects.begin(),
                                    oper.m_objects.end());
    auto expected = m_reference.running;
    for (auto* table : {&seen, &expected})
      for (auto& [code, objects] : *table) objects.sort();
    ASSERT_EQ(seen.size(), expected.size());
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

  void One(int code, const TEOperObject& object, bool lock) {
    if (lock) {
      ASSERT_EQ(Mgr().LockOper(code, object), m_reference.Lock(code, {object}));
      return;
    }
    m_reference.Unlock(code, {object});
    Mgr().UnlockOper(code, object);
  }

  void CheckBlocker(int code, const Objects& wanted) {
    TEBlockingOper found;
    const auto blocker = m_reference.Blocker(code, wanted);
    ASSERT_EQ(FindBlockingOper(code, wanted, found), blocker.has_value());
    if (!blocker) return;
    const Objects& held = m_reference.running[*blocker];
    ASSERT_EQ(found.m_nOperCode, *blocker);
    ASSERT_TRUE(std::find(held.begin(), held.end(), found.m_heldObject) != held.end());
    ASSERT_TRUE(found.m_heldObject.IsConflict(found.m_wantedObject));
    const auto first = std::find_if(wanted.begin(), wanted.end(), [&](const TEOperObject& each) {
      return Reference::Overlap({each}, held);
    });
    ASSERT_EQ(found.m_wantedObject, *first);
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
    for (int step = 0; step < STEPS && !testing::Test::HasFatalFailure(); ++step) {
      history.Step();
      if (!testing::Test::HasFatalFailure()) history.CheckRunning();
    }
    ASSERT_FALSE(testing::Test::HasFatalFailure());
    ASSERT_EQ(log.Count("line 369"), history.Expected().notHeld);
    ASSERT_EQ(log.Count("line 381"), history.Expected().notRunning);
    TEMutexOperMgr::Destroy();
  }
}

}  // namespace
