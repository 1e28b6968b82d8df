#pragma once
#include <cstdint>
#include <cstdio>
#include <string>

// Files on the client's side.
namespace velactl {

// An ordinary file to read; null with `error`, one line. The caller closes it.
std::FILE* OpenLocal(const std::string& name, std::uint64_t& size, std::string& error);

// A file that gets new content as a whole: written aside, where the file system can do it without a name, so
// that nothing is left of it however the process ends; Commit puts it in the file's place at once, with the
// permissions of the old one. Of a link, the file that it leads to is replaced. Without Commit nothing
// changes.
class LocalReplacement {
 public:
  explicit LocalReplacement(const std::string& name);
  ~LocalReplacement();
  LocalReplacement(const LocalReplacement&) = delete;
  LocalReplacement& operator=(const LocalReplacement&) = delete;

  // To write; null when it cannot be made.
  std::FILE* File() const { return m_file; }
  // Once; on disk when it returns true.
  bool Commit();
  // Why something failed, one line: the text of errno unless it is known better.
  std::string Error() const;

 private:
  void OpenAside();
  bool Name();

  std::string m_name;    // as it was given
  std::string m_target;  // without links
  std::string m_aside;
  bool m_named = false;  // m_aside exists
  bool m_ordinary = true;
  int m_mode = -1;  // of the old file
  std::FILE* m_file = nullptr;
};

}  // namespace velactl
