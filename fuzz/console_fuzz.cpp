// An operator's command lines, any bytes, one a line. Every reply is bounded, a table of commands is written
// where it belongs, and the process answers "help" as it did at the start.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "util/basicutil/common_manager.h"

using namespace NSTE_util;

namespace {

constexpr std::size_t kLongestReply = 1 << 20;
constexpr int kMostLines = 32;

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

TEDebugMgrImpl& Started() {
  static TEDebugMgrImpl& manager = [&]() -> TEDebugMgrImpl& {
    LogProcess::InitEnv("console_fuzz", 0);
    TEDebugMgrImpl& made = *TEDebugMgrImpl::Instance();
    made.Init("", "", "", vela::InstallRoot() + "conf/debug.cfg");
    return made;
  }();
  return manager;
}

void CheckTable(const std::string& reply) {
  const std::string done = "dump ok: ";
  if (!reply.starts_with(done)) return;
  const std::string path = reply.substr(done.size());
  const std::string folder = vela::InstallRoot() + "var/logs/";
  Require(path.starts_with(folder) && path.find('/', folder.size()) == std::string::npos, "its folder");
  Require(VELA_OS::unlink(path.c_str()) == 0, "the table was written");
}

void Run(const std::string& line) {
  const std::string reply = Started().Excute(line);
  Require(reply.size() <= kLongestReply + line.size(), "a bounded reply");
  CheckTable(reply);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string help = Started().Excute("help");
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  for (int lines = 0; lines < kMostLines && !rest.empty(); ++lines) {
    const std::size_t length = std::min(rest.find('\n'), rest.size());
    Run(std::string(rest.substr(0, length)));
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  Require(Started().Excute("help") == help, "the process answers help");
  VelaSetExitFlag(false);
  return 0;
}
