#pragma once
#include "platform/asncmd/asn_runtime.h"
#include "platform/task/te_task_creator.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_error.h"
#include "platform/task/vela_task.h"
#include "platform/task/vela_task_mgr.h"
#include "tests/platform/bus_member.h"
#include "tests/test_base.h"

namespace task_test {

using Hook = std::function<unsigned long(VelaGnlTask*, const AsnType*)>;

inline constexpr std::uint32_t kPlain = 0x700001;    // handler without a request object
inline constexpr std::uint32_t kDecoded = 0x700002;  // its request is an INTEGER
inline constexpr std::uint32_t kUnknown = 0x7000FF;
inline constexpr CProcID kServer(51, 1);
inline constexpr CProcID kClient(300, 7);

// What the handlers of this program do now.
inline Hook& TheHook() {
  static Hook hook;
  return hook;
}

inline unsigned long CallHook(VelaGnlTask* task, const AsnType* request) {
  return TheHook() ? TheHook()(task, request) : 0;
}

inline const TETaskHandlerStru kRecords[] = {
    {kPlain, 1, "Plain", nullptr, nullptr, &CallHook},
    {kDecoded, 1, "Decoded", []() -> AsnType* { return new AsnInt; }, nullptr, &CallHook}};

inline VelaMsgPtr AnswerTo(const VelaCmdMSG& request) {
  VelaMsgPtr frame = testkit::MakeFrame({.srcProcId = VelaGetProcId(),
                                         .srcHandle = VelaGetProcHandle(),
                                         .cmdCode = request.cmdCode,
                                         .sn = request.sn,
                                         .kind = VELA_KIND_RESPONSE,
                                         .payload = {}});
  frame->dstProcId = request.srcProcId;
  frame->dstHandle = request.srcHandle;
  frame->dstTaskId = request.srcTaskId;
  return frame;
}

// A hook, and what hooks call.
inline unsigned long Answer(VelaGnlTask* task, const AsnType* = nullptr) {
  return task->VelaCmdSendAnsFrameCB(AnswerTo(task->GetCurReqMsg()->Header()).release());
}

inline vela::BusOptions Options() {
  vela::BusOptions options;
  options.folder = "task_test";
  options.queueFrames = 100000;
  return options;
}

// Another process on the bus: sends requests and collects what comes back.
class Client : public BusMember {
 public:
  explicit Client(CProcID address = kClient) : BusMember(vela::MakeInProcessBus(Options()), address) {
    EXPECT_EQ(result, vela::BusResult::ok);
  }
  void Send(testkit::Request request) {
    request.srcProcId = kClient.Number();
    request.srcHandle = kClient.Handle();
    EXPECT_EQ((*this)->Send(*testkit::MakeFrame(request)), vela::BusResult::ok);
  }
};

// This process as a server with one task manager, and a client. The process ends with the test.
class Process {
 public:
  explicit Process(VelaTaskMgrConfig config = {}) {
    for (const auto& record : kRecords) EXPECT_TRUE(TETaskCreator::Instance()->RegisterTask(&record));
    app = VelaAppMgr::Instance();
    manager = app->CreateTaskMgr(config);
    EXPECT_EQ(app->Start(vela::MakeInProcessBus(Options()), kServer, 0), 0);
    client = std::make_unique<Client>();
  }
  ~Process() {
    VelaAppMgr::Destroy();
    client.reset();
    TheHook() = nullptr;
  }

  VelaAppMgr* app;
  VelaTaskMgr* manager;
  std::unique_ptr<Client> client;
};

inline VelaTaskMgrConfig Workers(unsigned count, unsigned queueLimit = 1000) {
  VelaTaskMgrConfig config;
  config.workers = count;
  config.queueLimit = queueLimit;
  return config;
}

}  // namespace task_test
