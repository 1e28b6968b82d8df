#include "apps/velactl/file_options.h"

#include <filesystem>
#include <map>
#include <optional>

#include "apps/common/texts.h"

namespace velactl {
namespace {

namespace fs = std::filesystem;

std::optional<FileVerb> VerbOf(const std::string& word) {
  static const std::map<std::string, FileVerb> verbs = {
      {"get", FileVerb::get}, {"put", FileVerb::put}, {"ls", FileVerb::list}, {"rm", FileVerb::remove}};
  const auto found = verbs.find(word);
  return found == verbs.end() ? std::nullopt : std::optional<FileVerb>(found->second);
}

// The file here: as it was named, else in the folder that was named, else in this one, called as at the
// server. Empty when the server's name has no last part that a file may have.
std::string LocalFile(const std::string& path, const std::string& named) {
  std::error_code error;
  if (!named.empty() && !fs::is_directory(named, error)) return named;
  const std::string last = fs::path(path).filename();
  return last.empty() || last == "." || last == ".." ? std::string() : std::string(fs::path(named) / last);
}

// What is wrong with the words behind "file"; empty when they are taken.
std::string TakeOperands(const std::vector<std::string>& words, FileOptions& options) {
  if (words.empty()) return apps::Text("FILE_NO_VERB");
  const auto verb = VerbOf(words[0]);
  if (!verb) return apps::Text("FILE_BAD_VERB", {words[0]});
  options.verb = *verb;
  if (words.size() < 2) return apps::Text("FILE_NO_PROCESS");
  if (!ParseServer(words[1], options.server)) return apps::Text("FILE_BAD_PROCESS", {words[1]});
  if (words.size() < 3 && *verb != FileVerb::list) return apps::Text("FILE_NO_PATH");
  const std::size_t most = *verb == FileVerb::remove ? 3 : 4;
  if (words.size() > most) return apps::Text("FILE_ONE_TOO_MANY", {words[most]});
  options.path = words.size() > 2 ? words[2] : "";
  const std::string fourth = words.size() > 3 ? words[3] : "";
  if (*verb == FileVerb::list) options.pattern = fourth;
  if (*verb != FileVerb::get && *verb != FileVerb::put) return {};
  options.local = LocalFile(options.path, fourth);
  return options.local.empty() ? apps::Text("FILE_NO_NAME", {options.path}) : std::string();
}

}  // namespace

bool ParseFileOptions(const std::vector<std::string>& arguments, FileOptions& options, std::string& error) {
  std::vector<std::string> words;
  const auto take = [&](const std::size_t& i, std::string& wrong) {
    if (IsOperand(arguments[i])) {
      words.push_back(arguments[i]);
      return true;
    }
    // The process is an operand here.
    if (!arguments[i].starts_with("--process")) return false;
    wrong = apps::Text("OPTION_UNKNOWN", {arguments[i]});
    return true;
  };
  if (!ReadArguments("file", arguments, options, take, error)) return false;
  if (options.help) return true;
  const std::string wrong = TakeOperands(words, options);
  if (wrong.empty()) return true;
  error = SeeHelp(wrong, "file");
  return false;
}

}  // namespace velactl
