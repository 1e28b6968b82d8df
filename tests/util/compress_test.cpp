#include "util/basicutil/compress.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <random>
#include <utility>

#include "asn1/file.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/task/vela_error.h"
#include "platform/testkit/testkit.h"
#include "tests/files.h"
#include "util/basicutil/common.h"

namespace {

namespace fs = std::filesystem;
using namespace NSTE_util;
using vela::OsCall;
using vela::OsFault;
using enum vela::OsCall;
constexpr unsigned long FAILED = 0x4101F008, UNWRITTEN = 0x42008134;

struct Compress : testing::Test {
  Compress() { fs::current_path(files::Root()); }
};

std::string Noise(std::size_t size) {
  std::minstd_rand random(7);
  std::string bytes(size, '\0');
  std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<char>(random() >> 16); });
  return bytes;
}

std::string Packed(const std::string& bytes) {
  MemCompresser packed(bytes.data(), bytes.size());
  EXPECT_EQ(packed.Process(), 0U);
  return {packed.GetProcessedDataPtr(), packed.GetProcessedDataLen()};
}

std::string Gzip(const std::string& bytes) {
  files::Write("gzip.in", bytes);
  EXPECT_EQ(CompressFile("gzip.in", "gzip.out"), 0U);
  return files::Read("gzip.out");
}

// The step's result: it leaves no file open and exactly this trace, or none. With an `error`, its first such
// call fails, a transfer after 3 bytes.
unsigned long Traced(const std::string& text, const std::function<unsigned long()>& step,
                     OsCall failing = open, int error = 0) {
  WriteException("before");
  testkit::LogCapture log;
  const auto descriptors = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
  const long before = descriptors();
  const testkit::OsFaults faults([&](OsCall call, const char*) {
    if (error == 0 || call != failing) return OsFault{};
    return OsFault{std::exchange(error, 0), 3};
  });
  const unsigned long result = step();
  EXPECT_EQ(descriptors(), before);
  WriteException("after");
  const std::string all = log.Records().back().text;
  const std::string mark = "],Debug,[H";
  const std::size_t found = all.find(mark);
  EXPECT_EQ(found == std::string::npos, text.empty());
  EXPECT_EQ(all.rfind(mark), found) << all;
  EXPECT_NE(all.find(text), std::string::npos) << text << all;
  return result;
}

TEST_F(Compress, FilesComeBackAsTheyWere) {
  for (const std::size_t size : {0, 1, 16383, 16384, 16385, 200000}) {
    const std::string content = Noise(size);
    EXPECT_TRUE(Gzip(content).starts_with("\x1F\x8B")) << size;
    EXPECT_EQ(UncompressFile("gzip.out", "back"), 0U);
    EXPECT_EQ(files::Read("back"), content) << size;
  }
  EXPECT_EQ(Gzip("").size(), 20U) << "an empty stream, whole";
  for (const char* plain : {"", "\x1F", "not gzip"}) {
    files::Write("plain", plain);
    EXPECT_EQ(UncompressFile("plain", "back"), 0U);
    EXPECT_EQ(files::Read("back"), plain);
  }
}

