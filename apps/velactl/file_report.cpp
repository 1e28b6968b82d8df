#include "apps/velactl/file_report.h"

#include "apps/common/texts.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/json.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/file_service.h"

namespace velactl {
namespace {

std::string NamesJson(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + JsonString(name);
  return '[' + text + ']';
}

std::string NameLines(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += vela::EscapeControls(name) + '\n';
  return text;
}

}  // namespace

bool IsFileRefusal(std::uint32_t code) {
  return code == NSTE_util::FILE_SERVICE_REFUSED || code == NSTE_util::FILE_SERVICE_NO_FILE;
}

std::string WhyFileFailed(std::uint32_t code, const FileOptions& options, CProcID server) {
  const std::string process = AddressText(server);
  if (code == VELA_ERR_NO_HANDLER) return apps::Text("FILE_NO_SERVICE", {process});
  if (code == VELA_ERR_TOO_LARGE) return apps::Text("FILE_TOO_LARGE", {process, options.path});
  const std::string known = apps::ErrorText(code, {process, options.path});
  return known.empty() ? WhyFailed(code, server) : known;
}

std::string FileText(const FileOptions& options, CProcID server, const FileOutcome& outcome) {
  const std::string process = AddressText(server);
  const std::string bytes = std::to_string(outcome.bytes);
  std::string line;
  switch (options.verb) {
    case FileVerb::list:
      return NameLines(outcome.names);
    case FileVerb::remove:
      line = apps::Text("FILE_REMOVED", {options.path, process});
      break;
    case FileVerb::get:
      line = apps::Text("FILE_GOT", {options.path, process, bytes, options.local});
      break;
    case FileVerb::put:
      line = apps::Text("FILE_SENT", {options.local, bytes, options.path, process});
      break;
  }
  return vela::EscapeControls(line) + '\n';
}

std::string FileJson(const FileOptions& options, CProcID server, const FileOutcome& outcome) {
  std::string text =
      "{\"process\": " + JsonString(AddressText(server)) + ", \"path\": " + JsonString(options.path);
  if (options.verb == FileVerb::list) text += ", \"files\": " + NamesJson(outcome.names);
  if (!options.local.empty())
    text += ", \"local\": " + JsonString(options.local) + ", \"bytes\": " + std::to_string(outcome.bytes);
  return text + "}\n";
}

}  // namespace velactl
