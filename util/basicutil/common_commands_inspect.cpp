#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <set>

#include "platform/bus/bus.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task_mgr.h"
#include "util/basicutil/asynprogress_watch.h"
#include "util/basicutil/common_commands.h"
#include "util/basicutil/common_commands_internal.h"
#include "util/basicutil/common_format.h"
#include "util/basicutil/common_logger.h"
#include "util/basicutil/mutex_query.h"
#include "util/basicutil/progressmgr.h"
#include "util/basicutil/stringutil.h"
#include "util/basicutil/tecommonerror.h"
#include "util/basicutil/timelog.h"
#include "util/basicutil/translog.h"

// The commands that show what the process is doing.
namespace NSTE_util {
namespace {

constexpr std::size_t kMostObjects = 100;

// At most 4094 characters and the line's end.
[[gnu::format(printf, 1, 2)]] std::string Line(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const FormattedText text(format, args);
  va_end(args);
  return std::string(text.View()) + '\n';
}

std::string Shown(const std::string& text) {
  return vela::EscapeControls(text);
}

std::string NoneIfEmpty(std::string list, const char* what) {
  return list.empty() ? std::string("No ") + what + ".\n" : list;
}

std::string MissionText(const ClientMissionID& mission) {
  return std::to_string(mission.m_nMissionNo) + " of client " + std::to_string(mission.m_nClientNo) + " at " +
         std::to_string(mission.m_wProcID) + "/" + std::to_string(mission.m_wProcHandle);
}

std::string Show(const TERunningOperObjects& oper) {
  std::string text =
      Line("operation %d: age %lld ms, task %u %s, user %d, %zu objects", oper.m_nOperCode,
           static_cast<long long>(oper.m_age.count() / 1000), static_cast<unsigned>(oper.m_wTaskID),
           Shown(oper.m_strTaskName).c_str(), oper.m_nUserID, oper.m_objects.size());
  if (oper.m_bMission)
    text += Line("  mission %s, progress %d", MissionText(oper.m_mission).c_str(), oper.m_nProgress);
  for (std::size_t i = 0; i < std::min(oper.m_objects.size(), kMostObjects); ++i) {
    const TEOperObject& object = oper.m_objects[i];
    text += Line("  object %s %u %u", TENEID2Str(object.m_nFirst).c_str(), object.m_nSecond, object.m_nThird);
  }
  return text;
}

std::string Show(const TERunningMission& mission) {
  std::string text = Line("mission %s: progress %d%s", MissionText(mission.m_key).c_str(),
                          mission.m_nProgress, mission.m_bCanceled ? ", cancelled" : "");
  for (const TERunningMission::Task& task : mission.m_tasks)
    text += Line("  task %u, thread %u", static_cast<unsigned>(task.m_wTaskID), task.m_nThreadID);
  return text;
}

std::string Show(const MissionStatus& mission) {
  std::string text = Line("spread mission %u: %s, task %s, progress %u, age %lld s", mission.missionId,
                          MissionText(mission.client).c_str(), Shown(mission.owner).c_str(), mission.percent,
                          static_cast<long long>(mission.age));
  for (const MissionPart& part : mission.parts)
    text += Line("  process %s: weight %g, progress %d, %u sub-missions%s, error 0x%x",
                 VelaAddressText(part.process).c_str(), static_cast<double>(part.weight), part.percent,
                 part.subMissions, part.stopped ? ", stopped" : "", part.errorCode);
  return text;
}

std::string Show(const TEOpenErrFrame& frame) {
  std::string text =
      Line("error frame of thread %u: code 0x%x, %zu errors, %zu in %zu open transactions", frame.m_nThreadID,
           frame.m_nErrorCode, frame.m_nErrors, frame.m_nPending, frame.m_nDepth);
  for (const TEOpenErr& error : frame.m_firstErrors)
    text += Line("  error 0x%x at %s: %s", error.m_nErrorCode, Shown(error.m_strPosition).c_str(),
                 Shown(error.m_strText).c_str());
  return text;
}

std::string Show(const TEOpenTimeLog& log) {
  std::string text = Line("time log of thread %u: %s, age %u ms, depth %u", log.m_nThreadID,
                          Shown(log.m_strName).c_str(), log.m_nAge, log.m_nDepth);
  for (const TEPendingNEOper& oper : log.m_pending)
    text += Line("  pending NE operation 0x%x: type %ld, begun %u times, age %u ms, %s", oper.m_nOperCode,
                 oper.m_nType, oper.m_nCount, oper.m_nAge, Shown(oper.m_strText).c_str());
  for (std::size_t from = 0, end = 0; from < log.m_strSummary.size(); from = end + 1) {
    end = std::min(log.m_strSummary.find('\n', from), log.m_strSummary.size());
    if (end != from) text += Line("  %s", Shown(log.m_strSummary.substr(from, end - from)).c_str());
  }
  return text;
}

std::string Show(const TETransactionLogInfo& log) {
  return Line("transaction %u: counts %d and %d, %zu buffers", log.m_nHandle, log.m_nRefCount,
              log.m_nRefCountEx, log.m_nBuffers);
}

template <class List>
std::string ShowAll(const List& list) {
  std::string text;
  for (const auto& each : list) text += Show(each);
  return text;
}

std::vector<TERunningOperObjects> RunningOpers() {
  std::vector<TERunningOperObjects> opers;
  GetRunningOpers(opers);
  return opers;
}

std::string ListOper(const CommandWords&) {
  return NoneIfEmpty(ShowAll(RunningOpers()), "operation");
}

std::string ListMission(const CommandWords&) {
  return NoneIfEmpty(ShowAll(ProgressMgr::Missions()) + ShowAll(ListMissions()), "mission");
}

std::string ListError(const CommandWords&) {
  return NoneIfEmpty(ShowAll(TEOperErrorLogIF::OpenFrames()), "error frame");
}

std::string ListTimeLog(const CommandWords&) {
  return NoneIfEmpty(ShowAll(TETimeLog::OpenLogs()), "time log");
}

std::string ListTransLog(const CommandWords&) {
  return NoneIfEmpty(ShowAll(GetTransactionLogs()), "transaction");
}

using Count = unsigned long long;

std::string BusLine(const vela::Bus* bus) {
  if (bus == nullptr) return "bus: closed\n";
  const vela::BusStats stats = bus->Stats();
  std::string text =
      Line("bus: %llu sent, %llu received, %llu refused by full queues, %llu without receiver, %llu broken",
           Count{stats.sent}, Count{stats.received}, Count{stats.refusedFull}, Count{stats.refusedNoReceiver},
           Count{stats.malformed});
  if (!stats.betweenHosts) return text;
  return text + Line(
                    "between hosts: %s, lost %llu times; %llu frames held with %llu bytes, %llu sent again, "
                    "%llu dropped as repeated, %llu as forged",
                    stats.connected ? "connected" : "not connected", Count{stats.disconnects},
                    Count{stats.heldFrames}, Count{stats.heldBytes}, Count{stats.resent},
                    Count{stats.repeated}, Count{stats.forged});
}

std::string ListQueue(const CommandWords&) {
  VelaAppMgr& app = *VelaAppMgr::Instance();
  std::string text;
  for (const VelaTaskMgr* taskMgr : app.TaskMgrs()) {
    const VelaTaskMgrStats stats = taskMgr->Stats();
    text += Line("task manager %u %s: %u queued, %u running, %llu handled, %llu refused",
                 static_cast<unsigned>(taskMgr->GetId()), Shown(taskMgr->GetName()).c_str(), stats.queued,
                 stats.running, Count{stats.handled}, Count{stats.refusedFull});
  }
  const VelaAppStats stats = app.Stats();
  text += Line("frames: %llu late answers, %llu refused, %llu beyond the bytes in flight, %llu send errors",
               Count{stats.lateAnswers}, Count{stats.refusedFrames}, Count{stats.refusedBytes},
               Count{stats.sendErrors});
  text += BusLine(app.GetBus());
  text += Line("log: %llu records dropped, %llu writes failed", Count{LogProcess::DroppedRecords()},
               Count{LogProcess::FailedWrites()});
  const HeldBackStats held = CommonLogCache().Stats();
  text += Line(
      "held back: %zu records, %zu of %zu bytes, %llu dropped for their number, %llu for their bytes",
      held.records, held.bytes, held.byteLimit, Count{held.droppedForNumber}, Count{held.droppedForBytes});
  return text;
}

const std::chrono::steady_clock::time_point g_loaded = std::chrono::steady_clock::now();

std::string Status(const CommandWords&) {
  const auto upTime = std::chrono::steady_clock::now() - g_loaded;
  const std::vector<TERunningOperObjects> opers = RunningOpers();
  std::size_t objects = 0;
  for (const TERunningOperObjects& oper : opers) objects += oper.m_objects.size();
  unsigned queued = 0;
  unsigned running = 0;
  for (const VelaTaskMgr* taskMgr : VelaAppMgr::Instance()->TaskMgrs()) {
    const VelaTaskMgrStats stats = taskMgr->Stats();
    queued += stats.queued;
    running += stats.running;
  }
  std::string text = "process: " + VelaAddressText(CProcID(VelaGetProcId(), VelaGetProcHandle())) + '\n';
  text += Line("pid: %d", getpid());
  text += Line("uptime: %lld",
               static_cast<long long>(std::chrono::duration_cast<std::chrono::seconds>(upTime).count()));
  text += Line("stopping: %s", VelaIsExit() ? "yes" : "no");
  text += Line("queued: %u\nrunning: %u", queued, running);
  text += Line("missions: %zu", ProgressMgr::Missions().size());
  text += Line("operations: %zu\nlocks: %zu", opers.size(), objects);
  return text;
}

// What belongs to a request: found by its task, or by its mission.
class RequestDump {
 public:
  static RequestDump OfTask(std::uint32_t task) {
    RequestDump dump;
    dump.m_tasks.insert(task);
    dump.Collect();
    return dump;
  }

