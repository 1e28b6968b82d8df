#pragma once
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/message/proc_id.h"

// What etc/conf/bus.cfg says. Internal.
namespace vela {

// Below the root; empty without a root.
std::string BusConfigFile();

struct NatsSettings {
  std::vector<std::string> servers;  // "nats://host:port" or "tls://host:port"
  std::string prefix = "vela";       // of all subjects
  std::string user;
  std::string password;
  std::string credentialsFile;
  bool tls = false;
  std::string caFile;
  std::string certificateFile;
  std::string keyFile;
  std::string serverName;  // that the certificate must name; empty: the host that was connected to
  std::chrono::milliseconds connect{};    // to one server; also for each step of joining
  std::chrono::milliseconds heartbeat{};  // between signs of life
  std::chrono::milliseconds grace{};      // for who lost his connection to come back
  std::chrono::milliseconds expiry{};     // without a sign of life
  std::chrono::milliseconds reconnect{};  // after a failed attempt; before each, as much again at random
  std::uint32_t bufferBytes = 64u << 20;  // held for receivers that have not acknowledged them
};

// For the process at `self`. False with `error`, one line that names file and key.
bool LoadNatsSettings(const std::string& file, CProcID self, NatsSettings& settings, std::string& error);

}  // namespace vela
