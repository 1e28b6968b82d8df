// UTF-8 in both directions against slow readers of whole groups, with little room and in pieces; what is
// encoded comes back.
#include <cstdint>

#include "fuzz/charset_fuzz.h"
#include "util/basicutil/unicode.h"

namespace {

using namespace charset;
using Bytes = std::vector<unsigned char>;
using Units = std::vector<unsigned short>;

bool IsContinuation(unsigned char byte) {
  return byte >= 0x80 && byte <= 0xBF;
}

// A byte that is no continuation, and those that follow it.
struct Group {
  unsigned char head;
  std::span<const unsigned char> tail;
};

Group GroupAt(std::span<const unsigned char> text, std::size_t start) {
  std::size_t end = start + 1;
  while (end < text.size() && IsContinuation(text[end])) ++end;
  return {text[start], text.subspan(start + 1, end - start - 1)};
}

unsigned short Unit(unsigned headBits, std::span<const unsigned char> tail) {
  std::uint64_t unit = headBits;
  for (const unsigned char byte : tail) unit = (unit * 64 + byte % 64) % 65536;
  return static_cast<unsigned short>(unit);
}

Done<unsigned short> SlowDecode(std::span<const unsigned char> text, std::size_t room) {
  Done<unsigned short> done;
  if (room == 0) return done;
  while (done.consumed < text.size() && IsContinuation(text[done.consumed])) ++done.consumed;
  while (done.consumed < text.size() && done.out.size() < room) {
    const Group group = GroupAt(text, done.consumed);
    const std::size_t left = text.size() - done.consumed;
    const bool ascii = group.head < 0x80;
    if (group.head >= 0xC0 && group.head < 0xE0 && left < 2) break;
    if (group.head >= 0xE0 && group.head < 0xF0 && left < 3) break;
    ++done.consumed;
    if (ascii) done.out.push_back(group.head);
    if (done.out.size() == room) break;
    if (!group.tail.empty() && group.head < 0xF0)
      done.out.push_back(Unit(ascii ? 0 : group.head % (group.head < 0xE0 ? 32 : 16), group.tail));
    done.consumed += group.tail.size();
  }
  return done;
}

Bytes SlowCharacter(unsigned short unit) {
  const auto byte = [](unsigned mark, unsigned bits) { return static_cast<unsigned char>(mark + bits); };
  if (unit < 0x80) return {byte(0, unit)};
  if (unit < 0x800) return {byte(0xC0, unit / 256), byte(0x80, unit % 64)};
  return {byte(0xE0, unit / 4096), byte(0x80, unit / 64 % 64), byte(0x80, unit % 64)};
}

Done<unsigned char> SlowEncode(const Units& units, std::size_t room) {
  Done<unsigned char> done;
  for (const unsigned short unit : units) {
    const Bytes character = SlowCharacter(unit);
    if (done.out.size() + character.size() > room) break;
    done.out = Joined(done.out, character);
    ++done.consumed;
  }
  return done;
}

void CheckDecode(Input<unsigned char> input) {
  const std::span<unsigned char> text = input.text;
  const auto decode = [](std::span<unsigned char> piece, std::size_t room) {
    const Bytes exact(piece.begin(), piece.end());
    Bytes copy = exact;
    const Done<unsigned short> done = Convert(NSTE_util::utf8_unicode, std::span(copy), room);
    Require(done == SlowDecode(piece, room), "decoding as the slow reader does");
    Require(copy == exact, "the input is untouched");
    return done;
  };
  const Done<unsigned short> whole = decode(text, text.size());
  decode(text, input.room);
  const Done<unsigned short> first = decode(text.first(input.cut), text.size());
  const Done<unsigned short> rest = decode(text.subspan(first.consumed), text.size());
  if (input.cut < text.size() && IsContinuation(text[input.cut])) return;
  Require(Joined(first.out, rest.out) == whole.out, "pieces give what the whole gives");
  Require(first.consumed + rest.consumed == whole.consumed, "pieces consume what the whole consumes");
}

void CheckEncode(Input<unsigned short> input) {
  const Done<unsigned char> whole =
      Convert(NSTE_util::unicode_utf8, std::span(input.text), 3 * input.text.size());
  Require(whole == SlowEncode(input.text, whole.out.size()), "encoding as the slow writer does");
  const Done<unsigned char> first = Convert(NSTE_util::unicode_utf8, std::span(input.text), input.room);
  Require(first == SlowEncode(input.text, input.room), "encoding with little room");
  const Done<unsigned char> rest =
      Convert(NSTE_util::unicode_utf8, std::span(input.text).subspan(first.consumed), 3 * input.text.size());
  Require(Joined(first.out, rest.out) == whole.out, "pieces give what the whole gives");

  Bytes encoded = whole.out;
  const Done<unsigned short> back = Convert(NSTE_util::utf8_unicode, std::span(encoded), input.text.size());
  Require(back.consumed == encoded.size() && back.out.size() == input.text.size(), "all of it comes back");
  for (std::size_t i = 0; i < back.out.size(); ++i) {
    const unsigned short unit = input.text[i];
    const unsigned lossy = unit / 256 * 64 + unit % 64;  // the form of two bytes
    Require(back.out[i] == (unit >= 0x80 && unit < 0x800 ? lossy : unit), "each unit comes back");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size < 2) return 0;
  CheckDecode({data, size});
  CheckEncode({data, size});
  return 0;
}
