#include "util/basicutil/compress.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <random>

#include "asn1/file.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/task/vela_error.h"
#include "platform/testkit/testkit.h"
#include "tests/files.h"
#include "util/basicutil/common.h"

namespace {

namespace fs = std::filesystem;
using namespace NSTE_util;
using files::Root;
using vela::OsCall;
using vela::OsFault;
using Texts = std::vector<std::string>;

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
  EXPECT_EQ(CompressFile(Root() + "gzip.in", Root() + "gzip.out"), 0U);
  return files::Read("gzip.out");
}

std::size_t OpenFiles() {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

// Runs the step and expects exactly these traces from it, and no file left open.
unsigned long Traced(const Texts& texts, const std::function<unsigned long()>& step) {
  WriteException("before");
  testkit::LogCapture log;
  const std::size_t open = OpenFiles();
  const unsigned long result = step();
  EXPECT_EQ(OpenFiles(), open);
  WriteException("after");
  const std::string all = log.Records().back().text;
  std::size_t count = 0;
  for (std::size_t at = 0; (at = all.find("],Debug,[H", at)) != std::string::npos; ++at) ++count;
  EXPECT_EQ(count, texts.size()) << all;
  for (const std::string& text : texts) EXPECT_NE(all.find(" " + text), std::string::npos) << text << all;
  return result;
}

// The injected fault in the call of that number, counted from 1.
testkit::OsFaults Failing(OsCall failing, OsFault fault, int number = 1) {
  const auto left = std::make_shared<std::atomic<int>>(number);
  return testkit::OsFaults([=](OsCall call, const char*) {
    return fault.error != 0 && call == failing && --*left == 0 ? fault : OsFault{};
  });
}

TEST(CompressFiles, ComeBackAsTheyWere) {
  for (const std::size_t size : {0, 1, 16383, 16384, 16385, 200000}) {
    const std::string content = Noise(size);
    const std::string gzip = Gzip(content);
    EXPECT_TRUE(gzip.starts_with("\x1F\x8B")) << size;
    EXPECT_EQ(UncompressFile(Root() + "gzip.out", Root() + "back"), 0U);
    EXPECT_EQ(files::Read("back"), content) << size;
  }
  EXPECT_EQ(Gzip("").size(), 20U) << "an empty stream, whole";
  for (const char* plain : {"", "\x1F", "not gzip"}) {
    files::Write("plain", plain);
    EXPECT_EQ(UncompressFile(Root() + "plain", Root() + "back"), 0U);
    EXPECT_EQ(files::Read("back"), plain);
  }
}

TEST(CompressFiles, FailuresHaveTheirCodeAndTrace) {
  files::Write("etc/conf/vela.cfg", "InflateMaxFileMiB = 1\n");
  const std::string noise = Noise(40000);
  const std::string gzip = Gzip(noise);
  files::Write("noise", noise);
  files::Write("cut", gzip.substr(0, gzip.size() - 9));
  files::Write("damaged", std::string(gzip).replace(5000, 1, 1, static_cast<char>(gzip[5000] ^ 1)));
  files::Write("largest", Gzip(std::string(1 << 20, 'x')));
  files::Write("bomb", Gzip(std::string((1 << 20) + 1, 'x')));
  const std::string root = Root();
  const struct {
    unsigned long (*function)(const std::string&, const std::string&);
    std::string from, to;
    OsCall call;
    OsFault fault;
    unsigned long code;
    Texts traces;
  } rows[] = {
      {CompressFile,
       root + "no\nfile",
       root + "out",
       OsCall::open,
       {},
       0x4101F008,
       {"CompressFile: fopen error! filename: " + root + "no\\x0Afile, lasterr: 2\n"}},
      {CompressFile,
       root + "noise",
       root + "out",
       OsCall::open,
       {.error = EMFILE},
       0x4101F008,
       {"CompressFile: fopen error! filename: " + root + "noise, lasterr: 24\n"}},
      {CompressFile,
       root + "noise",
       root + "none/out",
       OsCall::open,
       {},
       0x4101F008,
       {"CompressFile: can't gzopen " + root + "none/out\n"}},
      {CompressFile,
       root + "noise",
       root + "./noise",
       OsCall::open,
       {},
       0x4101F008,
       {"CompressFile: can't gzopen " + root + "./noise\n"}},
      {CompressFile,
       root + "noise",
       root + "out",
       OsCall::read,
       {.error = EIO, .limit = 5},
       0x4101F008,
       {"CompressFile: fread error, filename: " + root + "noise, lasterr: 5\n"}},
      {CompressFile,
       root,
       root + "out",
       OsCall::open,
       {},
       0x4101F008,
       {"CompressFile: fread error, filename: " + root + ", lasterr: 21\n"}},
      {CompressFile,
       root + "bomb",
       "/dev/full",
       OsCall::open,
       {},
       0x4101F008,
       {"CompressFile: gzclose error, filename: /dev/full, gzerror: -1\n"}},
      {UncompressFile,
       root + "none",
       root + "out",
       OsCall::open,
       {},
       0x4101F008,
       {"UncompressFile: can't gzopen " + root + "none\n"}},
      {UncompressFile,
       root + "gzip.out",
       root + "none/out",
       OsCall::open,
       {},
       0x4101F008,
       {"UncompressFile: fopen error! filename: " + root + "none/out, lasterr: 2\n"}},
      {UncompressFile,
       root + "noise",
       root + "./noise",
       OsCall::open,
       {},
       0x4101F008,
       {"UncompressFile: fopen error! filename: " + root + "./noise, lasterr: 22\n"}},
      {UncompressFile,
       root + "gzip.out",
       root + "out",
       OsCall::open,
       {.error = EACCES},
       0x4101F008,
       {"UncompressFile: fopen error! filename: " + root + "out, lasterr: 13\n"}},
      {UncompressFile,
       root,
       root + "out",
       OsCall::open,
       {},
       0x4101F008,
       {"UncompressFile: gzread error, filename: " + root + ", gzerror: -1\n"}},
      {UncompressFile,
       root + "damaged",
       root + "out",
       OsCall::open,
       {},
       0x4101F008,
       {"UncompressFile: gzread error, filename: " + root + "damaged, gzerror: -3\n"}},
      {UncompressFile,
       root + "cut",
       root + "out",
       OsCall::open,
       {},
       0x4101F008,
       {"UncompressFile: gzread error, filename: " + root + "cut, gzerror: -5\n"}},
      {UncompressFile, root + "largest", root + "out", OsCall::open, {}, 0, {}},
      {UncompressFile,
       root + "bomb",
       root + "out",
       OsCall::open,
       {},
       0x4101F008,
       {"UncompressFile: more than 1048576 bytes, filename: " + root + "bomb\n"}},
      {UncompressFile,
       root + "largest",
       root + "out",
       OsCall::write,
       {.error = ENOSPC, .limit = 5},
       0x42008134,
       {"UncompressFile: fwrite error, filename: " + root + "out, lasterr: 28\n"}},
      {UncompressFile,
       root + "largest",
       "/dev/full",
       OsCall::open,
       {},
       0x42008134,
       {"UncompressFile: fwrite error, filename: /dev/full, lasterr: 28\n"}},
      {UncompressFile,
       root + "largest",
       root + "out",
       OsCall::close,
       {.error = EIO},
       0x42008134,
       {"UncompressFile: fwrite error, filename: " + root + "out, lasterr: 5\n"}},
  };
  for (const auto& row : rows) {
    const testkit::OsFaults faults = Failing(row.call, row.fault);
    EXPECT_EQ(Traced(row.traces, [&] { return row.function(row.from, row.to); }), row.code) << row.from;
  }
  EXPECT_EQ(files::Read("noise"), noise) << "never emptied by itself";
  EXPECT_LE(fs::file_size(root + "out"), 1U << 20);
}

void LiftFileLimit(int) {
  const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
  ::setrlimit(RLIMIT_FSIZE, &none);
}

// A disk that is full for one write: the file can be closed, but misses a block.
TEST(CompressFiles, AFailedWriteIsNotForgottenAtTheEnd) {
  files::Write("noise", Noise(100000));
  std::signal(SIGXFSZ, LiftFileLimit);
  const rlimit little{16384, RLIM_INFINITY};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &little), 0);
  EXPECT_EQ(Traced({"CompressFile: gzwrite error, filename: " + Root() + "out, gzerror: -1\n"},
                   [] { return CompressFile(Root() + "noise", Root() + "out"); }),
            0x42008134U);
}

