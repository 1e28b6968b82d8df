#include "util/basicutil/unicode.h"

#include <iconv.h>

#include <array>

#include "tests/test_base.h"

namespace {

using namespace NSTE_util;
using Bytes = std::vector<unsigned char>;
using Units = std::vector<unsigned short>;

template <class T>
struct Done {
  std::vector<T> out;
  int consumed;
  bool operator==(const Done&) const = default;
};

// The first `count` elements of `in` (all: -1), in buffers of exactly the sizes that the header asks for.
template <class To, class From>
Done<To> Call(std::pair<int, int> (*convert)(To*, From*, int, int), std::vector<From> in, int room = 64,
              int count = -1) {
  const bool pairs = reinterpret_cast<void*>(convert) == reinterpret_cast<void*>(unicode_gb);
  std::vector<To> out(static_cast<std::size_t>(room) + (pairs ? 1 : 0));
  const auto [consumed, produced] =
      convert(out.data(), in.data(), room, count < 0 ? static_cast<int>(in.size()) : count);
  out.resize(static_cast<std::size_t>(produced));
  return {out, consumed};
}

TEST(Unicode, ToUtf8) {
  const struct {
    Units in;
    int room;
    Done<unsigned char> done;
    const char* why;
  } rows[] = {
      {{0x4E2D, 0xE9, 0x41}, 64, {{0xE4, 0xB8, 0xAD, 0xC0, 0xA9, 0x41}, 3}, "the three lengths"},
      {{0, 0x7F, 0x80, 0x7FF, 0x800}, 64, {{0, 0x7F, 0xC0, 0x80, 0xC7, 0xBF, 0xE0, 0xA0, 0x80}, 5}, "limits"},
      {{0xD83D, 0xFFFF}, 64, {{0xED, 0xA0, 0xBD, 0xEF, 0xBF, 0xBF}, 2}, "a surrogate is a unit"},
      {{0x41, 0x4E2D, 0x42}, 3, {{0x41}, 1}, "stops in front of three bytes, not behind them"},
      {{0x41, 0xE9}, 2, {{0x41}, 1}, "stops in front of two bytes"},
      {{0x41, 0x4E2D}, 4, {{0x41, 0xE4, 0xB8, 0xAD}, 2}, "fits exactly"},
      {{0x41}, 0, {{}, 0}, "no room"},
      {{}, 64, {{}, 0}, "no input"},
  };
  for (const auto& row : rows) EXPECT_EQ(Call(unicode_utf8, row.in, row.room), row.done) << row.why;
  EXPECT_EQ(unicode_utf8(nullptr, nullptr, 1, -1), std::pair(0, 0));
}

TEST(Unicode, FromUtf8) {
  const struct {
    Bytes in;
    int room;
    Done<unsigned short> done;
    const char* why;
  } rows[] = {
      {{0xE4, 0xB8, 0xAD, 0xC3, 0xA9, 0x41}, 64, {{0x4E2D, 0xE9, 0x41}, 6}, "the three lengths"},
      {{0xF0, 0x9F, 0x98, 0x80, 0x41}, 64, {{0x41}, 5}, "four bytes are dropped"},
      {{0xFF, 0x80, 0xC3, 0xA9}, 64, {{0xE9}, 4}, "a lead byte ends the skipping"},
      {{0x98, 0x80, 0x41}, 64, {{0x41}, 3}, "the rest of a dropped character, at the start"},
      {{0xC0, 0x80, 0xE0, 0x81, 0x81}, 64, {{0, 0x41}, 5}, "overlong"},
      {{0xED, 0xA0, 0xBD}, 64, {{0xD83D}, 3}, "a surrogate"},
      {{0xE4, 0xB8, 0x41}, 64, {{0x138, 0x41}, 3}, "one continuation byte too few"},
      {{0xC3, 0xA9, 0xBF}, 64, {{0x3A7F}, 3}, "one too many"},
      {{0xEF, 0xBF, 0xBF, 0xBF, 0x80}, 64, {{0xFFC0}, 5}, "the last 16 bits stay"},
      {{0xE4, 0xC3, 0x41, 0x42}, 64, {{0x41, 0x42}, 4}, "lead bytes without continuation"},
      {{0xC3, 0xA9, 0x41, 0x81}, 64, {{0xE9, 0x41, 0x01}, 4}, "continuation behind ASCII"},
      {{0x41, 0xE4, 0xB8}, 64, {{0x41}, 1}, "cut behind two of three"},
      {{0x41, 0xE4}, 64, {{0x41}, 1}, "cut behind one of three"},
      {{0xC3}, 64, {{}, 0}, "cut behind one of two"},
      {{0xE4, 0x41}, 64, {{}, 0}, "too short for its lead byte"},
      {{0x41, 0xF0, 0x42}, 1, {{0x41}, 1}, "full: nothing more is consumed"},
      {{0xE4, 0xB8, 0xAD, 0x41}, 1, {{0x4E2D}, 3}, "full behind three bytes"},
      {{0x41}, 0, {{}, 0}, "no room"},
  };
  for (const auto& row : rows) EXPECT_EQ(Call(utf8_unicode, row.in, row.room), row.done) << row.why;
  EXPECT_EQ(Call(utf8_unicode, {0xC3, 0xA9, 0xBF}, 64, 2), (Done<unsigned short>{{0xE9}, 2}))
      << "what stands behind the input does not count";
}

TEST(Unicode, Gb2312) {
  EXPECT_EQ(Call(unicode_gb, {0x3000, 0x7F, 0x4E2D, 0xE9, 0xD83D}),
            (Done<unsigned char>{{0xA1, 0xA1, 0x7F, 0xD6, 0xD0, 0xA8, 0xA6, 0x80, 0x7F}, 5}));
  EXPECT_EQ(Call(gb_unicode, {0xA1, 0xA1, 0x7F, 0xD6, 0xD0, 0xAA, 0xA1, 0x80, 0x41}),
            (Done<unsigned short>{{0x3000, 0x7F, 0x4E2D, 0xFFFF, 0xFFFF}, 9}));
  const Done<unsigned char> pair{{0x41, 0xD6, 0xD0}, 2};
  EXPECT_EQ(Call(unicode_gb, {0x41, 0x4E2D, 0x42}, 2), pair) << "one free byte is enough for two";
  const Done<unsigned short> behind{{0x41, 0x4E2D}, 3}, full{{0x41}, 1};
  EXPECT_EQ(Call(gb_unicode, {0x41, 0xD6, 0xD0}, 64, 2), behind) << "the byte behind is taken along";
  EXPECT_EQ(Call(gb_unicode, {0x41, 0xD6, 0xD0}, 1), full);
  EXPECT_EQ(Call(gb_unicode, {0xD6, 0xD0}, 64, 0).consumed + Call(unicode_gb, {0x4E2D}, 0).consumed, 0);
}

// What the system's converter makes of one element; nothing when it refuses.
template <class To, class From, std::size_t n>
std::vector<To> Converted(iconv_t converter, std::array<From, n> element) {
  To out[4] = {};
  char* from = reinterpret_cast<char*>(element.data());
  char* to = reinterpret_cast<char*>(out);
  std::size_t left = sizeof(element);
  std::size_t room = sizeof(out);
  if (iconv(converter, &from, &left, &to, &room) != 0) return {};
  return {out, out + (sizeof(out) - room) / sizeof(To)};
}

TEST(Unicode, WholeTableAgainstTheConverter) {
  int known = 0;
  iconv_t converter = iconv_open("UTF-16LE", "EUC-CN");
  for (unsigned code = 0x8080; code <= 0xFFFF; ++code) {
    const std::array pair{static_cast<unsigned char>(code >> 8), static_cast<unsigned char>(code)};
    if (pair[1] < 0x80) continue;
    Units expected = Converted<unsigned short>(converter, pair);
    known += expected.size() == 1 ? 1 : 0;
    if (expected.size() != 1) expected = {0xFFFF};
    ASSERT_EQ(Call(gb_unicode, Bytes(pair.begin(), pair.end())).out, expected) << std::hex << code;
  }
  iconv_close(converter);
  EXPECT_EQ(known, 7445);
  converter = iconv_open("EUC-CN", "UTF-16LE");
  for (unsigned unit = 0x80; unit <= 0xFFFF; ++unit) {
    const std::array one{static_cast<unsigned short>(unit)};
    Bytes expected = Converted<unsigned char>(converter, one);
    if (expected.empty()) expected = {0x80, 0x7F};
    ASSERT_EQ(Call(unicode_gb, Units(one.begin(), one.end())).out, expected) << std::hex << unit;
  }
  iconv_close(converter);
}

TEST(Unicode, LinesOfTheTable) {
  ::setenv("VELA_ROOT", (files::Root() + " ").c_str(), 1);
  const std::string longLine = "0x2126\t0x1006 " + std::string(1009, ' ');  // 1023 characters
  files::Write(
      "conf/gb2312.txt",
      "0x2121 0x1001\n 2122\tU+1002 # without prefix\r\n#0x2123 0x1003\n\n0x2124 x\n0x2125--1005\n" +
          longLine + "\n" + longLine + "0x2127 0x1007\n" +
          "0x12128 0x1008\n0x2129 0x11009\n0x2130 0x1010\n0x2130 0x1011\n0x2131 0x1010\n0x2132 0x1012");
  const std::tuple<unsigned, unsigned short, unsigned, const char*> rows[] = {
      // code, its unit, the unit's code
      {0x2121, 0x1001, 0x2121, "both prefixes"},
      {0x2122, 0x1002, 0x2122, "any two characters before the value"},
      {0x2123, 0xFFFF, 0x2129, "a comment; 0xFFFF has its code from the last line without a value"},
      {0x2124, 0xFFFF, 0x2129, "no value"},
      {0x2125, 0xFFFF, 0x2129, "no blank"},
      {0x2126, 0x1006, 0x2126, "as long as a line can be"},
      {0x2127, 0xFFFF, 0x2129, "too far behind"},
      {0x2128, 0xFFFF, 0x2129, "the code has more than 16 bits"},
      {0x2130, 0x1011, 0x2130, "a later line with the same code"},
      {0x2131, 0x1010, 0x2131, "a later line with the same value"},
      {0x2132, 0x1012, 0x2132, "no line end"},
  };
  for (const auto& [code, unit, codeOfUnit, why] : rows) {
    const Bytes euc{static_cast<unsigned char>((code + 0x8080) >> 8),
                    static_cast<unsigned char>(code + 0x80)};
    EXPECT_EQ(Call(gb_unicode, euc).out, Units{unit}) << why;
    const Bytes back = Call(unicode_gb, {unit}).out;
    EXPECT_EQ(static_cast<unsigned>(back[0] << 8 | back[1]), codeOfUnit + 0x8080) << why;
  }
  EXPECT_EQ(Call(unicode_gb, {0x1008}).out, (Bytes{0x80, 0x7F}));
}

void ExpectNoTable() {
  const testkit::LogCapture log;
  for (int call = 0; call < 2; ++call) {
    EXPECT_EQ(Call(unicode_gb, {0x41, 0x4E2D}).out, (Bytes{0x41, 0x80, 0x7F}));
    EXPECT_EQ(Call(gb_unicode, {0x41, 0xD6, 0xD0}).out, (Units{0x41, 0xFFFF}));
  }
  EXPECT_EQ(log.Count("ASSERT: file util/basicutil/unicode, line "), 1);
}

TEST(Unicode, NoRoot) {
  ::unsetenv("VELA_ROOT");
  ExpectNoTable();
}

TEST(Unicode, NoTable) {
  std::filesystem::remove(files::Root() + "conf/gb2312.txt");
  ExpectNoTable();
}

TEST(Unicode, TableThatCannotBeRead) {
  std::filesystem::remove(files::Root() + "conf/gb2312.txt");
  std::filesystem::create_directory(files::Root() + "conf/gb2312.txt");
  ExpectNoTable();
}

TEST(UnicodeThreaded, FirstCallsLoadTheTableOnce) {
  std::atomic<int> opened{0};
  const testkit::OsFaults count([&](OsCall call, const char* path) {
    opened += call == OsCall::open && std::string_view(path).ends_with("/conf/gb2312.txt");
    return OsFault{};
  });
  InThreads(4, [](int) {
    EXPECT_EQ(Call(unicode_gb, {0x4E2D}).out, (Bytes{0xD6, 0xD0}));
    EXPECT_EQ(Call(gb_unicode, {0xD6, 0xD0}).out, Units{0x4E2D});
  });
  EXPECT_EQ(opened, 1);
}

}  // namespace
