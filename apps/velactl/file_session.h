#pragma once
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "apps/velactl/progress_bar.h"
#include "apps/velactl/server_watch.h"
#include "platform/message/proc_id.h"

namespace SNACC {
class AsnType;
}

namespace velactl {

// A transfer under way: the work is done in a thread of its own, while the caller's thread shows the progress
// on standard error, on a terminal or of large files, and serves the signals.
//
//   event            | first                                 | again
//   -----------------+---------------------------------------+------------------------------
//   SIGINT, SIGTERM  | the work ends at its next step        | the process ends at once (130)
//   server is gone   | waits for an answer still under way   | the wait for the answer ends
class FileSession {
 public:
  // HoldSignals was called before. `seconds`: how long an answer may take. `quiet`: progress on a terminal
  // only.
  FileSession(CProcID server, int seconds, bool quiet);
  ~FileSession();
  FileSession(const FileSession&) = delete;
  FileSession& operator=(const FileSession&) = delete;

  // True when `work` said that all of it was done.
  bool Run(const std::function<bool()>& work);

  // For the work.

  // False when it is to end.
  bool Step(int percent, const std::string& step);
  // Worth a progress bar everywhere.
  void SetLarge() { m_large.store(true, std::memory_order_relaxed); }
  // 0 and the answer in `response`, or a code.
  std::uint32_t Exec(std::uint32_t command, const SNACC::AsnType& request, SNACC::AsnType& response) const;
  bool Leaving() const { return m_leaving.load(std::memory_order_acquire); }
  bool ServerGone() const { return m_gone.load(std::memory_order_acquire); }
  CProcID Server() const { return m_server; }

 private:
  void ShowSteps();
  void ServeSignals();
  bool Shows() const;

  const CProcID m_server;
  const int m_seconds;
  const std::size_t m_columns;
  const bool m_quiet;
  const int m_signals;
  ServerWatch m_life;
  const std::chrono::steady_clock::time_point m_begun;
  ProgressBar m_bar;
  int m_percent = 0;  // of the step that was reached last
  std::string m_step;
  std::thread m_worker;
  std::atomic<bool> m_large{false};
  std::atomic<bool> m_leaving{false};
  std::atomic<bool> m_gone{false};
  std::atomic<bool> m_ended{false};
  bool m_complete = false;  // valid when m_ended
};

}  // namespace velactl
