#pragma once
#include <unistd.h>

#include <utility>

namespace vela {

// An open file that is closed with the object.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : m_fd(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  ~FileDescriptor() {
    if (m_fd >= 0) close(m_fd);
  }

  int Get() const { return m_fd; }
  explicit operator bool() const { return m_fd >= 0; }

 private:
  int m_fd = -1;
};

}  // namespace vela
