// A file of another process, opened, read and closed. Ours is CVelaAppFile with an owner that has another
// installation root. The peer does the same work by hand over the bare bus: read, deflate, carry, inflate,
// write, read, remove. The floor only carries the deflated bytes.
#include <malloc.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <fstream>
#include <mutex>

#include "bench/bench_util.h"
#include "platform/bus/bus.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "platform/task/vela_task.h"
#include "platform/task/vela_task_mgr.h"
#include "util/basicutil/cvelaappfile.h"
#include "util/basicutil/env_settings.h"
#include "util/basicutil/file_service.h"

namespace {

namespace fs = std::filesystem;
using NSTE_util::CVelaAppFile;

constexpr CProcID kOwner(51, 1);
constexpr CProcID kBareOwner(51, 2);
constexpr CProcID kClient(3003, 1);
constexpr CProcID kBareClient(3003, 2);

struct File {
  const char* name;
  std::size_t size;
  long operations;
};
constexpr File kFiles[] = {{"1 KiB", 1 << 10, 300}, {"1 MiB", 1 << 20, 10}, {"32 MiB", 32 << 20, 1}};
// What the bare owner is asked for: the file with this index, all of the work or only the bytes.
enum Wish : std::uint32_t { kWork = 0x100, kBytes = 0x200 };

void Require(bool good, const char* what) {
  if (good) return;
  std::fprintf(stderr, "file_bench: %s failed: %s\n", what, std::strerror(errno));
  std::exit(EXIT_FAILURE);
}

std::string NameOf(std::size_t index) {
  return "shared/" + std::to_string(index);
}

// Lines of a log in the order of time, deflated to about a quarter.
std::string Text(std::size_t size) {
  std::string text;
  unsigned state = 42;
  while (text.size() < size) {
    state = state * 1664525 + 1013904223;
    text += "2026-11-21 15:04:05." + std::to_string(100000 + text.size() % 900000) + ",Info, NE " +
            std::to_string(state >> 20) + "-" + std::to_string(state >> 8 & 0xFFF) + " checked\n";
  }
  text.resize(size);
  return text;
}

std::string ReadAll(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  Require(file != nullptr, "fopen");
  std::string text(fs::file_size(path), '\0');
  Require(std::fread(text.data(), 1, text.size(), file) == text.size(), "fread");
  std::fclose(file);
  return text;
}

std::string Deflated(const std::string& text) {
  uLongf size = compressBound(static_cast<uLong>(text.size()));
  std::string out(size, '\0');
  Require(compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(text.data()),
                   static_cast<uLong>(text.size())) == Z_OK,
          "compress");
  out.resize(size);
  return out;
}

VelaMsgPtr Frame(CProcID from, CProcID to, std::uint32_t command, std::string_view payload) {
  VelaMsgPtr frame(VelaAllocMsg(VELA_MSG_HEADER + payload.size()));
  frame->srcProcId = from.Number();
  frame->srcHandle = from.Handle();
  frame->dstProcId = to.Number();
  frame->dstHandle = to.Handle();
  frame->cmdCode = command;
  frame->kind = VELA_KIND_REQUEST;
  frame->length = static_cast<std::uint32_t>(payload.size() + 2);
  std::memcpy(frame->data, payload.data(), payload.size());
  return frame;
}

// A process on the bare bus.
class BareMember {
 public:
  explicit BareMember(CProcID self) : m_bus(vela::MakeLocalBus({})) {
    Require(m_bus->Open(self, [this](VelaMsgPtr frame) { Take(std::move(frame)); }) == vela::BusResult::ok,
            "Open");
  }
  void Send(const VelaCmdMSG& frame) { Require(m_bus->Send(frame) == vela::BusResult::ok, "Send"); }
  VelaMsgPtr Next() {
    std::unique_lock lock(m_mutex);
    m_came.wait(lock, [this] { return !m_frames.empty(); });
    VelaMsgPtr frame = std::move(m_frames.front());
    m_frames.pop_front();
    return frame;
  }

