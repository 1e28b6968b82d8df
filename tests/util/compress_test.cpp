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
constexpr unsigned long FAILED = 0x4101F008, UNWRITTEN = 0x42008134;
constexpr OsCall OPEN = OsCall::open;

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
                     OsCall failing = OPEN, int error = 0) {
  WriteException("before");
  testkit::LogCapture log;
  const auto open = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
  const long before = open();
  const testkit::OsFaults faults([&](OsCall call, const char*) {
    if (error == 0 || call != failing) return OsFault{};
    return OsFault{std::exchange(error, 0), 3};
  });
  const unsigned long result = step();
  EXPECT_EQ(open(), before);
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
    const std::string gzip = Gzip(content);
    EXPECT_TRUE(gzip.starts_with("\x1F\x8B")) << size;
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
  files::Write("noise", noise);
  files::Write("cut", gzip.substr(0, gzip.size() - 9));
  files::Write("bad", std::string(gzip).replace(5000, 1, 1, static_cast<char>(gzip[5000] ^ 1)));
  files::Write("most", Gzip(std::string(1 << 20, 'x')));
  files::Write("bomb", Gzip(std::string((1 << 20) + 1, 'x')));
  using Function = unsigned long (*)(const std::string&, const std::string&);
  const Function pack = CompressFile, unpack = UncompressFile;
  const struct {
    Function function;
    std::string from, to;
    OsCall call;
    int error;
    unsigned long code;
    std::string trace;
  } rows[] = {
      {pack, "no\nfile", "o", OPEN, 0, FAILED, "fopen error! filename: no\\x0Afile, lasterr: 2"},
      {pack, "noise", "none/o", OPEN, 0, FAILED, "can't gzopen none/o"},
      {pack, "noise", "./noise", OPEN, 0, FAILED, "can't gzopen ./noise"},
      {pack, "noise", "o", OsCall::read, EIO, FAILED, "fread error, filename: noise, lasterr: 5"},
      {pack, "etc", "o", OPEN, 0, FAILED, "fread error, filename: etc, lasterr: 21"},
      {pack, "bomb", "/dev/full", OPEN, 0, FAILED, "gzclose error, filename: /dev/full, gzerror: -1"},
      {unpack, "none", "o", OPEN, 0, FAILED, "can't gzopen none"},
      {unpack, "most", "none/o", OPEN, 0, FAILED, "fopen error! filename: none/o, lasterr: 2"},
      {unpack, "noise", "./noise", OPEN, 0, FAILED, "fopen error! filename: ./noise, lasterr: 22"},
      {unpack, "etc", "o", OPEN, 0, FAILED, "gzread error, filename: etc, gzerror: -1"},
      {unpack, "bad", "o", OPEN, 0, FAILED, "gzread error, filename: bad, gzerror: -3"},
      {unpack, "cut", "o", OPEN, 0, FAILED, "gzread error, filename: cut, gzerror: -5"},
      {unpack, "most", "o", OsCall::write, ENOSPC, UNWRITTEN, "fwrite error, filename: o, lasterr: 28"},
      {unpack, "most", "o", OsCall::close, EIO, UNWRITTEN, "fwrite error, filename: o, lasterr: 5"},
      {unpack, "most", "o", OPEN, 0, 0, ""},
      {unpack, "bomb", "o", OPEN, 0, FAILED, "more than 1048576 bytes, filename: bomb"},
  };
  for (const auto& row : rows) {
    const std::string name = row.function == pack ? "CompressFile: " : "UncompressFile: ";
    const std::string text = row.trace.empty() ? "" : name + row.trace + "\n";
    const auto step = [&] { return row.function(row.from, row.to); };
    EXPECT_EQ(Traced(text, step, row.call, row.error), row.code) << row.trace;
  }
  EXPECT_EQ(files::Read("noise"), noise) << "never emptied by itself";
  EXPECT_EQ(fs::file_size("o"), 1U << 20) << "not above the bound";
}

void LiftFileLimit(int) {
  const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
  ::setrlimit(RLIMIT_FSIZE, &none);
}

// A disk that is full for one write: the file can be closed, but misses a block.
TEST_F(Compress, AFailedWriteIsNotForgottenAtTheEnd) {
  files::Write("noise", Noise(100000));
  std::signal(SIGXFSZ, LiftFileLimit);
  const rlimit little{16384, RLIM_INFINITY};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &little), 0);
  const auto step = [] { return CompressFile("noise", "o"); };
  EXPECT_EQ(Traced("CompressFile: gzwrite error, filename: o, gzerror: -1\n", step), UNWRITTEN);
}

AsnFile FileMessage(const std::string& name, const std::string& content) {
  AsnFile file;
  file.fileName = AsnOcts(name.data(), name.size());
  file.content.Set(content);
  return file;
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
  }
}

TEST_F(Compress, AFailureOfTheSenderShowsWhenEncoding) {
  files::Write("busy", "x");
  AsnFile sent;
  const auto step = [&] { return EncodeFileToAsnFile("", "busy", sent); };
  const std::string trace = "CompressFile: fread error, filename: busy, lasterr: 5\n";
  EXPECT_EQ(Traced(trace, step, OsCall::read, EIO), 0U);
  EXPECT_FALSE(fs::exists("busy")) << "deleted whatever the outcome";
  sent.content.SetFile("etc");
  const testkit::LogCapture log;
  unsigned char* buffer = nullptr;
  std::size_t size = 0;
  EXPECT_EQ(CAsnHelper::Encode(sent, buffer, size), VELA_ERR_GENERAL);
  EXPECT_EQ(log.Count("message content: cannot read etc, errno 21"), 1);
}

