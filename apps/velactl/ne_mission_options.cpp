#include "apps/velactl/ne_mission_options.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "apps/asn1/nms_codes.h"
#include "apps/common/texts.h"
#include "platform/os/vela_os.h"

namespace velactl {
namespace {

constexpr std::size_t kLargestFile = std::size_t{1} << 20;

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// False with errno. Only regular files: a pipe could keep us waiting for ever.
bool ReadFile(const std::string& name, std::string& text) {
  struct stat about {};
  if (VELA_OS::stat(name.c_str(), &about) != 0) return false;
  if (!S_ISREG(about.st_mode) || about.st_size > static_cast<off_t>(kLargestFile)) {
    errno = S_ISREG(about.st_mode) ? EFBIG : EINVAL;
    return false;
  }
  const File in(VELA_OS::fopen(name.c_str(), "rb"), VELA_OS::fclose);
  if (!in) return false;
  text.resize(kLargestFile);
  text.resize(VELA_OS::fread(text.data(), 1, text.size(), in.get()));
  return std::ferror(in.get()) == 0;
}

// The items of all lines, joined by commas.
std::string JoinItems(const std::string& text) {
  std::string list;
  bool comment = false;
  bool gap = false;
  for (const char c : text) {
    comment = c != '\n' && (comment || c == '#');
    if (comment || std::strchr(" \t\r\n,", c) != nullptr) {
      gap = true;
      continue;
    }
    if (gap && !list.empty()) list += ',';
    gap = false;
    list += c;
  }
  return list;
}

std::string Select(const std::string& argument, NESelection& options) {
  if (!options.nes.empty()) return apps::Text("OPER_TWO_LISTS");
  if (argument.front() != '@') return ReadNEs(argument, NE_MISSION_MOST_NES, options.nes);
  const std::string file = argument.substr(1);
  std::string text;
  if (!ReadFile(file, text)) return file + ": " + std::strerror(errno);
  const std::string list = JoinItems(text);
  if (list.empty()) return file + ": " + apps::Text("OPER_NO_NES");
  const std::string wrong = ReadNEs(list, NE_MISSION_MOST_NES, options.nes);
  return wrong.empty() ? wrong : file + ": " + wrong;
}

}  // namespace

bool ParseNEMissionOptions(std::string_view verb, const std::vector<std::string>& arguments,
                           NESelection& options, std::string& error) {
  options.server = kElementManager;
  const auto take = [&](std::size_t i, std::string& wrong) {
    if (arguments[i] == "--all") {
      options.all = true;
      return true;
    }
    if (!IsOperand(arguments[i])) return false;
    wrong = Select(arguments[i], options);
    return true;
  };
  if (!ReadArguments(verb, arguments, options, take, error)) return false;
  if (options.help || options.all != !options.nes.empty()) return true;
  error = SeeHelp(options.all ? apps::Text("NES_ALL_AND_LIST") : apps::Text("NES_NONE_NAMED"), verb);
  return false;
}

bool ParseNEsOptions(const std::vector<std::string>& arguments, NESelection& options, std::string& error) {
  options.server = kTopologyService;
  const auto take = [&](std::size_t i, std::string& wrong) {
    if (arguments[i].starts_with("--timeout")) {
      wrong = apps::Text("OPTION_UNKNOWN", {arguments[i]});
      return true;
    }
    if (!IsOperand(arguments[i])) return false;
    wrong = Select(arguments[i], options);
    return true;
  };
  return ReadArguments("nes", arguments, options, take, error);
}

}  // namespace velactl
