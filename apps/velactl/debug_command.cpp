#include "apps/velactl/debug_command.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "apps/common/texts.h"
#include "apps/velactl/debug_editor.h"
#include "apps/velactl/debug_session.h"
#include "apps/velactl/failure.h"
#include "platform/os/vela_os.h"

namespace velactl {
namespace {

constexpr int kReplySeconds = 60;

struct DebugOptions : RequestOptions {
  bool named = false;   // the process is
  std::string command;  // empty: a console
};

// Options stand before the command; behind its first word everything belongs to it.
bool ParseOptions(const std::vector<std::string>& arguments, DebugOptions& options, std::string& error) {
  const auto take = [&](const std::size_t& i, std::string& wrong) {
    const std::string& argument = arguments[i];
    if (!options.command.empty() || (options.named && IsOperand(argument))) {
      options.command += options.command.empty() ? argument : ' ' + argument;
      if (!IsOneLine(argument)) wrong = apps::Text("DEBUG_NOT_ONE_LINE");
      return true;
    }
    if (argument.starts_with("--process")) return wrong = apps::Text("OPTION_UNKNOWN", {argument}), true;
    if (!IsOperand(argument)) return false;
    options.named = true;
    if (!ParseServer(argument, options.server)) wrong = apps::Text("DEBUG_BAD_PROCESS", {argument});
    return true;
  };
  options.timeOut = kReplySeconds;
  if (!ReadArguments("debug", arguments, options, take, error)) return false;
  if (options.help || options.named) return true;
  error = SeeHelp(apps::Text("DEBUG_NO_PROCESS"), "debug");
  return false;
}

// One process' console, to be driven by one command, a terminal or a pipe.
class Console {
 public:
  explicit Console(const DebugOptions& options)
      : m_session(options.server, options.timeOut), m_json(options.json) {}

  bool Connect(std::string& error) { return m_session.Connect(error); }
  CProcID Process() const { return m_session.Process(); }

  // Prints the reply; the exit code.
  int Run(const std::string& command) {
    vela::ConsoleReply reply;
    std::string error;
    if (!IsOneLine(command)) return Fail(apps::Text("DEBUG_NOT_ONE_LINE"));
    if (!m_session.Ask(command, reply, error)) return Fail(error);
    if (!Print(m_json ? ReplyJson(Process(), command, reply) : PrintableReply(reply.text)))
      return Fail(apps::Text("CLIENT_NOT_WRITTEN"));
    return reply.status == vela::ConsoleReply::Status::ok ? EXIT_SUCCESS : EXIT_FAILURE;
  }

  // What may be typed behind `before`: a command, or what a command takes.
  std::vector<std::string> Words(std::string_view before) {
    std::string command(before);
    VelaTrim(command);
    if (command.empty() || command == "help") return Lines("help", std::string::npos);
    if (command != "setswitch") return {};
    std::vector<std::string> modules = Lines("listswitch", ' ');
    modules.emplace_back("All");
    return modules;
  }

 private:
  // The lines of a reply behind its head, each up to `end`.
  std::vector<std::string> Lines(const std::string& command, std::size_t end) {
    std::vector<std::string> lines;
    vela::ConsoleReply reply;
    std::string error;
    if (!m_session.Ask(command, reply, error)) return lines;
    std::string_view rest = reply.text;
    while (!rest.empty()) {
      const std::size_t length = std::min(rest.find('\n'), rest.size());
      const std::string_view line = rest.substr(0, length);
      lines.emplace_back(end == std::string::npos ? line : line.substr(0, line.find(static_cast<char>(end))));
      rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    if (!lines.empty()) lines.erase(lines.begin());
    return lines;
  }

  DebugSession m_session;
  const bool m_json;
};

bool IsLeaving(const std::string& line) {
  return line == "exit" || line == "quit";
}

int AtTerminal(Console& console) {
  if (!Print(apps::Text("DEBUG_WELCOME", {AddressText(console.Process())}) + '\n')) return EXIT_FAILURE;
  LineEditor editor(AddressText(console.Process()) + "> ",
                    [&console](std::string_view before) { return console.Words(before); });
  std::string line;
  while (editor.Read(line) && !IsLeaving(line))
    if (!line.empty()) console.Run(line);
  return EXIT_SUCCESS;
}

int FromPipe(Console& console) {
  int code = EXIT_SUCCESS;
  for (std::string line; std::getline(std::cin, line) && !IsLeaving(VelaTrim(line));)
    if (!line.empty() && console.Run(line) != EXIT_SUCCESS) code = EXIT_FAILURE;
  return code;
}

}  // namespace

int DebugCommand(char* /*argv0*/, const std::vector<std::string>& arguments) {
  DebugOptions options;
  std::string error;
  if (!ParseOptions(arguments, options, error)) return Fail(error);
  if (options.help) return std::fputs(apps::HelpText("DEBUG_HELP").c_str(), stdout) < 0;
  Console console(options);
  if (!console.Connect(error)) return Fail(error);
  if (!options.command.empty()) return console.Run(options.command);
  const bool terminal = isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0 && !options.json;
  return terminal ? AtTerminal(console) : FromPipe(console);
}

}  // namespace velactl
