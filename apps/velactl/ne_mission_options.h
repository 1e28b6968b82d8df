#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "apps/velactl/options.h"

namespace velactl {

// As the shipped configuration numbers them.
inline constexpr ServerChoice kElementManager{.process = 110, .handle = 0};
inline constexpr ServerChoice kTopologyService{.process = 51, .handle = 0};

// NEs as a list ("9-1,9-5..9-8"), or in a file ("@FILE"): lists on any number of lines, blanks between items,
// "#" starts a comment.
struct NESelection : RequestOptions {
  bool all = false;
  std::vector<std::uint32_t> nes;  // empty: all
};

// Reads what follows "velactl upload" or "velactl reset": a list, or --all. False with `error`.
bool ParseNEMissionOptions(std::string_view verb, const std::vector<std::string>& arguments,
                           NESelection& options, std::string& error);
// Reads what follows "velactl nes": all without a list; no --timeout.
bool ParseNEsOptions(const std::vector<std::string>& arguments, NESelection& options, std::string& error);

}  // namespace velactl