  static RequestDump OfMission(std::int32_t mission) {
    RequestDump dump;
    dump.m_missions.insert(mission);
    dump.Collect();
    return dump;
  }

  std::string Text() const {
    std::string text;
    for (const TERunningMission& mission : ProgressMgr::Missions())
      if (m_missions.contains(mission.m_key.m_nMissionNo)) text += Show(mission);
    text += ShowAll(m_opers);
    for (const MissionStatus& mission : ListMissions())
      if (m_missions.contains(mission.client.m_nMissionNo)) text += Show(mission);
    for (const TEOpenErrFrame& frame : TEOperErrorLogIF::OpenFrames())
      if (m_threads.contains(frame.m_nThreadID)) text += Show(frame);
    for (const TEOpenTimeLog& log : TETimeLog::OpenLogs())
      if (m_threads.contains(log.m_nThreadID)) text += Show(log);
    if (!m_records.empty()) text += Line("held-back records: %zu", m_records.size());
    std::string lines;
    for (const DebugLogRecord& record : m_records) AppendRecord(lines, record);
    return lines.empty() ? text : text + lines.substr(1) + '\n';
  }

 private:
  // The mission, and what is held for it, lead to its tasks, and these to what they hold without it.
  void Collect() {
    for (const TERunningMission& mission : ProgressMgr::Missions()) {
      const auto ours = [this](const TERunningMission::Task& task) {
        return m_tasks.contains(task.m_wTaskID);
      };
      const bool hasOurs = std::any_of(mission.m_tasks.begin(), mission.m_tasks.end(), ours);
      if (hasOurs) m_missions.insert(mission.m_key.m_nMissionNo);
      if (!m_missions.contains(mission.m_key.m_nMissionNo)) continue;
      for (const TERunningMission::Task& task : mission.m_tasks) m_tasks.insert(task.m_wTaskID);
    }
    std::vector<TERunningOperObjects> opers = RunningOpers();
    for (const TERunningOperObjects& oper : opers) {
      if (!Holds(oper)) continue;
      if (oper.m_bMission) m_missions.insert(oper.m_mission.m_nMissionNo);
      if (oper.m_wTaskID != 0) m_tasks.insert(oper.m_wTaskID);
    }
    for (TERunningOperObjects& oper : opers)
      if (Holds(oper)) m_opers.push_back(std::move(oper));
    for (DebugLogRecord& record : CommonLogCache().Records()) {
      m_threads.erase(record.osThreadId);
      if (record.taskId == 0 || !m_tasks.contains(record.taskId)) continue;
      m_threads.insert(record.osThreadId);
      m_records.push_back(std::move(record));
    }
    for (const TERunningMission& mission : ProgressMgr::Missions())
      for (const TERunningMission::Task& task : mission.m_tasks)
        if (m_tasks.contains(task.m_wTaskID)) m_threads.insert(task.m_nThreadID);
  }

