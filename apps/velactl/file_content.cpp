#include "apps/velactl/file_content.h"

#include <zlib.h>

#include <memory>
#include <vector>

#include "platform/os/vela_os.h"

namespace velactl {
namespace {

constexpr std::size_t kBlock = 65536;

struct EndDeflate {
  void operator()(z_stream* stream) const { ::deflateEnd(stream); }
};
struct EndInflate {
  void operator()(z_stream* stream) const { ::inflateEnd(stream); }
};

// Deflates the block that the stream has as its input; false when `content` would grow beyond `limit`.
bool Append(z_stream& stream, int flush, std::size_t limit, std::string& content) {
  unsigned char block[kBlock];
  do {
    stream.next_out = block;
    stream.avail_out = sizeof block;
    ::deflate(&stream, flush);
    const std::size_t made = sizeof block - stream.avail_out;
    if (made > limit - content.size()) return false;
    content.append(reinterpret_cast<const char*>(block), made);
  } while (stream.avail_out == 0);
  return true;
}

}  // namespace

ContentEnd DeflateContent(std::FILE* file, std::size_t limit, const ContentMoved& moved, std::string& content,
                          std::uint64_t& size) {
  z_stream stream{};
  if (::deflateInit(&stream, Z_DEFAULT_COMPRESSION) != Z_OK) return ContentEnd::memory;
  const std::unique_ptr<z_stream, EndDeflate> guard(&stream);
  std::vector<unsigned char> block(kBlock);
  std::size_t got = block.size();
  while (got == block.size()) {
    got = VELA_OS::fread(block.data(), 1, block.size(), file);
    if (std::ferror(file) != 0) return ContentEnd::io;
    size += got;
    stream.next_in = block.data();
    stream.avail_in = static_cast<unsigned>(got);
    if (!Append(stream, got == block.size() ? Z_NO_FLUSH : Z_FINISH, limit, content))
      return ContentEnd::tooLarge;
    if (!moved(size)) return ContentEnd::left;
  }
  return ContentEnd::done;
}

ContentEnd InflateContent(std::string_view content, std::uint64_t limit, const ContentMoved& moved,
                          std::FILE* file, std::uint64_t& size) {
  z_stream stream{};
  stream.next_in = reinterpret_cast<unsigned char*>(const_cast<char*>(content.data()));
  stream.avail_in = static_cast<unsigned>(content.size());
  if (::inflateInit(&stream) != Z_OK) return ContentEnd::memory;
  const std::unique_ptr<z_stream, EndInflate> guard(&stream);
  std::vector<unsigned char> block(kBlock);
  int state = Z_OK;
  while (state != Z_STREAM_END) {
    stream.next_out = block.data();
    stream.avail_out = static_cast<unsigned>(block.size());
    state = ::inflate(&stream, Z_NO_FLUSH);
    if (state == Z_MEM_ERROR) return ContentEnd::memory;
    if (state != Z_OK && state != Z_STREAM_END) return ContentEnd::damaged;
    const std::size_t made = block.size() - stream.avail_out;
    if (made > limit - size) return ContentEnd::tooLarge;
    if (VELA_OS::fwrite(block.data(), 1, made, file) != made) return ContentEnd::io;
    size += made;
    if (!moved(content.size() - stream.avail_in)) return ContentEnd::left;
  }
  return ContentEnd::done;
}

}  // namespace velactl
