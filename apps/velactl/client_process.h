#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "platform/message/proc_id.h"

namespace velactl {

// This program as a process of the platform: a client, with an address of its own from the first free one of
// the group 3003, one task manager, and log files below the root. One at a time.
class ClientProcess {
 public:
  ClientProcess() = default;
  ~ClientProcess();
  ClientProcess(const ClientProcess&) = delete;
  ClientProcess& operator=(const ClientProcess&) = delete;

  // False with `error`, one line.
  bool Start(char* argv0, std::string& error);

  // A live server process of that number: the one with `handle`, or any when that is 0.
  static std::optional<CProcID> FindServer(std::uint16_t number, std::uint16_t handle);
  static bool IsAlive(CProcID process);

 private:
  bool m_running = false;
};

}  // namespace velactl
