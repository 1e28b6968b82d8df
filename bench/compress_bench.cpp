// Files beside the gzip program and memory beside zlib called once with the right size, on the text of a
// log. The floor of the files is a copy in the same blocks.
#include <malloc.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>

#include "bench/bench_util.h"
#include "util/basicutil/compress.h"

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const std::string& what) {
  std::fprintf(stderr, "compress_bench: %s\n", what.c_str());
  std::exit(1);
}

void Require(bool holds, const std::string& what) {
  if (!holds) Fail(what);
}

class Random {
 public:
  unsigned Below(unsigned bound) {
    m_state = m_state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<unsigned>(m_state >> 33) % bound;
  }

 private:
  std::uint64_t m_state = 42;
};

// Lines of a server's log, deflated to a fifth.
std::string LogText(std::size_t size) {
  static constexpr const char* kLevels[] = {"Error", "Info, ", "Debug"};
  static constexpr const char* kTexts[] = {
      "NE %u-%u board %u: alarm LOS raised",         "request %u of client %u answered after %u ms",
      "mission %u: progress %u, part %u sent",       "lock of NE %u-%u released after %u ms",
      "trail %u switched to protection at NE %u-%u", "audit of NE %u-%u found %u faults"};
  Random random;
  std::uint64_t now = 0;
  std::string text;
  while (text.size() < size) {
    now += random.Below(2000000);
    char line[128];
    int length =
        std::snprintf(line, sizeof(line), "[2026-11-21 %02u:%02u:%02u.%06u],%s,[H31197824] default ",
                      static_cast<unsigned>(now / 3600000000 % 24),
                      static_cast<unsigned>(now / 60000000 % 60), static_cast<unsigned>(now / 1000000 % 60),
                      static_cast<unsigned>(now % 1000000), kLevels[random.Below(3)]);
    text.append(line, static_cast<std::size_t>(length));
    length = std::snprintf(line, sizeof(line), kTexts[random.Below(std::size(kTexts))], random.Below(64),
                           random.Below(65536), random.Below(100));
    text.append(line, static_cast<std::size_t>(length)).append(1, '\n');
  }
  text.resize(size);
  return text;
}

// A table of numbers, deflated to a half.
std::string Numbers(std::size_t size) {
  Random random;
  std::string text;
  while (text.size() < size)
    text += std::to_string(random.Below(1000000)) + (random.Below(8) == 0 ? "\n" : ",");
  text.resize(size);
  return text;
}

std::string Repeated(const std::string& line, std::size_t size) {
  std::string text;
  while (text.size() < size) text += line;
  return text;
}