  bool Holds(const TERunningOperObjects& oper) const {
    const bool ofMission = oper.m_bMission && m_missions.contains(oper.m_mission.m_nMissionNo);
    return ofMission || (oper.m_wTaskID != 0 && m_tasks.contains(oper.m_wTaskID));
  }

  std::set<std::uint32_t> m_tasks;
  std::set<std::int32_t> m_missions;
  std::set<std::uint32_t> m_threads;
  std::vector<TERunningOperObjects> m_opers;
  std::vector<DebugLogRecord> m_records;
};

std::string DumpRequest(const CommandWords& args) {
  const std::optional<std::uint32_t> number = args.size() == 3 ? CommandNumber(args[2]) : std::nullopt;
  const bool isTask = number && args[1] == "task";
  if (!isTask && !(number && args[1] == "mission"))
    return FailedReply("Say: dumprequest task N, or dumprequest mission N\n");
  const RequestDump dump =
      isTask ? RequestDump::OfTask(*number) : RequestDump::OfMission(static_cast<std::int32_t>(*number));
  const std::string text = dump.Text();
  return text.empty() ? FailedReply("No trace of it in this process.\n") : text;
}

class InspectionCommand : public NamedCommand {
 public:
  using Answer = std::string (*)(const CommandWords&);

  InspectionCommand(const char* name, const char* help, Answer answer)
      : NamedCommand(name, help), m_answer(answer) {}
  std::string Execute(const CommandWords& args) override { return m_answer(args); }

 private:
  const Answer m_answer;
};

}  // namespace

void AddInspectionCommands() {
  constexpr std::size_t kCommands = 8;
  // Never destroyed: a manager may know them until the process ends.
  static InspectionCommand* const commands = new InspectionCommand[kCommands]{
      {"listoper", "Usage: listoper\nShows the operations that run.\n", ListOper},
      {"status", "Usage: status\nShows what this process is and how busy it is.\n", Status},
      {"listmission", "Usage: listmission\nShows the missions, also those that are spread over processes.\n",
       ListMission},
      {"listerror", "Usage: listerror\nShows the open error frames.\n", ListError},
      {"listtimelog", "Usage: listtimelog\nShows the open time logs.\n", ListTimeLog},
      {"listtranslog", "Usage: listtranslog\nShows the transactions.\n", ListTransLog},
      {"listqueue", "Usage: listqueue\nShows what waits and what was lost: tasks, bus, log.\n", ListQueue},
      {"dumprequest",
       "Usage: dumprequest task N | mission N\nShows what the process knows about one request.\n",
       DumpRequest}};
  for (std::size_t i = 0; i < kCommands; ++i) AddDebugCommand(&commands[i]);
}

}  // namespace NSTE_util
