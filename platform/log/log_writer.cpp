#include "platform/log/log_writer.h"

#include <signal.h>
#include <spdlog/sinks/sink.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <optional>

#include "platform/log/thread_id.h"

namespace vela::log {
namespace {

constexpr const char* kFlushMark = "\x01";  // the log name of a mark that Flush posts; its time is the ticket
constexpr const char* kAlarm = "alarm";

// The queue carries the level as a source line: the library's own levels are fewer than ours.
spdlog::details::log_msg Packed(const Record& record) {
  spdlog::details::log_msg msg(record.time, spdlog::source_loc(nullptr, record.level, nullptr),
                               spdlog::string_view_t(record.log.data(), record.log.size()),
                               spdlog::level::info,
                               spdlog::string_view_t(record.text.data(), record.text.size()));
  msg.thread_id = record.threadId;
  return msg;
}

Record Unpacked(const spdlog::details::log_msg& msg) {
  return {std::chrono::floor<std::chrono::microseconds>(msg.time),
          {msg.logger_name.data(), msg.logger_name.size()},
          msg.source.line,
          static_cast<std::uint32_t>(msg.thread_id),
          {msg.payload.data(), msg.payload.size()}};
}

// Signals belong to the threads of the program.
void BlockSignals() {
  sigset_t all;
  ::sigfillset(&all);
  for (const int fault : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT}) ::sigdelset(&all, fault);
  ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace

void WriteToStandardError(const Record& record) {
  std::string line;
  AppendLine(line, record);
  for (std::string_view rest = line; !rest.empty();) {
    const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
    if (written <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

// Runs on the background thread. Lines are collected and written when the queue is empty or a block is full.
class Writer::FileSink : public spdlog::sinks::sink {
 public:
  FileSink(const WriterConfig& config, const spdlog::details::thread_pool* pool)
      : m_pool(const_cast<spdlog::details::thread_pool*>(pool)), m_module(config.modulePath, config.limits) {
    if (!config.alarmPath.empty()) m_alarm.emplace(config.alarmPath, config.limits);
  }

  void log(const spdlog::details::log_msg& msg) override {
    const Record record = Unpacked(msg);
    if (record.log == kFlushMark) {
      WriteOut();
      Reach(static_cast<std::uint64_t>(record.time.time_since_epoch().count()));
    } else if (m_closed.load(std::memory_order_acquire)) {
      WriteToStandardError(record);
    } else {
      Append(record);
    }
    if (--m_backlog <= 0) CheckQueue();
  }

  void flush() override {}
  void set_pattern(const std::string&) override {}
  void set_formatter(std::unique_ptr<spdlog::formatter>) override {}

  std::uint64_t NextTicket() VELA_EXCLUDES(m_mutex) {
    MutexLock lock(m_mutex);
    return ++m_lastTicket;
  }

  // True when the mark has come through.
  bool WaitFor(std::uint64_t ticket, std::chrono::steady_clock::time_point until) VELA_EXCLUDES(m_mutex) {
    MutexLock lock(m_mutex);
    while (m_reached < ticket) {
      if (!m_cond.WaitUntil(m_mutex, until)) return m_reached >= ticket;
    }
    return true;
  }

  void Close() { m_closed.store(true, std::memory_order_release); }
  std::uint64_t Failed() const { return m_failed.load(std::memory_order_relaxed); }
  std::uint64_t Added() const { return m_added.load(std::memory_order_relaxed); }
  std::uint64_t Written() const { return m_written.load(std::memory_order_relaxed); }

 private:
  void Append(const Record& record) {
    RotatingFile& file = record.log == kAlarm && m_alarm ? *m_alarm : m_module;
    m_line.clear();
    AppendLine(m_line, record);
    file.Append(m_line);
    // One thread writes.
    m_written.store(m_written.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    if (m_line.capacity() > kKeptLine) std::string().swap(m_line);
  }

  // The queue only shrinks by what is taken here, so its size needs to be asked for once per so many records.
  void CheckQueue() {
    ReportOverrun();
    m_backlog = static_cast<std::ptrdiff_t>(m_pool->queue_size());
    if (m_backlog == 0) WriteOut();
  }

  void ReportOverrun() {
    const std::uint64_t dropped = m_pool->overrun_counter();
    if (dropped == m_reported) return;
    const std::string text =
        "log: " + std::to_string(dropped - m_reported) + " records lost, the queue was full";
    m_reported = dropped;
    m_added.store(m_added.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    Append({Now(), "", 1, ThreadId(), text});
  }

  void WriteOut() {
    std::uint64_t failed = m_module.WriteOut();
    if (m_alarm) failed += m_alarm->WriteOut();
    if (failed != 0) m_failed.fetch_add(failed, std::memory_order_relaxed);
    if (!m_closed.load(std::memory_order_acquire)) return;
    m_module.Close();
    if (m_alarm) m_alarm->Close();
  }

  void Reach(std::uint64_t ticket) VELA_EXCLUDES(m_mutex) {
    MutexLock lock(m_mutex);
    m_reached = std::max(m_reached, ticket);
    m_cond.NotifyAll();
  }

  static constexpr std::size_t kKeptLine = 64 * 1024;

  spdlog::details::thread_pool* const m_pool;
  RotatingFile m_module;
  std::optional<RotatingFile> m_alarm;
  std::string m_line;
  std::ptrdiff_t m_backlog = 0;
  std::uint64_t m_reported = 0;
  std::atomic<std::uint64_t> m_failed{0};
  std::atomic<std::uint64_t> m_written{0};
  std::atomic<std::uint64_t> m_added{0};  // reports of lost records
  std::atomic<bool> m_closed{false};

  Mutex m_mutex;
  CondVar m_cond;
  std::uint64_t m_lastTicket VELA_GUARDED_BY(m_mutex) = 0;
  std::uint64_t m_reached VELA_GUARDED_BY(m_mutex) = 0;
};

Writer::Writer(const WriterConfig& config)
    : m_pool(std::make_shared<spdlog::details::thread_pool>(config.queueLength, 1, BlockSignals)),
      m_sink(std::make_shared<FileSink>(config, m_pool.get())),
      m_logger(std::make_shared<spdlog::async_logger>("", m_sink, m_pool,
                                                      spdlog::async_overflow_policy::overrun_oldest)),
      m_unowned(std::shared_ptr<spdlog::async_logger>(), m_logger.get()) {}

void Writer::Post(const Record& record) {
  if (record.log != kFlushMark) m_posted.fetch_add(1, std::memory_order_relaxed);
  m_pool->post_log(std::shared_ptr<spdlog::async_logger>(m_unowned), Packed(record),
                   spdlog::async_overflow_policy::overrun_oldest);
}

void Writer::Mark(std::uint64_t ticket) {
  Post({WallTime(std::chrono::microseconds(ticket)), kFlushMark, 0, 0, {}});
}

// A full queue may lose the mark too, so it is posted again until it has come through.
bool Writer::Flush(std::chrono::steady_clock::time_point deadline) {
  constexpr std::chrono::milliseconds again(100);
  const std::uint64_t ticket = m_sink->NextTicket();
  while (true) {
    Mark(ticket);
    const auto now = std::chrono::steady_clock::now();
    if (m_sink->WaitFor(ticket, std::min(deadline, now + again))) return true;
    if (std::chrono::steady_clock::now() >= deadline) return false;
  }
}

void Writer::Close() {
  constexpr std::chrono::seconds atMost(2);
  Flush(std::chrono::steady_clock::now() + atMost);
  m_sink->Close();
  Flush(std::chrono::steady_clock::now() + atMost);
}

std::uint64_t Writer::ProducedRecords() const {
  return m_posted.load(std::memory_order_relaxed) + m_sink->Added();
}

std::uint64_t Writer::DroppedRecords() const {
  return m_pool->overrun_counter();
}

std::uint64_t Writer::FailedWrites() const {
  return m_sink->Failed();
}

std::uint64_t Writer::WrittenRecords() const {
  return m_sink->Written();
}

}  // namespace vela::log
