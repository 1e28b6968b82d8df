// Long texts cut into numbered notes.
#include <cstdio>
#include <optional>
#include <utility>

#include "platform/os/vela_os.h"
#include "platform/text/utf8.h"
#include "util/basicutil/common.h"
#include "util/basicutil/lang_res_base.h"

namespace NSTE_util {
namespace {

constexpr std::size_t kContent = 233;
constexpr std::size_t kHeading = 240;
constexpr std::size_t kRemainder = 240;

// A printf format of one integer, taken apart, so that printf never sees what a file brought.
struct NumberFormat {
  std::string before;
  std::string directive;  // safe for one int; empty: none
  std::string after;
};

// Takes a directive for one int off the front of `text`, which begins with "%"; empty when it is none.
std::string TakeDirective(std::string_view& text) {
  const auto takeAll = [&text](const char* set, std::size_t most) {
    const std::string_view taken = text.substr(0, std::min(text.find_first_not_of(set), most));
    text.remove_prefix(taken.size());
    return std::string(taken);
  };
  std::string directive = takeAll("%", 1);
  directive += takeAll("-+ 0", 4);
  directive += takeAll("0123456789", 3);
  directive += takeAll(".", 1);
  if (directive.ends_with('.')) directive += takeAll("0123456789", 3);
  takeAll("hl", 2);  // the argument is an int, whatever the text says
  const std::string conversion = takeAll("diuxXo", 1);
  return conversion.empty() ? std::string() : directive + conversion;
}

std::optional<NumberFormat> ParseNumberFormat(std::string_view text) {
  NumberFormat format;
  while (!text.empty()) {
    std::string& literal = format.directive.empty() ? format.before : format.after;
    const bool percent = text.starts_with("%%");
    if (text.front() != '%' || percent) {
      literal += text.front();
      text.remove_prefix(percent ? 2 : 1);
      continue;
    }
    if (!format.directive.empty()) return std::nullopt;
    format.directive = TakeDirective(text);
    if (format.directive.empty()) return std::nullopt;
  }
  return format;
}

// What opens a note.
class Heading {
 public:
  explicit Heading(const RWCString& text) {
    const std::string_view view(text.data(), text.length());
    if (auto format = ParseNumberFormat(view)) {
      m_format = *std::move(format);
      return;
    }
    TETrace("DivisionStr: %s is no format of one number\n", vela::EscapeControls(view).c_str());
    m_format.before = view;
  }

  std::string Of(int number) const {
    char digits[kHeading + 1] = "";
    if (!m_format.directive.empty()) std::snprintf(digits, sizeof digits, m_format.directive.c_str(), number);
    const std::string whole = m_format.before + digits + m_format.after;
    return std::string(vela::WholeChars(whole, kHeading));
  }

 private:
  NumberFormat m_format;
};

}  // namespace

void DivisionStr(TELangResMgrBase* mgr, const char* separator, RWCString& text,
                 std::vector<RWCString>& notes) {
  if (mgr == nullptr) {
    TETrace("DivisionStr Para Invalid\n");
    return;
  }
  const Heading heading(mgr->GetResourceStr("NOTE"));
  int number = 0;
  const auto close = [&](const std::string& content) {
    notes.push_back(RWCString(heading.Of(++number) + content));
  };

  const std::string whole(text.data(), text.length());  // `text` may be one of the notes
  const std::string_view mark = separator != nullptr ? separator : "";
  std::string_view rest = whole;
  std::string gathered;
  for (std::size_t at = 0; !mark.empty() && (at = rest.find(mark)) != std::string_view::npos;) {
    const std::string_view segment = vela::WholeChars(rest.substr(0, at + mark.size()), kContent);
    rest.remove_prefix(at + mark.size());
    if (gathered.size() + segment.size() > kContent) close(std::exchange(gathered, {}));
    gathered += segment;
  }
  if (rest.size() > kRemainder) return;
  if (gathered.size() + rest.size() < kContent) {
    close(gathered.append(rest));
    return;
  }
  close(gathered);
  close(std::string(rest));
}

}  // namespace NSTE_util
