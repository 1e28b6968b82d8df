#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "apps/velactl/options.h"

namespace velactl {

struct NEOperOptions : RequestOptions {
  std::vector<std::uint32_t> nes;
  int seconds = 0;  // how long the work takes at least
};

// Reads what follows "velactl <verb>". False with `error`.
bool ParseNEOperOptions(std::string_view verb, const std::vector<std::string>& arguments,
                        NEOperOptions& options, std::string& error);

}  // namespace velactl
