#include <algorithm>
#include <cstdlib>

#include "util/basicutil/common_commands_internal.h"
#include "util/basicutil/common_logger.h"
#include "util/basicutil/env_internal.h"

// The commands that change what is logged.
namespace NSTE_util {
namespace {

class TEDebugCommand_ListSwitch : public NamedCommand {
 public:
  TEDebugCommand_ListSwitch()
      : NamedCommand("listswitch", "Syntex: listswitch\nGet all switchs for output debug information.\n") {}

  std::string Execute(const CommandWords&) override {
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

  std::string Execute(const CommandWords& args) override {
    if (args.size() != 3 || !IsSwitchList(args[2])) return FailedReply(GetHelp());
    if (args[2][0] == '0') return FailedReply("Can't turn off assert level debug info!\n");
    unsigned switches = 0;
    for (unsigned level = 0; level < kDebugLevels; ++level)
      switches |= (args[2][level] == '1' ? 1U : 0U) << level;
    if (args[1] == "All") {
      Manager().SetAllSwitches(switches);
      return "OK\n";
    }
    if (!Manager().SetSwitches(args[1], switches)) return FailedReply("Module not found! " + args[1]);
    return "OK\n";
  }

 private:
  static bool IsSwitchList(const std::string& text) {
    return text.size() == kDebugLevels && text.find_first_not_of("01") == std::string::npos;
  }
};

class TEDebugCommand_LoadSwitch : public NamedCommand {
 public:
  TEDebugCommand_LoadSwitch()
      : NamedCommand("loadswitch",
                     "Syntex: loadswitch parameter[ /1 | /2 | /3 ]\n"
                     " [loadswitch  ] : Reload all debug switchs from configure files;\n"
                     " [loadswitch 1] : Reload debug switchs from configure file of ems.cfg;\n"
                     " [loadswitch 2] : Reload debug switchs from configure file of ems_debug.cfg;\n"
                     " [loadswitch 3] : Reload debug switchs from configure file of vela.cfg;\n") {}

  std::string Execute(const CommandWords& args) override {
    if (args.size() > 2) return FailedReply(GetHelp());
    if (args.size() < 2) {
      ReloadAsnSwitches();
      return Reloaded("Reload all config files failed!\n");
    }
    switch (CommandNumber(args[1]).value_or(0)) {
      case 1:
        ReloadAsnSwitches();
        return "OK\n";
      case 2:
        return Reloaded("Reload config file of ems_debug.cfg failed!\n");
      case 3:
        return "OK\n";
      default:
        return FailedReply("Input parameter error, please input again\n");
    }
  }

 private:
  static std::string Reloaded(const char* failure) {
    return Manager().Reload() == 0 ? "OK\n" : FailedReply(failure);
  }
};

class TEDebugCommand_Flush : public NamedCommand {
 public:
  TEDebugCommand_Flush()
      : NamedCommand("flush", "Syntex: flush\nWrite all cached debug information to file now.\n") {}

  std::string Execute(const CommandWords&) override {
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

  std::string Execute(const CommandWords&) override {
    Manager().FlushAll();
    return "OK\n";
  }
};

class TEDebugCommand_GetAsnPrintSizeCmd : public NamedCommand {
 public:
  TEDebugCommand_GetAsnPrintSizeCmd()
      : NamedCommand("getasnprintsize",
                     "Syntex: getasnprintsize\nGet the size of asn struct print limit.\n") {}

  std::string Execute(const CommandWords&) override {
    return "Get the size of asn struct print limit is " + std::to_string(nMaxSizeOfAsnTrace) + ".\n";
  }
};

class TEDebugCommand_SetAsnPrintSizeCmd : public NamedCommand {
 public:
  TEDebugCommand_SetAsnPrintSizeCmd()
      : NamedCommand("setasnprintsize",
                     "Syntex: setasnprintsize [size]\nSet the size of asn struct print limit.\n"
                     "Max:10000000,Min:1024\n") {}

  std::string Execute(const CommandWords& args) override {
    if (args.size() != 2) return FailedReply("You must give size param.\n");
    nMaxSizeOfAsnTrace = SizeOf(args[1]);
    return "OK";
  }

 private:
  // A negative number counts as a very large one.
  static int SizeOf(const std::string& text) {
    constexpr long long smallest = 1024;
    constexpr long long largest = 10'000'000;
    const long long size = std::strtoll(text.c_str(), nullptr, 10);
    return static_cast<int>(size < 0 ? largest : std::clamp(size, smallest, largest));
  }
};

}  // namespace

std::unique_ptr<TEDebugCommand> MakeListSwitch() {
  return std::make_unique<TEDebugCommand_ListSwitch>();
}

std::unique_ptr<TEDebugCommand> MakeSetSwitch() {
  return std::make_unique<TEDebugCommand_SetSwitch>();
}

std::unique_ptr<TEDebugCommand> MakeLoadSwitch() {
  return std::make_unique<TEDebugCommand_LoadSwitch>();
}

std::unique_ptr<TEDebugCommand> MakeFlush() {
  return std::make_unique<TEDebugCommand_Flush>();
}

std::unique_ptr<TEDebugCommand> MakeFlushAll() {
  return std::make_unique<TEDebugCommand_FlushAll>();
}

std::unique_ptr<TEDebugCommand> MakeGetAsnPrintSize() {
  return std::make_unique<TEDebugCommand_GetAsnPrintSizeCmd>();
}

std::unique_ptr<TEDebugCommand> MakeSetAsnPrintSize() {
  return std::make_unique<TEDebugCommand_SetAsnPrintSizeCmd>();
}

}  // namespace NSTE_util