AsnFile FileMessage(const std::string& name, const std::string& content) {
  AsnFile file;
  file.fileName = AsnOcts(name.data(), name.size());
  file.content.Set(content);
  return file;
}

TEST(CompressAsnFile, TravelsThroughAMessage) {
  const std::string content = Noise(150000);
  fs::create_directories(Root() + "to");
  fs::current_path(Root());
  for (const std::string folder : {"", "from", "from/", "from\\"}) {
    const std::string name = folder.empty() ? "f" : "a/f";
    const std::string path = folder + (folder == "from" ? "/" : "") + name;
    files::Write(path, content);
    AsnFile sent;
    EXPECT_EQ(Traced({"\nGZip File fail! filename:" + path + ", zipFile:" + path + ".gz\n"},
                     [&] { return EncodeFileToAsnFile(folder, name, sent); }),
              0U);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(static_cast<int>(sent.compressFlag), 1);
    files::Write("other.gz", "changed");
    const std::string bytes = testkit::Encoded(sent);
    EXPECT_EQ(testkit::Encoded(FileMessage(name, files::Read(path + ".gz"))).size(), bytes.size());

    AsnFile received;
    ASSERT_EQ(
        CAsnHelper::Decode({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}, received),
        0U);
    EXPECT_EQ(received.content.Bytes(), files::Read(path + ".gz")) << "read when encoded, in order";
    fs::create_directories(Root() + "to/a");
    EXPECT_EQ(Traced({"\nUnZip File fail! filename:to/" + name + ".gz, unzipFile:to/" + name + "\n"},
                     [&] { return BuildFileFromAsnStream("to", received); }),
              0U);
    EXPECT_EQ(files::Read("to/" + name), content);
    EXPECT_FALSE(fs::exists("to/" + name + ".gz"));
    EXPECT_EQ(BuildFileFromAsnStream(folder, sent), 0U) << "where it came from, over its own gzip file";
    EXPECT_EQ(files::Read(path), content);
  }
}

