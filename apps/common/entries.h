#pragma once
#include <functional>
#include <string>

namespace apps {

// Calls add(key, value) for each entry of a file in the syntax of the configuration files. 0; the number of
// the first line that `add` refused, where it ends; -1, with errno, when the file cannot be read.
int ReadEntries(const std::string& file, const std::function<bool(const char*, const char*)>& add);

}  // namespace apps
