#pragma once
#include <spdlog/async_logger.h>
#include <spdlog/details/thread_pool.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "platform/log/log_file.h"
#include "platform/log/log_line.h"
#include "platform/os/mutex.h"

namespace vela::log {

struct WriterConfig {
  std::string modulePath;
  std::string alarmPath;  // empty: alarms go to the module log
  FileLimits limits;
  std::size_t queueLength;
};

// One opened log: the queue, its background thread and the files. A writer is never destroyed, because any
// thread may still be handing it a record; Close() ends its use. Safe in any thread.
class Writer {
 public:
  explicit Writer(const WriterConfig& config);
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // Queues the record; a full queue loses its oldest one.
  void Post(const Record& record);
  // Waits until everything posted before is in the files; false when the deadline passed first.
  bool Flush(std::chrono::steady_clock::time_point deadline);
  // Records that are still posted go to standard error.
  void Close();

  // Posted ones, and those that the writer adds itself; each of them is written or dropped.
  std::uint64_t ProducedRecords() const;
  std::uint64_t DroppedRecords() const;
  std::uint64_t FailedWrites() const;
  std::uint64_t WrittenRecords() const;

 private:
  class FileSink;

  void Mark(std::uint64_t ticket);

  std::shared_ptr<spdlog::details::thread_pool> m_pool;
  std::shared_ptr<FileSink> m_sink;
  std::shared_ptr<spdlog::async_logger> m_logger;
  // Refers to m_logger without owning it: a copy costs no atomic operation.
  std::shared_ptr<spdlog::async_logger> m_unowned;
  std::atomic<std::uint64_t> m_posted{0};
};

// Writes the record to standard error, as one call.
void WriteToStandardError(const Record& record);

}  // namespace vela::log
