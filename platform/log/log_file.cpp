#include "platform/log/log_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "platform/log/log_line.h"
#include "platform/log/thread_id.h"
#include "platform/os/vela_os.h"

namespace vela::log {
namespace {

constexpr std::size_t kBlock = 64 * 1024;

bool IsDirectory(const std::string& path) {
  struct ::stat facts {};
  return VELA_OS::stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

}  // namespace

bool MakeDirectories(const std::string& path) {
  if (path.empty()) return false;
  if (IsDirectory(path)) return true;
  for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
    VELA_OS::mkdir(path.substr(0, at).c_str(), 0755);
  }
  VELA_OS::mkdir(path.c_str(), 0755);
  return IsDirectory(path);
}

RotatingFile::RotatingFile(std::string path, FileLimits limits) : m_path(std::move(path)), m_limits(limits) {}

RotatingFile::~RotatingFile() {
  Close();
}

void RotatingFile::Append(std::string_view line) {
  const std::size_t limit = std::min(kBlock, m_limits.maxBytes);
  if (!m_collected.empty() && m_collected.size() + line.size() > limit) WriteCollected();
  m_collected += line;
  m_ends.push_back(m_collected.size());
}

std::uint64_t RotatingFile::WriteOut() {
  if (!m_collected.empty()) WriteCollected();
  return std::exchange(m_refused, 0);
}

void RotatingFile::Close() {
  if (!m_collected.empty()) WriteCollected();
  if (m_file != nullptr) VELA_OS::fclose(m_file);
  m_file = nullptr;
}

bool RotatingFile::Open() {
  if (m_file != nullptr) return true;
  m_file = VELA_OS::fopen(m_path.c_str(), "ab");
  if (m_file == nullptr) return false;
  // Blocks are collected here; a buffer of the C library would hide which records the disk took.
  std::setvbuf(m_file, nullptr, _IONBF, 0);
  struct ::stat facts {};
  const bool regular = ::fstat(::fileno(m_file), &facts) == 0 && S_ISREG(facts.st_mode);
  m_size = regular ? static_cast<std::size_t>(facts.st_size) : 0;
  return true;
}

std::string RotatingFile::OldName(int number) const {
  const std::string stem = m_path.substr(0, m_path.size() - std::strlen(".log"));
  return stem + "." + std::to_string(number) + ".log";
}

// A rename that fails leaves the file as it is: it grows on, and the next block tries again.
void RotatingFile::Rotate() {
  VELA_OS::fclose(m_file);
  m_file = nullptr;
  if (m_limits.oldFiles == 0) {
    VELA_OS::unlink(m_path.c_str());
    return;
  }
  for (int number = m_limits.oldFiles; number > 1; --number) {
    VELA_OS::rename(OldName(number - 1).c_str(), OldName(number).c_str());
  }
  VELA_OS::rename(m_path.c_str(), OldName(1).c_str());
}

std::size_t RotatingFile::WriteBlock(const std::string& block, const std::vector<std::size_t>& ends) {
  const std::size_t written = VELA_OS::fwrite(block.data(), 1, block.size(), m_file);
  const auto whole =
      static_cast<std::size_t>(std::upper_bound(ends.begin(), ends.end(), written) - ends.begin());
  const std::size_t kept = whole == 0 ? 0 : ends[whole - 1];
  m_size += kept;
  if (written == block.size()) return whole;
  const int error = errno != 0 ? errno : ENOSPC;
  std::clearerr(m_file);
  if (written > kept && ::ftruncate(::fileno(m_file), static_cast<off_t>(m_size)) != 0)
    m_size += written - kept;
  errno = error;
  return whole;
}

void RotatingFile::NoteFailure(std::size_t records, int error) {
  if (m_unreported == 0) {
    VelaOutputString(("log: " + m_path + ": " + ErrorText(error) + "\n").c_str());
  }
  m_error = error;
  m_unreported += records;
  m_refused += records;
}

bool RotatingFile::WriteReport() {
  const std::string text = "log: " + std::to_string(m_unreported) +
                           " records lost, the file could not be written: " + ErrorText(m_error);
  std::string line;
  AppendLine(line, {Now(), "", 1, ThreadId(), text});
  if (WriteBlock(line, {line.size()}) == 0) return false;
  m_unreported = 0;
  return true;
}

void RotatingFile::WriteCollected() {
  if (m_file != nullptr && m_size != 0 && m_size + m_collected.size() > m_limits.maxBytes) Rotate();
  std::size_t whole = 0;
  errno = 0;
  if (Open() && (m_unreported == 0 || WriteReport())) whole = WriteBlock(m_collected, m_ends);
  const int error = errno;
  if (whole < m_ends.size()) NoteFailure(m_ends.size() - whole, error);
  m_collected.clear();
  m_ends.clear();
}

}  // namespace vela::log
