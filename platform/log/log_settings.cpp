#include "platform/log/log_settings.h"

#include <algorithm>
#include <string>

#include "platform/config/vela_config.h"
#include "platform/os/vela_os.h"

namespace vela::log {
namespace {

struct Range {
  int lowest;
  int highest;
};

int Read(const std::string& file, const char* key, int preset, Range range) {
  int value = preset;
  if (VelaGetRegInt(file.c_str(), key, value) != 1) return preset;
  return std::clamp(value, range.lowest, range.highest);
}

}  // namespace

Settings ReadSettings() {
  const std::string file = InstallRoot() + "etc/conf/log.cfg";
  Settings settings{};
  settings.level = Read(file, "Level", 3, {0, 3});
  settings.limits.maxBytes =
      std::size_t{1024} * static_cast<std::size_t>(Read(file, "FileKB", 10240, {4, 2'000'000}));
  settings.limits.oldFiles = Read(file, "OldFiles", 5, {0, 1000});
  settings.queueLength = static_cast<std::size_t>(Read(file, "QueueLength", 8192, {16, 1'000'000}));
  return settings;
}

}  // namespace vela::log
