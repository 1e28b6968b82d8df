#include "util/basicutil/lang_res_base.h"

#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <new>

#include "platform/config/vela_config.h"
#include "platform/os/vela_os.h"
#include "platform/text/vela_msg.h"
#include "util/basicutil/assert_report.h"
#include "util/basicutil/common.h"
#include "util/basicutil/filepath.h"

namespace NSTE_util {
namespace {

constexpr char kUnit[] = "lang_res_base";
constexpr off_t kLargestFile = off_t{64} << 20;

constinit vela::SingletonSlot<TELangResMgr> g_slot;

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// Looks first: opening a pipe would wait for its writer.
File OpenRegular(const char* name) {
  struct ::stat facts {};
  const bool known = VELA_OS::stat(name, &facts, "UTF-8") == 0;
  const bool refused = known && (!S_ISREG(facts.st_mode) || facts.st_size > kLargestFile);
  return {refused ? nullptr : VELA_OS::fopen(name, "r", "UTF-8"), VELA_OS::fclose};
}

std::vector<std::string> DynamicFiles() {
  std::vector<std::string> files;
  const std::string root = GetVELARootPath();
  if (root.empty()) return files;
  const std::string language = VELAcommon::VELAMsg::getLanguage();
  GetMatchFile(root + "nemgr/nemgr_*/conf/devicepnp/dev*/res/" + (language.empty() ? "en_US" : language) +
                   "/" + "resource.txt",
               files);
  return files;
}

RWCString IndexedText(TELangResMgrBase& mgr, const char* key, int index) {
  if (index < 0) return mgr.GetResourceStr(key);
  char suffix[16];
  std::snprintf(suffix, sizeof suffix, "%X", static_cast<unsigned>(index));
  return mgr.GetResourceStr(std::string(key) + suffix);
}

bool IsBetweenMarks(std::string_view text) {
  return text.size() >= 2 && text.front() == 'A' && text.back() == 'A';
}

}  // namespace

// Tells LoadLangFileImpl, which overrides call back, that this thread holds the mutex.
class TELangResMgrBase::Holding {
 public:
  explicit Holding(TELangResMgrBase& mgr) : m_holder(mgr.m_holder) {
    m_holder.store(std::this_thread::get_id(), std::memory_order_relaxed);
  }
  ~Holding() { m_holder.store(std::thread::id(), std::memory_order_relaxed); }
  Holding(const Holding&) = delete;
  Holding& operator=(const Holding&) = delete;

 private:
  std::atomic<std::thread::id>& m_holder;
};

TELangResMgrBase::~TELangResMgrBase() = default;

void TELangResMgrBase::LoadDynLangFile() {
  for (const std::string& file : DynamicFiles()) LoadLangFileImpl(file.c_str(), true);
}

int TELangResMgrBase::LoadLangFile(const char* file) {
  return LoadLangFileImpl(file, false);
}

int TELangResMgrBase::Reload() {
  const vela::MutexLock lock(m_mutex);
  const Holding holding(*this);
  m_texts.clear();
  int result = 0;
  for (const std::string& file : m_files) {
    const int loaded = LoadHeld(file.c_str(), true);  // remembered already
    if (result == 0) result = loaded;
  }
  LoadDynLangFile();
  return result;
}

RWCString TELangResMgrBase::GetResourceStr(const RWCString& key) {
  const std::string_view wanted(key.data(), key.length());
  const vela::MutexLock lock(m_mutex);
  const auto found = m_texts.find(wanted);
  return found == m_texts.end() ? RWCString() : found->second;
}

int TELangResMgrBase::LoadLangFileImpl(const char* file, bool dynamic) VELA_NO_THREAD_SAFETY_ANALYSIS {
  if (m_holder.load(std::memory_order_relaxed) == std::this_thread::get_id()) return LoadHeld(file, dynamic);
  const vela::MutexLock lock(m_mutex);
  return LoadHeld(file, dynamic);
}

void TELangResMgrBase::LoadLangFiles(const std::vector<std::string>& files) {
  const vela::MutexLock lock(m_mutex);
  for (const std::string& file : files) LoadHeld(file.c_str(), false);
}

int TELangResMgrBase::LoadHeld(const char* file, bool dynamic) {
  if (!Check(file != nullptr, kUnit, "NULL != file")) return -1;
  bool whole = false;
  try {
    if (!dynamic) m_files.emplace_back(file);
    whole = ReadHeld(file);
  } catch (const std::bad_alloc&) {
  }
  if (!whole) TETrace("Read lang res file %s fail!\n", vela::EscapeControls(file).c_str());
  return whole ? 0 : -1;
}

bool TELangResMgrBase::ReadHeld(const char* file) {
  const File opened = OpenRegular(file);
  if (!opened) return false;
  char key[VELA_LINE_TEXT];
  char text[VELA_LINE_TEXT];
  while (const int kind = VelaGetLine(opened.get(), key, text))
    if (kind == VELA_LINE_ENTRY) AddHeld(key, text, file);
  return std::ferror(opened.get()) == 0;
}

void TELangResMgrBase::AddHeld(std::string_view key, const char* text, const char* file) {
  if (m_texts.find(key) == m_texts.end()) {
    m_texts.try_emplace(std::string(key), text);
    return;
  }
  TETrace("Found reduplicate resource key. %s in file %s", vela::EscapeControls(key).c_str(),
          vela::EscapeControls(file).c_str());
}

TELangResMgr* TELangResMgr::Instance() {
  return g_slot.Instance<TELangResMgr>();
}

void TELangResMgr::Destroy() {
  g_slot.Destroy();
}

void TELangResMgr::LoadLangFile(const std::string& folder, const char** names) {
  if (!Check(names != nullptr, kUnit, "NULL != names")) return;
  std::vector<std::string> files;
  for (; *names != nullptr; ++names) files.push_back(folder + *names);
  LoadLangFiles(files);
}

bool AppendRes(TELangResMgrBase* mgr, const char* key, int index, std::string& out) {
  if (!Check(mgr != nullptr, kUnit, "NULL != mgr") || !Check(key != nullptr, kUnit, "NULL != key"))
    return false;
  const RWCString text = IndexedText(*mgr, key, index);
  out.append(text.data(), text.length());
  return text.length() != 0;
}

bool AppendResAndTrimAChar(TELangResMgrBase* mgr, const char* key, int index, std::string& out) {
  std::string text;
  if (!AppendRes(mgr, key, index, text)) return false;
  const bool trimmed = IsBetweenMarks(text);
  out.append(text, trimmed ? 1 : 0, trimmed ? text.size() - 2 : std::string::npos);
  return true;
}

bool AppendRes(const char* key, int index, std::string& out) {
  return AppendRes(TELangResMgr::Instance(), key, index, out);
}

bool AppendResAndTrimAChar(const char* key, int index, std::string& out) {
  return AppendResAndTrimAChar(TELangResMgr::Instance(), key, index, out);
}

}  // namespace NSTE_util
