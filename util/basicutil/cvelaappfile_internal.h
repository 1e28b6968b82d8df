#pragma once
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "platform/message/proc_id.h"
#include "platform/os/vela_os.h"

namespace NSTE_util {

// A pattern for file names: one "*" at most stands for any text; without one, any part of the name.
class NamePattern {
 public:
  explicit NamePattern(const std::string& pattern);
  // False with two "*" or more; then nothing fits.
  bool IsValid() const { return m_valid; }
  bool Fits(std::string_view name) const;

 private:
  bool m_valid;
  bool m_anywhere;
  std::string m_before;
  std::string m_after;
};

struct CloseCFile {
  void operator()(std::FILE* file) const { VELA_OS::fclose(file); }
};
using CFile = std::unique_ptr<std::FILE, CloseCFile>;

struct CloseDirectory {
  void operator()(DIR* dir) const { VELA_OS::closedir(dir); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

// Below the installation root, unless the name has a drive.
std::string RootedName(const std::string& name);
// The parent folder of a full path, made when it is missing.
bool CreateParentFolder(const std::string& path);

bool IsFolder(const std::string& path);

// Whether the owner's files are on this host's disk; may ask the owner.
bool IsOwnerLocal(const CProcID& owner);

}  // namespace NSTE_util
