#include "apps/common/texts.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <iterator>
#include <memory>

#include "platform/os/mutex.h"
#include "platform/os/vela_os.h"
#include "platform/text/vela_msg.h"
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

// The texts since they were read again: a table of its own, since that of the process stays with the language
// that it was loaded for.
using Table = std::shared_ptr<NSTE_util::TELangResMgrBase>;
constinit vela::Mutex g_mutex;
Table* g_reloaded VELA_GUARDED_BY(g_mutex) = nullptr;

Table Texts() {
  {
    const vela::MutexLock lock(g_mutex);
    if (g_reloaded != nullptr) return *g_reloaded;
  }
  return {Table(), NSTE_util::TELangResMgr::Instance()};
}

void UseTexts(Table table) {
  const vela::MutexLock lock(g_mutex);
  // Lives to the end: threads may still say something.
  if (g_reloaded == nullptr) g_reloaded = new Table;
  g_reloaded->swap(table);
}

// The name becomes part of a path.
bool IsLanguageName(const std::string& language) {
  const auto good = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_' || c == '-'; };
  return !language.empty() && language.size() <= 32 && std::all_of(language.begin(), language.end(), good);
}

// Null when there is no such language, or its file cannot be read.
Table LoadTable(const std::string& language) {
  const std::string wanted = language.empty() ? Language() : language;
  if (!IsLanguageName(wanted)) return nullptr;
  const std::string file = vela::InstallRoot() + "res/" + wanted + "/resource.txt";
  auto table = std::make_shared<NSTE_util::TELangResMgrBase>();
  return table->LoadLangFile(file.c_str()) == 0 ? table : nullptr;
}

std::string Resource(const std::string& key, std::string_view missing) {
  std::string text;
  return NSTE_util::AppendRes(Texts().get(), key.c_str(), -1, text) ? vela::EscapeControls(text)
                                                                    : std::string(missing);
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

bool HasTexts(const std::string& language) {
  return LoadTable(language) != nullptr;
}

bool ReloadTexts(const std::string& language) {
  const Table table = LoadTable(language);
  if (table == nullptr) return false;
  if (!language.empty()) VELAcommon::VELAMsg::setLanguage(language);
  table->LoadDynLangFile();
  UseTexts(table);
  return true;
}

std::string Language() {
  const std::string language = VELAcommon::VELAMsg::getLanguage();
  return language.empty() ? "en_US" : language;
}

std::string Text(TextKey key, Values values) {
  const BuiltInText& text = key.Get();
  return Filled(Resource(std::string(text.key), text.english), values);
}

std::string ErrorText(std::uint32_t code, Values values) {
  std::string text;
  if (code <= INT_MAX && NSTE_util::AppendRes(Texts().get(), "ERR", static_cast<int>(code), text))
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
  const Table texts = Texts();
  for (int i = 0; NSTE_util::AppendResAndTrimAChar(texts.get(), prefix.c_str(), i, line); ++i) {
    lines += vela::EscapeControls(line) + '\n';
    line.clear();
  }
  return lines.empty() ? std::string(text.english) : lines;
}

std::string TypeName(const std::string& type) {
  return Resource("NETYPE_" + type, type);
}

}  // namespace apps
