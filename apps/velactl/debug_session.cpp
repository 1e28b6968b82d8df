#include "apps/velactl/debug_session.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "apps/common/texts.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/json.h"
#include "platform/os/vela_os.h"

namespace velactl {
namespace {

std::string ChoiceText(const ServerChoice& server) {
  const std::string number = std::to_string(server.process);
  return server.handle == 0 ? number : number + '/' + std::to_string(server.handle);
}

std::string NotRunning(const ServerChoice& server) {
  return apps::Text("DEBUG_NOT_RUNNING", {ChoiceText(server), vela::InstallRoot()});
}

}  // namespace

bool DebugSession::ConnectTo(CProcID process, std::string& error) {
  const int code = m_client.Connect(process, m_seconds);
  m_connected = code == 0;
  if (m_connected)
    m_process = process;
  else if (code == ENOENT || code == ECONNREFUSED)
    error = NotRunning(m_server);
  else if (code == EACCES)
    error = apps::Text("DEBUG_NOT_ALLOWED");
  else
    error = apps::Text("DEBUG_NO_CONNECTION", {AddressText(process), std::strerror(code)});
  return m_connected;
}

bool DebugSession::Connect(std::string& error) {
  if (m_server.handle != 0) return ConnectTo(CProcID(m_server.process, m_server.handle), error);
  std::vector<CProcID> processes;
  const int code = vela::ConsoleClient::Processes(processes);
  error = code == EACCES ? apps::Text("DEBUG_NOT_ALLOWED") : NotRunning(m_server);
  return std::any_of(processes.begin(), processes.end(), [&](CProcID process) {
    return process.Number() == m_server.process && ConnectTo(process, error);
  });
}

bool DebugSession::Ask(const std::string& command, vela::ConsoleReply& reply, std::string& error) {
  using Result = vela::ConsoleClient::Result;
  if (!m_connected && !Connect(error)) return false;
  Result result = m_client.Ask(command, m_seconds, reply);
  if (result == Result::hungUp) {
    if (!ConnectTo(m_process, error)) return false;
    result = m_client.Ask(command, m_seconds, reply);
  }
  m_connected = result == Result::ok && reply.status != vela::ConsoleReply::Status::refused;
  if (m_connected) return true;
  const std::string process = AddressText(m_process);
  if (result == Result::ok)
    error = apps::Text("DEBUG_REFUSED", {process, VelaTrim(reply.text)});
  else if (result == Result::noReply)
    error = apps::Text("DEBUG_NO_REPLY", {process, std::to_string(m_seconds)});
  else
    error = apps::Text("DEBUG_BROKEN", {process});
  return false;
}

bool IsOneLine(const std::string& command) {
  return std::none_of(command.begin(), command.end(),
                      [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7F; });
}

std::string PrintableReply(const std::string& text) {
  std::string printable;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t length = std::min(rest.find_first_of("\t\n"), rest.size());
    printable += vela::EscapeControls(rest.substr(0, length));
    printable += length < rest.size() ? rest[length] : '\n';
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  if (printable.ends_with('\t')) printable += '\n';
  return printable;
}

std::string ReplyJson(CProcID process, const std::string& command, const vela::ConsoleReply& reply) {
  const bool ok = reply.status == vela::ConsoleReply::Status::ok;
  return "{\"process\": " + JsonString(AddressText(process)) + ", \"command\": " + JsonString(command) +
         ", \"status\": " + (ok ? "\"ok\"" : "\"failed\"") + ", \"reply\": " + JsonString(reply.text) + "}\n";
}

}  // namespace velactl
