// What the process knows about itself: environment, names, thread ids, installation root.
#include <dlfcn.h>
#include <link.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "platform/os/vela_os.h"

namespace {

// Served by every process from its start, so the quick access through the static block is free.
thread_local std::uint32_t t_threadId __attribute__((tls_model("initial-exec"))) = 0;

// The child of a fork runs on, in the forking thread, with an id of its own.
[[maybe_unused]] const int g_forkWatch =
    pthread_atfork(nullptr, nullptr, [] { t_threadId = static_cast<std::uint32_t>(::gettid()); });

std::atomic<bool> g_stopOnAssert{false};

bool RunsInDebugger() {
  UTF8_ifstream status("/proc/self/status");
  const std::string_view label = "TracerPid:";
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(label)) return std::atoi(line.c_str() + label.size()) != 0;
  }
  return false;
}

bool IsSeparator(char c) {
  return c == '/' || c == '\\';
}

}  // namespace

std::uint32_t VelaGetTickCount() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                                    static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000);
}

std::uint32_t GetCurrentThreadId() {
  if (t_threadId == 0) t_threadId = static_cast<std::uint32_t>(::gettid());
  return t_threadId;
}

std::string& VelaTrim(std::string& text) {
  const char* const blanks = " \t\r\n";
  text.erase(text.find_last_not_of(blanks) + 1);
  text.erase(0, text.find_first_not_of(blanks));
  return text;
}

bool VelaGetEnv(const char* name, std::string& value) {
  const char* found = name == nullptr ? nullptr : std::getenv(name);
  if (found == nullptr) return false;
  value = found;
  return true;
}

bool VelaGetExecutableName(std::string& name) {
  char target[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", target, sizeof(target));
  if (length <= 0 || static_cast<std::size_t>(length) == sizeof(target)) return false;
  name.assign(target, static_cast<std::size_t>(length));
  return true;
}

bool VelaGetModuleName(const void* address, std::string& name) {
  Dl_info info{};
  link_map* module = nullptr;
  if (::dladdr1(address, &info, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0) return false;
  const bool isProgram = module != nullptr && module->l_name[0] == '\0';
  if (isProgram) return VelaGetExecutableName(name);
  if (info.dli_fname == nullptr) return false;
  const std::unique_ptr<char, decltype(&std::free)> full(::realpath(info.dli_fname, nullptr), &std::free);
  name = full ? full.get() : info.dli_fname;
  return true;
}

int VELAUtilInit(bool enableInt3) {
  g_stopOnAssert.store(enableInt3, std::memory_order_relaxed);
  const std::string root = vela::InstallRoot();
  struct ::stat facts {};
  if (root.empty() || VELA_OS::stat(root.c_str(), &facts) != 0) return -1;
  return S_ISDIR(facts.st_mode) ? 0 : -1;
}

void VelaAssertFailed(const char* file, int line, const char* expression) {
  const std::string text = std::string(file) + ":" + std::to_string(line) + ": " + expression + " failed\n";
  VelaOutputString(text.c_str());
  if (g_stopOnAssert.load(std::memory_order_relaxed) && RunsInDebugger()) std::raise(SIGTRAP);
}

std::string vela::InstallRoot() {
  std::string root;
  if (!VelaGetEnv("VELA_ROOT", root)) return {};
  VelaTrim(root);
  if (!root.empty() && !IsSeparator(root.back())) root += '/';
  return root;
}
