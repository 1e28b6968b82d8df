#pragma once
#include <sys/un.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message/proc_id.h"
#include "platform/os/file_descriptor.h"

// Where the consoles of one installation root listen: an owner-only folder with one socket for each process,
// "<number>-<handle>.sock"; and what both ends of a connection need. Internal.
namespace vela {

using ConsoleDeadline = std::chrono::steady_clock::time_point;

// The folder itself; an empty `path` is var/run/console below the root.
class ConsoleFolder {
 public:
  // Makes it where it is missing. False, and the reason, when it cannot be made, belongs to somebody else or
  // others may write to it.
  bool Make(const std::string& path, std::string& error);
  // 0 or errno.
  int Open(const std::string& path);

  // A socket that listens at the process' name; what a killed process left there is replaced. Invalid, and
  // the reason, when a live process listens there.
  FileDescriptor Listen(CProcID process, std::string& error) const;
  void Remove(CProcID process) const;
  // Invalid and errno. Waits while nobody accepts, at most until the deadline.
  FileDescriptor Connect(CProcID process, ConsoleDeadline deadline) const;
  // Everything that has a name, ascending; dead ones too.
  std::vector<CProcID> Names() const;

 private:
  // Short however deep the folder lies: valid in this process while this object lives.
  sockaddr_un Address(CProcID process) const;

  FileDescriptor m_folder;
};

// Milliseconds until then, as poll takes them; 0 when it has passed.
int MillisecondsUntil(ConsoleDeadline deadline);
// Bytes that have arrived, at most `room`: their number, 0 at the end of the connection, -1 when the deadline
// has passed or the connection is broken.
ssize_t ReadSome(int socket, char* bytes, std::size_t room, ConsoleDeadline deadline);
// False when not all bytes were taken until then.
bool WriteAll(int socket, std::string_view bytes, ConsoleDeadline deadline);

}  // namespace vela
