#pragma once
#include <string>
#include <vector>

#include "apps/velactl/options.h"

namespace velactl {

struct AuditOptions {
  std::string file;
  ServerChoice server;
  int timeOut = 0;  // seconds for the whole audit; 0: none
  bool json = false;
  bool help = false;
};

// Reads what follows "velactl audit". False with `error`.
bool ParseAuditOptions(const std::vector<std::string>& arguments, AuditOptions& options, std::string& error);

}  // namespace velactl
