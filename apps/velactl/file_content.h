#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

// Contents of files as they travel, in zlib format. Through one block of memory each, beside the content.
namespace velactl {

enum class ContentEnd {
  done,
  left,      // `moved` said so
  io,        // the file could not be read or written; errno says why
  tooLarge,  // more than the limit
  damaged,
  memory
};

// Told how much of the input is done; false ends the work.
using ContentMoved = std::function<bool(std::uint64_t bytes)>;

// The rest of the file into `content`, which becomes at most `limit` bytes long. `size`: bytes read.
ContentEnd DeflateContent(std::FILE* file, std::size_t limit, const ContentMoved& moved, std::string& content,
                          std::uint64_t& size);
// The content into the file, at most `limit` bytes. `size`: bytes written.
ContentEnd InflateContent(std::string_view content, std::uint64_t limit, const ContentMoved& moved,
                          std::FILE* file, std::uint64_t& size);

}  // namespace velactl
