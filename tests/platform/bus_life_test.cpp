#include <set>

#include "tests/platform/bus_engine.h"
#include "tests/platform/bus_member.h"

TEST(BusLifeThreaded, TellsTheLivesOfAProcessApart) {
  const CProcID address(500, 1), any(500, 0);
  const Engine engine;
  WriteBusConfig(engine.port);
  for (const auto make : {vela::MakeInProcessBus, vela::MakeLocalBus, vela::MakeNatsBus}) {
    BusMember watcher(make({}), CProcID(600, 1));
    std::set<std::uint64_t> lives{0};
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(watcher->LifeOf(address) + watcher->LifeOf(any), 0U);
      const BusMember member(make({}), address);
      EXPECT_EQ(watcher->LifeOf(any), 1U);
      EXPECT_TRUE(lives.insert(watcher->LifeOf(address)).second);
      EXPECT_TRUE(lives.contains(watcher->LifeOf(address)));
    }
  }
}
