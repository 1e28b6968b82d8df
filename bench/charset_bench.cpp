// Conversions of 64 KiB of Chinese text beside the system's converter and ICU; MB/s of the GB2312 or UTF-8
// side.
#include <iconv.h>

#include <cstdint>

#include "bench/bench_util.h"
#include "util/basicutil/unicode.h"

#ifdef VELA_BENCH_PEERS
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#endif

namespace {

constexpr std::size_t kText = 65536;   // bytes of the GB2312 and of the UTF-8 text
constexpr std::size_t kRoom = 262144;  // of each output

// Neighbouring heap blocks make copies slow when they lie badly to each other: every buffer fills its pages.
struct Buffer {
  explicit Buffer(std::size_t room = kRoom) : data(static_cast<char*>(std::aligned_alloc(4096, room))) {}
  ~Buffer() { std::free(data); }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  unsigned char* Bytes() { return reinterpret_cast<unsigned char*>(data); }
  unsigned short* Units() { return reinterpret_cast<unsigned short*>(data); }

  char* data;
  std::size_t size = 0;  // bytes
};

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "charset_bench: %s\n", what);
  std::exit(1);
}

class Iconv {
 public:
  Iconv(const char* to, const char* from) : m_converter(iconv_open(to, from)) {}
  ~Iconv() { iconv_close(m_converter); }
  Iconv(const Iconv&) = delete;
  Iconv& operator=(const Iconv&) = delete;

  void Convert(Buffer& in, Buffer& out) {
    char* from = in.data;
    std::size_t left = in.size;
    char* to = out.data;
    std::size_t room = kRoom;
    if (iconv(m_converter, &from, &left, &to, &room) != 0) Fail("iconv");
    out.size = kRoom - room;
  }

 private:
  iconv_t m_converter;
};

class Random {
 public:
  unsigned Below(unsigned bound) {
    m_state = m_state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<unsigned>(m_state >> 33) % bound;
  }

 private:
  std::uint64_t m_state = 42;
};

// Sentences of common characters with punctuation, and now and then a name in ASCII, as reports have them.
void FillGb(Buffer& text) {
  Random random;
  std::string gb;
  while (gb.size() < kText) {
    for (unsigned count = 4 + random.Below(16); count > 0; --count) {
      gb += static_cast<char>(0xB0 + random.Below(0x27));
      gb += static_cast<char>(0xA1 + random.Below(94));
    }
    if (random.Below(4) == 0) gb += "NE " + std::to_string(random.Below(65536));
    gb += random.Below(3) == 0 ? "\xA1\xA3" : "\xA3\xAC";
  }
  text.size = kText;
  std::memcpy(text.data, gb.data(), kText);
  // The cut may have halved a character.
  for (std::size_t i = 0; i < kText; i += (text.Bytes()[i] < 0x80 ? 1 : 2)) {
    if (i + 1 == kText && text.Bytes()[i] >= 0x80) text.data[i] = '.';
  }
}

// Cuts a UTF-8 text to at most kText bytes, in front of a character.
void CutUtf8(Buffer& text) {
  if (text.size <= kText) return;
  text.size = kText;
  while ((text.Bytes()[text.size] & 0xC0) == 0x80) --text.size;
}

#ifdef VELA_BENCH_PEERS
// One of ICU's converters, with its UTF-16 in the machine's order.
class Icu {
 public:
  explicit Icu(const char* name) {
    UErrorCode error = U_ZERO_ERROR;
    m_converter = ucnv_open(name, &error);
    if (U_FAILURE(error)) Fail("ucnv_open");
  }
  ~Icu() { ucnv_close(m_converter); }
  Icu(const Icu&) = delete;
  Icu& operator=(const Icu&) = delete;

  void ToUnicode(Buffer& in, Buffer& out) {
    UErrorCode error = U_ZERO_ERROR;
    out.size = 2 * static_cast<std::size_t>(ucnv_toUChars(m_converter, reinterpret_cast<UChar*>(out.data),
                                                          kRoom / 2, in.data, Size(in.size), &error));
    if (U_FAILURE(error)) Fail("ucnv_toUChars");
  }

  void FromUnicode(Buffer& in, Buffer& out) {
    UErrorCode error = U_ZERO_ERROR;
    out.size = static_cast<std::size_t>(ucnv_fromUChars(
        m_converter, out.data, kRoom, reinterpret_cast<const UChar*>(in.data), Size(in.size / 2), &error));
    if (U_FAILURE(error)) Fail("ucnv_fromUChars");
  }

 private:
  static std::int32_t Size(std::size_t size) { return static_cast<std::int32_t>(size); }

  UConverter* m_converter;
};
#endif

void OursToUnicode(decltype(NSTE_util::gb_unicode)* convert, Buffer& in, Buffer& out) {
  out.size = 2 * static_cast<std::size_t>(
                     convert(out.Units(), in.Bytes(), kRoom / 2, static_cast<int>(in.size)).second);
}

