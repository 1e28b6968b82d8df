#include "platform/log/log_process.h"

#include <atomic>
#include <cstdlib>
#include <memory>

#include "platform/log/capture_slot.h"
#include "platform/log/log_settings.h"
#include "platform/log/log_writer.h"
#include "platform/log/thread_id.h"
#include "platform/os/mutex.h"
#include "platform/os/vela_os.h"

namespace {

using vela::log::Record;
using vela::log::Writer;

struct Names {
  std::string directory;
  std::string overrideDirectory;
  std::string module;
  std::string alarm;
};

// Everything is constant-initialised and what is made is never destroyed: records come before main and while
// the process ends.
constinit vela::Mutex g_mutex;
Names* g_names VELA_GUARDED_BY(g_mutex) = nullptr;
constinit std::atomic<Writer*> g_writer{nullptr};

constexpr unsigned kAllLevels = 0xF;
constinit std::atomic<unsigned> g_levels{kAllLevels};  // what is written: both of the following
constinit std::atomic<unsigned> g_configuredLevels{kAllLevels};
constinit std::atomic<unsigned> g_chosenLevels{kAllLevels};
constinit std::atomic<bool> g_toScreen{false};

Names& TheNames() VELA_REQUIRES(g_mutex) {
  if (g_names == nullptr) g_names = new Names;
  return *g_names;
}

bool Enabled(unsigned level) {
  return (g_levels.load(std::memory_order_relaxed) >> level & 1U) != 0;
}

void CombineLevels() {
  g_levels.store((g_configuredLevels.load() & g_chosenLevels.load()) | 1U, std::memory_order_relaxed);
}

void Write(std::string_view log, int level, std::string_view text) {
  if (const auto capture = vela::log::g_capture.Get()) return (*capture)(log, level, text);
  const Record record{vela::Now(), log == "alarm" ? "alarm" : "", level, vela::log::ThreadId(), text};
  Writer* const writer = g_writer.load(std::memory_order_acquire);
  if (writer != nullptr) writer->Post(record);
  if (writer == nullptr || g_toScreen.load(std::memory_order_relaxed))
    vela::log::WriteToStandardError(record);
}

// Logging must not harm its caller: without memory for a record, there is no record.
void WriteSafely(std::string_view log, int level, std::string_view text) noexcept {
  try {
    Write(log, level, text);
  } catch (...) {
  }
}

// A file name of its own: no folder, no "_" at its end.
std::string FileName(std::string name) {
  if (name.ends_with('_')) name.pop_back();
  for (char& c : name) {
    if (c == '/' || c == '\0') c = '_';
  }
  return name;
}

std::string DefaultModule(const char* program, int handle) {
  const std::string path = program == nullptr ? "" : program;
  const std::string name = path.substr(path.rfind('/') + 1);
  const std::string module = name.empty() ? "server" : name;
  return handle == 0 ? module : module + "_" + std::to_string(handle);
}

std::string DirectoryOf(const Names& names) {
  std::string directory = names.overrideDirectory.empty() ? names.directory : names.overrideDirectory;
  if (directory.empty()) directory = vela::InstallRoot() + "var/logs";
  while (directory.size() > 1 && directory.ends_with('/')) directory.pop_back();
  return directory;
}

// Registered once: the log of a process that just returns from main is complete.
void ShutdownAtExit() {
  static const int registered = std::atexit(LogProcess::Shutdown);
  static_cast<void>(registered);
}

// Closed writers are kept reachable, see Writer.
void CloseWriter() {
  struct Closed {
    Writer* writer;
    Closed* next;
  };
  static constinit std::atomic<Closed*> closed{nullptr};
  Writer* const writer = g_writer.exchange(nullptr, std::memory_order_acq_rel);
  if (writer == nullptr) return;
  writer->Close();
  auto* const entry = new Closed{writer, closed.load()};
  while (!closed.compare_exchange_weak(entry->next, entry)) {
  }
}

}  // namespace

void LogProcess::InitEnv(const char* program, int handle) {
  CloseWriter();
  const vela::log::Settings settings = vela::log::ReadSettings();
  vela::log::WriterConfig config{};
  {
    vela::MutexLock lock(g_mutex);
    const Names& names = TheNames();
    const std::string directory = DirectoryOf(names);
    const std::string module = FileName(names.module.empty() ? DefaultModule(program, handle) : names.module);
    const std::string alarm = FileName(names.alarm);
    config.modulePath = directory + "/" + module + ".log";
    if (!alarm.empty()) config.alarmPath = directory + "/" + alarm + ".log";
    vela::log::MakeDirectories(directory);
  }
  config.limits = settings.limits;
  config.queueLength = settings.queueLength;
  g_configuredLevels.store((2U << settings.level) - 1U);
  CombineLevels();
  g_writer.store(new Writer(config), std::memory_order_release);
  ShutdownAtExit();
}

void LogProcess::SetFiles(const std::string& directory, const std::string& moduleName,
                          const std::string& alarmName) {
  vela::MutexLock lock(g_mutex);
  Names& names = TheNames();
  names.directory = directory;
  names.module = moduleName;
  names.alarm = alarmName;
}

void LogProcess::OverrideDirectory(const std::string& directory) {
  vela::MutexLock lock(g_mutex);
  TheNames().overrideDirectory = directory;
}

std::string LogProcess::Directory() {
  vela::MutexLock lock(g_mutex);
  return DirectoryOf(TheNames());
}

void LogProcess::Fixme(std::string_view text) {
  WriteSafely("", 0, text);
}

void LogProcess::Error(std::string_view text) {
  if (isErrorEnabled()) WriteSafely("", 1, text);
}

void LogProcess::Info(std::string_view text) {
  if (isInfoEnabled()) WriteSafely("", 2, text);
}

void LogProcess::Debug(std::string_view text) {
  if (isDebugEnabled()) WriteSafely("", 3, text);
}

bool LogProcess::isErrorEnabled() {
  return Enabled(1);
}

bool LogProcess::isInfoEnabled() {
  return Enabled(2);
}

bool LogProcess::isDebugEnabled() {
  return Enabled(3);
}

void LogProcess::SetLevels(std::bitset<32> levels, bool toScreen) {
  g_chosenLevels.store(static_cast<unsigned>(levels.to_ulong()));
  g_toScreen.store(toScreen, std::memory_order_relaxed);
  CombineLevels();
}

void LogProcess::ForceLog(const char* name, int level, std::string_view text) {
  WriteSafely(name == nullptr ? "" : name, level, text);
}

bool LogProcess::Flush(int milliseconds) {
  Writer* const writer = g_writer.load(std::memory_order_acquire);
  if (writer == nullptr) return true;
  return writer->Flush(std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds));
}

void LogProcess::Shutdown() {
  CloseWriter();
}

std::uint64_t LogProcess::ProducedRecords() {
  Writer* const writer = g_writer.load(std::memory_order_acquire);
  return writer == nullptr ? 0 : writer->ProducedRecords();
}

std::uint64_t LogProcess::DroppedRecords() {
  Writer* const writer = g_writer.load(std::memory_order_acquire);
  return writer == nullptr ? 0 : writer->DroppedRecords();
}

std::uint64_t LogProcess::FailedWrites() {
  Writer* const writer = g_writer.load(std::memory_order_acquire);
  return writer == nullptr ? 0 : writer->FailedWrites();
}

std::uint64_t LogProcess::WrittenRecords() {
  Writer* const writer = g_writer.load(std::memory_order_acquire);
  return writer == nullptr ? 0 : writer->WrittenRecords();
}
