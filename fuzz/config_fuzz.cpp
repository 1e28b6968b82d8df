// The configuration readers on any bytes. What the line reader yields must be what the look-up finds: the
// first entry of each key with the same value, and numbers that print back to what was read.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>

#include "platform/config/vela_config.h"
#include "platform/os/vela_os.h"

namespace {

constexpr int kLookUps = 32;  // each reads the file anew

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// A file in memory with a name that can be opened again and again.
class MemoryFile {
 public:
  MemoryFile(const std::uint8_t* data, std::size_t size) : m_file(::memfd_create("config", MFD_CLOEXEC)) {
    Require(m_file >= 0 && ::write(m_file, data, size) == static_cast<ssize_t>(size), "memory file");
    m_name = "/proc/self/fd/" + std::to_string(m_file);
  }
  ~MemoryFile() { ::close(m_file); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  const char* Name() const { return m_name.c_str(); }

 private:
  int m_file;
  std::string m_name;
};

// The first entry of each key, read line by line into buffers of exactly the promised size.
std::map<std::string, std::string> FirstEntries(const MemoryFile& config, std::size_t size) {
  std::map<std::string, std::string> entries;
  std::FILE* const file = VELA_OS::fopen(config.Name(), "r");
  const auto key = std::make_unique<char[]>(VELA_LINE_TEXT);
  const auto value = std::make_unique<char[]>(VELA_LINE_TEXT);
  std::size_t lines = 0;
  while (const int kind = VelaGetLine(file, key.get(), value.get())) {
    Require(++lines <= size, "more lines than bytes");
    if (kind == VELA_LINE_ENTRY) entries.try_emplace(key.get(), value.get());
    Require((kind == VELA_LINE_ENTRY) == (key[0] != '\0'), "a key with each entry, and only there");
  }
  VELA_OS::fclose(file);
  return entries;
}

void CheckInteger(const MemoryFile& config, const std::string& key, const std::string& text) {
  int number = 0;
  if (VelaGetRegInt(config.Name(), key.c_str(), number) != 1) return;
  const bool hex = text.starts_with("0x") || text.starts_with("0X");
  const long long slow = std::strtoll(text.c_str(), nullptr, hex ? 16 : 10);
  Require(static_cast<std::uint32_t>(slow) == static_cast<std::uint32_t>(number), "the number in the text");
  Require(slow >= INT32_MIN && slow <= (hex ? UINT32_MAX : INT32_MAX), "a number of 32 bits");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MemoryFile config(data, size);
  int lookUps = 0;
  for (const auto& [key, expected] : FirstEntries(config, size)) {
    if (++lookUps > kLookUps) break;
    std::string found;
    Require(VelaGetRegString(config.Name(), key.c_str(), found) == 1, "a key that the line reader yields");
    Require(found == expected, "the same value");
    CheckInteger(config, key, expected);
  }
  return 0;
}
