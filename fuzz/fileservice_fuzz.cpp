// Encoded requests to the file service, through the decoder to its handlers: each one is answered once, and
// what lies beside the service's folder is never opened, changed or added to.
#include <sys/inotify.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "asn1/filetransfer.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/os/vela_os.h"
#include "platform/task/te_task_creator.h"
#include "platform/testkit/testkit.h"
#include "util/basicutil/compress.h"
#include "util/basicutil/cvelaappfile.h"
#include "util/basicutil/file_service.h"

using namespace NSTE_util;

namespace {

namespace fs = std::filesystem;

void Require(bool holds, const std::string& property) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", property.c_str());
  std::abort();
}

std::string Configuration() {
  return vela::InstallRoot() + "etc/conf/vela.cfg";
}

// A folder that is served, with links that lead out of it, and one beside it that is watched.
class Place {
 public:
  Place() : m_root(vela::InstallRoot() + "fileservice_fuzz/") {
    fs::create_directories(m_root + "outside/deep");
    std::ofstream(m_root + "outside/secret") << "what nobody may read";
    Watch("", IN_CREATE | IN_DELETE | IN_MOVE);
    for (const char* name : {"outside", "outside/deep", "outside/secret"}) Watch(name, IN_ALL_EVENTS);
    const std::string folder = Served();
    std::ofstream(Configuration(), std::ios::app)
        << "\nFileServiceFolder = " << folder << "\nFileServiceRead = .\nFileServiceWrite = .\n"
        << "FileServiceDelete = .\nFileServiceMaxBytes = 65536\nFileServiceMaxMemory = 1000000\n";
    Require(RegFileService(1) == 0, "the service starts");
  }
  std::string Served() const { return m_root + "served"; }

  void Renew() {
    fs::remove_all(Served());
    fs::create_directories(Served() + "/a/b");
    std::ofstream(Served() + "/a/f") << "content";
    fs::create_symlink("../../outside/secret", Served() + "/a/s");
    fs::create_directory_symlink("../../outside", Served() + "/a/d");
    fs::create_directory_symlink(m_root + "outside", Served() + "/e");
    while (Disturbed()) continue;
  }
  // Whether something happened outside the served folder since the last call.
  bool Disturbed() const {
    char events[4096];
    return ::read(m_watch, events, sizeof(events)) > 0;
  }

 private:
  void Watch(const std::string& name, std::uint32_t events) const {
    Require(::inotify_add_watch(m_watch, (m_root + name).c_str(), events) >= 0, "watching " + name);
  }

  const std::string m_root;
  const int m_watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
};

std::string Take(std::string_view& rest, std::size_t size) {
  const std::string text(rest.substr(0, size));
  rest.remove_prefix(text.size());
  return text;
}

AsnOcts Octets(const std::string& text) {
  return {text.data(), text.size()};
}

template <class Req>
std::string Named(std::string_view rest) {
  Req req;
  req.fileName = Octets(std::string(rest));
  return testkit::Encoded(req);
}

// A well-formed request; the first byte is the length of the name.
std::string MadeOf(std::uint32_t cmdCode, std::string_view rest) {
  if (cmdCode == CMD_GET_REMOTE_FILE) return Named<AsnGetRemoteFileReq>(rest);
  if (cmdCode == CMD_DELETE_REMOTE_FILE) return Named<AsnDeleteRemoteFileReq>(rest);
  if (cmdCode == CMD_GET_PROC_IP) return testkit::Encoded(AsnNull());
  const std::string length = Take(rest, 1);
  const std::string name = Take(rest, length.empty() ? 0 : static_cast<unsigned char>(length[0]));
  if (cmdCode == CMD_GET_REMOTE_FILE_NAMES) {
    AsnGetRemoteFileNamesReq req;
    req.folder = Octets(name);
    req.pattern = Octets(std::string(rest));
    return testkit::Encoded(req);
  }
  MemCompresser deflated(rest.data(), rest.size());
  Require(deflated.Process() == 0, "deflating");
  AsnSendRemoteFileReq req;
  req.fileName = Octets(name);
  req.content.Set(deflated.GetProcessedDataPtr(), deflated.GetProcessedDataLen());
  return testkit::Encoded(req);
}

void Ask(std::uint32_t cmdCode, const std::string& payload, const Place& place) {
  const TETaskHandlerStru* const handler = TETaskCreator::Instance()->Find(cmdCode);
  const std::unique_ptr<AsnType> request(handler->newRequest());
  const std::span bytes(reinterpret_cast<const unsigned char*>(payload.data()), payload.size());
  if (CAsnHelper::Decode(bytes, *request) != 0) return;
  const testkit::LogCapture log;
  const testkit::CurrentTask task({.cmdCode = cmdCode, .payload = payload});
  const testkit::FrameCapture answers;
  const testkit::OsFaults seam([folder = place.Served()](vela::OsCall, const char* path) {
    const bool expected = path == nullptr || path == folder || path == Configuration();
    const std::string_view name = expected ? "" : path;
    Require(name != ".." && name.find('/') == std::string_view::npos, "one step at a time, below the folder");
    return vela::OsFault{};
  });
  Require(handler->handle(task.get(), request.get()) == 0, "it answers");
  Require(answers.Frames().size() == 1, "once");
}

}  // namespace

// The first byte: the command, and whether the rest is the request as it comes or what one is made of.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static Place& place = *new Place;
  if (size == 0) return 0;
  place.Renew();
  const std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::uint32_t cmdCode = CMD_GET_REMOTE_FILE + data[0] % 5;
  const bool raw = data[0] >= 0x80;
  Ask(cmdCode, raw ? std::string(rest) : MadeOf(cmdCode, rest), place);
  Require(!place.Disturbed(), "nothing happens outside the folder");
  return 0;
}
