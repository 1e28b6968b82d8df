#pragma once
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace vela::log {

// Makes a directory and those above it; true when it is there afterwards.
bool MakeDirectories(const std::string& path);

struct FileLimits {
  std::size_t maxBytes;  // a file grows to this (or to one record, if that is longer) before it is rotated
  int oldFiles;          // how many rotated files (name.1.log is the newest) are kept
};

// A rotating file that records are collected for and written to in blocks. It holds whole records only: what
// the disk takes in part is cut off again. A record that cannot be written is counted and dropped; the first
// write that works again begins with a record that tells how many. Used by one thread at a time.
class RotatingFile {
 public:
  // `path` ends with ".log". The file is opened (appending) with the first write.
  RotatingFile(std::string path, FileLimits limits);
  ~RotatingFile();
  RotatingFile(const RotatingFile&) = delete;
  RotatingFile& operator=(const RotatingFile&) = delete;

  // Collects one line-ended record.
  void Append(std::string_view line);
  // Writes what was collected. Returns how many records the disk refused since the last call.
  std::uint64_t WriteOut();
  void Close();

 private:
  bool Open();
  void Rotate();
  bool WriteReport();
  // Writes the block; returns how many of its records are now in the file.
  std::size_t WriteBlock(const std::string& block, const std::vector<std::size_t>& ends);
  void NoteFailure(std::size_t records, int error);
  void WriteCollected();
  std::string OldName(int number) const;

  const std::string m_path;
  const FileLimits m_limits;
  std::FILE* m_file = nullptr;
  std::size_t m_size = 0;
  std::string m_collected;
  std::vector<std::size_t> m_ends;  // where each collected record ends
  std::uint64_t m_unreported = 0;   // refused since the last write that worked
  std::uint64_t m_refused = 0;      // refused since the last WriteOut
  int m_error = 0;
};

}  // namespace vela::log
