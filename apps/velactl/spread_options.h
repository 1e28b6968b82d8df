#pragma once
#include <string>
#include <vector>

#include "apps/asn1/spread_codes.h"
#include "apps/velactl/options.h"

namespace velactl {

// The processes that own missions, as the shipped configuration numbers them.
inline constexpr ServerChoice kOwner{.process = 101, .handle = 0};

struct SpreadOptions {
  std::string file;
  ServerChoice server = kOwner;
  int timeOut = 0;  // seconds for the whole mission; 0: none
  OnPartFailure onFailure = OnPartFailure::goOn;
  bool json = false;
  bool help = false;
};

// Read what follows "velactl spread", "velactl missions". False with `error`.
bool ParseSpreadOptions(const std::vector<std::string>& arguments, SpreadOptions& options,
                        std::string& error);
bool ParseMissionsOptions(const std::vector<std::string>& arguments, SpreadOptions& options,
                          std::string& error);

}  // namespace velactl
