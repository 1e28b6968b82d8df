#include <array>
#include <atomic>
#include <latch>
#include <random>
#include <thread>

#include "tests/util/mutex_fixture.h"

using namespace mutex_test;

namespace {

constexpr int THREADS = 6, ROUNDS = 1500, WRITER = 1, READER = 2, GLOBAL = 3;
constexpr unsigned NES = 3, BOARDS = 3;

// Who is at work on each board, told by the workers themselves: an exclusive one counts for a thousand.
class Witness {
 public:
  // False when somebody is there who must not be.
  bool Enter(const TEOperObject& object, int weight) {
    bool alone = true;
    ForEachBoard(object, [&](std::atomic<int>& board) {
      const int before = board.fetch_add(weight);
      alone = alone && (weight == 1 ? before < 1000 : before == 0);
    });
    return alone;
  }
  void Leave(const TEOperObject& object, int weight) {
    ForEachBoard(object, [&](std::atomic<int>& board) { board -= weight; });
  }

 private:
  template <class Visit>
  void ForEachBoard(const TEOperObject& object, Visit visit) {
    for (unsigned ne = 1; ne <= NES; ++ne)
      for (unsigned board = 1; board <= BOARDS; ++board)
        if (object.IsConflict(TEOperObject(ne, board, 0))) visit(m_boards[(ne - 1) * BOARDS + board - 1]);
  }

  std::array<std::atomic<int>, NES * BOARDS> m_boards{};
};

TEST(MutexThreaded, NobodyMeetsWhoIsExcluded) {
  ASSERT_TRUE(Load("[MUTEX_TABLE]\n1:1-2:1\n0:3:0\n[MUTEX_ERRORCODE]\n1:11\n2:12\n3:13\n"));
  Witness witness;
  std::atomic<int> met = 0, granted = 0, wrongCodes = 0;
  std::latch start(THREADS);
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < THREADS; ++i)
    threads.emplace_back([&, i] {
      std::mt19937 random(i);
      start.arrive_and_wait();
      for (int round = 0; round < ROUNDS; ++round) {
        const unsigned draw = static_cast<unsigned>(random());
        const int code = draw % 16 == 0 ? GLOBAL : draw % 2 == 0 ? WRITER : READER;
        const TEOperObject object(draw / 16 % 32 == 0 ? 0 : 1 + draw / 512 % NES, draw / 8192 % (BOARDS + 1),
                                  0);
        const TEMutexOperGuard guard(code, object);
        if (guard.GetResult() != 0) {
          wrongCodes += guard.GetResult() < 11 || guard.GetResult() > 13;
          TEBlockingOper blocker;
          if (guard.GetBlocker(blocker)) wrongCodes += !blocker.m_heldObject.IsConflict(object);
          continue;
        }
        ++granted;
        const int weight = code == READER ? 1 : 1000;
        met += !witness.Enter(object, weight);
        if (draw % 5 == 0) std::this_thread::yield();
        std::vector<TERunningOperObjects> running;
        if (draw % 64 == 0) met += !GetRunningOpers(running) || running.empty();
        witness.Leave(object, weight);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(met, 0);
  EXPECT_EQ(wrongCodes, 0);
  EXPECT_GT(granted, 0);
  EXPECT_FALSE(Mgr().HasRunningOper());
  EXPECT_EQ(Mgr().LockOper(GLOBAL, TEOperObject(0, 0, 0)), 0) << "nothing was left behind";
  TEMutexOperMgr::Destroy();
}

}  // namespace
