#include "apps/velad/server_config.h"

#include "apps/common/texts.h"
#include "platform/config/vela_config.h"
#include "platform/os/vela_os.h"

namespace velad {
namespace {

bool IsFile(const std::string& name) {
  struct stat info {};
  return VELA_OS::stat(name.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// Reads the integers of one file; remembers the first error.
class KeyReader {
 public:
  explicit KeyReader(const std::string& file) : m_file(file) {}

  int Int(const char* key, int low, int high, int missing) {
    std::string text;
    if (VelaGetRegString(m_file.c_str(), key, text) != 1) return missing;
    int value = 0;
    if (VelaGetRegInt(m_file.c_str(), key, value) == 1 && value >= low && value <= high) return value;
    Fail(apps::Text("CONFIG_BAD_NUMBER",
                    {key, vela::EscapeControls(text), std::to_string(low), std::to_string(high)}));
    return missing;
  }

  void Fail(const std::string& reason) {
    if (m_error.empty()) m_error = m_file + ": " + reason;
  }
  const std::string& Error() const { return m_error; }

 private:
  const std::string& m_file;
  std::string m_error;
};

// A path below the root unless it is absolute; an empty one stays empty.
std::string Path(const std::string& file, const char* key, const std::string& root, std::string missing) {
  VelaGetRegString(file.c_str(), key, missing);
  return missing.empty() || missing.front() == '/' ? missing : root + missing;
}

}  // namespace

bool FindConfig(const std::string& name, const std::string& processPath, const std::string& root,
                std::string& file, std::string& error) {
  const std::string places[] = {processPath + "../conf/" + name, root + "conf/" + name, name};
  for (const std::string& place : places) {
    if (!IsFile(place)) continue;
    file = place;
    return true;
  }
  error = apps::Text("CONFIG_NOT_FOUND", {name, places[0], places[1], places[2]});
  return false;
}

bool LoadConfig(const std::string& file, const std::string& root, ServerConfig& config, std::string& error) {
  config.file = file;
  KeyReader keys(file);
  const int number = keys.Int("ProcNumber", 1, 65535, 0);
  const int handle = keys.Int("ProcHandle", 1, 10000, 1);
  config.workerThreads = static_cast<unsigned>(keys.Int("WorkerThreads", 1, 256, 4));
  config.queueLimit = static_cast<unsigned>(keys.Int("QueueLimit", 1, 1000000, 1000));
  config.stopSeconds = keys.Int("StopSeconds", 0, 3600, 10);
  config.fileService = keys.Int("FileService", 0, 1, 1) == 1;
  if (number == 0) keys.Fail(apps::Text("CONFIG_NO_PROCESS"));
  if (number == VELA_CLIENT_GROUP) keys.Fail(apps::Text("CONFIG_CLIENT_NUMBER"));
  config.address = CProcID(static_cast<std::uint16_t>(number), static_cast<std::uint16_t>(handle));
  config.logDirectory = Path(file, "LogDirectory", root, "");
  VelaGetRegString(file.c_str(), "HandlerSets", config.handlerSets);
  config.mutexFile = Path(file, "MutexFile", root, "conf/mutex.cfg");
  error = keys.Error();
  return error.empty();
}

}  // namespace velad
