#include "apps/velactl/process_query.h"

#include "apps/common/texts.h"
#include "apps/velactl/failure.h"
#include "platform/bus/bus.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"

namespace velactl {
namespace {

constexpr int kQuerySeconds = 30;

}  // namespace

std::vector<CProcID> LiveServers(const ServerChoice& choice) {
  std::vector<CProcID> servers;
  const vela::Bus* bus = VelaAppMgr::Instance()->GetBus();
  if (bus == nullptr) return servers;
  for (const CProcID process : bus->LiveProcesses())
    if (process.Number() != VELA_CLIENT_GROUP &&
        (choice.process == 0 || choice.process == process.Number()) &&
        (choice.handle == 0 || choice.handle == process.Handle()))
      servers.push_back(process);
  return servers;
}

std::string NoServerText(const ServerChoice& choice) {
  if (choice.process == 0) return apps::Text("CLIENT_NO_SERVERS", {vela::InstallRoot()});
  const std::string handle = choice.handle != 0 ? "/" + std::to_string(choice.handle) : "";
  return apps::Text("CLIENT_NO_SERVER", {std::to_string(choice.process) + handle, vela::InstallRoot()});
}

std::optional<CProcID> Reach(ClientProcess& process, char* argv0, const ServerChoice& choice,
                             std::string& error) {
  if (!process.Start(argv0, error)) return std::nullopt;
  const auto server = ClientProcess::FindServer(choice.process, choice.handle);
  if (!server) error = NoServerText(choice);
  return server;
}

std::string AskOne(char* argv0, const ServerChoice& choice, std::uint32_t command, const AsnType& request,
                   AsnType& response) {
  ClientProcess process;
  std::string error;
  const auto server = Reach(process, argv0, choice, error);
  if (!server) return error;
  VelaGnlTask task("query");
  const VelaCurrentTaskScope current(&task);
  const std::uint32_t code = CAsnPhyCmd(command, request, *server, kQuerySeconds, 0, 0).Exec(&task, response);
  return code != 0 ? WhyFailed(code, *server) : std::string();
}

}  // namespace velactl
