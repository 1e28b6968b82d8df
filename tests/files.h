#pragma once
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "platform/os/vela_os.h"

// Files below the test's own installation root, named from there.
namespace files {

inline std::string Root() {
  return vela::InstallRoot();
}

// The full name of the written file.
inline std::string Write(const std::string& name, const std::string& content) {
  const std::filesystem::path path = Root() + name;
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
  return path;
}

inline std::string Read(const std::string& name) {
  std::ifstream file(Root() + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline std::vector<std::string> Lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace files
