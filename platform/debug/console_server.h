#pragma once
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "platform/debug/console.h"
#include "platform/debug/console_socket.h"
#include "platform/debug/vela_debug_mgr.h"

namespace vela {

class ConsoleSessions;

// The process' end of the consoles: a thread that accepts operators, and one for each of them, so that a
// command that takes long, or an operator who does not read, holds up nobody else. Every command is written
// to the log with its operator and the first line of its reply. Internal.
class ConsoleServer {
 public:
  // Called in any of its threads, several at once.
  using Run = std::function<VelaDebugReply(const std::string& commandLine)>;

  // Null, and the reason, when nobody could connect.
  static std::unique_ptr<ConsoleServer> Open(const ConsoleOptions& options, CProcID self, Run run,
                                             std::string& error);
  ~ConsoleServer();
  ConsoleServer(const ConsoleServer&) = delete;
  ConsoleServer& operator=(const ConsoleServer&) = delete;

  // Hangs up on everybody and waits at most `seconds` for running commands; false when one was abandoned. It
  // may still call `run`. Once.
  bool Close(int seconds);

 private:
  ConsoleServer(ConsoleFolder folder, CProcID self, FileDescriptor listener, FileDescriptor stop,
                std::shared_ptr<ConsoleSessions> sessions);
  void Accept();
  void Enter(FileDescriptor socket);

  const ConsoleFolder m_folder;
  const CProcID m_self;
  FileDescriptor m_listener;
  const FileDescriptor m_stop;  // readable: the accepting thread ends
  const std::shared_ptr<ConsoleSessions> m_sessions;
  std::thread m_thread;
};

}  // namespace vela
