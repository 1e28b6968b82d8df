#pragma once
#include <cstdint>
#include <initializer_list>
#include <string>

#include "apps/common/text_table.h"

// What the programs say, in the language of the installation root (key Language of etc/conf/vela.cfg): from
// the resource files by key, else the built-in English. To add a text: a line in text_table.h and in each
// install/res/<language>/resource.txt. Thread-safe once loaded.
namespace apps {

// Names a text; a key that the table does not hold does not compile.
class TextKey {
 public:
  consteval TextKey(const char* key) : m_text(&Entry(key)) {}  // NOLINT: implicit, so that keys read plainly
  const BuiltInText& Get() const { return *m_text; }

 private:
  static consteval const BuiltInText& Entry(std::string_view key) {
    for (const BuiltInText& text : kTexts)
      if (text.key == key) return text;
    throw "no such key";
  }

  const BuiltInText* m_text;
};

// Loads the resources of the programs and of the installed device packages. Once, at the start of main.
void LoadTexts();
// Reads them again, in that language from now on (empty: as it is); nobody sees half of them. False, and all
// is as it was, when there is no such language or its file cannot be read. Any thread.
bool ReloadTexts(const std::string& language);
// Whether ReloadTexts would succeed now.
bool HasTexts(const std::string& language);
// The language in force.
std::string Language();

// The text on one line, {1}, {2}, ... replaced by the values; {n} without a value stays. Control characters
// of resource files are escaped, values are taken as they are.
std::string Text(TextKey key, std::initializer_list<std::string> values = {});

// The text of an error code (key "ERR" and the code in hexadecimal); empty when it has none.
std::string ErrorText(std::uint32_t code, std::initializer_list<std::string> values = {});

// A text of several lines, each with its line end.
std::string HelpText(TextKey key);

// How users call a type of NE; the type itself when no device package names it.
std::string TypeName(const std::string& type);

}  // namespace apps
