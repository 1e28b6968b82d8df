// Inflating any bytes, as a memory buffer and as a gzip file: agrees with zlib's streaming interface and
// stays within its bound. What is compressed comes back.
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "util/basicutil/compress.h"

namespace {

using NSTE_util::COMPRESS_NO_MEMORY;
using NSTE_util::COMPRESS_ZLIB_ERROR;

constexpr std::size_t kBound = 1 << 20;  // the least that the configuration can say

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// A file in memory with a name that can be opened again and again.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view bytes = {}) : m_file(::memfd_create("inflate", MFD_CLOEXEC)) {
    const auto size = static_cast<ssize_t>(bytes.size());
    Require(m_file >= 0 && ::write(m_file, bytes.data(), bytes.size()) == size, "memory file");
    m_name = "/proc/self/fd/" + std::to_string(m_file);
  }
  ~MemoryFile() { ::close(m_file); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  const std::string& Name() const { return m_name; }
  std::string Content() const {
    std::string bytes(static_cast<std::size_t>(::lseek(m_file, 0, SEEK_END)), '\0');
    const ssize_t read = ::pread(m_file, bytes.data(), bytes.size(), 0);
    Require(read == static_cast<ssize_t>(bytes.size()), "reading back");
    return bytes;
  }

 private:
  int m_file;
  std::string m_name;
};

struct Inflated {
  std::string bytes;  // a little more than the bound when there is more
  bool whole = false;
};

// One stream in small steps; takes what it consumed away from `in`.
void InflateStream(std::string_view& in, int windowBits, Inflated& out) {
  z_stream stream{};
  Require(::inflateInit2(&stream, windowBits) == Z_OK, "inflateInit2");
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
  stream.avail_in = static_cast<uInt>(in.size());
  int result = Z_OK;
  while (result == Z_OK && out.bytes.size() <= kBound) {
    Bytef step[1000];
    stream.next_out = step;
    stream.avail_out = sizeof(step);
    result = ::inflate(&stream, Z_NO_FLUSH);
    out.bytes.append(reinterpret_cast<char*>(step), sizeof(step) - stream.avail_out);
  }
  in.remove_prefix(in.size() - stream.avail_in);
  out.whole = result == Z_STREAM_END;
  ::inflateEnd(&stream);
}

// A gzip file may hold several streams, then bytes that do not count; another file is taken as it is.
Inflated InflateGzip(std::string_view in) {
  constexpr std::string_view mark = "\x1F\x8B";
  if (!in.starts_with(mark)) return {std::string(in), true};
  Inflated out;
  do {
    InflateStream(in, 15 + 16, out);
  } while (out.whole && in.starts_with(mark));
  return out;
}

void CheckMemory(std::string_view data) {
  Inflated expected;
  std::string_view rest = data;
  InflateStream(rest, 15, expected);
  NSTE_util::MemUncompresser processer(data.data(), data.size());
  const unsigned long result = processer.Process();
  const std::string_view found(
      processer.GetProcessedDataPtr() == nullptr ? "" : processer.GetProcessedDataPtr(),
      processer.GetProcessedDataLen());
  if (expected.whole && expected.bytes.size() <= kBound) {
    Require(result == 0 && found == expected.bytes, "a whole stream, the same bytes");
    return;
  }
  Require(found.empty(), "no output of a failure");
  if (expected.bytes.size() > kBound) Require(result == COMPRESS_NO_MEMORY, "above the bound");
  if (expected.bytes.size() < kBound) Require(result == COMPRESS_ZLIB_ERROR, "a stream that is not whole");
  Require(result != 0, "a failure");
}

void CheckFile(std::string_view data) {
  const Inflated expected = InflateGzip(data);
  const MemoryFile gzip(data);
  const MemoryFile target;
  const bool good = NSTE_util::UncompressFile(gzip.Name(), target.Name()) == 0;
  Require(good == (expected.whole && expected.bytes.size() <= kBound), "whole and within the bound");
  const std::string found = target.Content();
  Require(found.size() <= kBound, "never above the bound");
  Require(good ? found == expected.bytes : expected.bytes.starts_with(found), "the same bytes");
}

void CheckRoundTrips(std::string_view data) {
  NSTE_util::MemCompresser packed(data.data(), data.size());
  Require(packed.Process() == 0, "compressing memory");
  NSTE_util::MemUncompresser back(packed.GetProcessedDataPtr(), packed.GetProcessedDataLen());
  Require(back.Process() == 0, "inflating what was compressed");
  Require(std::string_view(back.GetProcessedDataPtr(), back.GetProcessedDataLen()) == data,
          "memory comes back");

  const MemoryFile source(data);
  const MemoryFile gzip;
  const MemoryFile target;
  Require(NSTE_util::CompressFile(source.Name(), gzip.Name()) == 0, "compressing a file");
  Require(NSTE_util::UncompressFile(gzip.Name(), target.Name()) == 0, "inflating a compressed file");
  Require(target.Content() == data, "a file comes back");
}

}  // namespace

// The bounds come from a root of this program's own, below the one that it was started in.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const std::string root = std::string(std::getenv("VELA_ROOT")) + "/inflate_fuzz";
  std::filesystem::create_directories(root + "/etc/conf");
  std::ofstream(root + "/etc/conf/vela.cfg") << "InflateMaxBytes = 1048576\nInflateMaxFileMiB = 1\n";
  ::setenv("VELA_ROOT", root.c_str(), 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  CheckMemory(bytes);
  CheckFile(bytes);
  CheckRoundTrips(bytes);
  return 0;
}
