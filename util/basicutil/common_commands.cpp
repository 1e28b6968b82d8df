#include "util/basicutil/common_commands.h"

#include <cstdio>

#include "platform/os/os_types.h"
#include "platform/task/te_task_creator.h"
#include "util/basicutil/common_logger.h"
#include "util/basicutil/common_manager.h"

namespace NSTE_util {
namespace {

using Words = std::vector<std::string>;

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

class TEDebugCommand_Help : public NamedCommand {
 public:
  TEDebugCommand_Help()
      : NamedCommand("help", "Syntex: help [command]\nGet help message for command, or get command list.\n") {
  }

  std::string Execute(const Words& args) override {
    if (args.size() < 2) return CommandList();
    std::string help;
    return Manager().HelpOf(args[1], help) ? help : "Invalid command: " + args[1];
  }

 private:
  static std::string CommandList() {
    std::string list = "Command list:\n";
    for (const std::string& name : Manager().CommandNames()) list += name + "\n";
    return list;
  }
};

class TEDebugCommand_ListSwitch : public NamedCommand {
 public:
  TEDebugCommand_ListSwitch()
      : NamedCommand("listswitch", "Syntex: listswitch\nGet all switchs for output debug information.\n") {}

  std::string Execute(const Words&) override {
    std::string list = "ModuleName" + std::string(64, ' ') + "Switchs\n";
    for (const ModuleSwitches& entry : Manager().Switches()) list += Row(entry);
    return list;
  }

 private:
  static std::string Row(const ModuleSwitches& entry) {
    constexpr std::size_t nameWidth = 64;
    std::string row = entry.module;
    if (row.size() < nameWidth) row.resize(nameWidth, ' ');
    for (unsigned level = 0; level < kDebugLevels; ++level)
      row += (entry.switches >> level & 1U) != 0 ? '1' : '0';
    return row + "\n";
  }
};

class TEDebugCommand_SetSwitch : public NamedCommand {
 public:
  TEDebugCommand_SetSwitch()
      : NamedCommand("setswitch",
                     "Syntex: setswitch ModuleName SwitchList\nSet switchs for output debug information.\n"
                     "ModuleName must exists in listswitch command, \"All\" for all modules."
                     "SwitchList must be a 4byte string, witch each byte is a debug switch.\n"
                     " 1st switch: Assert/Internal error, 0 for off, 1 for on, must be 1;\n"
                     " 2nd switch: External error, 0 for off, 1 for on;\n"
                     " 3rd switch: Function input/output, 0 for off, 1 for on;\n"
                     " 4th switch: Debug trace, 0 for off, 1 for on.\n") {}

  std::string Execute(const Words& args) override {
    if (args.size() != 3 || !IsSwitchList(args[2])) return GetHelp();
    if (args[2][0] == '0') return "Can't turn off assert level debug info!\n";
    unsigned switches = 0;
    for (unsigned level = 0; level < kDebugLevels; ++level)
      switches |= (args[2][level] == '1' ? 1U : 0U) << level;
    if (args[1] == "All") {
      Manager().SetAllSwitches(switches);
      return "OK\n";
    }
    return Manager().SetSwitches(args[1], switches) ? "OK\n" : "Module not found! " + args[1];
  }

 private:
  static bool IsSwitchList(const std::string& text) {
    return text.size() == kDebugLevels && text.find_first_not_of("01") == std::string::npos;
  }
};

class TEDebugCommand_Flush : public NamedCommand {
 public:
  TEDebugCommand_Flush()
      : NamedCommand("flush", "Syntex: flush\nWrite all cached debug information to file now.\n") {}

  std::string Execute(const Words&) override {
    Manager().Flush();
    return "OK\n";
  }
};

class TEDebugCommand_FlushAll : public NamedCommand {
 public:
  TEDebugCommand_FlushAll()
      : NamedCommand("flushall",
                     "Syntex: flushall\nWrite all cached debug information to file now, includethe filtered "
                     "information, but the sequence of informationin the same second maybe wrong.\n") {}

  std::string Execute(const Words&) override {
    Manager().FlushAll();
    return "OK\n";
  }
};

class TEDebugCommand_ListCmd : public NamedCommand {
 public:
  TEDebugCommand_ListCmd()
      : NamedCommand("listcmd",
                     "Syntex: listcmd\nThis command list all registered commands int VelaTaskCreator.\n") {}

  // A line for each: the command code, a tab, the handler's name.
  std::string Execute(const Words&) override {
    std::string list = "Query Support Command:\n";
    for (const TETaskHandlerStru* handler : TETaskCreator::Instance()->All()) {
      char code[16];
      std::snprintf(code, sizeof(code), "0x%x\t", vela::Cut32(handler->cmdCode));
      list += code;
      list += handler->name;
      list += '\n';
    }
    return list;
  }
};

}  // namespace

TEDebugCommand& ListCmdCommand() {
  static TEDebugCommand& command = *new TEDebugCommand_ListCmd;
  return command;
}

std::vector<std::unique_ptr<TEDebugCommand>> MakeBuiltInCommands() {
  std::vector<std::unique_ptr<TEDebugCommand>> commands;
  commands.push_back(std::make_unique<TEDebugCommand_Help>());
  commands.push_back(std::make_unique<TEDebugCommand_ListSwitch>());
  commands.push_back(std::make_unique<TEDebugCommand_SetSwitch>());
  commands.push_back(std::make_unique<TEDebugCommand_Flush>());
  commands.push_back(std::make_unique<TEDebugCommand_FlushAll>());
  return commands;
}

}  // namespace NSTE_util
