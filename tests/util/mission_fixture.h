#pragma once
#include "platform/asncmd/asn_helper.h"
#include "platform/task/vela_task.h"
#include "tests/util/util_test.h"
#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/taskcontext.h"

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

// The message that a frame carries.
template <class Message>
Message Decoded(const testkit::Frame& frame) {
  Message msg;
  std::string reason;
  EXPECT_EQ(CAsnHelper::Decode(Exactly(frame.payload), msg, reason), 0U) << reason;
  return msg;
}

// A task with a request of the client.
class ClientTest : public LogTest {
 protected:
  testkit::ProcessAddress m_self{600, 3, 8};
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
