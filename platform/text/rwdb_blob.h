#pragma once
#include <cstddef>
#include <vector>

// Bytes of a database column. Owns a copy of them; one thread at a time while one of them writes.
class RWDBBlob {
 public:
  RWDBBlob() = default;
  RWDBBlob(const unsigned char* bytes, std::size_t length) : m_bytes(bytes, bytes + length) {}

  const unsigned char* data() const { return m_bytes.data(); }
  std::size_t length() const { return m_bytes.size(); }
  bool isNull() const { return m_bytes.empty(); }

  void append(const unsigned char* bytes, std::size_t length) {
    m_bytes.insert(m_bytes.end(), bytes, bytes + length);
  }

 private:
  std::vector<unsigned char> m_bytes;
};
