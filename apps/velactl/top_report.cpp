#include "apps/velactl/top_report.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "apps/common/texts.h"
#include "apps/velactl/asn_values.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/json.h"
#include "apps/velactl/table.h"
#include "apps/velactl/topology_report.h"
#include "apps/velactl/utf8.h"
#include "platform/task/vela_error.h"

namespace velactl {
namespace {

using Answer = ProcessAnswer<AsnStatusRsp>;

std::string StateText(const Answer& answer) {
  switch (answer.code) {
    case 0:
      return apps::Text("TOP_SERVES");
    case VELA_ERR_NO_ANSWER:
      return apps::Text("TOP_NO_ANSWER");
    case VELA_ERR_NO_RECEIVER:
      return apps::Text("TOP_ENDED");
    case VELA_ERR_NO_HANDLER:
      return apps::Text("TOP_NO_HANDLER");
    default:
      return HexCode(answer.code);
  }
}

std::string MemoryText(const AsnInt& kibibytes) {
  const std::int64_t number = Number(kibibytes);
  return number < 10240 ? std::to_string(number) + " K" : std::to_string(number / 1024) + " M";
}

std::string Sum(const AsnInt& a, const AsnInt& b) {
  return std::to_string(Number(a) + Number(b));
}

void AddProcess(Table& table, const Answer& answer) {
  std::vector<std::string> row = {AddressText(answer.process), StateText(answer)};
  if (answer.code == 0) {
    const AsnStatusRsp& status = *answer.message;
    row.insert(row.end(),
               {AgeText(Number(status.uptime)), MemoryText(status.memory), NumberText(status.running),
                NumberText(status.queued), NumberText(status.served), NumberText(status.locks),
                NumberText(status.frames), NumberText(status.threads), NumberText(status.descriptors),
                NumberText(status.sent), NumberText(status.received), Sum(status.refused, status.dropped),
                NumberText(status.logDropped)});
  }
  table.Add(row);
}

std::string ProcessTable(const TopView& view) {
  Table table({apps::Text("TOP_HEAD_PROCESS"), apps::Text("TOP_HEAD_STATE"), apps::Text("TOP_HEAD_UP"),
               apps::Text("TOP_HEAD_MEMORY"), apps::Text("TOP_HEAD_RUNNING"), apps::Text("TOP_HEAD_QUEUED"),
               apps::Text("TOP_HEAD_SERVED"), apps::Text("TOP_HEAD_LOCKS"), apps::Text("TOP_HEAD_FRAMES"),
               apps::Text("TOP_HEAD_THREADS"), apps::Text("TOP_HEAD_FILES"), apps::Text("TOP_HEAD_SENT"),
               apps::Text("TOP_HEAD_RECEIVED"), apps::Text("TOP_HEAD_LOST"),
               apps::Text("TOP_HEAD_LOG_LOST")});
  for (const Answer& answer : view.processes) AddProcess(table, answer);
  return table.Text();
}

std::string PercentText(const AsnInt& percent) {
  return Number(percent) < 0 ? "-" : NumberText(percent) + '%';
}

std::string MissionTable(const TopView& view) {
  Table table({apps::Text("TOP_HEAD_PROCESS"), apps::Text("TOP_HEAD_MISSION"), apps::Text("TOP_HEAD_CLIENT"),
               apps::Text("TOP_HEAD_DONE"), apps::Text("TOP_HEAD_AGE"), apps::Text("TOP_HEAD_WHAT")});
  bool any = false;
  for (const Answer& answer : view.processes) {
    for (const AsnStatusMission& mission : answer.message->missions) {
      any = true;
      table.Add({AddressText(answer.process), NumberText(mission.mission),
                 AddressText(Process(mission.client, mission.handle)), PercentText(mission.percent),
                 AgeText(Number(mission.age)), Bytes(mission.what)});
    }
  }
  return any ? table.Text() : apps::Text("MISSIONS_NONE") + '\n';
}

// The counters, under the names that the message has for them.
std::string StatusJson(const AsnStatusRsp& status) {
  const std::pair<const char*, const AsnInt*> fields[] = {{"pid", &status.pid},
                                                          {"uptime", &status.uptime},
                                                          {"memory", &status.memory},
                                                          {"descriptors", &status.descriptors},
                                                          {"threads", &status.threads},
                                                          {"queued", &status.queued},
                                                          {"running", &status.running},
                                                          {"served", &status.served},
                                                          {"refused", &status.refused},
                                                          {"locks", &status.locks},
                                                          {"frames", &status.frames},
                                                          {"sent", &status.sent},
                                                          {"received", &status.received},
                                                          {"dropped", &status.dropped},
                                                          {"produced", &status.produced},
                                                          {"logged", &status.logged},
                                                          {"logDropped", &status.logDropped}};
  std::string text;
  for (const auto& [name, value] : fields) text += std::string(", \"") + name + "\": " + NumberText(*value);
  return text;
}

std::string MissionJson(const Answer& answer, const AsnStatusMission& mission) {
  return "{\"process\": " + JsonString(AddressText(answer.process)) +
         ", \"mission\": " + NumberText(mission.mission) +
         ", \"client\": " + JsonString(AddressText(Process(mission.client, mission.handle))) +
         ", \"what\": " + JsonString(Bytes(mission.what)) + ", \"percent\": " + NumberText(mission.percent) +
         ", \"age\": " + NumberText(mission.age) + '}';
}

}  // namespace

std::string AgeText(std::int64_t seconds) {
  if (seconds < 0) return "-";
  if (seconds < 120) return apps::Text("TOP_SECONDS", {std::to_string(seconds)});
  if (seconds < 2 * 3600) return apps::Text("TOP_MINUTES", {std::to_string(seconds / 60)});
  if (seconds < 2 * 86400) return apps::Text("TOP_HOURS", {std::to_string(seconds / 3600)});
  return apps::Text("TOP_DAYS", {std::to_string(seconds / 86400)});
}

std::string TopText(const TopView& view) {
  return apps::Text("TOP_SUMMARY", {LocalTimeText(view.time), std::to_string(view.processes.size()),
                                    std::to_string(view.clients), std::to_string(view.broadcasts),
                                    std::to_string(view.changedNEs)}) +
         "\n\n" + ProcessTable(view) + '\n' + MissionTable(view);
}

std::string TopJson(const TopView& view) {
  std::string processes;
  std::string missions;
  for (const Answer& answer : view.processes) {
    processes += processes.empty() ? "\n" : ",\n";
    processes += "{\"process\": " + JsonString(AddressText(answer.process)) +
                 ", \"errorCode\": " + std::to_string(answer.code) +
                 (answer.code == 0 ? StatusJson(*answer.message) : std::string()) + '}';
    for (const AsnStatusMission& mission : answer.message->missions) {
      missions += missions.empty() ? "\n" : ",\n";
      missions += MissionJson(answer, mission);
    }
  }
  return "{\"time\": " + std::to_string(view.time) + ", \"clients\": " + std::to_string(view.clients) +
         ", \"broadcasts\": " + std::to_string(view.broadcasts) +
         ", \"changedNEs\": " + std::to_string(view.changedNEs) + ",\n\"processes\": [" + processes +
         "\n],\n\"missions\": [" + missions + "\n]}\n";
}

std::string FitScreen(const std::string& text, std::size_t columns, std::size_t rows) {
  std::string fitted;
  std::size_t begin = 0;
  for (std::size_t row = 0; row < rows && begin < text.size(); ++row) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    if (row != 0) fitted += '\n';
    fitted += FitColumns(std::string_view(text).substr(begin, end - begin), columns);
    begin = end + 1;
  }
  return fitted;
}

}  // namespace velactl
