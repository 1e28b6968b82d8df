#pragma once
#include <dirent.h>

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/export.h"

namespace vela {

// The parts of a name below a folder; "." and empty parts are dropped. False for names that may lead out of
// it or mean something else elsewhere: absolute ones, a part "..", a backslash, ":" or control byte, more
// than 1024 bytes, and the folder of files under way.
VELA_EXPORT bool SplitNameBeneath(std::string_view name, std::vector<std::string>& parts);

// Files below one folder and nowhere else: names are those of SplitNameBeneath, and no part of them may be a
// symbolic link, also when a folder is swapped for one meanwhile. Only ordinary files are opened, replaced or
// removed. Failures are errno values (EPERM: a name that is refused, or no ordinary file). Any thread; what
// fails can be injected as at VELA_OS.
class VELA_EXPORT BeneathFolder {
 public:
  // Not opened yet; links on the way to the folder itself are followed.
  explicit BeneathFolder(std::string folder);

  // To read; null and errno. The caller closes it.
  std::FILE* Open(std::string_view name) const;
  // Hands over the names of the ordinary files in a folder ("" is the folder itself) until `take` returns
  // false; 0 or errno.
  int List(std::string_view name, const std::function<bool(const std::string&)>& take) const;
  // 0 or errno.
  int Remove(std::string_view name) const;
  // Removes what killed processes left of replacements, and nothing that a living one has under way.
  void RemoveLeftovers() const;

 private:
  friend class BeneathReplacement;
  std::string m_folder;
};

// New content of a file: written aside, and put in the file's place at once by Commit, with the permissions
// of the old one. Without Commit nothing changes. The folder must lie on one file system. One thread at a
// time.
class VELA_EXPORT BeneathReplacement {
 public:
  BeneathReplacement(const BeneathFolder& folder, std::string_view name);
  ~BeneathReplacement();
  BeneathReplacement(const BeneathReplacement&) = delete;
  BeneathReplacement& operator=(const BeneathReplacement&) = delete;

  // To write; null when it could not be made, then Commit tells why.
  std::FILE* File() const { return m_file; }
  // Makes the folders on the way that are missing. 0, the content being on disk before it takes the place;
  // else errno. Once.
  int Commit();

 private:
  std::FILE* OpenAside();
  int MoveIntoPlace();

  std::string m_folder;
  std::vector<std::string> m_parts;
  std::string m_aside;  // the name among the files under way
  std::FILE* m_file = nullptr;
  int m_error = 0;
};

}  // namespace vela
