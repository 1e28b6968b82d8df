#pragma once
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "util/basicutil/cvelaappfile_internal.h"

namespace NSTE_util {

// What may be done below some folders, each as the parts of its name.
class FolderRule {
 public:
  FolderRule() = default;
  // Folders with "," between them; one whose name is refused allows nothing and is logged.
  explicit FolderRule(const std::string& list);
  bool Allows(const std::string& name) const;

 private:
  std::vector<std::vector<std::string>> m_folders;
};

struct FileServiceSettings {
  std::string folder;
  std::string address;
  FolderRule read;
  FolderRule write;
  FolderRule remove;
  std::uint64_t maxBytes = 64u << 20;
  std::uint64_t maxMemory = 128u << 20;
};
FileServiceSettings ReadFileServiceSettings();

// A share of the memory of all transfers, given back at its end. `bytes` is not 0.
class TransferMemory {
 public:
  TransferMemory(std::uint64_t bytes, std::uint64_t limit);
  ~TransferMemory();
  TransferMemory(const TransferMemory&) = delete;
  TransferMemory& operator=(const TransferMemory&) = delete;
  bool Granted() const { return m_bytes != 0; }

 private:
  static std::atomic<std::uint64_t> g_inUse;
  std::uint64_t m_bytes;
};

// Contents in zlib format, through one block of memory each. 0 or a code of file_service.h.

// The first `size` bytes of the file; `out` has room for `room` bytes, of which `used` are filled.
std::uint32_t DeflateFile(std::FILE* file, std::uint64_t size, char* out, std::size_t room,
                          std::size_t& used);
// Inflates into the file, at most `limit` bytes.
std::uint32_t InflateToFile(const std::string& content, std::uint64_t limit, std::FILE* file);

}  // namespace NSTE_util
