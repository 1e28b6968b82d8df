#include "util/basicutil/common_manager.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/config/vela_config.h"
#include "platform/os/singleton.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/common_commands.h"
#include "util/basicutil/common_logger.h"
#include "util/basicutil/filepath.h"
#include "util/basicutil/stringutil.h"

namespace NSTE_util {
namespace {

constinit vela::SingletonSlot<TEDebugMgrImpl> g_slot;
constexpr const char* kNotRun = "Excute Error!\n";
thread_local bool t_commandFailed = false;

// All loggers ever made, by name. Callers keep references to them, so they are never destroyed.
class LoggerStore {
 public:
  TEDebugLogger* Get(const std::string& name) VELA_EXCLUDES(m_mutex) {
    vela::MutexLock lock(m_mutex);
    std::unique_ptr<TEDebugLogger>& logger = m_loggers[name];
    if (!logger)
      logger = std::make_unique<TEDebugLogger>(name, name == "alarm" ? m_alarmCache : CommonLogCache());
    return logger.get();
  }

  void ResetSwitches() VELA_EXCLUDES(m_mutex) {
    vela::MutexLock lock(m_mutex);
    for (auto& [name, logger] : m_loggers) logger->SetSwitches(TEDebugLogger::kDefaultSwitches);
  }

 private:
  vela::Mutex m_mutex;
  FilteredLogCache m_alarmCache;  // stays empty: alarms are never held back
  std::map<std::string, std::unique_ptr<TEDebugLogger>> m_loggers VELA_GUARDED_BY(m_mutex);
};

LoggerStore& Store() {
  static LoggerStore& store = *new LoggerStore;
  return store;
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::vector<std::string> SplitAt(std::string_view text, std::string_view separators) {
  std::vector<std::string> pieces;
  while (true) {
    const std::size_t first = text.find_first_not_of(separators);
    if (first == std::string_view::npos) return pieces;
    text.remove_prefix(first);
    const std::size_t length = std::min(text.find_first_of(separators), text.size());
    pieces.emplace_back(text.substr(0, length));
    text.remove_prefix(length);
  }
}

struct FileCloser {
  void operator()(std::FILE* file) const { VELA_OS::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, FileCloser>;

struct Entry {
  std::string key;
  std::string value;
};

// The next key/value line; false at the end of the file.
bool NextEntry(std::FILE* file, Entry& entry) {
  char key[VELA_LINE_TEXT];
  char value[VELA_LINE_TEXT];
  while (true) {
    const int kind = VelaGetLine(file, key, value);
    if (kind == VELA_LINE_END) return false;
    if (kind != VELA_LINE_ENTRY) continue;
    entry = {key, value};
    return true;
  }
}

std::size_t HeldBackByteLimit() {
  std::string file;
  int bytes = 0;
  if (!GetVelaCfgFile(file) || VelaGetRegInt(file.c_str(), "MaxHeldBackBytes", bytes) != 1 || bytes <= 0)
    return FilteredLogCache::kDefaultByteLimit;
  return static_cast<std::size_t>(bytes);
}

}  // namespace

TEDebugMgrImpl* TEDebugMgrImpl::Instance() {
  return g_slot.Instance<TEDebugMgrImpl>();
}

void TEDebugMgrImpl::Destroy() {
  g_slot.Destroy();
}

TEDebugMgrImpl::TEDebugMgrImpl() {
  try {
    m_ownCommands = MakeBuiltInCommands();
    for (const auto& command : m_ownCommands) AddDebugCommand(command.get());
    vela::MutexLock lock(m_mutex);
    Logger("default");
    Logger("alarm");
    m_debugLogger = Logger("debug");
  } catch (const std::exception&) {
    std::printf("Load debug cfg file failed!\n");
    std::exit(-1);
  }
}

TEDebugMgrImpl::~TEDebugMgrImpl() {
  Store().ResetSwitches();
}

int TEDebugMgrImpl::Init(const std::string&, const std::string&, const std::string&,
                         const std::string& switchFile) {
  static LogFlushCrashHandler& flushAtCrash = *new LogFlushCrashHandler;
  CrashHandlerMgr::Instance()->Register(&flushAtCrash);
  CrashHandlerMgr::Instance()->Arm();
  CommonLogCache().SetByteLimit(HeldBackByteLimit());
  {
    vela::MutexLock lock(m_mutex);
    m_switchFile = switchFile;
  }
  Reload();
  {
    vela::MutexLock lock(m_mutex);
    m_started = true;
  }
  LoadAsnConfig();
  AddInspectionCommands();
  return 0;
}

int TEDebugMgrImpl::Reload() {
  std::string file;
  {
    vela::MutexLock lock(m_mutex);
    file = m_switchFile;
  }
  if (file.empty()) return 0;
  m_debugLogger->Print(2, "Reload");
  return ReadSwitches(file);
}

int TEDebugMgrImpl::ReadSwitches(const std::string& file) {
  vela::MutexLock lock(m_mutex);
  const OpenFile open(VELA_OS::fopen(file.c_str(), "r", "UTF-8"));
  if (!open) {
    m_debugLogger->PrintException("Open debug configuration file error!");
    return -1;
  }
  for (Entry entry; NextEntry(open.get(), entry);) {
    if (!ApplySwitches(entry.key, entry.value)) return -1;
  }
  return 0;
}

bool TEDebugMgrImpl::ApplySwitches(const std::string& module, const std::string& value) {
  std::vector<int> numbers;
  if (!StrToNumList(value, numbers)) return true;
  if (numbers.size() != kDebugLevels) {
    m_debugLogger->PrintF(1, "Debug switch for %s must has %d elements!", module.c_str(),
                          static_cast<int>(kDebugLevels));
    return false;
  }
  unsigned switches = 0;
  for (unsigned level = 0; level < kDebugLevels; ++level)
    switches |= (numbers[level] != 0 ? 1U : 0U) << level;
  try {
    Logger(module)->SetSwitches(switches);
  } catch (const std::bad_alloc&) {
    m_debugLogger->PrintException("New DebugLogger failed!");
  }
  return true;
}

TEDebugLogger* TEDebugMgrImpl::Logger(const std::string& name) {
  TEDebugLogger*& logger = m_loggers[name];
  if (logger == nullptr) logger = Store().Get(name);
  return logger;
}

TEDebugInterface* TEDebugMgrImpl::GetDebugInterface(const std::string& name) {
  vela::MutexLock lock(m_mutex);
  return Logger(name);
}

std::vector<ModuleSwitches> TEDebugMgrImpl::Switches() {
  vela::MutexLock lock(m_mutex);
  std::vector<ModuleSwitches> all;
  for (const auto& [name, logger] : m_loggers) all.push_back({name, logger->Switches()});
  return all;
}

bool TEDebugMgrImpl::SetSwitches(const std::string& module, unsigned switches) {
  vela::MutexLock lock(m_mutex);
  const auto found = m_loggers.find(module);
  if (found == m_loggers.end()) return false;
  found->second->SetSwitches(switches);
  return true;
}

void TEDebugMgrImpl::SetAllSwitches(unsigned switches) {
  vela::MutexLock lock(m_mutex);
  for (const auto& [name, logger] : m_loggers) logger->SetSwitches(switches);
}

int TEDebugMgrImpl::AddDebugCommand(TEDebugCommand* command) {
  if (command == nullptr) return -1;
  const std::string name = command->GetName();
  vela::MutexLock lock(m_mutex);
  const auto taken = [&name](TEDebugCommand* other) { return other->GetName() == name; };
  if (std::any_of(m_commands.begin(), m_commands.end(), taken)) return -1;
  m_commands.push_back(command);
  return 0;
}

void TEDebugMgrImpl::RemoveDebugCommand(TEDebugCommand* command) {
  if (command != nullptr) RemoveDebugCommand(command->GetName());
}

void TEDebugMgrImpl::RemoveDebugCommand(const std::string& name) {
  vela::MutexLock lock(m_mutex);
  const auto found = std::find_if(m_commands.begin(), m_commands.end(),
                                  [&name](TEDebugCommand* command) { return command->GetName() == name; });
  if (found == m_commands.end()) return;
  TEDebugCommand* const removed = *found;
  m_commands.erase(found);
  const auto elsewhere = [removed](const Running& running) {
    return running.command == removed && running.thread != std::this_thread::get_id();
  };
  while (std::any_of(m_running.begin(), m_running.end(), elsewhere)) m_commandEnded.Wait(m_mutex);
}

std::vector<std::string> TEDebugMgrImpl::CommandNames() {
  vela::MutexLock lock(m_mutex);
  std::vector<std::string> names;
  for (TEDebugCommand* command : m_commands) names.push_back(command->GetName());
  return names;
}

TEDebugCommand* TEDebugMgrImpl::FindCommand(const std::string& name) {
  const std::string wanted = Upper(name);
  for (TEDebugCommand* command : m_commands) {
    if (Upper(command->GetName()) == wanted) return command;
  }
  return nullptr;
}

bool TEDebugMgrImpl::HelpOf(const std::string& name, std::string& help) {
  vela::MutexLock lock(m_mutex);
  TEDebugCommand* const command = FindCommand(name);
  if (command == nullptr) return false;
  help = command->GetHelp();
  return true;
}

TEDebugCommand* TEDebugMgrImpl::BeginCommand(const std::string& name) {
  vela::MutexLock lock(m_mutex);
  TEDebugCommand* const command = FindCommand(name);
  if (command != nullptr) m_running.push_back({command, std::this_thread::get_id()});
  return command;
}

void TEDebugMgrImpl::EndCommand(TEDebugCommand* command) {
  vela::MutexLock lock(m_mutex);
  const auto self = std::this_thread::get_id();
  const auto ended = std::find_if(m_running.begin(), m_running.end(), [&](const Running& running) {
    return running.command == command && running.thread == self;
  });
  if (ended != m_running.end()) m_running.erase(ended);
  m_commandEnded.NotifyAll();
}

std::string TEDebugMgrImpl::Excute(std::string commandLine) {
  return Run(commandLine).text;
}

VelaDebugReply TEDebugMgrImpl::Run(const std::string& commandLine) {
  m_debugLogger->PrintF(2, "Excute debug command: %s", commandLine.c_str());
  const std::vector<std::string> words = SplitAt(commandLine, " \t\r\n");
  if (words.empty()) return {kNotRun, true};
  TEDebugCommand* const command = BeginCommand(words[0]);
  if (command == nullptr) return {"Invalid Command: " + words[0], true};
  VelaDebugReply reply{kNotRun, true};
  const bool outer = std::exchange(t_commandFailed, false);  // of a command that runs this one
  try {
    reply.text = command->Execute(words);
    reply.failed = t_commandFailed;
  } catch (const std::exception& error) {
    m_debugLogger->PrintF(1, "Debug command %s failed: %s", words[0].c_str(), error.what());
  }
  t_commandFailed = outer;
  EndCommand(command);
  return reply;
}

std::string FailedReply(std::string text) {
  t_commandFailed = true;
  return text;
}

void TEDebugMgrImpl::Flush() {
  m_debugLogger->Print(3, "Flush");
}

void TEDebugMgrImpl::FlushAll() {
  FlushHeldBack();
}

bool TEDebugMgrImpl::IsPrintAsn(const std::string& typeName) {
  vela::MutexLock lock(m_asnMutex);
  if (m_asn.notPrinted.contains(typeName)) return false;
  return m_asn.printed.contains(typeName) || m_asn.defaultPrint;
}

void TEDebugMgrImpl::LoadAsnConfig() {
  std::string processPath;
  const bool known = GetProcessPath(processPath) == 0;
  const std::string folder = known ? GetParentPath(processPath) : std::string();
  if (folder.empty()) return m_debugLogger->Print(1, "[LoadAsnConfig] get strCfgFile failed!");
  const std::string file = folder + "conf/asnprint.cfg";

  int defaultPrint = 1;
  if (VelaGetRegInt(file.c_str(), "DefaultPrint", defaultPrint) != 1) {
    m_debugLogger->Print(2, "[LoadAsnConfig] get DefaultPrint failed!");
  } else {
    vela::MutexLock lock(m_asnMutex);
    m_asn.defaultPrint = defaultPrint != 0;
  }

  const OpenFile open(VELA_OS::fopen(file.c_str(), "r", "UTF-8"));
  if (!open) return m_debugLogger->PrintF(2, "[LoadAsnConfig] Open file(%s) error!", file.c_str());
  std::vector<std::string> lines;
  for (Entry entry; NextEntry(open.get(), entry);) lines.push_back(entry.key + "=" + entry.value);
  ReadAsnConfig(lines);
}

void TEDebugMgrImpl::ReadAsnConfig(const std::vector<std::string>& lines) {
  if (lines.empty()) return m_debugLogger->Print(2, "[ReadAsnConfig] vecReadAsnCfg is null");
  AsnConfig read;
  for (const std::string& line : lines) {
    const std::vector<std::string> words = SplitAt(line, " \t\r\n=,");
    if (words.empty()) continue;
    if (words[0] == "Print") read.printed.insert(words.begin() + 1, words.end());
    if (words[0] == "NotPrint") read.notPrinted.insert(words.begin() + 1, words.end());
  }
  vela::MutexLock lock(m_asnMutex);
  m_asn.printed.swap(read.printed);
  m_asn.notPrinted.swap(read.notPrinted);
}

void FlushHeldBack() {
  static const std::string& module = *new std::string("debug");
  WriteRecord(3, module, "The folwing message was dump by debug command flushall.");
  CommonLogCache().Dump();
}

std::string TEDebugEngine::Execute(const std::string& commandLine) {
  return Run(commandLine).text;
}

VelaDebugReply TEDebugEngine::Run(const std::string& commandLine) {
  TEDebugMgrImpl* const manager = TEDebugMgrImpl::Instance();
  return manager == nullptr ? VelaDebugReply{kNotRun, true} : manager->Run(commandLine);
}

// Without the manager: its lock may be held by the thread that crashed.
void LogFlushCrashHandler::OnCrash(int) {
  FlushHeldBack();
}

}  // namespace NSTE_util
