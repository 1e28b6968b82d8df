#include <gtest/gtest.h>

#include <set>

#include "tests/platform/bus_member.h"

namespace {

constexpr CProcID WATCHER(600, 1), A(500, 1), ANY(500, 0);

TEST(BusLifeThreaded, TellsTheLivesOfAProcessApart) {
  const vela::BusOptions options;  // under the installation root
  for (const auto make : {vela::MakeInProcessBus, vela::MakeLocalBus}) {
    BusMember watcher(make(options), WATCHER);
    std::set<std::uint64_t> lives{0};
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(watcher->LifeOf(A), 0U);
      EXPECT_EQ(watcher->LifeOf(ANY), 0U);
      const BusMember member(make(options), A);
      EXPECT_EQ(watcher->LifeOf(ANY), 1U);
      EXPECT_EQ(watcher->LifeOf(A), watcher->LifeOf(A));
      EXPECT_TRUE(lives.insert(watcher->LifeOf(A)).second);
    }
    EXPECT_NE(watcher->LifeOf(WATCHER), 0U);
    watcher->Close();
    EXPECT_EQ(watcher->LifeOf(WATCHER), 0U);
  }
}

}  // namespace
