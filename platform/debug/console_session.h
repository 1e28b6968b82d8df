#pragma once
#include <sys/socket.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/debug/console_server.h"
#include "platform/os/mutex.h"

namespace vela {

class ConsoleSessions;

// One operator. Its thread reads, runs and answers; other threads only hang up.
class ConsoleSession {
 public:
  ConsoleSession(FileDescriptor socket, const ucred& peer, unsigned number)
      : m_socket(std::move(socket)), m_peer(peer), m_number(number) {}

  // Serves until either side hangs up.
  void Serve(ConsoleSessions& sessions);
  void Refuse(const std::string& reason);
  // `how`: SHUT_RD lets a reply under way arrive.
  void HangUp(int how) const { shutdown(m_socket.Get(), how); }

 private:
  enum class Input { line, tooLong, ended };

  Input ReadLine(std::string& line, ConsoleDeadline deadline);
  bool Answer(const char* status, const std::string& text, int seconds);
  // To the log, whatever the levels say.
  void Audit(const char* status, const std::string& reply, const std::string& line) const;

  const FileDescriptor m_socket;
  const ucred m_peer;
  const unsigned m_number;  // of the operators of this process, from 1
  std::string m_received;   // behind the last line
};

// Who is served, and by how many threads. Outlives the server while a command runs that was abandoned.
// Thread-safe.
//
//   session  | Begin        | End     | a newcomer needs the place | CloseAll
//   ---------+--------------+---------+----------------------------+----------
//   waiting  | -> running   |         | hung up on, if the oldest  | hung up on
//   running  |              | waiting | stays                      | hung up on
//   hung up  | false        |         |                            |
class ConsoleSessions : public std::enable_shared_from_this<ConsoleSessions> {
 public:
  ConsoleSessions(const ConsoleOptions& options, ConsoleServer::Run run)
      : m_options(options), m_run(std::move(run)) {}

  // Serves the operator in a thread of its own, or refuses.
  void Enter(FileDescriptor socket);
  // Hangs up on all, but lets the replies of running commands arrive until the deadline; true when all
  // threads have ended (replies that nobody reads are given up a second later).
  bool CloseAll(ConsoleDeadline deadline) VELA_EXCLUDES(m_mutex);

  const ConsoleOptions& Options() const { return m_options; }
  VelaDebugReply Run(const std::string& line) const;
  // False when the session has to go.
  bool Begin(const ConsoleSession& session) VELA_EXCLUDES(m_mutex);
  void End(const ConsoleSession& session) VELA_EXCLUDES(m_mutex);

 private:
  struct Place {
    std::shared_ptr<ConsoleSession> session;
    bool running = false;
  };

  bool TakePlace(const std::shared_ptr<ConsoleSession>& session) VELA_EXCLUDES(m_mutex);
  void Leave(const ConsoleSession& session) VELA_EXCLUDES(m_mutex);
  void Serve(ConsoleSession& session);
  void StartThread(const std::shared_ptr<ConsoleSession>& session);
  std::vector<Place>::iterator Find(const ConsoleSession& session) VELA_REQUIRES(m_mutex);

  const ConsoleOptions m_options;
  const ConsoleServer::Run m_run;
  unsigned m_entered = 0;  // of the accepting thread
  Mutex m_mutex;
  CondVar m_left;
  std::vector<Place> m_places VELA_GUARDED_BY(m_mutex);  // who has been silent longest comes first
  unsigned m_threads VELA_GUARDED_BY(m_mutex) = 0;
};

}  // namespace vela
