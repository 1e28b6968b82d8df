#pragma once
#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "platform/os/mutex.h"
#include "platform/os/singleton.h"
#include "platform/text/rw_cstring.h"
#include "util/basicutil/export.h"

// Texts of the interface language, by key. They come from resource files: one "key = text" a line in the
// syntax of platform/config/vela_config.h, UTF-8, key and text of at most 1023 bytes each.
namespace NSTE_util {

// A table of texts. Within a file and among files the first text of a key wins. A file that cannot be opened,
// is no regular file or is above 64 MiB is traced and adds nothing; one that breaks off adds what was read.
//
//   operation        | table               | remembered files
//   -----------------+---------------------+--------------------------------------
//   LoadLangFile     | adds                | adds the file, whether it opens or not
//   LoadDynLangFile  | adds                | -
//   Reload           | filled anew         | -
//
// Thread-safe: one non-recursive mutex is held for the whole of each operation, also while files are read.
// int results are 0, or -1 when a file could not be read whole.
class BASIC_UTIL_EXPORT TELangResMgrBase {
 public:
  TELangResMgrBase() = default;
  virtual ~TELangResMgrBase();
  // Loads what installed device packages bring for the current language ("en_US" when there is none): every
  // nemgr/nemgr_*/conf/devicepnp/dev*/res/<language>/resource.txt below the root, by name.
  virtual void LoadDynLangFile();

  TELangResMgrBase(const TELangResMgrBase&) = delete;
  TELangResMgrBase& operator=(const TELangResMgrBase&) = delete;

  // A null pointer is reported and not remembered.
  int LoadLangFile(const char* file);
  // Reads the remembered files again in their order, then the dynamic files of the language that is now the
  // current one. All are tried; the first result that is not 0. No reader sees a table half filled.
  int Reload();
  // The text, or the empty text when the key is missing.
  RWCString GetResourceStr(const RWCString& key);

 protected:
  // For overrides of LoadDynLangFile too: takes the mutex unless this thread holds it already (in Reload).
  // `dynamic` files are not remembered.
  int LoadLangFileImpl(const char* file, bool dynamic);
  // As LoadLangFile for each, with no other operation between them.
  void LoadLangFiles(const std::vector<std::string>& files);

 private:
  class Holding;
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };

  int LoadHeld(const char* file, bool dynamic) VELA_REQUIRES(m_mutex);
  bool ReadHeld(const char* file) VELA_REQUIRES(m_mutex);
  void AddHeld(std::string_view key, const char* text, const char* file) VELA_REQUIRES(m_mutex);

  vela::Mutex m_mutex;
  std::atomic<std::thread::id> m_holder;  // the thread that loads files with the mutex held
  // Hashed: nothing shows the order of the keys.
  std::unordered_map<std::string, RWCString, Hash, std::equal_to<>> m_texts VELA_GUARDED_BY(m_mutex);
  std::vector<std::string> m_files VELA_GUARDED_BY(m_mutex);
};

// The table of the process.
class BASIC_UTIL_EXPORT TELangResMgr : public TELangResMgrBase {
 public:
  // Null only when the process is ending.
  static TELangResMgr* Instance();
  static void Destroy();

  using TELangResMgrBase::LoadLangFile;
  // Loads `folder` + name for each name of the array, which ends with a null pointer. Nothing stands between
  // folder and name: end the folder with "/". A null array is reported.
  void LoadLangFile(const std::string& folder, const char** names);

 private:
  friend class vela::SingletonSlot<TELangResMgr>;
  TELangResMgr() = default;
  ~TELangResMgr() override = default;
};

// Appends the text of `key`, to which an `index` of 0 or more is joined in upper-case hexadecimal (ERR and
// 26: ERR1A). False, and `out` untouched, when that key is missing or its text empty; also, with an assertion
// report, for a null manager or key. The forms without a manager use that of the process.
BASIC_UTIL_EXPORT bool AppendRes(TELangResMgrBase* mgr, const char* key, int index, std::string& out);
BASIC_UTIL_EXPORT bool AppendRes(const char* key, int index, std::string& out);
// The same, but of a text that begins and ends with "A" (two different ones) the part between is appended:
// the marks keep blanks at the ends of a text.
BASIC_UTIL_EXPORT bool AppendResAndTrimAChar(TELangResMgrBase* mgr, const char* key, int index,
                                             std::string& out);
BASIC_UTIL_EXPORT bool AppendResAndTrimAChar(const char* key, int index, std::string& out);

// Cuts a long text into notes and appends them. Each is a heading and at most 233 bytes of content (the last
// one of 234 to 240 when such a remainder is left).
// - A heading is the text of key NOTE with the number of the note, from 1, in place of its one directive like
//   %d (flags "-+ 0", width, precision, one of "diuxXo"); "%%" is a percent sign. A text with any other or a
//   second directive is traced and stands as it is. Longer headings are cut to 240 bytes.
// - A segment ends with the next `separator`; one above 233 bytes loses its end. A note takes segments
//   as long as they fit.
// - What follows the last separator closes the text: one note with the content gathered so far when both are
//   below 233 bytes, else one for each of them (of which the first may be empty). Above 240 bytes it is
//   dropped, together with the content gathered so far.
// Nothing is cut inside a UTF-8 character. A null or empty separator occurs nowhere. `text` is not changed. A
// null manager is traced, and nothing is appended.
BASIC_UTIL_EXPORT void DivisionStr(TELangResMgrBase* mgr, const char* separator, RWCString& text,
                                   std::vector<RWCString>& notes);

}  // namespace NSTE_util
