#include "util/basicutil/common_commands.h"

#include <charconv>

#include "util/basicutil/common_commands_internal.h"

namespace NSTE_util {
namespace {

class TEDebugCommand_Help : public NamedCommand {
 public:
  TEDebugCommand_Help()
      : NamedCommand("help", "Syntex: help [command]\nGet help message for command, or get command list.\n") {
  }

  std::string Execute(const CommandWords& args) override {
    if (args.size() < 2) return AllNames();
    std::string help;
    return Manager().HelpOf(args[1], help) ? help : FailedReply("Invalid command: " + args[1]);
  }

 private:
  static std::string AllNames() {
    std::string list = "Command list:\n";
    for (const std::string& name : Manager().CommandNames()) list += name + "\n";
    return list;
  }
};

}  // namespace

std::optional<std::uint32_t> CommandNumber(std::string_view word) {
  const bool hex = word.starts_with("0x") || word.starts_with("0X");
  if (hex) word.remove_prefix(2);
  std::uint32_t number = 0;
  const char* const end = word.data() + word.size();
  const auto [last, error] = std::from_chars(word.data(), end, number, hex ? 16 : 10);
  if (error != std::errc() || last != end) return std::nullopt;
  return number;
}

CommandList MakeBuiltInCommands() {
  CommandList commands;
  commands.push_back(std::make_unique<TEDebugCommand_Help>());
  commands.push_back(MakeListSwitch());
  commands.push_back(MakeSetSwitch());
  commands.push_back(MakeLoadSwitch());
  commands.push_back(MakeFlush());
  commands.push_back(MakeFlushAll());
  commands.push_back(MakeShutdown());
  commands.push_back(MakeTestMsg());
  commands.push_back(MakeGetRegCmd());
  commands.push_back(MakeGetAsnPrintSize());
  commands.push_back(MakeSetAsnPrintSize());
  commands.push_back(MakeSysMonitor());
  return commands;
}

}  // namespace NSTE_util
