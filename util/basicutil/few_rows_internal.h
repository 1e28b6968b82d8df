#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <type_traits>
#include <vector>

namespace NSTE_util {

// A sequence whose elements lie in the object itself while there are at most N of them: whoever fetches the
// object has fetched them. Elements are plain data.
template <class T, std::size_t N>
class FewRows {
 public:
  static_assert(std::is_trivially_copyable_v<T>);

  T* begin() { return m_size <= N ? m_few : m_many->data(); }
  T* end() { return begin() + m_size; }
  const T* begin() const { return m_size <= N ? m_few : m_many->data(); }
  const T* end() const { return begin() + m_size; }
  std::size_t size() const { return m_size; }

  // Elements may move: pointers to them end. The new ones are none of them.
  T* Insert(const T* place, const T& element) { return Insert(place, std::span<const T>(&element, 1)); }
  T* Insert(const T* place, std::span<const T> elements) {
    const std::ptrdiff_t at = place - begin();
    const std::size_t size = m_size + elements.size();
    if (size <= N) {
      std::copy_backward(m_few + at, m_few + m_size, m_few + size);
      std::copy(elements.begin(), elements.end(), m_few + at);
    } else {
      if (m_size <= N) m_many = std::make_unique<std::vector<T>>(m_few, m_few + m_size);
      m_many->insert(m_many->begin() + at, elements.begin(), elements.end());
    }
    m_size = static_cast<std::uint32_t>(size);
    return begin() + at;
  }

  template <class Condition>
  void EraseIf(Condition condition) {
    const std::ptrdiff_t left = std::remove_if(begin(), end(), condition) - begin();
    if (m_size > N) {
      m_many->resize(static_cast<std::size_t>(left));
      if (m_many->size() <= N) {
        std::copy(m_many->begin(), m_many->end(), m_few);
        m_many.reset();
      }
    }
    m_size = static_cast<std::uint32_t>(left);
  }

 private:
  std::uint32_t m_size = 0;
  T m_few[N] = {};
  std::unique_ptr<std::vector<T>> m_many;  // all of them, when there are more; small: rarely there
};

}  // namespace NSTE_util
