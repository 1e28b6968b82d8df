#include <future>
#include <set>
#include <stdexcept>

#include "tests/platform/task_fixture.h"

using namespace task_test;

namespace {

testkit::Request Plain(std::uint32_t sn = 1) {
  testkit::Request request;
  request.cmdCode = kPlain;
  request.sn = sn;
  return request;
}

// The status of each answer, in order of serial numbers.
std::vector<std::uint32_t> Statuses(const std::vector<Received>& frames) {
  std::map<std::uint32_t, std::uint32_t> bySn;
  for (const Received& frame : frames) EXPECT_TRUE(bySn.emplace(frame.sn, frame.status).second);
  std::vector<std::uint32_t> statuses;
  for (const auto& [sn, status] : bySn) statuses.push_back(status);
  return statuses;
}

// Holds handlers until it is opened.
struct Gate {
  std::latch entered{1};
  std::latch opened{1};
  void Pass() {
    entered.count_down();
    opened.wait();
  }
  // Hold on, then answer.
  Hook Answering() {
    return [this](VelaGnlTask* task, const AsnType*) {
      Pass();
      return Answer(task);
    };
  }
};

TEST(TaskThreaded, EveryRequestIsAnsweredOnce) {
  struct Row {
    const char* why;
    Hook hook;
    std::uint32_t status;
    std::size_t traces = 0;
    std::uint32_t cmdCode = kPlain;
    std::string payload = "";
  };
  const Row rows[] = {
      {"answers", Answer, 0},
      {"answers a decoded request", Answer, 0, 0, kDecoded, std::string("\x02\x01\x07", 3)},
      {"a code, no answer", [](auto*, auto*) { return 77ul; }, 77},
      {"0, no answer", [](auto*, auto*) { return 0ul; }, VELA_ERR_GENERAL, 1},
      {"throws", [](auto*, auto*) -> unsigned long { throw std::runtime_error("x"); }, VELA_ERR_GENERAL, 1},
      {"throws no exception", [](auto*, auto*) -> unsigned long { throw 1; }, VELA_ERR_GENERAL, 1},
      {"answers, then a code", [](auto* task, auto*) { return Answer(task) + 77ul; }, 0},
      {"answers, then throws",
       [](auto* task, auto*) -> unsigned long { throw std::runtime_error(std::to_string(Answer(task))); }, 0,
       1},
      {"answers twice",
       [](auto* task, auto*) {
         EXPECT_EQ(Answer(task), 0u);
         if (task->GetCurReqMsg()->Header().kind == VELA_KIND_REQUEST) {
           EXPECT_EQ(Answer(task), VELA_ERR_GENERAL);
         }
         return 0ul;
       },
       0, 1},
      {"a helper thread answers",
       [](auto* task, auto*) {
         std::thread([&] { Answer(task); }).join();
         return 0ul;
       },
       0},
      {"answers another task than the asking one",
       [](auto* task, auto*) {
         VelaMsgPtr frame = AnswerTo(task->GetCurReqMsg()->Header());
         frame->dstProcId = 9;
         EXPECT_EQ(task->VelaCmdSendAnsFrameCB(frame.release()), VELA_ERR_NO_RECEIVER);
         return 5ul;
       },
       5},
      {"its answer cannot be sent",
       [](auto* task, auto*) {
         const testkit::FrameCapture refusing([](const VelaCmdMSG&) { return true; });
         EXPECT_EQ(Answer(task), VELA_ERR_GENERAL);
         return 6ul;
       },
       6},
      {"bad payload", Answer, VELA_ERR_DECODE, 1, kDecoded, std::string("\x02\x05\x07", 3)},
      {"empty payload", Answer, VELA_ERR_DECODE, 1, kDecoded},
      {"unknown command", Answer, VELA_ERR_NO_HANDLER, 1, kUnknown},
  };
  Process process(Workers(1));
  testkit::LogCapture log;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    for (const std::uint8_t kind : {VELA_KIND_REQUEST, VELA_KIND_COMMAND}) {
      log.Clear();
      process.client->Clear();
      TheHook() = [&](VelaGnlTask* task, const AsnType* request) {
        EXPECT_EQ(VelaGetCurrentTask(), task);
        if (task->GetCurReqMsg()->Header().sn == 2) return Answer(task);
        return row.hook(task, request);
      };
      testkit::Request request = Plain();
      request.cmdCode = row.cmdCode;
      request.payload = row.payload;
      request.kind = kind;
      request.srcTaskId = 4711;
      process.client->Send(request);
      process.client->Send(Plain(2));  // of the same worker: what comes after it came too late
      if (kind == VELA_KIND_COMMAND) {
        EXPECT_TRUE(process.client->AwaitSn(2));
        continue;
      }
      const auto frames = process.client->Await(2);
      ASSERT_EQ(frames.size(), 2u);
      const Received& reply = frames[frames[0].sn == 1 ? 0 : 1];
      EXPECT_EQ(reply.status, row.status);
      EXPECT_EQ(reply.kind, VELA_KIND_RESPONSE);
      EXPECT_EQ(reply.cmdCode, row.cmdCode);
      EXPECT_EQ(reply.dstTaskId, 4711);
      EXPECT_EQ(reply.length, 2u);
      EXPECT_EQ(log.Records().size(), row.traces);
      EXPECT_EQ(log.Count("Request 0x700002 from 300/7: the payload was refused: "),
                row.status == VELA_ERR_DECODE ? 1 : 0);
    }
  }
}

