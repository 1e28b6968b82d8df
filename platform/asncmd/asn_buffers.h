#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <streambuf>

#include "platform/os/os_faults.h"

// The two ends that the ASN.1 runtime reads from and writes to, in place of its own buffers. Internal.
namespace vela {

// Takes an encoding, which the runtime writes from its last byte to its first. Small ones need no allocation.
// Throws std::bad_alloc when memory or `limit` is exhausted; OverLimit tells them apart.
class AsnWriteBuf final : public std::streambuf {
 public:
  explicit AsnWriteBuf(std::size_t limit) : m_limit(limit) {}

  std::size_t Size() const { return static_cast<std::size_t>(m_end - m_start); }
  const char* Data() const { return m_start; }
  bool OverLimit() const { return m_overLimit; }

 protected:
  int_type overflow(int_type byte) override {
    if (m_start == m_begin) Grow(1);
    *--m_start = traits_type::to_char_type(byte);
    return traits_type::not_eof(byte);
  }

  std::streamsize xsputn(const char* bytes, std::streamsize count) override {
    const auto size = static_cast<std::size_t>(count);
    if (size > static_cast<std::size_t>(m_start - m_begin)) Grow(size);
    m_start -= size;
    std::memcpy(m_start, bytes, size);
    return count;
  }

 private:
  struct Free {
    void operator()(char* block) const { std::free(block); }
  };

  void Grow(std::size_t more) {
    const std::size_t size = Size();
    if (more > m_limit || size > m_limit - more) {
      m_overLimit = true;
      throw std::bad_alloc();
    }
    const std::size_t room =
        std::min(m_limit, std::max(2 * static_cast<std::size_t>(m_end - m_begin), size + more));
    std::unique_ptr<char, Free> block(AllocationFails() ? nullptr : static_cast<char*>(std::malloc(room)));
    if (!block) throw std::bad_alloc();
    char* const end = block.get() + room;
    std::memcpy(end - size, m_start, size);
    m_block = std::move(block);
    m_begin = m_block.get();
    m_start = end - size;
    m_end = end;
  }

  const std::size_t m_limit;
  bool m_overLimit = false;
  std::unique_ptr<char, Free> m_block;
  char m_small[2048];
  char* m_begin = m_small;
  char* m_end = m_small + sizeof m_small;
  char* m_start = m_end;
};

// Shows bytes to the decoder without copying them, and ends where they end: the runtime's own memory buffer
// lets it read one byte further.
class AsnReadBuf final : public std::streambuf {
 public:
  explicit AsnReadBuf(std::span<const unsigned char> bytes) {
    char* const begin = const_cast<char*>(reinterpret_cast<const char*>(bytes.data()));
    setg(begin, begin, begin + bytes.size());
  }

  std::size_t Position() const { return static_cast<std::size_t>(gptr() - eback()); }

 protected:
  pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode) override {
    const off_type size = egptr() - eback();
    const off_type base = from == std::ios_base::beg   ? 0
                          : from == std::ios_base::cur ? gptr() - eback()
                                                       : size;
    const off_type target = base + offset;
    if (target < 0 || target > size) return pos_type(off_type(-1));
    setg(eback(), eback() + target, egptr());
    return pos_type(target);
  }

  pos_type seekpos(pos_type position, std::ios_base::openmode which) override {
    return seekoff(off_type(position), std::ios_base::beg, which);
  }
};

}  // namespace vela
