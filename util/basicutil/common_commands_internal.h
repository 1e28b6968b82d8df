#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "util/basicutil/common.h"
#include "util/basicutil/common_manager.h"

namespace NSTE_util {

// The words of a command line; the first is the command itself.
using CommandWords = std::vector<std::string>;
using CommandList = std::vector<std::unique_ptr<TEDebugCommand>>;

// A whole word as a number: decimal, or hexadecimal with "0x".
std::optional<std::uint32_t> CommandNumber(std::string_view word);

// The name and help text that a command is made with.
class NamedCommand : public TEDebugCommand {
 public:
  NamedCommand(const char* name, const char* help) : m_name(name), m_help(help) {}
  std::string GetName() override { return m_name; }
  std::string GetHelp() override { return m_help; }

 protected:
  static TEDebugMgrImpl& Manager() { return *TEDebugMgrImpl::Instance(); }

 private:
  const char* const m_name;
  const char* const m_help;
};

// The built-in commands by subject; MakeBuiltInCommands puts them into their order.
std::unique_ptr<TEDebugCommand> MakeListSwitch();
std::unique_ptr<TEDebugCommand> MakeSetSwitch();
std::unique_ptr<TEDebugCommand> MakeLoadSwitch();
std::unique_ptr<TEDebugCommand> MakeFlush();
std::unique_ptr<TEDebugCommand> MakeFlushAll();
std::unique_ptr<TEDebugCommand> MakeGetAsnPrintSize();
std::unique_ptr<TEDebugCommand> MakeSetAsnPrintSize();
std::unique_ptr<TEDebugCommand> MakeShutdown();
std::unique_ptr<TEDebugCommand> MakeTestMsg();
std::unique_ptr<TEDebugCommand> MakeGetRegCmd();
std::unique_ptr<TEDebugCommand> MakeSysMonitor();

}  // namespace NSTE_util
