#include "apps/common/texts.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <iterator>

#include "platform/os/vela_os.h"
#include "util/basicutil/filepath.h"
#include "util/basicutil/lang_res_base.h"

namespace apps {
namespace {

using Values = std::initializer_list<std::string>;

std::string Filled(std::string_view text, Values values) {
  std::string filled;
  while (!text.empty()) {
    const bool place = text.size() >= 3 && text[0] == '{' && text[2] == '}';
    const std::size_t index = place ? static_cast<std::size_t>(text[1] - '1') : values.size();
    if (index < values.size()) {
      filled += values.begin()[index];
      text.remove_prefix(3);
    } else {
      filled += text.front();
      text.remove_prefix(1);
    }
  }
  return filled;
}

std::string Resource(const std::string& key, std::string_view missing) {
  std::string text;
  return NSTE_util::AppendRes(key.c_str(), -1, text) ? vela::EscapeControls(text) : std::string(missing);
}

}  // namespace

void LoadTexts() {
  NSTE_util::TELangResMgr* mgr = NSTE_util::TELangResMgr::Instance();
  if (mgr == nullptr) return;
  std::string folder;
  NSTE_util::GetResBasePath(folder);
  const char* names[] = {"resource.txt", nullptr};
  mgr->LoadLangFile(vela::InstallRoot() + folder + "/", names);
  mgr->LoadDynLangFile();
}

std::string Text(TextKey key, Values values) {
  const BuiltInText& text = key.Get();
  return Filled(Resource(std::string(text.key), text.english), values);
}

std::string ErrorText(std::uint32_t code, Values values) {
  std::string text;
  if (code <= INT_MAX && NSTE_util::AppendRes("ERR", static_cast<int>(code), text))
    return Filled(vela::EscapeControls(text), values);
  char key[16];
  std::snprintf(key, sizeof key, "ERR%X", static_cast<unsigned>(code));
  const auto* found = std::find_if(std::begin(kTexts), std::end(kTexts),
                                   [&key](const BuiltInText& entry) { return entry.key == key; });
  return found == std::end(kTexts) ? std::string() : Filled(found->english, values);
}

std::string HelpText(TextKey key) {
  const BuiltInText& text = key.Get();
  const std::string prefix(text.key);
  std::string lines;
  std::string line;
  for (int i = 0; NSTE_util::AppendResAndTrimAChar(prefix.c_str(), i, line); ++i) {
    lines += vela::EscapeControls(line) + '\n';
    line.clear();
  }
  return lines.empty() ? std::string(text.english) : lines;
}

std::string TypeName(const std::string& type) {
  return Resource("NETYPE_" + type, type);
}

}  // namespace apps