TEST_F(Compress, FileFailuresHaveTheirCodeAndTrace) {
  files::Write("etc/conf/vela.cfg", "InflateMaxFileMiB = 1\n");
  const std::string noise = Noise(40000);
  const std::string gzip = Gzip(noise);
  for (const char* name : {"noise", "busy"}) files::Write(name, noise);
  files::Write("cut", gzip.substr(0, gzip.size() - 9));
  files::Write("bad", std::string(gzip).replace(5000, 1, 1, static_cast<char>(gzip[5000] ^ 1)));
  files::Write("most", Gzip(std::string(1 << 20, 'x')));
  files::Write("bomb", Gzip(std::string((1 << 20) + 1, 'x')));
  using Function = unsigned long (*)(const std::string&, const std::string&);
  const Function pack = CompressFile, unpack = UncompressFile;
  const Function encode = [](const std::string& name, const std::string&) {
    AsnFile sent;
    return EncodeFileToAsnFile("", name, sent);
  };
  const std::tuple<Function, const char*, const char*, OsCall, int, unsigned long, const char*> rows[] = {
      {pack, "no\nfile", "o", open, 0, FAILED, "fopen error! filename: no\\x0Afile, lasterr: 2"},
      {pack, "noise", "none/o", open, 0, FAILED, "can't gzopen none/o"},
      {pack, "noise", "./noise", open, 0, FAILED, "can't gzopen ./noise"},
      {pack, "noise", "o", read, EIO, FAILED, "fread error, filename: noise, lasterr: 5"},
      {pack, "etc", "o", open, 0, FAILED, "fread error, filename: etc, lasterr: 21"},
      {pack, "noise", "o", stat, EIO, FAILED, "can't gzopen o"},
      {encode, "busy", "", read, EIO, 0, "fread error, filename: busy, lasterr: 5"},
      {pack, "bomb", "/dev/full", open, 0, FAILED, "gzclose error, filename: /dev/full, gzerror: -1"},
      {unpack, "none", "o", open, 0, FAILED, "can't gzopen none"},
      {unpack, "most", "none/o", open, 0, FAILED, "fopen error! filename: none/o, lasterr: 2"},
      {unpack, "noise", "./noise", open, 0, FAILED, "fopen error! filename: ./noise, lasterr: 22"},
      {unpack, "most", "o", stat, EACCES, FAILED, "fopen error! filename: o, lasterr: 13"},
      {unpack, "etc", "o", open, 0, FAILED, "gzread error, filename: etc, gzerror: -1"},
      {unpack, "bad", "o", open, 0, FAILED, "gzread error, filename: bad, gzerror: -3"},
      {unpack, "cut", "o", open, 0, FAILED, "gzread error, filename: cut, gzerror: -5"},
      {unpack, "most", "o", write, ENOSPC, UNWRITTEN, "fwrite error, filename: o, lasterr: 28"},
      {unpack, "most", "o", close, EIO, UNWRITTEN, "fwrite error, filename: o, lasterr: 5"},
      {unpack, "most", "o", open, 0, 0, ""},
      {unpack, "bomb", "o", open, 0, FAILED, "more than 1048576 bytes, filename: bomb"},
  };
  for (const auto& [function, from, to, call, error, code, trace] : rows) {
    const std::string text = function == unpack ? "UncompressFile: " : "CompressFile: ";
    const auto step = [&run = function, source = from, target = to] { return run(source, target); };
    EXPECT_EQ(Traced(code == 0 && function == unpack ? "" : text + trace + "\n", step, call, error), code)
        << trace;
  }
  EXPECT_EQ(files::Read("noise"), noise) << "never emptied by itself";
  EXPECT_FALSE(fs::exists("busy")) << "deleted whatever the outcome";
  EXPECT_EQ(fs::file_size("o"), 1U << 20) << "not above the bound";
}

// A disk that is full for one write: the file can be closed, but misses a block.
TEST_F(Compress, AFailedWriteIsNotForgottenAtTheEnd) {
  files::Write("noise", Noise(100000));
  static constexpr rlimit LITTLE{16384, RLIM_INFINITY}, NONE{RLIM_INFINITY, RLIM_INFINITY};
  std::signal(SIGXFSZ, [](int) { ::setrlimit(RLIMIT_FSIZE, &NONE); });
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &LITTLE), 0);
  const auto step = [] { return CompressFile("noise", "o"); };
  EXPECT_EQ(Traced("CompressFile: gzwrite error, filename: o, gzerror: -1\n", step), UNWRITTEN);
}

