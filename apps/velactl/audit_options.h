#pragma once
#include <string>
#include <vector>

#include "apps/velactl/options.h"

namespace velactl {

struct AuditOptions : RequestOptions {
  std::string file;
};

// Reads what follows "velactl audit". False with `error`.
bool ParseAuditOptions(const std::vector<std::string>& arguments, AuditOptions& options, std::string& error);

}  // namespace velactl
