#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/os/vela_os.h"
#include "util/basicutil/common.h"
#include "util/basicutil/mutex_impl.h"
#include "util/basicutil/mutex_reload.h"
#include "util/basicutil/stringutil.h"
#include "util/basicutil/token.h"

namespace NSTE_util {
namespace {

constexpr std::size_t kLongestLine = 1022;

constexpr std::string_view kBlanks = " \t\n\r";

struct CloseFile {
  void operator()(std::FILE* file) const { VELA_OS::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// Only regular files: a pipe could keep the caller waiting for ever, and a folder would read as an empty
// file.
File OpenRegular(const char* path) {
  struct ::stat about = {};
  if (VELA_OS::stat(path, &about) != 0 || !S_ISREG(about.st_mode)) return nullptr;
  return File(VELA_OS::fopen(path, "r"));
}

// The lines of a file, each cut to the longest that counts, however long it is.
class Lines {
 public:
  explicit Lines(std::FILE* file) : m_file(file) {}

  // False at the end of the file, or when it cannot be read any further (a line that it breaks off in is lost
  // whole: half a line could say something else).
  bool Next() {
    m_line.clear();
    m_lostText = false;
    bool any = false;
    while (Fill()) {
      any = true;
      const char c = m_buffer[m_next++];
      if (c == '\n') break;
      Take(c);
    }
    if (!any || m_error != 0) return false;
    ++m_number;
    return true;
  }

  int Number() const { return m_number; }
  const std::string& Line() const { return m_line; }
  bool LostText() const { return m_lostText; }  // more than blanks was cut off
  int Error() const { return m_error; }         // errno of what ended the reading; 0 at the end of the file

 private:
  // Whether there is another byte.
  bool Fill() {
    if (m_next < m_end) return true;
    errno = 0;
    m_next = 0;
    m_end = VELA_OS::fread(m_buffer.data(), 1, m_buffer.size(), m_file);
    if (m_end == 0) m_error = errno;
    return m_end != 0;
  }

  void Take(char c) {
    if (m_line.size() < kLongestLine)
      m_line += c;
    else if (kBlanks.find(c) == std::string_view::npos)
      m_lostText = true;
  }

  std::FILE* m_file;
  std::array<char, 4096> m_buffer;
  std::size_t m_next = 0;
  std::size_t m_end = 0;
  std::string m_line;
  bool m_lostText = false;
  int m_number = 0;
  int m_error = 0;
};

class Reader {
 public:
  explicit Reader(TEMutexOperMgrImpl& manager) : m_manager(manager) {}

  // False when the line is wrong. Lines come trimmed.
  bool Read(const std::string& line) {
    if (line == "[MUTEX_TABLE]") return Enter(&Reader::ReadMutex);
    if (line == "[MUTEX_ERRORCODE]") return Enter(&Reader::ReadErrorCode);
    return m_section != nullptr && line.find('\0') == std::string::npos && (this->*m_section)(line);
  }

 private:
  using Section = bool (Reader::*)(const std::string& line);

  bool Enter(Section section) {
    m_section = section;
    return true;
  }

  bool ReadMutex(const std::string& line) {
    const Token fields(line, ':');
    int running = 0;
    std::vector<int> stopped;
    int both = 0;
    if (fields.size() != 3 || !StrToInt(fields[0], running, 10) || !StrToNumList(fields[1], stopped) ||
        !StrToInt(fields[2], both, 10)) {
      return false;
    }
    for (const int operCode : stopped) m_manager.RegisterMutex(running, operCode, both != 0);
    return true;
  }

  // A code of 0 would make a refused operation look granted.
  bool ReadErrorCode(const std::string& line) {
    const Token fields(line, ':');
    int operCode = 0;
    int errorCode = 0;
    if (fields.size() != 2 || !StrToInt(fields[0], operCode, 10) || !StrToInt(fields[1], errorCode, 10) ||
        errorCode == 0) {
      return false;
    }
    m_manager.RegisterErrorCode(operCode, static_cast<std::uint32_t>(errorCode));
    return true;
  }

  TEMutexOperMgrImpl& m_manager;
  Section m_section = nullptr;
};

std::string Printable(const std::string& text) {
  return vela::EscapeControls(text);
}

// The line without blanks at its ends; empty also for a comment.
std::string Content(const Lines& lines) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  std::string line = lines.Line();
  if (lines.Number() == 1 && line.starts_with(byteOrderMark)) line.erase(0, byteOrderMark.size());
  line = Trim(line);
  return line.starts_with('#') ? std::string() : line;
}

struct Outcome {
  bool opened = false;
  int wrongLine = 0;  // the first one; 0: none
  int error = 0;      // errno of what ended the reading
};

Outcome Load(const std::string& path, TEMutexOperMgrImpl& manager) {
  const File file = OpenRegular(path.c_str());
  if (!file) {
    GetDefaultDebugInterface().PrintF(3, "Open file(%s) error! ", Printable(path).c_str());
    return {};
  }
  Outcome outcome{.opened = true};
  Lines lines(file.get());
  Reader reader(manager);
  while (lines.Next()) {
    const std::string line = Content(lines);
    if (line.empty()) continue;
    if (lines.LostText()) TETrace("Line(%d) is too long, its end is ignored", lines.Number());
    if (reader.Read(line)) continue;
    TETrace("Format Error in line(%d):\"%s\"", lines.Number(), Printable(line).c_str());
    if (outcome.wrongLine == 0) outcome.wrongLine = lines.Number();
  }
  outcome.error = lines.Error();
  if (outcome.error != 0) {
    GetDefaultDebugInterface().PrintF(1, "Read file(%s) error(%d) behind line(%d)", Printable(path).c_str(),
                                      outcome.error, lines.Number());
  }
  return outcome;
}

}  // namespace

bool TEMutexOperMgrImpl::LoadMutexFile(const std::string& path) {
  const Outcome outcome = Load(path, *this);
  return outcome.opened && outcome.wrongLine == 0;
}

bool ReloadMutexFile(const std::string& path, int& wrongLine) {
  TEMutexOperMgrImpl fresh;
  const Outcome outcome = Load(path, fresh);
  wrongLine = outcome.wrongLine;
  auto* const manager = static_cast<TEMutexOperMgrImpl*>(TEMutexOperMgr::Instance());
  if (!outcome.opened || outcome.wrongLine != 0 || outcome.error != 0 || manager == nullptr) return false;
  manager->AdoptTable(fresh);
  return true;
}

}  // namespace NSTE_util
