#include "apps/velactl/ps_command.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "apps/common/texts.h"
#include "apps/velactl/client_process.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/json.h"
#include "apps/velactl/options.h"
#include "apps/velactl/table.h"
#include "platform/bus/bus.h"
#include "platform/debug/console.h"
#include "platform/os/clock.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"

namespace velactl {
namespace {

constexpr int kReplySeconds = 5;

struct RunningProcess {
  CProcID process;
  pid_t pid = 0;
  // Nothing of a process that does not answer.
  std::optional<int> upTime;  // seconds
  std::optional<int> missions;
  std::optional<int> locks;
};

struct PsOptions : RequestOptions {
  bool bus = false;
};

bool ParseOptions(const std::vector<std::string>& arguments, PsOptions& options, std::string& error) {
  const auto take = [&](const std::size_t& i, std::string& wrong) {
    if (arguments[i] == "--bus") return options.bus = true;
    if (!arguments[i].starts_with("--process")) return false;
    wrong = apps::Text("OPTION_UNKNOWN", {arguments[i]});
    return true;
  };
  options.timeOut = kReplySeconds;
  return ReadArguments("ps", arguments, options, take, error);
}

// The number behind "name: " in a reply of such lines.
std::optional<int> Value(const std::string& reply, const std::string& name) {
  const std::string label = '\n' + name + ": ";
  const std::size_t found = reply.find(label);
  if (found == std::string::npos) return std::nullopt;
  const std::size_t start = found + label.size();
  return ParseNumber(std::string_view(reply).substr(start, reply.find('\n', start) - start), 0, INT_MAX);
}

// All are asked before the first answer is awaited, so that one that hangs holds up nobody else.
std::vector<RunningProcess> AskAll(const std::vector<CProcID>& named, int seconds) {
  struct Asked {
    RunningProcess row;
    vela::ConsoleClient client;
  };
  std::vector<Asked> asked;
  for (const CProcID process : named) {
    vela::ConsoleClient client;
    const int code = client.Connect(process, 1);
    if (code == ENOENT || code == ECONNREFUSED) continue;
    if (code == 0) client.Send("status", 1);
    asked.push_back({{process, client.Pid(), {}, {}, {}}, std::move(client)});
  }
  const auto deadline = std::chrono::steady_clock::now() + vela::ScaledSeconds(seconds);
  std::vector<RunningProcess> rows;
  for (Asked& each : asked) {
    vela::ConsoleReply reply;
    if (each.client.Receive(deadline, reply) == vela::ConsoleClient::Result::ok) {
      each.row.upTime = Value(reply.text, "uptime");
      each.row.missions = Value(reply.text, "missions");
      each.row.locks = Value(reply.text, "locks");
    }
    rows.push_back(each.row);
  }
  return rows;
}

std::string NumberText(std::optional<int> number) {
  return number ? std::to_string(*number) : "-";
}

// "1d 02:03:04", the days only where there are some.
std::string UpTimeText(std::optional<int> seconds) {
  if (!seconds) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", *seconds / 3600 % 24, *seconds / 60 % 60, *seconds % 60);
  const int days = *seconds / 86400;
  return days == 0 ? text : std::to_string(days) + "d " + text;
}

std::string TableText(const std::vector<RunningProcess>& rows) {
  Table table({apps::Text("PS_HEAD_NUMBER"), apps::Text("PS_HEAD_HANDLE"), "PID",
               apps::Text("PS_HEAD_UPTIME"), apps::Text("PS_HEAD_MISSIONS"), apps::Text("PS_HEAD_LOCKS")});
  for (const RunningProcess& row : rows)
    table.Add({std::to_string(row.process.Number()), std::to_string(row.process.Handle()),
               row.pid == 0 ? "-" : std::to_string(row.pid), UpTimeText(row.upTime), NumberText(row.missions),
               NumberText(row.locks)});
  return table.Text();
}

std::string JsonNumber(std::optional<int> number) {
  return number ? std::to_string(*number) : "null";
}

std::string JsonText(const std::vector<RunningProcess>& rows) {
  std::string text = "[";
  for (const RunningProcess& row : rows) {
    text += text.size() == 1 ? "\n  " : ",\n  ";
    text += "{\"number\": " + std::to_string(row.process.Number()) +
            ", \"handle\": " + std::to_string(row.process.Handle()) +
            ", \"pid\": " + JsonNumber(row.pid == 0 ? std::nullopt : std::optional<int>(row.pid)) +
            ", \"uptime\": " + JsonNumber(row.upTime) + ", \"missions\": " + JsonNumber(row.missions) +
            ", \"locks\": " + JsonNumber(row.locks) + "}";
  }
  return text + (rows.empty() ? "]\n" : "\n]\n");
}

std::string MembersText(const std::vector<vela::BusMemberInfo>& members) {
  Table table({apps::Text("PS_HEAD_NUMBER"), apps::Text("PS_HEAD_HANDLE"), apps::Text("PS_HEAD_HOST"),
               apps::Text("PS_HEAD_STATE")});
  for (const vela::BusMemberInfo& member : members)
    table.Add({std::to_string(member.address.Number()), std::to_string(member.address.Handle()), member.host,
               member.silent ? apps::Text("PS_SILENT") : apps::Text("PS_PRESENT")});
  return table.Text();
}

std::string MembersJson(const std::vector<vela::BusMemberInfo>& members) {
  std::string text = "[";
  for (const vela::BusMemberInfo& member : members) {
    text += text.size() == 1 ? "\n  " : ",\n  ";
    text += "{\"number\": " + std::to_string(member.address.Number()) +
            ", \"handle\": " + std::to_string(member.address.Handle()) +
            ", \"host\": " + JsonString(member.host) +
            ", \"silent\": " + (member.silent ? "true}" : "false}");
  }
  return text + "\n]\n";
}

// Joins the bus as a client to see who is there; that client is left out.
int ListMembers(char* argv0, bool json) {
  ClientProcess process;
  std::string error;
  if (!process.Start(argv0, error)) return Fail(error);
  std::vector<vela::BusMemberInfo> members = VelaAppMgr::Instance()->GetBus()->Members();
  const CProcID own(VelaGetProcId(), VelaGetProcHandle());
  std::erase_if(members, [own](const vela::BusMemberInfo& member) { return member.address == own; });
  return Print(json ? MembersJson(members) : MembersText(members)) ? EXIT_SUCCESS
                                                                   : Fail(apps::Text("CLIENT_NOT_WRITTEN"));
}

}  // namespace

int PsCommand(char* argv0, const std::vector<std::string>& arguments) {
  PsOptions options;
  std::string error;
  if (!ParseOptions(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("PS_HELP").c_str(), stdout) < 0;
  if (options.bus) return ListMembers(argv0, options.json);
  std::vector<CProcID> named;
  if (vela::ConsoleClient::Processes(named) == EACCES) return Fail(apps::Text("DEBUG_NOT_ALLOWED"));
  const std::vector<RunningProcess> rows = AskAll(named, options.timeOut);
  const std::string none = apps::Text("PS_NONE", {vela::InstallRoot()}) + '\n';
  const std::string table = rows.empty() ? none : TableText(rows);
  return Print(options.json ? JsonText(rows) : table) ? EXIT_SUCCESS : Fail(apps::Text("CLIENT_NOT_WRITTEN"));
}

}  // namespace velactl