 private:
  void Take(VelaMsgPtr frame) {
    const std::lock_guard lock(m_mutex);
    m_frames.push_back(std::move(frame));
    m_came.notify_one();
  }

  std::mutex m_mutex;
  std::condition_variable m_came;
  std::deque<VelaMsgPtr> m_frames;
  std::unique_ptr<vela::Bus> m_bus;
};

void SayReady() {
  Require(write(STDOUT_FILENO, "r", 1) == 1, "write");
}

void ServeOurs() {
  VelaAppMgr::Instance()->CreateTaskMgr({});
  Require(NSTE_util::RegFileService(1) == 0, "RegFileService");
  Require(VelaAppMgr::Instance()->Start(vela::MakeLocalBus({}), kOwner, 0) == 0, "Start");
  SayReady();
  for (;;) pause();
}

void ServeBare() {
  std::vector<std::string> packed;
  for (std::size_t i = 0; i < std::size(kFiles); ++i)
    packed.push_back(Deflated(ReadAll(vela::InstallRoot() + NameOf(i))));
  BareMember member(kBareOwner);
  SayReady();
  for (;;) {
    const VelaMsgPtr request = member.Next();
    const std::size_t index = request->cmdCode & 0xFF;
    if (request->cmdCode & kBytes)
      member.Send(*Frame(kBareOwner, kBareClient, 1, packed[index]));
    else
      member.Send(*Frame(kBareOwner, kBareClient, 1, Deflated(ReadAll(vela::InstallRoot() + NameOf(index)))));
  }
}

int Serve(const std::string& kind) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (kind == "ours") ServeOurs();
  ServeBare();
  return EXIT_FAILURE;
}

// This program as an owner with a root of its own, until the object ends.
class OwnerProcess {
 public:
  OwnerProcess(const char* kind, const std::string& root) {
    int ready[2];
    Require(pipe(ready) == 0, "pipe");
    m_pid = fork();
    if (m_pid == 0) {
      dup2(ready[1], STDOUT_FILENO);
      setenv("VELA_ROOT", root.c_str(), 1);
      execl("/proc/self/exe", "file_bench", "--owner", kind, nullptr);
      _exit(127);
    }
    close(ready[1]);
    char byte = 0;
    Require(read(ready[0], &byte, 1) == 1, kind);
    close(ready[0]);
  }
  ~OwnerProcess() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
  OwnerProcess(const OwnerProcess&) = delete;
  OwnerProcess& operator=(const OwnerProcess&) = delete;

 private:
  pid_t m_pid = -1;
};

// A second root on the same bus, which offers the files and claims to be on another host.
std::string MakeOwnerRoot() {
  const std::string own = vela::InstallRoot();
  const std::string root = own + "owner/";
  fs::create_directories(root + "var");
  fs::create_directories(root + "shared");
  fs::create_directories(root + "etc/conf");
  fs::create_directories(own + "var/run");
  fs::create_directory_symlink(own + "var/run", root + "var/run");
  std::ofstream(root + "etc/conf/vela.cfg") << "FileServiceRead = shared\nFileServiceAddress = 192.0.2.1\n";
  for (std::size_t i = 0; i < std::size(kFiles); ++i)
    std::ofstream(root + NameOf(i), std::ios::binary) << Text(kFiles[i].size);
  return root;
}

void OpenReadClose(std::size_t index) {
  CVelaAppFile file(NameOf(index), NSTE_util::APPFILE_READ_BINARY, NSTE_util::APPFILE_C, kOwner);
  if (file.GetResult() != 0) {
    std::fprintf(stderr, "file_bench: %s is refused with code 0x%X\n", kFiles[index].name,
                 static_cast<unsigned>(file.GetResult()));
    std::exit(EXIT_FAILURE);
  }
  std::string text(kFiles[index].size, '\0');
  Require(std::fread(text.data(), 1, text.size(), file.GetFile()) == text.size(), "fread");
  Require(file.Close() == 0, "CVelaAppFile::Close");
}

