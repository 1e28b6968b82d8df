#pragma once
#include <gtest/gtest.h>

#include "platform/task/vela_task.h"
#include "platform/testkit/testkit.h"
#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/common.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/taskcontext.h"

using namespace NSTE_util;

namespace mission_test {

inline testkit::Request FromClient() {
  return {.clientNo = 7,
          .srcProcId = 300,
          .srcHandle = 2,
          .srcDesk = 4,
          .srcTaskId = 11,
          .cmdCode = 0x7001,
          .sn = 77,
          .module = 9,
          .attribute = 33,
          .subId = 12,
          .payload = {}};
}

// The mission of that client.
inline ClientMissionID Key(int missionNo, std::uint16_t reply = 0) {
  return {missionNo, 7, 300, 2, 4, reply};
}

inline AsynProgressMgr& Asyn() {
  return *AsynProgressMgr::Instance();
}

inline ProgressMgr& Mgr() {
  return *ProgressMgr::Instance();
}

// -1: no such mission.
inline int Overall(const ClientMissionID& key) {
  int progress = 0;
  float weight = 0;
  return Mgr().GetProgress(key, progress, weight) ? progress : -1;
}

// A task with a request of the client.
class ClientTest : public testing::Test {
 protected:
  // How many records hold the text; what was held back comes as one.
  int Traced(const std::string& text) {
    WriteException("dump");
    return m_log.Count(text);
  }
  int Asserted(const std::string& expression) {
    return m_log.Count("assertion failed for '" + expression + "'");
  }

  testkit::ProcessAddress m_self{600, 3, 8};
  testkit::LogCapture m_log;
  testkit::CurrentTask m_task{FromClient()};
};

class MissionTest : public ClientTest {
 protected:
  ~MissionTest() override {
    AsynProgressMgr::Destroy();
    ProgressMgr::Destroy();
  }

  testkit::FrameCapture m_frames;
};

}  // namespace mission_test
