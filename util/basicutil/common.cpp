#include "util/basicutil/common.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "platform/config/frame_util.h"
#include "platform/os/mutex.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common_logger.h"
#include "util/basicutil/common_manager.h"
#include "util/basicutil/env_settings.h"

namespace NSTE_util {

constinit std::atomic<bool> g_bEnableMmlTrace{true};
constinit std::atomic<int> g_SlotMode{0};

TEDebugInterface::~TEDebugInterface() = default;
TEDebugCommand::~TEDebugCommand() = default;

namespace {

constinit std::atomic<TEDebugInterface*> g_defaultInterface{nullptr};
constinit std::atomic<TEDebugInterface*> g_alarmInterface{nullptr};
constinit std::atomic<bool> g_slotModeRead{false};
constinit vela::Mutex g_consoleMutex;

// Two threads may fetch at once: they get the same logger.
TEDebugInterface& Fetched(std::atomic<TEDebugInterface*>& kept, const char* name) {
  if (TEDebugInterface* const known = kept.load(std::memory_order_acquire)) [[likely]]
    return *known;
  TEDebugInterface* const fetched = GetDebugInterface(name);
  if (fetched == nullptr) {
    std::fflush(nullptr);
    std::_Exit(1);
  }
  kept.store(fetched, std::memory_order_release);
  return *fetched;
}

void PrintWhole(const char* text) {
  vela::MutexLock lock(g_consoleMutex);
  std::fputs(text, stdout);
}

}  // namespace

void ReportAssert(const char* unit, int line, const char* expression) {
  GetDefaultDebugInterface().PrintExceptionF(
      "ASSERT: file util/basicutil/%s, line %d assertion failed for '%s'.\n", unit, line, expression);
}

TEDebugInterface& GetDefaultDebugInterface() {
  return Fetched(g_defaultInterface, "default");
}

TEDebugInterface& GetAlmDebugInterface() {
  return Fetched(g_alarmInterface, "alarm");
}

// All interfaces of the manager are loggers.
static TEDebugLogger& DefaultLogger() {
  return static_cast<TEDebugLogger&>(GetDefaultDebugInterface());
}

TEDebugInterface* GetDebugInterface(const char* name) {
  TEDebugMgrImpl* const manager = TEDebugMgrImpl::Instance();
  return manager == nullptr ? nullptr : manager->GetDebugInterface(name == nullptr ? "" : name);
}

void WriteLog(const char* text) {
  GetDefaultDebugInterface().Print(3, text);
}

void WriteException(const char* text) {
  GetDefaultDebugInterface().PrintException(text);
}

void TETrace(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const FormattedText text(format, args);
  va_end(args);
  DefaultLogger().PrintText(3, text.View());
}

void TEAlmTrace(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const FormattedText text(format, args);
  va_end(args);
  GetAlmDebugInterface().Print(1, text.Text());
}

void TEMmlTrace(const char* format, ...) {
  if (!g_bEnableMmlTrace.load(std::memory_order_relaxed)) return;
  std::va_list args;
  va_start(args, format);
  const FormattedText text(format, args);
  va_end(args);
  PrintWhole(text.Text());
}

void PrintToScreen(const char* text) {
  if (!g_bEnablePrint.load(std::memory_order_relaxed) || text == nullptr) return;
  PrintWhole(text);
}

int TERand() {
  return std::rand();
}

int GetSlotMode() {
  if (g_slotModeRead.load(std::memory_order_acquire)) return g_SlotMode;
  std::string value;
  if (FrameUtil::GetUserCfgInfo("TRANS", "slotModeflg", value) == 0 && !value.empty()) {
    const int mode = std::atoi(value.c_str());
    g_SlotMode = mode;
    g_slotModeRead.store(true, std::memory_order_release);
    TETrace("Get cfg from MCDB..tbl_usercfg_param succeed g_SlotMode= %d", mode);
    return mode;
  }
  g_SlotMode = 0;
  TETrace("Get cfg from MCDB..tbl_usercfg_param failed, use default value. g_SlotMode= %d", 0);
  return 0;
}

int AddDebugCommand(TEDebugCommand* command) {
  TEDebugMgrImpl* const manager = TEDebugMgrImpl::Instance();
  return manager == nullptr ? -1 : manager->AddDebugCommand(command);
}

void RemoveDebugCommand(TEDebugCommand* command) {
  if (TEDebugMgrImpl* const manager = TEDebugMgrImpl::Instance()) manager->RemoveDebugCommand(command);
}

void RemoveDebugCommand(const std::string& name) {
  if (TEDebugMgrImpl* const manager = TEDebugMgrImpl::Instance()) manager->RemoveDebugCommand(name);
}

}  // namespace NSTE_util