TEST_F(Compress, AFileTravelsThroughAMessage) {
  const std::string content = Noise(150000);
  fs::create_directories("to/a");
  for (const std::string folder : {"", "from", "from/", "from\\"}) {
    const std::string name = "a/f";
    const std::string path = folder + (folder == "from" ? "/" : "") + name;
    files::Write(path, content);
    AsnFile sent, received;
    const auto encode = [&] { return EncodeFileToAsnFile(folder, name, sent); };
    EXPECT_EQ(Traced("\nGZip File fail! filename:" + path + ", zipFile:" + path + ".gz\n", encode), 0U);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(static_cast<int>(sent.compressFlag), 1);
    const std::string bytes = testkit::Encoded(sent);
    const std::span raw(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    ASSERT_EQ(CAsnHelper::Decode(raw, received), 0U);
    EXPECT_EQ(received.content.Bytes(), files::Read(path + ".gz")) << "read when encoded, in order";
    const auto build = [&] { return BuildFileFromAsnStream("to", received); };
    EXPECT_EQ(Traced("\nUnZip File fail! filename:to/a/f.gz, unzipFile:to/a/f\n", build), 0U);
    EXPECT_EQ(files::Read("to/a/f"), content);
    EXPECT_FALSE(fs::exists("to/a/f.gz"));
    EXPECT_EQ(BuildFileFromAsnStream(folder, sent), 0U) << "where it came from, over its own gzip file";
    EXPECT_EQ(files::Read(path), content);
    const testkit::LogCapture log;
    unsigned char* buffer = nullptr;
    std::size_t size = 0;
    EXPECT_EQ(CAsnHelper::Encode(sent, buffer, size), VELA_ERR_GENERAL) << "its gzip file is gone";
    EXPECT_EQ(log.Count("message content: cannot read " + path + ".gz, errno 2"), 1);
  }
}

TEST_F(Compress, FailuresOfTheReceiver) {
  fs::create_directories("to");
  const auto build = [](const std::string& folder, const std::string& name, const char* content) {
    return [=] {
      AsnFile file;
      file.fileName = AsnOcts(name.data(), name.size());
      file.content.Set(content);
      return BuildFileFromAsnStream(folder, file);
    };
  };
  const std::tuple<std::string, OsCall, int, int> rows[] = {
      {"f", open, EMFILE, EMFILE}, {"f", write, ENOSPC, ENOSPC},
      {"f", close, EIO, EIO},      {"f", allocate, ENOMEM, ENOMEM},
      {"none/f", open, 0, ENOENT}, {"", open, 0, EINVAL},
      {"a/../f", open, 0, EINVAL}, {std::string("f\0g", 3), open, 0, EINVAL}};
  for (const auto& [name, call, injected, error] : rows) {
    const std::string path = "to/" + vela::EscapeControls(name) + ".gz, lasterr:";
    const std::string trace = "\nOpen File for write error!filename:" + path + std::to_string(error);
    EXPECT_EQ(Traced(trace, build("to", name, "text"), call, injected), UNWRITTEN);
    EXPECT_TRUE(fs::is_empty("to")) << path;
  }
  const std::string trace = "UncompressFile: gzread error, filename: to/..f.gz, gzerror: -3\n";
  EXPECT_EQ(Traced(trace, build("to", "..f", "\x1F\x8B damaged")), 0U);
  EXPECT_FALSE(fs::exists("to/..f.gz"));
  EXPECT_EQ(build("", "to/../plain", "text")(), 0U) << "vouched for";
  EXPECT_EQ(files::Read("plain"), "text");
}

struct SmallCompresser : MemCompresser {
  SmallCompresser(const char* data, unsigned long size) : MemCompresser(data, size) { m_nCapacity = 10; }
};

// Input, result, output, allocations, why. So it is; with memory exhausted at the first or the last
// allocation; and again after that.
using MemoryRow = std::tuple<std::string, unsigned long, std::string, int, const char*>;
template <class Processer>
void Check(const std::vector<MemoryRow>& rows) {
  for (const auto& [input, code, output, expected, why] : rows) {
    for (const int refused : {0, 1, expected}) {
      int allocations = 0;
      const testkit::OsFaults faults([&, bad = refused](OsCall call, const char*) {
        return OsFault{call == allocate && ++allocations == bad ? ENOMEM : 0};
      });
      Processer processer(input.data(), (1UL << 32) + input.size());  // 32 bits of it count
      EXPECT_EQ(processer.Process(), refused != 0 ? 0x4101F00E : code) << why;
      EXPECT_EQ(allocations, refused != 0 ? refused : expected) << why;
      EXPECT_EQ(processer.GetProcessedDataPtr() != nullptr, code == 0 && refused == 0) << why;
      EXPECT_EQ(processer.Process(), code) << why;
      EXPECT_TRUE(std::string_view(processer.GetProcessedDataPtr(), processer.GetProcessedDataLen()) ==
                  output)
          << why;
    }
  }
}

TEST_F(Compress, MemoryResultsAndAllocations) {
  files::Write("etc/conf/vela.cfg", "InflateMaxBytes = 0\n");
  const std::string noise = Noise(1000), few = Noise(20), packed = Packed(noise), most(1 << 20, 'x');
  const std::string mixed = few + std::string(300, 'x') + few, tenfold = Packed(mixed);
  Check<MemCompresser>(
      {{"", 0, Packed(""), 1, "8 bytes for nothing"}, {noise, 0, packed, 1, "101 % are enough"}});
  Check<SmallCompresser>({{noise, 0, packed, 8, "10, 20, ... 1280"}});
  Check<MemUncompresser>({
      {packed, 0, noise, 1, "4 times are enough"},
      {tenfold, 0, mixed, 2, "4 times, then 16"},
      {"", 0x4101F011, "", 1, "no stream at all"},
      {packed.substr(0, packed.size() - 1), 0x4101F011, "", 1, "cut short"},
      {tenfold.substr(0, tenfold.size() - 1), 0x4101F011, "", 2, "cut short behind the first guess"},
      {Packed(most), 0, most, 5, "as much as is allowed"},
      {Packed(most + "x"), 0x4101F00E, "", 5, "one byte more"},
  });
}

}  // namespace
