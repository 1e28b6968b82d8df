#include "platform/config/process_config.h"

namespace vela {
namespace {

// Never destroyed: handlers may run until the process is gone.
std::string& TheFile() {
  static std::string& file = *new std::string;
  return file;
}

}  // namespace

const std::string& ProcessConfigFile() {
  return TheFile();
}

void SetProcessConfigFile(const std::string& file) {
  TheFile() = file;
}

}  // namespace vela
