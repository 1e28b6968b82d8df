#pragma once
#include <string>

#include "apps/velactl/options.h"
#include "platform/debug/console.h"

namespace velactl {

// The connection to one process' console. Connects when it must, and again when the process had hung up. One
// thread at a time.
class DebugSession {
 public:
  // `seconds`: how long a reply may take.
  DebugSession(const ServerChoice& server, int seconds) : m_server(server), m_seconds(seconds) {}

  // False with `error`, one line: there is no such process, it is another user's, or what the number stands
  // for is several processes and none of them takes connections.
  bool Connect(std::string& error);
  // The one that Connect has found.
  CProcID Process() const { return m_process; }
  // Runs a command. False with `error`, one line, when there is no reply; a reply is never `refused`.
  bool Ask(const std::string& command, vela::ConsoleReply& reply, std::string& error);

 private:
  bool ConnectTo(CProcID process, std::string& error);

  const ServerChoice m_server;
  const int m_seconds;
  vela::ConsoleClient m_client;
  CProcID m_process;
  bool m_connected = false;
};

// The command goes to the process as one line.
bool IsOneLine(const std::string& command);

// A reply as a terminal may have it: control characters escaped but for tabs and line ends, a line end behind
// the last line.
std::string PrintableReply(const std::string& text);
// One line: process, command, status and reply.
std::string ReplyJson(CProcID process, const std::string& command, const vela::ConsoleReply& reply);

}  // namespace velactl
