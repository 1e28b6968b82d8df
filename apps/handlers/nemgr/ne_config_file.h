#pragma once
#include <cstdint>
#include <string>

#include "apps/handlers/network.h"
#include "util/basicutil/translog.h"

namespace velad {

// What a board said, in the transaction log of the work on its NE: under kBoardBuffer and its slot.
struct BoardBuffer : NSTE_util::TETransactionBuffer {
  explicit BoardBuffer(std::string said) : text(std::move(said)) {}
  const std::string text;
};
inline constexpr char kBoardBuffer[] = "board";

// Where the configurations are that this process has uploaded: var/upload/<handle>/<ne>.cfg.gz, from the root
// on. The last good one stays.
std::string ConfigurationFile(std::uint32_t ne);

// Writes what the boards of the transaction have said as that file. 0, or NE_ERR_NOT_WRITTEN with the reason
// in the log; then the file is as it was before.
std::uint32_t WriteConfiguration(const NetworkNE& ne, const std::string& version, unsigned long transaction);

}  // namespace velad
