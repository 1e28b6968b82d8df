#include "platform/asncmd/asn_buffers.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "platform/os/os_faults.h"

namespace vela {

AsnWriteBuf::~AsnWriteBuf() {
  constexpr std::size_t worthKeeping = std::size_t{1} << 20;
  if (m_block.room > Kept().room && m_block.room <= worthKeeping) Kept() = std::move(m_block);
}

// Each thread keeps the block of an earlier encoding: the page faults of a fresh one cost as much as
// encoding.
AsnWriteBuf::Block& AsnWriteBuf::Kept() {
  thread_local Block kept;
  return kept;
}

AsnWriteBuf::Block AsnWriteBuf::Obtain(std::size_t room) {
  if (AllocationFails()) throw std::bad_alloc();
  if (Kept().room >= room) return std::exchange(Kept(), {});
  Block block{std::unique_ptr<char, Free>(static_cast<char*>(std::malloc(room))), room};
  if (!block.bytes) throw std::bad_alloc();
  return block;
}

void AsnWriteBuf::Grow(std::size_t more) {
  const auto size = static_cast<std::size_t>(m_end - m_start);
  if (more > m_limit || size > m_limit - more) {
    m_refused = true;
    throw std::bad_alloc();
  }
  Block block = Obtain(std::max(2 * static_cast<std::size_t>(m_end - m_begin), size + more));
  char* const end = block.bytes.get() + block.room;
  std::memcpy(end - size, m_start, size);
  m_block = std::move(block);
  m_begin = m_block.bytes.get();
  m_start = end - size;
  m_end = end;
}

AsnWriteBuf::int_type AsnWriteBuf::overflow(int_type byte) {
  m_start = Start();
  if (m_start == m_begin) Grow(1);
  *--m_start = traits_type::to_char_type(byte);
  OfferOneByte();
  return traits_type::not_eof(byte);
}

std::streamsize AsnWriteBuf::xsputn(const char* bytes, std::streamsize count) {
  const auto size = static_cast<std::size_t>(count);
  m_start = Start();
  if (size > static_cast<std::size_t>(m_start - m_begin)) Grow(size);
  m_start -= size;
  std::memcpy(m_start, bytes, size);
  OfferOneByte();
  return count;
}

AsnReadBuf::AsnReadBuf(std::span<const unsigned char> bytes) {
  char* const begin = const_cast<char*>(reinterpret_cast<const char*>(bytes.data()));
  setg(begin, begin, begin + bytes.size());
}

AsnReadBuf::pos_type AsnReadBuf::seekoff(off_type offset, std::ios_base::seekdir from,
                                         std::ios_base::openmode) {
  const off_type size = egptr() - eback();
  off_type target = offset;
  if (from == std::ios_base::cur) target += gptr() - eback();
  if (from == std::ios_base::end) target += size;
  if (target < 0 || target > size) return pos_type(off_type(-1));
  setg(eback(), eback() + target, egptr());
  return pos_type(target);
}

AsnReadBuf::pos_type AsnReadBuf::seekpos(pos_type position, std::ios_base::openmode which) {
  return seekoff(off_type(position), std::ios_base::beg, which);
}

}  // namespace vela
