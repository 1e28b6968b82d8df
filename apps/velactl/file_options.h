#pragma once
#include <string>
#include <vector>

#include "apps/velactl/options.h"

namespace velactl {

enum class FileVerb { get, put, list, remove };

struct FileOptions : RequestOptions {
  FileVerb verb = FileVerb::get;
  std::string path;     // of the file or, to list, the folder at the server
  std::string local;    // to get and put: the file here
  std::string pattern;  // to list
};

// Reads what follows "velactl file". False with `error`.
bool ParseFileOptions(const std::vector<std::string>& arguments, FileOptions& options, std::string& error);

}  // namespace velactl
