#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "apps/handlers/mission_order.h"
#include "asn1/nms.h"
#include "platform/asncmd/asn_runtime.h"

namespace velad {

// What a client has asked for.
struct NEOrder : MissionOrder {
  std::uint32_t operation = 0;     // the client's command
  std::vector<unsigned long> nes;  // ascending, each once; empty: all

  bool IsUpload() const;
};

// What became of one NE, as an NE manager reports it or as the server knows without one.
struct NEResult {
  std::uint32_t ne = 0;
  std::uint32_t errorCode = 0;
  std::string version = {};
  std::string file = {};
  int boards = 0;
  int ports = 0;
  int alarms = 0;
  int millis = 0;
};

std::vector<NEResult> ReadResults(const AsnNEResultList& results);
void FillResult(const NEResult& from, AsnNEResult& to);

}  // namespace velad