TEST(TaskThreaded, AnswersWhenMemoryIsExhausted) {
  Process process(Workers(1));
  std::promise<std::uint32_t> status;
  testkit::FrameCapture frames([&](const VelaCmdMSG& frame) {
    status.set_value(frame.status);
    return false;
  });
  std::unique_ptr<testkit::OsFaults> faults;
  TheHook() = [&](auto*, auto*) {
    faults.reset(new testkit::OsFaults(NoMemory()));
    return static_cast<unsigned long>(VELA_ERR_MEMORY);
  };
  process.client->Send(Plain());
  EXPECT_EQ(status.get_future().get(), VELA_ERR_MEMORY);
}

TEST(TaskThreaded, RoutesByCommandThenModuleThenRecord) {
  constexpr std::uint8_t none = 9;  // no such manager
  const std::tuple<std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t> rows[] = {
      // route, module, argument of a send within the process (0: from the bus), who serves
      {0, 0, 0, 1},    {0, 2, 0, 2},    {3, 2, 0, 3}, {3, 0, 0, 3},
      {0, none, 0, 1}, {none, 2, 0, 2}, {3, 0, 2, 2}, {3, 0, none, 3}};
  Process process(Workers(1));
  VelaTaskMgrConfig config = Workers(1);
  for (config.id = 2; config.id <= 3; ++config.id) ASSERT_NE(process.app->CreateTaskMgr(config), nullptr);
  EXPECT_EQ(process.app->CreateTaskMgr(Workers(1)), nullptr) << "the id is taken";
  TheHook() = Answer;
  const auto handled = [&process] {
    std::map<std::uint8_t, std::uint64_t> counts;
    for (VelaTaskMgr* manager : process.app->TaskMgrs()) {
      while (manager->Stats().running != 0) std::this_thread::yield();
      counts[manager->GetId()] = manager->Stats().handled;
    }
    return counts;
  };
  for (const auto& [route, module, argument, served] : rows) {
    SetTaskMgrForCmd(kPlain, route);
    auto expected = handled();
    ++expected[served];
    testkit::Request request = Plain();
    request.module = module;
    request.srcProcId = kClient.Number();
    request.srcHandle = kClient.Handle();
    process.client->Clear();
    if (argument == 0) process.client->Send(request);
    if (argument != 0) process.app->VelaOutSendMsg(testkit::MakeFrame(request).release(), argument);
    process.client->Await(1);
    EXPECT_EQ(handled(), expected) << +route << ' ' << +module << ' ' << +argument;
  }
  SetTaskMgrForCmd(kPlain, 0);
}

TEST(TaskThreaded, AnyInstanceOfTheOwnNumberIsTheBusChoice) {
  Process process;
  Client sibling(CProcID(kServer.Number(), 2));
  VelaGnlTask task("Task");
  for (int i = 0; i < 4; ++i) task.AsnSendNBC(CProcID(kServer.Number(), 0), 0, kPlain, AsnInt(1), 10);
  EXPECT_GE(sibling.Await(1).size(), 1u);
}

TEST(TaskThreaded, FullQueueAnswersAtOnce) {
  Process process(Workers(1, 2));
  Gate gate;
  TheHook() = gate.Answering();
  process.client->Send(Plain(1));
  gate.entered.wait();
  for (std::uint32_t sn = 2; sn <= 5; ++sn) process.client->Send(Plain(sn));
  EXPECT_EQ(Statuses(process.client->Await(2)),
            (std::vector<std::uint32_t>{VELA_ERR_OVERLOAD, VELA_ERR_OVERLOAD}));
  EXPECT_EQ(process.manager->Stats().queued, 2u);
  EXPECT_EQ(process.manager->Stats().refusedFull, 2u);
  gate.opened.count_down();
  EXPECT_EQ(Statuses(process.client->Await(5)),
            (std::vector<std::uint32_t>{0, 0, 0, VELA_ERR_OVERLOAD, VELA_ERR_OVERLOAD}));
}

