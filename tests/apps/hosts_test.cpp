#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

#include "tests/files.h"

namespace {

// Three hosts, three engine nodes, and what happens to them while NEs are uploaded: the script checks each
// outcome.
TEST(HostsTest, UploadsEndRightWhateverHappensToTheNetwork) {
  const std::string script = VELA_BIN_DIR "/../../../apps/demo/hosts.sh " VELA_BIN_DIR;
  const int status =
      std::system(("VELA_TIME_SCALE=1000 sh " + script + " >" + files::Root() + "said 2>&1").c_str());
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 77) GTEST_SKIP() << files::Read("said");
  EXPECT_EQ(WEXITSTATUS(status), 0) << files::Read("said");
}

}  // namespace
