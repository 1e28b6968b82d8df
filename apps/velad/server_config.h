#pragma once
#include <cstdint>
#include <string>

#include "platform/message/proc_id.h"

namespace velad {

// What the configuration file of a server process says.
struct ServerConfig {
  std::string file;  // the one that was found
  CProcID address;
  unsigned workerThreads = 4;
  unsigned queueLimit = 1000;
  int stopSeconds = 10;
  std::string handlerSets;   // as LoadHandlerSets takes them
  bool fileService = true;   // answers the file commands
  std::string mutexFile;     // full path
  std::string logDirectory;  // full path; empty: the one that the library chooses
};

// Where the file named by -f is: `processPath`../conf/NAME (the library looks there for ProcHandle), else
// `root`conf/NAME, else NAME itself. False with `error` when it is nowhere.
bool FindConfig(const std::string& name, const std::string& processPath, const std::string& root,
                std::string& file, std::string& error);

// Reads and checks it. False with `error`, one line that names file and key.
bool LoadConfig(const std::string& file, const std::string& root, ServerConfig& config, std::string& error);

}  // namespace velad
