// Uses a little of each floor through the installed package; the exit status tells whether it works.
#include <cstdio>
#include <cstdlib>

#include "asn1/progress.h"
#include "platform/log/log_process.h"
#include "platform/os/clock.h"
#include "platform/task/vela_task.h"
#include "util/basicutil/asynprogressmgr.h"
#include "util/basicutil/client_records.h"
#include "util/basicutil/common.h"

namespace {
int g_failures = 0;

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::printf("failed: %s\n", what);
  ++g_failures;
}
}  // namespace

int main(int argc, char** argv) {
  Expect(NSTE_util::InitDebugLog(argc, argv) == 0, "logging starts");
  NSTE_util::TETrace("%s runs", argv[0]);

  AsnAbortMissionReq request;
  request.missionID = 7;
  Expect(NSTE_util::toString(request).find('7') != std::string::npos, "a message is rendered");

  const VelaGnlTask task("install test");
  Expect(task.GetCurReqMsg() == nullptr, "a new task has no request");

  NSTE_util::ClientMissionID any;
  NSTE_util::ClientMissionID one;
  one.m_wReplyAttr = 1;
  Expect(any == one, "reply attribute 0 matches any");
  Expect(!NSTE_util::AsynProgressMgr::Instance()->IsMissionRegistered(0x10000, true), "no mission yet");

  NSTE_util::FiniDebugLog();
  LogProcess::Shutdown();
  NSTE_util::AsynProgressMgr::Destroy();
  return g_failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
