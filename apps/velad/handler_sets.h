#pragma once
#include <string>
#include <vector>

namespace velad {

// A shared library with handlers that serve in this process.
struct HandlerSet {
  std::string name;  // as the configuration has it
  void* library;     // never unloaded: its handlers are referred to until the process ends
};

// The sets of a list "audit, conf/mine.so", in its order. A name with "/" is a file, under `root` unless
// absolute; any other is `root`handlers/NAME.so or else `installed`/NAME.so. False with `error`, one line:
// there is no such file, it is no library, or one of its commands is served already.
bool LoadHandlerSets(const std::string& list, const std::string& root, const std::string& installed,
                     std::vector<HandlerSet>& sets, std::string& error);

// Calls what the sets define to be called, see handler_set.h.
bool StartHandlerSets(const std::vector<HandlerSet>& sets, std::string& error);

// Where the sets that come with velad are, as seen from the folder of the program.
std::string InstalledHandlerSets(const std::string& processPath);

}  // namespace velad
