#pragma once
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

// What the targets of the character sets share.
namespace charset {

inline void Require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", property);
  std::abort();
}

template <class T>
struct Done {
  std::vector<T> out;
  std::size_t consumed = 0;
  bool operator==(const Done&) const = default;
};

// Output is written into a block of its own of `room` + `spare` elements.
template <class To, class From>
Done<To> Convert(std::pair<int, int> (*convert)(To*, From*, int, int), std::span<From> in, std::size_t room,
                 std::size_t spare = 0) {
  std::vector<To> out(room + spare);
  const auto [consumed, produced] =
      convert(out.data(), in.data(), static_cast<int>(room), static_cast<int>(in.size()));
  Require(consumed >= 0 && produced >= 0 && static_cast<std::size_t>(produced) <= out.size(), "counts");
  out.resize(static_cast<std::size_t>(produced));
  return {out, static_cast<std::size_t>(consumed)};
}

template <class T>
std::vector<T> Joined(std::vector<T> left, const std::vector<T>& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// An input: how much room the output has, where the text is cut, and the text in a block of its own.
template <class T>
struct Input {
  std::vector<T> text;
  std::size_t room;
  std::size_t cut;

  // `spare` elements behind the text may be read.
  Input(const unsigned char* data, std::size_t size, std::size_t spare = 0)
      : text((size - 2) / sizeof(T) + spare) {
    if (size - 2 >= sizeof(T)) std::memcpy(text.data(), data + 2, (size - 2) / sizeof(T) * sizeof(T));
    room = data[0];
    cut = data[1] % ((size - 2) / sizeof(T) + 1);
  }
};

}  // namespace charset