TEST(TaskThreaded, BytesInFlightAreCapped) {
  files::Write("etc/conf/vela.cfg", "MaxBytesInFlight = 1000\n");
  VelaAppMgr::Destroy();
  Process process(Workers(1));
  Gate gate;
  TheHook() = gate.Answering();
  testkit::Request request = Plain(1);
  request.payload.assign(600, 'x');
  process.client->Send(request);
  gate.entered.wait();
  request.kind = VELA_KIND_COMMAND;
  process.client->Send(request);
  request.kind = VELA_KIND_REQUEST;
  request.sn = 2;
  process.client->Send(request);
  EXPECT_EQ(process.client->Await(1)[0].status, VELA_ERR_OVERLOAD);
  EXPECT_EQ(process.app->Stats().refusedBytes, 2u);
  gate.opened.count_down();
  process.client->Await(2);
  for (std::uint32_t sn = 3; sn <= 5; ++sn) {
    while (process.manager->Stats().running != 0) std::this_thread::yield();
    request.sn = sn;
    process.client->Send(request);
    EXPECT_EQ(process.client->Await(sn).back().status, 0u) << "the room was not given back";
  }
}

TEST(TaskThreaded, ManyProducersAndWorkersLoseNothing) {
  constexpr std::uint32_t producers = 4, each = 500;
  Process process(Workers(4, producers * each));
  std::atomic<std::uint32_t> calls{0};
  TheHook() = [&](auto* task, auto*) {
    ++calls;
    return Answer(task);
  };
  InThreads(producers, [&](std::uint32_t p) {
    for (std::uint32_t i = 1; i <= each; ++i) process.client->Send(Plain(p * each + i));
  });
  EXPECT_EQ(Statuses(process.client->Await(producers * each)),
            std::vector<std::uint32_t>(producers * each, 0));
  EXPECT_EQ(calls, producers * each);
}

TEST(TaskThreaded, HandlerAsksAnotherHandlerOfItsProcess) {
  Process process(Workers(2));
  TheHook() = [](VelaGnlTask* task, auto*) -> unsigned long {
    if (task->GetCurReqMsg()->Header().srcProcId == VelaGetProcId()) return 99;
    testkit::Request inner = Plain(task->AllocMsgSn());
    inner.srcProcId = VelaGetProcId();
    inner.srcHandle = VelaGetProcHandle();
    inner.srcTaskId = task->GetTaskId();
    EXPECT_EQ(VelaAppMgr::Instance()->VelaOutSendMsg(testkit::MakeFrame(inner).release(), 0), 1);
    VelaMsgPtr msg;
    EXPECT_EQ(task->VelaSynRecvSn(inner.sn, 30, msg), 0u);
    return msg ? msg->status + 1 : 0;
  };
  process.client->Send(Plain());
  EXPECT_EQ(process.client->Await(1)[0].status, 100u);
}

class TimerTask : public VelaTask {
 public:
  using Body = std::function<void(TimerTask&, std::uint32_t id)>;  // id 0: creation
  TimerTask(Body body, std::promise<void>& deleted)
      : VelaTask("Timer"), m_body(std::move(body)), m_deleted(deleted) {}
  ~TimerTask() override { m_deleted.set_value(); }
  void VelaTaskCreate() override { Call(0); }
  void VelaTaskTimeInterval(std::uint32_t id) override { Call(id); }
  std::vector<std::uint32_t> expired;

 private:
  void Call(std::uint32_t id) {
    EXPECT_EQ(m_inside.exchange(true), false) << "two calls of one task at once";
    EXPECT_EQ(VelaGetCurrentTask(), this);
    if (id != 0) expired.push_back(id);
    const std::unique_ptr<void, std::function<void(void*)>> leave(this, [&](void*) { m_inside = false; });
    m_body(*this, id);
  }
  Body m_body;
  std::promise<void>& m_deleted;
  std::atomic<bool> m_inside{false};
};

TEST(TaskThreaded, InsertedTaskGetsItsIntervalsUntilItEnds) {
  Process process(Workers(4));
  std::promise<void> deleted;
  std::uint32_t early = 0;
  std::vector<std::uint32_t> seen;
  auto task = std::make_unique<TimerTask>(
      [&](TimerTask& self, std::uint32_t id) {
        EXPECT_TRUE(id != 0 || self.GetTaskState() == 20);
        for (int i = 0; i < 50 && id == 0; ++i) self.SetTaskTimeInterval(0);
        if (id != 0 && self.expired.size() == 51) self.SetTaskTimeInterval(1);
        seen = self.expired;
        if (self.expired.size() == 52) self.VelaSetTaskState(VELA_TASK_END);
        if (self.expired.size() == 10) throw std::runtime_error("is traced and ends nothing");
      },
      deleted);
  early = task->SetTaskTimeInterval(0);
  testkit::LogCapture log;
  EXPECT_EQ(process.manager->InsertTask(std::move(task), 20), 0u);
  deleted.get_future().wait();
  EXPECT_EQ(log.Count("is traced and ends nothing"), 1);
  EXPECT_EQ(std::set<std::uint32_t>(seen.begin(), seen.end()).size(), 52u) << "each once";
  EXPECT_EQ(std::count(seen.begin(), seen.end(), early), 1) << "set before the insertion";
}

