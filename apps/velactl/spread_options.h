#pragma once
#include <string>
#include <vector>

#include "apps/asn1/spread_codes.h"
#include "apps/velactl/options.h"

namespace velactl {

// The processes that own missions, as the shipped configuration numbers them.
inline constexpr ServerChoice kOwner{.process = 101, .handle = 0};

struct SpreadOptions : RequestOptions {
  SpreadOptions() { server = kOwner; }

  std::string file;
  OnPartFailure onFailure = OnPartFailure::goOn;
};

// Read what follows "velactl spread", and "velactl missions", which takes --process alone. False with
// `error`.
bool ParseSpreadOptions(const std::vector<std::string>& arguments, SpreadOptions& options,
                        std::string& error);
bool ParseMissionsOptions(const std::vector<std::string>& arguments, SpreadOptions& options,
                          std::string& error);

}  // namespace velactl
