#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/os/clock.h"
#include "tests/test_base.h"

namespace {

TEST(EscapeControls, KeepsWhatPrintsAndEscapesTheRest) {
  for (const auto& [text, expected] : Rows(
           // a line end would forge a record; terminal control, also in its C1 form; UTF-8
           "1234567\n9 -> 1234567\\x0A9; \x1b[2Jx\ty -> \\x1B[2Jx\\x09y; \xC2\x9B -> \\xC2\\x9B; "
           "Z\xC3\xBCrich \xE4\xB8\xAD \xF0\x9F\x98\x80 -> Z\xC3\xBCrich \xE4\xB8\xAD \xF0\x9F\x98\x80; "
           // overlong, a surrogate, beyond the last code point, cut at the end
           "\xC0\xAF -> \\xC0\\xAF; \xE0\x80\xAF! -> \\xE0\\x80\\xAF!; \xED\xA0\x80 -> \\xED\\xA0\\x80; "
           "\xF4\x90\x80\x80 -> \\xF4\\x90\\x80\\x80; \xE4\xB8 -> \\xE4\\xB8; "
           // never a byte of UTF-8; its carry does not hide the neighbour
           "\xFF~ -> \\xFF~"))
    EXPECT_EQ(vela::EscapeControls(text), expected) << expected;
}

// Each control byte at each place within two words, so that the quick scan misses none.
TEST(EscapeControls, FindsEveryByteAtEveryPlace) {
  for (int c = 0; c < 256; ++c) {
    const bool plain = c >= 0x20 && c < 0x7F;
    for (std::size_t at = 0; at < 17; ++at) {
      std::string text(17, 'a');
      text[at] = static_cast<char>(c);
      EXPECT_EQ(vela::EscapeControls(text) == text, plain) << c << " at " << at;
    }
  }
}

TEST(VelaOs, KnowsOnlyUtf8AndRefusesNull) {
  const std::string path = files::Write("x", "1");
  struct ::stat facts {};
  errno = 0;
  EXPECT_EQ(VELA_OS::fopen(path.c_str(), "r", "GBK"), nullptr);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(VELA_OS::fopen(nullptr, "r"), nullptr);
  EXPECT_EQ(VELA_OS::stat(path.c_str(), &facts, "GBK"), -1);
  EXPECT_EQ(VELA_OS::stat(path.c_str(), &facts, nullptr), 0);
}

TEST(VelaOs, InjectedFailuresLookLikeTheSystems) {
  const std::string path = files::Write("x", "0123456789");
  struct ::stat facts {};
  {
    const auto guard = Failing(OsCall::open, {.error = EMFILE});
    EXPECT_EQ(VELA_OS::fopen(path.c_str(), "r"), nullptr);
    EXPECT_EQ(errno, EMFILE);
    UTF8_ifstream stream(path.c_str());
    EXPECT_FALSE(stream.is_open());
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(VELA_OS::stat(path.c_str(), &facts), 0) << "another call than the failing one";
  }
  char data[16] = {};
  std::FILE* file = VELA_OS::fopen(path.c_str(), "r+");
  EXPECT_NE(::fcntl(::fileno(file), F_GETFD) & FD_CLOEXEC, 0) << "external commands do not inherit it";
  {
    const auto guard = Failing(OsCall::read, {.limit = 5});
    EXPECT_EQ(VELA_OS::fread(data, 2, 5, file), 2U) << "five bytes are two whole items of two";
  }
  std::rewind(file);
  {
    const auto guard = Failing(OsCall::write, {.error = ENOSPC, .limit = 3});
    EXPECT_EQ(VELA_OS::fwrite("abcdef", 1, 6, file), 3U);
    EXPECT_EQ(errno, ENOSPC);
  }
  {
    const auto guard = Failing(OsCall::close, {.error = EIO});
    EXPECT_EQ(VELA_OS::fclose(file), EOF);
  }
  UTF8_ifstream(path.c_str()).getline(data, sizeof(data));
  EXPECT_STREQ(data, "abc3456789") << "the failing close closed all the same";
}

TEST(Utf8Stream, SkipsTheByteOrderMarkOnly) {
  for (const std::string content : {"", "a", "ab", "abc", "\xEF\xBB", "text\n"}) {
    for (const std::string mark : {"", "\xEF\xBB\xBF"}) {
      UTF8_ifstream stream(files::Write("x", mark + content).c_str(), std::ios::binary);
      const std::string read((std::istreambuf_iterator<char>(stream)), {});
      EXPECT_EQ(read, content) << (mark.empty() ? "without" : "with") << " mark";
    }
  }
  EXPECT_FALSE(UTF8_ifstream("/no/such/file").is_open());
}

TEST(ProcessFacts, AForkedChildHasItsOwnThreadId) {
  const std::uint32_t parent = GetCurrentThreadId();
  const pid_t child = ::fork();
  if (child == 0) ::_exit(GetCurrentThreadId() == static_cast<std::uint32_t>(::getpid()) ? 0 : 1);
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(GetCurrentThreadId(), parent);
}

TEST(Clock, SecondsScaleAndStayAddable) {
  ::setenv("VELA_TIME_SCALE", "50", 1);
  EXPECT_EQ(vela::ScaledSeconds(2).count(), 100);
  EXPECT_EQ(vela::ScaledSeconds(-2).count(), 0);
  const auto now = std::chrono::steady_clock::now();
  EXPECT_GT(now + vela::ScaledSeconds(INT64_MAX), now);
  const testkit::Clock clock(0, -1);
  EXPECT_EQ(vela::NowSeconds(), -1) << "before the epoch seconds round down";
}

// Hooks come and go while other threads are inside the seam; each call sees the whole hook or none.
TEST(OsThreaded, HooksChangeUnderWay) {
  InThreads(4, [](int thread) {
    for (int n = 0; n < 2000; ++n) {
      if (thread == 0) {
        const auto guard = Failing(OsCall::stat, {.error = EIO});
        vela::SetWallClock([] { return vela::WallTime(std::chrono::microseconds(7)); });
        vela::SetWallClock({});
        continue;
      }
      errno = 0;
      struct ::stat facts {};
      const int result = VELA_OS::stat("/", &facts);
      EXPECT_EQ(result == 0 ? 0 : errno, result == 0 ? 0 : EIO);
      EXPECT_NE(vela::Now().time_since_epoch().count(), 0);
    }
  });
}

}  // namespace
