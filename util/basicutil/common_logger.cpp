#include "util/basicutil/common_logger.h"

#include <ace/Thread.h>

#include <cstdarg>

#include "platform/log/log_process.h"
#include "platform/log/time_formatter.h"
#include "platform/os/clock.h"
#include "platform/os/os_types.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_task.h"

namespace NSTE_util {
namespace {

constexpr std::size_t kKeptCapacity = 8192;  // a record that held a longer text gives its memory back

constexpr std::array<std::string_view, kDebugLevels> kLevelMarks{"],Fixme,[H", "],Error,[H", "],Info, [H",
                                                                 "],Debug,[H"};
constexpr std::string_view kDumpBegin = "***********Dump filtered debug information begin **********";
constexpr std::string_view kDumpEnd =
    "\n***************************************************************Dump filtered debug information end "
    "**********";

std::string_view OrEmpty(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

void HandOver(unsigned level, std::string_view line) {
  switch (level) {
    case 0:
      return LogProcess::Fixme(line);
    case 1:
      return LogProcess::Error(line);
    case 2:
      return LogProcess::Info(line);
    default:
      return LogProcess::Debug(line);
  }
}

bool PlatformWrites(unsigned level) {
  switch (level) {
    case 0:
      return true;
    case 1:
      return LogProcess::isErrorEnabled();
    case 2:
      return LogProcess::isInfoEnabled();
    default:
      return LogProcess::isDebugEnabled();
  }
}

// "module text" on the stack when it is short enough, which it nearly always is.
void WriteLine(unsigned level, const std::string& module, std::string_view text) {
  std::array<char, 4096 + 128> buffer;
  const std::size_t length = module.size() + 1 + text.size();
  if (length > buffer.size()) return HandOver(level, std::string(module).append(1, ' ').append(text));
  char* const behind = std::copy(module.begin(), module.end(), buffer.data());
  *behind = ' ';
  std::copy(text.begin(), text.end(), behind + 1);
  HandOver(level, {buffer.data(), length});
}

// A record's text in a dump. Its own lines must not look like records or like the dump's end: where they
// begin like one, a blank goes before.
void AppendDumped(std::string& out, std::string_view text) {
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    out += text.substr(0, end + 1);
    text.remove_prefix(end + 1);
    if (text.starts_with('[') || text.starts_with('*')) out += ' ';
  }
  out += text;
}

// A library that is loaded at the start may use the quick access to the static block.
thread_local std::uint32_t t_threadId __attribute__((tls_model("initial-exec"))) = 0;

std::uint32_t ThreadId() {
  if (t_threadId == 0) t_threadId = vela::Cut32(ACE_Thread::self());
  return t_threadId;
}

std::uint16_t CurrentTaskId() {
  const VelaTask* const task = VelaGetCurrentTask();
  return task == nullptr ? 0 : task->GetTaskId();
}

void GiveBackLongText(std::string& text) {
  if (text.capacity() > kKeptCapacity) std::string().swap(text);
}

}  // namespace

void FilteredLogCache::Append(unsigned level, const std::string& module, std::string_view text) {
  const auto now = vela::Now().time_since_epoch().count();
  const std::uint32_t threadId = ThreadId();
  const std::uint32_t osThreadId = GetCurrentThreadId();
  const std::uint16_t taskId = CurrentTaskId();
  vela::MutexLock lock(m_mutex);
  if (text.size() > m_byteLimit) [[unlikely]] {
    ++m_droppedForBytes;
    return;
  }
  if (m_count == kCapacity) {
    DropOldest();
    ++m_droppedForNumber;
  }
  if (m_bytes + text.size() > m_byteLimit) [[unlikely]]
    MakeRoom(text.size());
  DebugLogRecord& record = m_records[m_next];
  if (record.text.capacity() > kKeptCapacity && text.size() <= kKeptCapacity) [[unlikely]]
    GiveBackLongText(record.text);
  record.text.assign(text);
  record.level = level;
  record.time = now;
  record.threadId = threadId;
  record.osThreadId = osThreadId;
  record.taskId = taskId;
  record.module = &module;
  m_next = (m_next + 1) % kCapacity;
  m_bytes += text.size();
  ++m_count;
}

void FilteredLogCache::MakeRoom(std::size_t bytes) {
  while (m_bytes + bytes > m_byteLimit) {
    GiveBackLongText(DropOldest());
    ++m_droppedForBytes;
  }
}

std::string& FilteredLogCache::DropOldest() {
  std::string& text = m_records[(m_next + kCapacity - m_count) % kCapacity].text;
  m_bytes -= text.size();
  --m_count;
  return text;
}

const DebugLogRecord& FilteredLogCache::At(std::size_t i) const {
  return m_records[(m_next + kCapacity - m_count + i) % kCapacity];
}

void AppendRecord(std::string& out, const DebugLogRecord& record) {
  out += "\n[";
  out += TimeFormatter::getFormatTime(record.time / 1'000'000,
                                      static_cast<std::int32_t>(record.time % 1'000'000));
  out += kLevelMarks[record.level];
  out += std::to_string(record.threadId);
  out += "] ";
  out += *record.module;
  out += ' ';
  AppendDumped(out, record.text);
}

std::string FilteredLogCache::DumpText() const {
  std::string out(kDumpBegin);
  for (std::size_t i = 0; i < m_count; ++i) AppendRecord(out, At(i));
  out += kDumpEnd;
  return out;
}

void FilteredLogCache::Dump() {
  vela::MutexLock lock(m_mutex);
  LogProcess::Fixme(DumpText());
  for (DebugLogRecord& record : m_records) GiveBackLongText(record.text);
  m_count = 0;
  m_bytes = 0;
}

void FilteredLogCache::SetByteLimit(std::size_t bytes) {
  vela::MutexLock lock(m_mutex);
  m_byteLimit = bytes;
  while (m_bytes > m_byteLimit) {
    GiveBackLongText(DropOldest());
    ++m_droppedForBytes;
  }
}

HeldBackStats FilteredLogCache::Stats() const {
  vela::MutexLock lock(m_mutex);
  return {m_count, m_bytes, m_byteLimit, m_droppedForNumber, m_droppedForBytes};
}

std::vector<DebugLogRecord> FilteredLogCache::Records() const {
  vela::MutexLock lock(m_mutex);
  std::vector<DebugLogRecord> records;
  records.reserve(m_count);
  for (std::size_t i = 0; i < m_count; ++i) records.push_back(At(i));
  return records;
}

FilteredLogCache& CommonLogCache() {
  static FilteredLogCache& cache = *new FilteredLogCache;
  return cache;
}

void WriteRecord(unsigned level, const std::string& module, std::string_view text) {
  if (!PlatformWrites(level)) return;
  WriteLine(level, module, text);
  if (level == 0) CommonLogCache().Dump();
}

TEDebugLogger::TEDebugLogger(std::string name, FilteredLogCache& cache)
    : m_name(std::move(name)), m_isAlarm(m_name == "alarm"), m_cache(cache) {}

// Diagnostics never harm their caller: without memory for a record, there is no record.
void TEDebugLogger::PrintText(unsigned level, std::string_view text) {
  try {
    if (m_isAlarm) return LogProcess::ForceLog("alarm", 5, text);
    const unsigned known = DebugLevel(level);
    if (IsEnabled(known)) return WriteRecord(known, m_name, text);
    m_cache.Append(known, m_name, text);
  } catch (...) {
  }
}

void TEDebugLogger::Print(unsigned int level, const char* text) {
  PrintText(level, OrEmpty(text));
}

void TEDebugLogger::PrintException(const char* text) {
  PrintText(0, OrEmpty(text));
}

void TEDebugLogger::PrintF(unsigned int level, const char* format, ...) {
  __builtin_prefetch(&m_switches);  // comes while the text is formatted, when another core has changed it
  std::va_list args;
  va_start(args, format);
  const FormattedText text(format, args);
  va_end(args);
  PrintText(level, text.View());
}

void TEDebugLogger::PrintExceptionF(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const FormattedText text(format, args);
  va_end(args);
  PrintText(0, text.View());
}

bool TEDebugLogger::IsEnabled(unsigned int level) {
  return level < kDebugLevels && (m_switches.load(std::memory_order_relaxed) >> level & 1U) != 0;
}

std::string TEDebugLogger::GetName() {
  return m_name;
}

}  // namespace NSTE_util