TEST(CompressAsnFile, AFailureOfTheSenderShowsWhenEncoding) {
  AsnFile sent;
  EXPECT_EQ(Traced({"CompressFile: fopen error! filename: " + Root() + "none, lasterr: 2\n"},
                   [&] { return EncodeFileToAsnFile(Root(), "none", sent); }),
            0U);
  files::Write("busy", "x");
  {
    const testkit::OsFaults faults = Failing(OsCall::read, {.error = EIO, .limit = 0});
    EXPECT_EQ(EncodeFileToAsnFile(Root(), "busy", sent), 0U);
    EXPECT_FALSE(fs::exists(Root() + "busy")) << "deleted whatever the outcome";
  }
  const auto encode = [&sent] {
    unsigned char* buffer = nullptr;
    std::size_t size = 0;
    const std::uint32_t result = CAsnHelper::Encode(sent, buffer, size);
    CAsnHelper::ReleaseAsnBuf(buffer);
    return result;
  };
  EXPECT_EQ(encode(), 0U);
  const std::pair<std::string, int> rows[] = {
      {Root() + "none.gz", ENOENT}, {Root(), EISDIR}, {"/dev/null", EINVAL}, {Root() + "busy.gz", EIO}};
  for (const auto& [name, error] : rows) {
    sent.content.SetFile(name);
    const testkit::LogCapture log;
    const testkit::OsFaults faults = Failing(OsCall::read, {.error = EIO, .limit = 3});
    EXPECT_EQ(encode(), VELA_ERR_GENERAL) << name;
    EXPECT_EQ(log.Count("message content: cannot read " + name + ", errno " + std::to_string(error)), 1);
  }
}

TEST(CompressAsnFile, FailuresOfTheReceiver) {
  const std::string folder = Root() + "to";
  fs::create_directories(folder);
  AsnFile unreadable = FileMessage("f", "");
  unreadable.content.SetFile(Root() + "none");
  const struct {
    AsnFile file;
    OsCall call;
    OsFault fault;
    int error;
  } rows[] = {
      {FileMessage("f", "text"), OsCall::open, {.error = EMFILE}, EMFILE},
      {FileMessage("f", "text"), OsCall::write, {.error = ENOSPC, .limit = 2}, ENOSPC},
      {FileMessage("f", "text"), OsCall::close, {.error = EIO}, EIO},
      {FileMessage("f", "text"), OsCall::allocate, {.error = ENOMEM}, ENOMEM},
      {FileMessage("none/f", "text"), OsCall::open, {}, ENOENT},
      {unreadable, OsCall::open, {}, ENOENT},
      {FileMessage("", "text"), OsCall::open, {}, EINVAL},
      {FileMessage("..", "text"), OsCall::open, {}, EINVAL},
      {FileMessage("../f", "text"), OsCall::open, {}, EINVAL},
      {FileMessage("a/../f", "text"), OsCall::open, {}, EINVAL},
      {FileMessage(std::string("f\0g", 3), "text"), OsCall::open, {}, EINVAL},
  };
  for (const auto& row : rows) {
    const std::string path = folder + "/" + vela::EscapeControls(row.file.fileName.data()) + ".gz";
    const testkit::OsFaults faults = Failing(row.call, row.fault);
    EXPECT_EQ(Traced({"\nOpen File for write error!filename:" + path +
                      ", lasterr:" + std::to_string(row.error) + "\n"},
                     [&] { return BuildFileFromAsnStream(folder, row.file); }),
              0x42008134U);
    EXPECT_TRUE(fs::is_empty(folder)) << path;
  }
  const AsnFile damaged = FileMessage("..f", "\x1F\x8B damaged");
  EXPECT_EQ(Traced({"UncompressFile: gzread error, filename: " + folder + "/..f.gz, gzerror: -3\n"},
                   [&] { return BuildFileFromAsnStream(folder, damaged); }),
            0U);
  EXPECT_FALSE(fs::exists(folder + "/..f.gz"));
  EXPECT_EQ(BuildFileFromAsnStream("", FileMessage(folder + "/../plain", "text")), 0U) << "vouched for";
  EXPECT_EQ(files::Read("plain"), "text");
}

