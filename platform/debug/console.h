#pragma once
#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/message/proc_id.h"

// The operator's console: each process listens on a Unix socket in an owner-only folder, and answers command
// lines one after the other. Its own user and root may connect.
//
//   to the process      one command a line, ended by LF or CR LF; at most 4096 bytes
//   from the process    "OK 12\n", or FAILED or REFUSED, then so many bytes of reply
//
// FAILED: the command is not known, or could not do what it was asked to. REFUSED: nothing was run, and the
// process hangs up: the line was too long, the peer is another user's, or all consoles run commands.
namespace vela {

// How a process serves its operators.
struct ConsoleOptions {
  std::string folder = {};  // empty: var/run/console below the root; made owner-only
  unsigned operators = 16;  // at a time; beyond that, who has been silent longest is hung up on
  int idleSeconds = 600;    // until the next line must be complete
  int writeSeconds = 10;    // until a reply must have been read
  std::size_t maxReply = std::size_t{4} << 20;  // bytes; the rest is cut, and the reply says so
};

// Keys ConsoleOperators, ConsoleIdleSeconds and ConsoleWriteSeconds of etc/conf/vela.cfg; what is missing, or
// out of its range, stays as above (and the latter is logged).
VELA_EXPORT ConsoleOptions ReadConsoleOptions();

// What a process answers to one command.
struct ConsoleReply {
  enum class Status { ok, failed, refused };
  Status status = Status::ok;
  std::string text;
};

// An operator's end of a connection. One thread at a time.
class VELA_EXPORT ConsoleClient {
 public:
  enum class Result {
    ok,
    hungUp,   // before the line was taken: nothing was run; connect and ask again
    noReply,  // in time: nothing is known of the command
    broken    // the connection ended, or this is no console: nothing is known of the command
  };

  ConsoleClient();
  ~ConsoleClient();
  ConsoleClient(ConsoleClient&&) noexcept;
  ConsoleClient& operator=(ConsoleClient&&) noexcept;

  // The processes whose sockets are there, ascending; one that was killed may be among them. 0 or errno:
  // ENOENT when there is no console yet, EACCES when they are another user's. An empty folder name: as in
  // ConsoleOptions.
  static int Processes(std::vector<CProcID>& processes, const std::string& folder = {});

  // 0 or errno: ENOENT and ECONNREFUSED when no such process runs, EACCES when it is another user's, EAGAIN
  // when it accepts nobody for so long.
  int Connect(CProcID process, int seconds, const std::string& folder = {});
  // Who listens there: its process id; 0 without a connection.
  pid_t Pid() const;

  // Sends a command and waits for its reply, `seconds` in all. After all but `ok`, connect again; so after a
  // reply that is `refused`.
  Result Ask(const std::string& line, int seconds, ConsoleReply& reply);
  // The two halves of it, to ask several processes at once.
  bool Send(const std::string& line, int seconds);
  Result Receive(std::chrono::steady_clock::time_point deadline, ConsoleReply& reply);

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace vela