void OursFromUnicode(decltype(NSTE_util::unicode_gb)* convert, Buffer& in, Buffer& out) {
  out.size = static_cast<std::size_t>(
      convert(out.Bytes(), in.Units(), kRoom - 1, static_cast<int>(in.size / 2)).second);
}

// One direction: the sides must agree before they are measured.
class Direction {
 public:
  Direction(const bench::Options& options, std::string name, Buffer& in, Buffer& expected, std::size_t text)
      : m_options(options), m_name(std::move(name)), m_in(in), m_expected(expected), m_text(text) {}

  // MB/s of `convert(in, out)`.
  template <class Convert>
  void Add(const char* peer, double target, Convert convert) {
    convert(m_in, m_out);
    if (m_out.size != m_expected.size || std::memcmp(m_out.data, m_expected.data, m_out.size) != 0)
      Fail((m_name + ": wrong result of " + peer).c_str());
    m_peers.push_back({peer, target});
    m_sides.push_back([this, convert] {
      const double each = bench::NanosecondsEach(m_options.Operations(200), [&](long count) {
        for (long i = 0; i < count; ++i) {
          convert(m_in, m_out);
          bench::Keep(m_out.data[0]);
        }
      });
      return 1000.0 * static_cast<double>(m_text) / each;
    });
  }

  // The first side is ours.
  void Measure(std::vector<bench::Row>& rows) {
    const std::vector<bench::Sample> samples = bench::Interleaved(m_options, m_sides);
    for (std::size_t i = 1; i < samples.size(); ++i)
      rows.push_back({m_name + " against " + m_peers[i].name + ", MB/s",
                      samples[0],
                      samples[i],
                      {},
                      m_peers[i].target,
                      bench::Better::higher});
  }

 private:
  struct Peer {
    std::string name;
    double target;
  };

  const bench::Options& m_options;
  std::string m_name;
  Buffer& m_in;
  Buffer& m_expected;
  std::size_t m_text;
  Buffer m_out;
  std::vector<Peer> m_peers;
  std::vector<bench::Side> m_sides;
};

void MeasureToUnicode(const bench::Options& options, const std::string& name, const char* charset,
                      decltype(NSTE_util::gb_unicode)* ours, Buffer& text, Buffer& units, double iconvTarget,
                      double icuTarget, std::vector<bench::Row>& rows) {
  Direction direction(options, name + " to UCS-2", text, units, text.size);
  direction.Add("ours", 0, [ours](Buffer& in, Buffer& out) { OursToUnicode(ours, in, out); });
  Iconv iconv("UTF-16LE", charset);
  direction.Add("iconv", iconvTarget, [&](Buffer& in, Buffer& out) { iconv.Convert(in, out); });
#ifdef VELA_BENCH_PEERS
  Icu icu(charset);
  direction.Add("ICU", icuTarget, [&](Buffer& in, Buffer& out) { icu.ToUnicode(in, out); });
#endif
  direction.Measure(rows);
}

void MeasureFromUnicode(const bench::Options& options, const std::string& name, const char* charset,
                        decltype(NSTE_util::unicode_gb)* ours, Buffer& units, Buffer& text,
                        double iconvTarget, double icuTarget, std::vector<bench::Row>& rows) {
  Direction direction(options, "UCS-2 to " + name, units, text, text.size);
  direction.Add("ours", 0, [ours](Buffer& in, Buffer& out) { OursFromUnicode(ours, in, out); });
  Iconv iconv(charset, "UTF-16LE");
  direction.Add("iconv", iconvTarget, [&](Buffer& in, Buffer& out) { iconv.Convert(in, out); });
#ifdef VELA_BENCH_PEERS
  Icu icu(charset);
  direction.Add("ICU", icuTarget, [&](Buffer& in, Buffer& out) { icu.FromUnicode(in, out); });
#endif
  direction.Measure(rows);
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  Buffer gb;
  Buffer units;
  FillGb(gb);
  Iconv("UTF-16LE", "GB2312").Convert(gb, units);
  std::vector<bench::Row> rows;
  MeasureToUnicode(options, "GB2312", "GB2312", NSTE_util::gb_unicode, gb, units, 2, 1, rows);
  MeasureFromUnicode(options, "GB2312", "GB2312", NSTE_util::unicode_gb, units, gb, 2, 1, rows);

  Buffer utf8;
  Iconv("UTF-8", "UTF-16LE").Convert(units, utf8);
  CutUtf8(utf8);
  Iconv("UTF-16LE", "UTF-8").Convert(utf8, units);
  MeasureToUnicode(options, "UTF-8", "UTF-8", NSTE_util::utf8_unicode, utf8, units, 1, 0, rows);
  MeasureFromUnicode(options, "UTF-8", "UTF-8", NSTE_util::unicode_utf8, units, utf8, 1, 0, rows);
  bench::Print(options, rows);
}