struct SmallCompresser : MemCompresser {
  explicit SmallCompresser(const std::string& data) : MemCompresser(data.data(), data.size()) {
    m_nCapacity = 10;
  }
};

TEST(CompressMemory, ResultsAndAllocations) {
  files::Write("etc/conf/vela.cfg", "InflateMaxBytes = 0\n");
  const std::string noise = Noise(1000), text(300, 'x'), packedNoise = Packed(noise);
  const std::string largest = Packed(std::string(1 << 20, 'x')),
                    bomb = Packed(std::string((1 << 20) + 1, 'x'));
  MemCompresser empty("", 0);
  MemCompresser noisy(noise.data(), noise.size());
  MemCompresser cutTo32Bits(noise.data(), (1UL << 32) + noise.size());
  SmallCompresser small(noise);
  MemUncompresser once(packedNoise.data(), packedNoise.size());
  const std::string tenfold = Packed(noise.substr(0, 20) + text), tooShort = packedNoise.substr(0, 1000);
  MemUncompresser tenTimes(tenfold.data(), tenfold.size());
  MemUncompresser nothing("", 0);
  MemUncompresser cut(tooShort.data(), tooShort.size());
  MemUncompresser largestOne(largest.data(), largest.size());
  MemUncompresser above(bomb.data(), bomb.size());
  const struct {
    MemBufProcesser& processer;
    unsigned long code;
    std::size_t length;
    int allocations;
    const char* why;
  } rows[] = {
      {empty, 0, 8, 1, "8 bytes for nothing"},
      {noisy, 0, packedNoise.size(), 1, "101 % are enough"},
      {cutTo32Bits, 0, packedNoise.size(), 1, "a length of 32 bits"},
      {small, 0, packedNoise.size(), 8, "10, 20, ... 1280"},
      {once, 0, 1000, 1, "4 times are enough"},
      {tenTimes, 0, 320, 2, "4 times, then 16"},
      {nothing, 0x4101F011, 0, 1, "no stream at all"},
      {cut, 0x4101F011, 0, 1, "cut short"},
      {largestOne, 0, 1 << 20, 5, "as much as is allowed"},
      {above, 0x4101F00E, 0, 5, "one byte more"},
  };
  for (const auto& row : rows) {
    int allocations = 0;
    {
      const testkit::OsFaults counting([&](OsCall call, const char*) {
        allocations += call == OsCall::allocate;
        return OsFault{};
      });
      EXPECT_EQ(row.processer.Process(), row.code) << row.why;
    }
    EXPECT_EQ(allocations, row.allocations) << row.why;
    EXPECT_EQ(row.processer.GetProcessedDataLen(), row.length) << row.why;
    EXPECT_EQ(row.processer.GetProcessedDataPtr() != nullptr, row.code == 0) << row.why;
  }
  EXPECT_EQ(std::string(once.GetProcessedDataPtr(), once.GetProcessedDataLen()), noise);
  EXPECT_EQ(std::string(small.GetProcessedDataPtr(), small.GetProcessedDataLen()), packedNoise);
  const testkit::OsFaults noMemory = Failing(OsCall::allocate, {.error = ENOMEM});
  EXPECT_EQ(once.Process(), 0x4101F00EU);
  EXPECT_EQ(once.GetProcessedDataPtr(), nullptr);
  EXPECT_EQ(once.GetProcessedDataLen(), 0U) << "the earlier output is gone";
  EXPECT_EQ(once.Process(), 0U) << "and can be had again";
}

}  // namespace