TEST_F(Compress, FailuresOfTheReceiver) {
  fs::create_directories("to");
  const struct {
    AsnFile file;
    OsCall call;
    int injected, error;
  } rows[] = {
      {FileMessage("f", "text"), OPEN, EMFILE, EMFILE},
      {FileMessage("f", "text"), OsCall::write, ENOSPC, ENOSPC},
      {FileMessage("f", "text"), OsCall::close, EIO, EIO},
      {FileMessage("f", "text"), OsCall::allocate, ENOMEM, ENOMEM},
      {FileMessage("none/f", "text"), OPEN, 0, ENOENT},
      {FileMessage("", "text"), OPEN, 0, EINVAL},
      {FileMessage("a/../f", "text"), OPEN, 0, EINVAL},
      {FileMessage(std::string("f\0g", 3), "text"), OPEN, 0, EINVAL},
  };
  for (const auto& row : rows) {
    const std::string path = "to/" + vela::EscapeControls(row.file.fileName.data()) + ".gz, lasterr:";
    const std::string trace = "\nOpen File for write error!filename:" + path + std::to_string(row.error);
    const auto step = [&] { return BuildFileFromAsnStream("to", row.file); };
    EXPECT_EQ(Traced(trace, step, row.call, row.injected), UNWRITTEN);
    EXPECT_TRUE(fs::is_empty("to")) << path;
  }
  const auto step = [&] { return BuildFileFromAsnStream("to", FileMessage("..f", "\x1F\x8B damaged")); };
  EXPECT_EQ(Traced("UncompressFile: gzread error, filename: to/..f.gz, gzerror: -3\n", step), 0U);
  EXPECT_FALSE(fs::exists("to/..f.gz"));
  EXPECT_EQ(BuildFileFromAsnStream("", FileMessage("to/../plain", "text")), 0U) << "vouched for";
  EXPECT_EQ(files::Read("plain"), "text");
}

struct SmallCompresser : MemCompresser {
  explicit SmallCompresser(const std::string& data) : MemCompresser(data.data(), data.size()) {
    m_nCapacity = 10;
  }
};

TEST_F(Compress, MemoryResultsAndAllocations) {
  files::Write("etc/conf/vela.cfg", "InflateMaxBytes = 0\n");
  const std::string noise = Noise(1000), packed = Packed(noise);
  const std::string tenfold = Packed(noise.substr(0, 20) + std::string(300, 'x'));
  const std::string most = Packed(std::string(1 << 20, 'x')), bomb = Packed(std::string((1 << 20) + 1, 'x'));
  MemCompresser empty("", 0), cut32(noise.data(), (1UL << 32) + noise.size());
  SmallCompresser small(noise);
  MemUncompresser once(packed.data(), packed.size()), tenTimes(tenfold.data(), tenfold.size());
  MemUncompresser nothing("", 0), cut(packed.data(), packed.size() - 1);
  MemUncompresser largest(most.data(), most.size()), above(bomb.data(), bomb.size());
  const struct {
    MemBufProcesser& processer;
    unsigned long code;
    std::size_t length;
    int allocations;
    const char* why;
  } rows[] = {
      {empty, 0, 8, 1, "8 bytes for nothing"},
      {cut32, 0, packed.size(), 1, "a length of 32 bits; 101 % are enough"},
      {small, 0, packed.size(), 8, "10, 20, ... 1280"},
      {once, 0, 1000, 1, "4 times are enough"},
      {tenTimes, 0, 320, 2, "4 times, then 16"},
      {nothing, 0x4101F011, 0, 1, "no stream at all"},
      {cut, 0x4101F011, 0, 1, "cut short"},
      {largest, 0, 1 << 20, 5, "as much as is allowed"},
      {above, 0x4101F00E, 0, 5, "one byte more"},
  };
  int allocations = 0;
  const auto count = [&allocations](OsCall call, const char*) {
    allocations += call == OsCall::allocate;
    return OsFault{};
  };
  for (const auto& row : rows) {
    allocations = 0;
    const testkit::OsFaults counting(count);
    EXPECT_EQ(row.processer.Process(), row.code) << row.why;
    EXPECT_EQ(allocations, row.allocations) << row.why;
    EXPECT_EQ(row.processer.GetProcessedDataLen(), row.length) << row.why;
    EXPECT_EQ(row.processer.GetProcessedDataPtr() != nullptr, row.code == 0) << row.why;
  }
  EXPECT_EQ(std::string(once.GetProcessedDataPtr(), once.GetProcessedDataLen()), noise);
  EXPECT_EQ(Traced(
                "", [&] { return once.Process(); }, OsCall::allocate, ENOMEM),
            0x4101F00EU);
  EXPECT_EQ(once.GetProcessedDataPtr(), nullptr) << "the earlier output is gone";
  EXPECT_EQ(once.Process(), 0U) << "and can be had again";
}

}  // namespace
