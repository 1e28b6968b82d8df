#include "util/basicutil/mitlockerr.h"

#include <gtest/gtest.h>

#include "util/basicutil/env_settings.h"

using namespace NSTE_util;

namespace {

TEST(MitLockErrMgr, KeepsTheFirstTextOfAThreadWhileSwitchedOn) {
  TEMitLockErrMgr& mgr = *TEMitLockErrMgr::Instance();
  std::string info = "before";
  mgr.InsertThrIDandInfo(1, "off");
  g_bEnableMitLockErrMgr = true;
  EXPECT_FALSE(mgr.FindThrInfo(1, info)) << "it was off";
  mgr.InsertThrIDandInfo(1, "first");
  mgr.InsertThrIDandInfo(1, "second");
  mgr.InsertThrIDandInfo(2, nullptr);
  g_bEnableMitLockErrMgr = false;
  EXPECT_FALSE(mgr.FindThrInfo(1, info));
  mgr.EraseThrIDandInfo(1);
  EXPECT_EQ(info, "before");
  g_bEnableMitLockErrMgr = true;
  EXPECT_TRUE(mgr.FindThrInfo(1, info)) << "it was off when erased";
  EXPECT_EQ(info, "first");
  mgr.EraseThrIDandInfo(1);
  EXPECT_FALSE(mgr.FindThrInfo(1, info));
  EXPECT_TRUE(mgr.FindThrInfo(2, info));
  EXPECT_EQ(info, "");
  TEMitLockErrMgr::Destroy();
  EXPECT_FALSE(TEMitLockErrMgr::Instance()->FindThrInfo(2, info));
  TEMitLockErrMgr::Destroy();
}

}  // namespace
