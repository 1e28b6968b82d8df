// GB2312 in both directions against maps read from the same table, with little room and in pieces; known
// characters come back.
#include <map>
#include <string>

#include "fuzz/charset_fuzz.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/unicode.h"

namespace {

using namespace charset;
using Bytes = std::vector<unsigned char>;
using Units = std::vector<unsigned short>;
using Map = std::map<unsigned, unsigned>;

struct Table {
  Map unitOf;
  Map codeOf;
};

const Table& Reference() {
  static const Table table = [] {
    Table read;
    std::ifstream file(vela::InstallRoot() + "conf/gb2312.txt");
    for (std::string line; std::getline(file, line);) {
      unsigned code = 0;
      unsigned unit = 0;
      if (std::sscanf(line.c_str(), "0x%x 0x%x", &code, &unit) != 2) continue;
      read.unitOf[code + 0x8080] = unit;
      read.codeOf[unit] = code + 0x8080;
    }
    Require(read.unitOf.size() == 7445, "the root holds the table");
    return read;
  }();
  return table;
}

unsigned Find(const Map& map, unsigned key, unsigned otherwise) {
  const auto found = map.find(key);
  return found == map.end() ? otherwise : found->second;
}

// `text` has one element more than `count`.
Done<unsigned short> SlowDecode(std::span<const unsigned char> text, std::size_t count, std::size_t room) {
  Done<unsigned short> done;
  while (done.consumed < count && done.out.size() < room) {
    const unsigned first = text[done.consumed];
    const unsigned pair = first * 256 + text[done.consumed + 1];
    const unsigned unit = first < 0x80 ? first : Find(Reference().unitOf, pair, 0xFFFF);
    done.out.push_back(static_cast<unsigned short>(unit));
    done.consumed += first < 0x80 ? 1 : 2;
  }
  return done;
}

Done<unsigned char> SlowEncode(std::span<const unsigned short> units, std::size_t room) {
  Done<unsigned char> done;
  for (const unsigned short unit : units) {
    if (done.out.size() >= room) break;
    const unsigned code = unit < 0x80 ? unit : Find(Reference().codeOf, unit, 0x807F);
    if (unit >= 0x80) done.out.push_back(static_cast<unsigned char>(code / 256));
    done.out.push_back(static_cast<unsigned char>(code % 256));
    ++done.consumed;
  }
  return done;
}

void CheckDecode(Input<unsigned char> input) {
  const std::size_t count = input.text.size() - 1;  // one more may be read
  const auto decode = [&](std::size_t from, std::size_t to, std::size_t room) -> Done<unsigned short> {
    if (from > to) return {};
    const std::span<unsigned char> text = std::span(input.text).subspan(from);
    const Done<unsigned short> done = Convert(NSTE_util::gb_unicode, text.first(to - from), room);
    Require(done == SlowDecode(text, to - from, room), "decoding as the maps say");
    return done;
  };
  const Done<unsigned short> whole = decode(0, count, count);
  decode(0, count, input.room);
  const Done<unsigned short> first = decode(0, input.cut, count);
  const Done<unsigned short> rest = decode(first.consumed, count, count);
  Require(Joined(first.out, rest.out) == whole.out, "pieces give what the whole gives");
}

void CheckEncode(Input<unsigned short> input) {
  const std::span<unsigned short> units = input.text;
  const Done<unsigned char> whole = Convert(NSTE_util::unicode_gb, units, 2 * units.size());
  Require(whole == SlowEncode(units, 2 * units.size()), "encoding as the maps say");
  const Done<unsigned char> first = Convert(NSTE_util::unicode_gb, units, input.room, 1);
  Require(first == SlowEncode(units, input.room), "encoding with little room");
  const Done<unsigned char> rest =
      Convert(NSTE_util::unicode_gb, units.subspan(first.consumed), 2 * units.size());
  Require(Joined(first.out, rest.out) == whole.out, "pieces give what the whole gives");

  Bytes encoded = whole.out;
  const Done<unsigned short> back = Convert(NSTE_util::gb_unicode, std::span(encoded), units.size());
  Require(back.consumed == encoded.size() && back.out.size() == units.size(), "all of it comes back");
  for (std::size_t i = 0; i < units.size(); ++i) {
    const bool known = units[i] < 0x80 || Reference().codeOf.contains(units[i]);
    Require(back.out[i] == (known ? units[i] : 0xFFFF), "each known unit comes back");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size < 2) return 0;
  CheckDecode({data, size, 1});
  CheckEncode({data, size});
  return 0;
}