void ByHand(BareMember& client, std::size_t index) {
  client.Send(*Frame(kBareClient, kBareOwner, kWork | static_cast<std::uint32_t>(index), {}));
  const VelaMsgPtr answer = client.Next();
  std::string text(kFiles[index].size, '\0');
  uLongf size = static_cast<uLongf>(text.size());
  Require(uncompress(reinterpret_cast<Bytef*>(text.data()), &size, answer->data,
                     VelaPayloadLength(*answer)) == Z_OK,
          "uncompress");
  const std::string path = vela::InstallRoot() + "by_hand";
  std::FILE* file = std::fopen(path.c_str(), "wb");
  Require(std::fwrite(text.data(), 1, size, file) == size && std::fclose(file) == 0, "fwrite");
  bench::Keep(ReadAll(path).size());
  unlink(path.c_str());
}

void Carry(BareMember& client, std::size_t index) {
  client.Send(*Frame(kBareClient, kBareOwner, kBytes | static_cast<std::uint32_t>(index), {}));
  bench::Keep(client.Next()->length);
}

// Each side's microseconds per file. `task` is current.
std::vector<bench::Row> Measure(const bench::Options& options, BareMember& client) {
  std::vector<bench::Row> rows;
  for (std::size_t i = 0; i < std::size(kFiles); ++i) {
    const long operations = options.Operations(kFiles[i].operations);
    const auto side = [operations](auto one) {
      return [=] {
        return bench::NanosecondsEach(operations,
                                      [&](long n) {
                                        for (long k = 0; k < n; ++k) one();
                                      }) /
               1000;
      };
    };
    const auto found = bench::Interleaved(
        options, {side([i] { OpenReadClose(i); }), side([&client, i] { ByHand(client, i); }),
                  side([&client, i] { Carry(client, i); })});
    rows.push_back({std::string("remote open, read, close of ") + kFiles[i].name + ", one core, us", found[0],
                    found[1], found[2], 1.5});
  }
  return rows;
}

int Run(const bench::Options& options) {
  const std::string root = MakeOwnerRoot();
  cpu_set_t core;
  Require(sched_getaffinity(0, sizeof core, &core) == 0, "sched_getaffinity");
  int first = 0;
  while (CPU_ISSET(first, &core) == 0) ++first;
  CPU_ZERO(&core);
  CPU_SET(first, &core);
  Require(sched_setaffinity(0, sizeof core, &core) == 0, "sched_setaffinity");  // the owners inherit it
  const OwnerProcess ours("ours", root);
  const OwnerProcess bare("bare", root);
  CVelaAppFile::RegUsingCVelaAppFile(1, false);
  VelaAppMgr::Instance()->CreateTaskMgr({});
  Require(VelaAppMgr::Instance()->Start(vela::MakeLocalBus({}), kClient, 0) == 0, "Start");
  {
    VelaGnlTask task("client");
    const VelaCurrentTaskScope current(&task);
    BareMember client(kBareClient);
    bench::Print(options, Measure(options, client));
  }
  VelaAppMgr::Instance()->Stop(1);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  // Large blocks that are mapped and unmapped each time would hide the work.
  ::mallopt(M_MMAP_THRESHOLD, 32 << 20);
  ::mallopt(M_TRIM_THRESHOLD, 256 << 20);
  setenv("VELA_TIME_SCALE", "1000", 1);
  // As for any content: dumps are a debugging aid, and conf/asnprint.cfg leaves these messages out.
  NSTE_util::g_bEnableAsnTrace = false;
  NSTE_util::g_bEnableAsnLog = false;
  if (argc == 3 && std::strcmp(argv[1], "--owner") == 0) return Serve(argv[2]);
  return Run(bench::Parse(argc, argv));
}
