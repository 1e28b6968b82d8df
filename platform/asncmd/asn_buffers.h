#pragma once
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <span>
#include <streambuf>

// The two ends that the ASN.1 runtime reads from and writes to, in place of its own buffers. Internal.
namespace vela {

// Takes an encoding, which the runtime writes from its last byte to its first. Small ones need no allocation.
// Writing throws std::bad_alloc when memory or `limit` is exhausted; OverLimit tells them apart.
class AsnWriteBuf final : public std::streambuf {
 public:
  explicit AsnWriteBuf(std::size_t limit) : m_limit(limit) {}
  ~AsnWriteBuf() override;

  std::size_t Size() const { return static_cast<std::size_t>(m_end - Start()); }
  const char* Data() const { return Start(); }
  bool OverLimit() const { return m_refused || Size() > m_limit; }

 protected:
  int_type overflow(int_type byte) override;
  std::streamsize xsputn(const char* bytes, std::streamsize count) override;

 private:
  struct Free {
    void operator()(char* block) const { std::free(block); }
  };
  struct Block {
    std::unique_ptr<char, Free> bytes;
    std::size_t room = 0;
  };

  static Block& Kept();
  static Block Obtain(std::size_t room);
  void Grow(std::size_t more);

  // The put area is the one byte before the encoding: so every other byte needs no virtual call.
  void OfferOneByte() { setp(m_start == m_begin ? m_start : m_start - 1, m_start); }
  char* Start() const { return pptr() == pbase() ? m_start : pbase(); }

  const std::size_t m_limit;
  bool m_refused = false;
  Block m_block;
  char m_small[2048];
  char* m_begin = m_small;
  char* m_end = m_small + sizeof m_small;
  char* m_start = m_end;
};

// Shows bytes to the decoder without copying them, and ends where they end: the runtime's own memory buffer
// lets it read one byte further.
class AsnReadBuf final : public std::streambuf {
 public:
  explicit AsnReadBuf(std::span<const unsigned char> bytes);

  std::size_t Position() const { return static_cast<std::size_t>(gptr() - eback()); }

 protected:
  pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode) override;
  pos_type seekpos(pos_type position, std::ios_base::openmode which) override;
};

}  // namespace vela