// Files of this run in a folder of their own, removed at the end.
class Folder {
 public:
  Folder() : m_path(fs::temp_directory_path() / ("compress_bench." + std::to_string(::getpid()))) {
    fs::create_directory(m_path);
  }
  ~Folder() { fs::remove_all(m_path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string File(const char* name) const { return m_path / name; }

 private:
  fs::path m_path;
};

// MB/s of one run over `bytes` bytes.
template <class Body>
double Throughput(std::size_t bytes, Body&& body) {
  return static_cast<double>(bytes) * 1000 / bench::NanosecondsEach(1, [&](long) { body(); });
}

void Copy(const std::string& from, const std::string& to) {
  std::FILE* const in = std::fopen(from.c_str(), "rb");
  std::FILE* const out = std::fopen(to.c_str(), "wb");
  Require(in != nullptr && out != nullptr, "copy");
  char block[16384];
  while (const std::size_t count = std::fread(block, 1, sizeof(block), in))
    Require(std::fwrite(block, 1, count, out) == count, "copy");
  std::fclose(in);
  std::fclose(out);
}

void GzipProgram(const char* option, const std::string& from, const std::string& to) {
  const std::string line = std::string("gzip ") + option + " < '" + from + "' > '" + to + "'";
  Require(std::system(line.c_str()) == 0, line);
}

bench::Sample SizeOf(const std::string& file) {
  const double size = static_cast<double>(fs::file_size(file));
  return {size, size, size};
}

void MeasureFiles(bench::Options options, std::vector<bench::Row>& rows) {
  options.repetitions = options.quick ? 1 : 5;
  const std::size_t size = static_cast<std::size_t>(options.Operations(64L << 20));
  const Folder folder;
  const std::string text = folder.File("text");
  const std::string ours = folder.File("ours.gz");
  const std::string peer = folder.File("peer.gz");
  const std::string out = folder.File("out");
  std::ofstream(text, std::ios::binary) << LogText(size);

  const auto packed = bench::Interleaved(
      options,
      {[&] { return Throughput(size, [&] { Require(NSTE_util::CompressFile(text, ours) == 0, ours); }); },
       [&] { return Throughput(size, [&] { GzipProgram("-c", text, peer); }); },
       [&] { return Throughput(size, [&] { Copy(text, out); }); }});
  rows.push_back(
      {"CompressFile, 64 MiB of text, MB/s", packed[0], packed[1], packed[2], 1.0, bench::Better::higher});
  rows.push_back({"its gzip file, bytes", SizeOf(ours), SizeOf(peer), {}, 1.02});

  const auto inflated = bench::Interleaved(
      options,
      {[&] { return Throughput(size, [&] { Require(NSTE_util::UncompressFile(peer, out) == 0, out); }); },
       [&] { return Throughput(size, [&] { GzipProgram("-dc", peer, out); }); },
       [&] { return Throughput(size, [&] { Copy(text, out); }); }});
  Require(fs::file_size(out) == size, "size");
  rows.push_back(
      {"UncompressFile, the same, MB/s", inflated[0], inflated[1], inflated[2], 1.5, bench::Better::higher});
}

using OneCall = int (*)(Bytef*, uLongf*, const Bytef*, uLong);

// zlib into a fresh buffer of `room` bytes.
void CallOnce(OneCall call, std::string_view in, std::size_t room) {
  const std::unique_ptr<char[]> out(new char[room]);
  uLongf length = room;
  const int result = call(reinterpret_cast<Bytef*>(out.get()), &length,
                          reinterpret_cast<const Bytef*>(in.data()), in.size());
  Require(result == Z_OK, "zlib");
  bench::Keep(out[0]);
}

template <class Processer>
void Process(std::string_view in) {
  Processer processer(in.data(), in.size());
  Require(processer.Process() == 0, "Process");
  bench::Keep(*processer.GetProcessedDataPtr());
}

void MeasureMemory(const bench::Options& options, const std::string& name, const std::string& text,
                   std::vector<bench::Row>& rows) {
  const long times = options.Operations((8L << 20) / static_cast<long>(text.size()));
  NSTE_util::MemCompresser whole(text.data(), text.size());
  Require(whole.Process() == 0, "Process");
  const std::string packed(whole.GetProcessedDataPtr(), whole.GetProcessedDataLen());
  const auto each = [times](auto body) {
    return [=] {
      return bench::NanosecondsEach(times,
                                    [&](long count) {
                                      for (long i = 0; i < count; ++i) body();
                                    }) /
             1000;
    };
  };
  const std::size_t room = ::compressBound(text.size());
  const auto deflate = bench::Interleaved(options, {each([&] { Process<NSTE_util::MemCompresser>(text); }),
                                                    each([&, room] { CallOnce(::compress, text, room); })});
  const auto inflate =
      bench::Interleaved(options, {each([&] { Process<NSTE_util::MemUncompresser>(packed); }),
                                   each([&] { CallOnce(::uncompress, packed, text.size()); })});
  const std::string of =
      name + " deflated to " + std::to_string(100 * packed.size() / text.size()) + " %, us";
  rows.push_back({"MemCompresser, " + of, deflate[0], deflate[1], {}, 1.05});
  rows.push_back({"MemUncompresser, " + of, inflate[0], inflate[1], {}, 1.05});
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  // Large blocks that are mapped and unmapped each time would hide the work.
  ::mallopt(M_MMAP_THRESHOLD, 64 << 20);
  ::mallopt(M_TRIM_THRESHOLD, 256 << 20);
  std::vector<bench::Row> rows;
  MeasureFiles(options, rows);
  // Within the first guess of the inflated size, beyond it, and far beyond it.
  const std::string numbers = Numbers(1 << 20);
  MeasureMemory(options, "4 KiB of numbers", numbers.substr(0, 4096), rows);
  MeasureMemory(options, "1 MiB of numbers", numbers, rows);
  MeasureMemory(options, "1 MiB of log", LogText(1 << 20), rows);
  MeasureMemory(options, "1 MiB of one line", Repeated("an empty report\n", 1 << 20), rows);
  bench::Print(options, rows);
}
