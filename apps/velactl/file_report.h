#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "apps/velactl/file_options.h"
#include "platform/message/proc_id.h"

namespace velactl {

// What became of a command.
struct FileOutcome {
  std::string error;               // one line; empty: all was done
  bool refused = false;            // by the server, for what it offers and has
  std::uint64_t bytes = 0;         // of the file, to get and put
  std::vector<std::string> names;  // to list, sorted
};

// Codes that are the server's word on the file itself.
bool IsFileRefusal(std::uint32_t code);
// Why the server did not do it, for a code that is not 0.
std::string WhyFileFailed(std::uint32_t code, const FileOptions& options, CProcID server);

// What is printed when all was done: a line for people, names one a line; or one object.
std::string FileText(const FileOptions& options, CProcID server, const FileOutcome& outcome);
std::string FileJson(const FileOptions& options, CProcID server, const FileOutcome& outcome);

}  // namespace velactl