TEST(TaskThreaded, DeletedIntervalIsNotDelivered) {
  Process process(Workers(2));
  std::promise<void> deleted;
  std::uint32_t first = 0, second = 0, last = 0;
  std::vector<std::uint32_t> seen;
  auto task = std::make_unique<TimerTask>(
      [&](TimerTask& self, std::uint32_t id) {
        if (id == 0) {
          first = self.SetTaskTimeInterval(0);
          second = self.SetTaskTimeInterval(0);
        } else if (last == 0) {
          self.DelTaskTimeInterval(first + second - id);  // has expired too, most likely
          self.DelTaskTimeInterval(self.SetTaskTimeInterval(1));
          self.DelTaskTimeInterval(0xFFFFFFFF);
          last = self.SetTaskTimeInterval(2);
        } else {
          seen = self.expired;
          self.VelaSetTaskState(VELA_TASK_END);
        }
      },
      deleted);
  EXPECT_EQ(process.manager->InsertTask(std::move(task), VELA_TASK_RUNNING), 0u);
  deleted.get_future().wait();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[1], last);
}

TEST(TaskThreaded, TaskEndsWhenAnotherThreadSaysSo) {
  Process process(Workers(1));
  std::promise<void> created, deleted;
  auto* task = new TimerTask([&](TimerTask&, std::uint32_t) { created.set_value(); }, deleted);
  process.manager->InsertTask(std::unique_ptr<TimerTask>(task), VELA_TASK_RUNNING);
  created.get_future().wait();
  task->VelaSetTaskState(VELA_TASK_END);
  deleted.get_future().wait();
}

TEST(TaskThreaded, StopAnswersQueuedAndNewRequestsAndEndsWaits) {
  Process process(Workers(2));
  std::promise<void> deleted;
  process.manager->InsertTask(std::make_unique<TimerTask>([](auto&, auto) {}, deleted), VELA_TASK_WAITING);
  Gate gate;
  std::latch waiting(1);
  TheHook() = [&](VelaGnlTask* task, auto*) -> unsigned long {
    if (task->GetCurReqMsg()->Header().sn == 1) {
      gate.Pass();
      EXPECT_TRUE(VelaIsExit());
      return Answer(task);
    }
    waiting.count_down();
    VelaMsgPtr msg;
    return task->VelaSynRecvSn(task->AllocMsgSn(), 100000, msg);
  };
  process.client->Send(Plain(1));
  gate.entered.wait();
  process.client->Send(Plain(2));
  waiting.wait();
  process.client->Send(Plain(3));
  while (process.manager->Stats().queued == 0) std::this_thread::yield();
  auto stopped = std::async(std::launch::async, [&] { return process.app->Stop(100000); });
  process.client->Await(2);  // the wait has ended, the queued one is refused: it is stopping
  testkit::Request unknown = Plain(4);
  unknown.cmdCode = kUnknown;
  process.client->Send(unknown);
  process.client->Await(3);
  EXPECT_EQ(process.app->CreateTaskMgr({.id = 2}), nullptr);
  EXPECT_EQ(process.app->GetBus(), nullptr);
  gate.opened.count_down();
  EXPECT_TRUE(stopped.get());
  EXPECT_EQ(Statuses(process.client->Await(4)),
            (std::vector<std::uint32_t>{0, VELA_ERR_NO_ANSWER, VELA_ERR_STOPPING, VELA_ERR_STOPPING}));
  deleted.get_future().wait();
  std::promise<void> refused;
  EXPECT_EQ(process.manager->InsertTask(std::make_unique<TimerTask>([](auto&, auto) {}, refused), 1),
            VELA_ERR_STOPPING);
  EXPECT_TRUE(process.app->Stop(0));
  EXPECT_EQ(process.app->Start(vela::MakeInProcessBus(Options()), kServer, 0), -1);
}

TEST(TaskThreaded, StopAbandonsWhatDoesNotEnd) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  const auto stop = [] {
    Process process(Workers(2));
    Gate gate;
    TheHook() = [&](auto*, auto*) {
      gate.Pass();
      return 0ul;
    };
    process.client->Send(Plain());
    gate.entered.wait();
    const bool ended = process.app->Stop(1);
    VelaAppMgr::Destroy();
    std::_Exit(!ended && VelaAppMgr::Instance() == process.app ? 0 : 1);
  };
  EXPECT_EXIT(stop(), testing::ExitedWithCode(0), "");
}

}  // namespace
