#pragma once
#include "platform/message/proc_id.h"

namespace velactl {

// Whether the server that a command waits for still lives. For one thread.
class ServerWatch {
 public:
  explicit ServerWatch(CProcID server) : m_server(server) {}

  // Waits a moment for the Inbox or for a signal at that descriptor; looks at the server when nothing came.
  void Wait(int signals);
  // It was not found several times in a row: an answer may still be under way when it has just gone.
  bool IsGone() const;

 private:
  const CProcID m_server;
  int m_missed = 0;  // looks in a row
};

}  // namespace velactl
