#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Bytes that harm the bare ASN.1 runtime, or stand at the edge of what a message may be, and what the checker
// says of them. For the tests of every stage between the bus and the answer.
namespace hostile {

struct Row {
  std::string name;
  std::string bytes;
  std::string reason;  // part of the checker's reason; empty: accepted
  std::size_t offset;  // of the refused byte
};

inline std::string FromHex(std::string_view hex) {
  const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'A' + 10; };
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    while (hex[i] == ' ') ++i;
    bytes += static_cast<char>(digit(hex[i]) << 4 | digit(hex[i + 1]));
  }
  return bytes;
}

inline std::string Repeat(std::string_view hex, std::size_t times) {
  const std::string once = FromHex(hex);
  std::string bytes;
  bytes.reserve(once.size() * times);
  for (std::size_t i = 0; i < times; ++i) bytes += once;
  return bytes;
}

// A SEQUENCE of that content, its length in 4 octets.
inline std::string Sequence(const std::string& content) {
  std::string bytes = FromHex("3084");
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(content.size() >> shift);
  return bytes + content;
}

inline std::vector<Row> Rows() {
  struct Short {
    const char* name;
    const char* hex;
    const char* reason;
    std::size_t offset;
  };
  static constexpr Short shorts[] = {
      {"integer of 2^47 bytes", "02 86 7FFFFFFFFFFF", "more than 4 length octets", 1},
      {"integer of 2^63 bytes", "02 88 7FFFFFFFFFFFFFFE", "more than 4 length octets", 1},
      {"long integer in a sequence", "30 07 02 85 7FFFFFFFFF", "more than 4 length octets", 3},
      {"long integer cut by its sequence", "30 03 02 85 7FFFFFFFFF", "more than 4 length octets", 3},
      {"object identifier of 2^63 bytes", "06 88 7FFFFFFFFFFFFFFE", "more than 4 length octets", 1},
      {"constructed octets cut", "24 02 04 01", "constructed string", 0},
      {"constructed octets cut in the value", "24 03 04 02 41", "constructed string", 0},
      {"constructed octets with a length of the heap", "24 05 04 82 0190 41", "constructed string", 0},
      {"bit string without bits", "03 01 07", "empty BIT STRING with unused bits", 2},
      {"bit string behind an implicit tag", "82 01 07", "hides its type", 0},
      {"constructed bits", "23 04 03 00 03 00", "constructed string", 0},
      {"empty message", "", "empty message", 0},
      {"constructed characters of 1 GiB", "36 06 04 84 3FFFFFFF", "constructed string", 0},
      {"nested constructed octets", "24 08 24 03 0401 41 0401 42", "constructed string", 0},
      {"element across the end of its list", "30 04 0201 07 0204 01020304", "cut before its length", 6},
      {"value across the end of its sequence", "30 09 30 03 04 04 41 04 02 4142", "does not fit", 5},
      {"explicit tag longer than the message", "A1 7F 0403 414243", "does not fit", 1},
      {"explicit tag that wraps nothing", "A1 00 0403 414243", "wraps nothing", 0},
      {"empty explicit tag before a sibling", "30 07 A1 00 0403 414243", "wraps nothing", 2},
      {"explicit tag around two", "A1 06 0401 41 0401 42", "wraps more than one", 5},
      {"integer of 5 bytes", "02 05 0102030405", "outside 1 to 4", 1},
      {"integer of 4 bytes", "02 04 01020304", "", 0},
      {"empty integer", "02 00", "outside 1 to 4", 1},
      {"enumerated of 5 bytes", "0A 05 0102030405", "outside 1 to 4", 1},
      {"empty boolean", "01 00", "not 1 byte", 1},
      {"boolean of 2 bytes", "01 02 0000", "not 1 byte", 1},
      {"null with a value", "05 01 00", "not empty", 1},
      {"object identifier without arcs", "06 00", "outside 1 to 255", 1},
      {"object identifier cut inside an arc", "06 02 2A 86", "cut inside an arc", 3},
      {"bit string without its first byte", "03 00", "without its first byte", 1},
      {"bit string with 8 unused bits", "03 02 08 00", "more than 7", 2},
      {"bit string with 7 unused bits", "03 02 07 80", "", 0},
      {"length octet FF", "04 FF 00", "reserved length octet", 1},
      {"five length octets", "04 85 0000000001 41", "more than 4 length octets", 1},
      {"four length octets", "04 84 00000001 41", "", 0},
      {"length cut", "04 84 000000", "a length is cut", 1},
      {"bytes after the end", "05 00 05", "after the end", 2},
      {"tag alone", "30", "cut before its length", 1},
      {"value cut", "04 02 41", "does not fit", 1},
      {"tag of 3 octets", "BF 81 00 02 05 00", "", 0},
      {"tag of 4 octets", "BF 81 80 00 02 05 00", "more than 3 octets", 0},
      {"tag cut", "BF 81", "a tag is cut", 2},
      {"tag longer than needed", "BF 1E 02 05 00", "longer than its number", 0},
      {"tag with a leading zero", "BF 80 1F 02 05 00", "longer than its number", 0},
      {"universal tag in long form", "3F 10 00", "unknown universal", 0},
      {"primitive sequence", "10 00", "primitive", 0},
      {"set", "31 03 020101", "cannot be", 0},
      {"constructed integer", "22 03 020101", "cannot be", 0},
      {"real", "09 00", "unknown universal", 0},
      {"end-of-contents alone", "00 00", "ends nothing", 0},
      {"end-of-contents in a definite length", "30 02 00 00", "ends nothing", 2},
      {"indefinite sequence", "30 80 02 01 05 00 00", "", 0},
      {"indefinite explicit tag", "30 80 A0 80 02 01 05 0000 0000", "", 0},
      {"indefinite primitive", "04 80 00 00", "indefinite length of a primitive", 1},
      {"indefinite without an end", "30 80 05 00", "without its end-of-contents", 4},
      {"indefinite beyond its parent", "30 02 30 80 00 00", "without its end-of-contents", 4},
      {"broken end-of-contents", "30 80 00 01", "broken end-of-contents", 3},
      {"half an end-of-contents", "30 80 00", "broken end-of-contents", 3},
  };
  std::vector<Row> rows;
  for (const Short& row : shorts) rows.push_back({row.name, FromHex(row.hex), row.reason, row.offset});
  // Below, the recursion of a decoder, and lists that take far more memory than they have bytes.
  rows.push_back({"nested characters", FromHex("3680") + Repeat("2480", 2500), "constructed string", 0});
  rows.push_back({"nested sequences", Repeat("3080", 100000), "nested too deeply", 64});
  rows.push_back({"nested choices", Repeat("A280", 100000), "nested too deeply", 64});
  rows.push_back({"object identifier of 255 bytes", FromHex("0681FF") + Repeat("01", 255), "", 0});
  rows.push_back(
      {"object identifier of 256 bytes", FromHex("06820100") + Repeat("01", 256), "outside 1 to 255", 1});
  rows.push_back({"32 levels", Repeat("3080", 32) + Repeat("0000", 32), "", 0});
  rows.push_back({"33 levels", Repeat("3080", 33) + Repeat("0000", 33), "nested too deeply", 64});
  rows.push_back({"200,000 elements", Sequence(Repeat("0500", 199999)), "", 0});
  rows.push_back({"200,001 elements", Sequence(Repeat("0500", 200000)), "too many elements", 400004});
  rows.push_back(
      {"longer than 16 MiB", Sequence(std::string((16u << 20), '\0')), "longer than allowed", 16u << 20});
  return rows;
}

}  // namespace hostile
