#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace velactl {

struct AuditOptions {
  std::string file;
  std::uint16_t process = 100;
  std::uint16_t handle = 0;  // 0: any instance
  int timeOut = 0;           // seconds for the whole audit; 0: none
  bool json = false;
  bool help = false;
};

// Reads what follows "velactl audit". False with `error`.
bool ParseAuditOptions(const std::vector<std::string>& arguments, AuditOptions& options, std::string& error);

}  // namespace velactl
