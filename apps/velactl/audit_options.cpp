#include "apps/velactl/audit_options.h"

#include "apps/common/texts.h"

namespace velactl {

bool ParseAuditOptions(const std::vector<std::string>& arguments, AuditOptions& options, std::string& error) {
  const auto take = [&](const std::size_t& i, std::string& wrong) {
    if (!IsOperand(arguments[i])) return false;
    if (!options.file.empty()) wrong = apps::Text("AUDIT_TWO_FILES");
    options.file = arguments[i];
    return true;
  };
  if (!ReadArguments("audit", arguments, options, take, error)) return false;
  if (options.help || !options.file.empty()) return true;
  error = SeeHelp(apps::Text("AUDIT_NO_FILE"), "audit");
  return false;
}

}  // namespace velactl
