// Resource files of any bytes. The table holds what the line reader yields, the first entry of each key, also
// after Reload; appended texts follow a slow reference; notes lose nothing of a text whose segments are
// short, whatever the file says about their headings. The first byte is the separator.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "platform/config/vela_config.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/lang_res_base.h"

namespace {

constexpr std::size_t kContent = 233;
constexpr std::size_t kHeading = 240;

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

class MemoryFile {
 public:
  explicit MemoryFile(const std::string& bytes) : m_file(::memfd_create("resource", MFD_CLOEXEC)) {
    Require(m_file >= 0 && ::write(m_file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
            "memory file");
    m_name = "/proc/self/fd/" + std::to_string(m_file);
  }
  ~MemoryFile() { ::close(m_file); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  const char* Name() const { return m_name.c_str(); }

 private:
  int m_file;
  std::string m_name;
};

std::map<std::string, std::string> FirstEntries(const MemoryFile& resource) {
  std::map<std::string, std::string> entries;
  std::FILE* const file = VELA_OS::fopen(resource.Name(), "r");
  char key[VELA_LINE_TEXT];
  char text[VELA_LINE_TEXT];
  while (const int kind = VelaGetLine(file, key, text))
    if (kind == VELA_LINE_ENTRY) entries.try_emplace(key, text);
  VELA_OS::fclose(file);
  return entries;
}

void CheckTexts(NSTE_util::TELangResMgrBase& mgr, const std::map<std::string, std::string>& entries) {
  for (const auto& [key, text] : entries) {
    Require(mgr.GetResourceStr(key).str() == text, "the text of the first entry");
    std::string out = "<";
    Require(NSTE_util::AppendRes(&mgr, key.c_str(), -1, out) == !text.empty(), "found when not empty");
    Require(out == "<" + text, "appended");
    std::string trimmed = text;
    if (trimmed.size() >= 2 && trimmed.front() == 'A' && trimmed.back() == 'A')
      trimmed = trimmed.substr(1, trimmed.size() - 2);
    out = "<";
    NSTE_util::AppendResAndTrimAChar(&mgr, key.c_str(), -1, out);
    Require(out == "<" + trimmed, "appended without the marks");
  }
}

// Whether the rules drop nothing of the text.
bool KeepsAll(const std::string& text, char separator) {
  std::size_t begin = 0;
  for (std::size_t at; (at = text.find(separator, begin)) != std::string::npos; begin = at + 1)
    if (at + 1 - begin > kContent) return false;
  return text.size() - begin <= kHeading;
}

void CheckNotes(NSTE_util::TELangResMgrBase& mgr, const std::string& text, char separator) {
  const char mark[] = {separator, '\0'};
  RWCString input(text);
  std::vector<RWCString> bare;
  NSTE_util::TELangResMgrBase noHeadings;
  NSTE_util::DivisionStr(&noHeadings, mark, input, bare);
  std::string joined;
  for (const RWCString& note : bare) {
    Require(note.length() <= kHeading, "short notes");
    joined += note.str();
  }
  if (separator != '\0' && KeepsAll(text, separator)) Require(joined == text, "nothing is lost");
  std::vector<RWCString> headed;
  NSTE_util::DivisionStr(&mgr, mark, input, headed);
  Require(headed.size() == bare.size(), "headings do not change the contents");
  for (std::size_t i = 0; i < bare.size(); ++i) {
    Require(headed[i].str().ends_with(bare[i].str()), "the content behind the heading");
    Require(headed[i].length() <= bare[i].length() + kHeading, "a short heading");
  }
  Require(input.str() == text, "the text stays");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const MemoryFile resource(bytes);
  const auto entries = FirstEntries(resource);
  NSTE_util::TELangResMgrBase mgr;
  Require(mgr.LoadLangFile(resource.Name()) == 0, "readable");
  CheckTexts(mgr, entries);
  Require(mgr.Reload() == 0, "readable again");
  CheckTexts(mgr, entries);
  CheckNotes(mgr, bytes, static_cast<char>(data[0]));
  return 0;
}
