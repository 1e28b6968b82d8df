#include "apps/velactl/file_transfer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "apps/common/texts.h"
#include "apps/velactl/failure.h"
#include "apps/velactl/file_content.h"
#include "apps/velactl/file_local.h"
#include "apps/velactl/file_session.h"
#include "asn1/filetransfer.h"
#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"
#include "platform/config/vela_config.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/cvelaappfile.h"

namespace velactl {
namespace {

constexpr std::uint64_t kMiB = 1 << 20;
constexpr std::uint64_t kLarge = kMiB;    // a progress bar is worth while
constexpr std::size_t kFrameAround = 64;  // of a request, beside name and content
// Percent of the way: what is left of it is the server's work, and the other way round.
constexpr int kPacked = 60;
constexpr int kAnswered = 40;

struct CloseFile {
  void operator()(std::FILE* file) const { VELA_OS::fclose(file); }
};

void SetText(AsnOcts& to, const std::string& text) {
  to.Set(text.data(), text.size());
}

std::uint32_t CodeOf(const AsnRemoteFileResult& result) {
  if (result.choiceId == AsnRemoteFileResult::successCid) return 0;
  const auto code = static_cast<std::uint32_t>(static_cast<AsnIntType>(*result.errorCode));
  return code != 0 ? code : VELA_ERR_GENERAL;
}

// What a file may become here.
std::uint64_t MostMiB() {
  int value = 0;
  const std::string file = vela::InstallRoot() + "etc/conf/vela.cfg";
  const bool set = VelaGetRegInt(file.c_str(), "InflateMaxFileMiB", value) == 1 && value > 0;
  return static_cast<std::uint64_t>(set ? value : 16384);
}

class Transfer {
 public:
  Transfer(const FileOptions& options, FileSession& session, FileOutcome& outcome)
      : m_options(options), m_session(session), m_server(AddressText(session.Server())), m_outcome(outcome) {}

  bool Get();
  bool Put();
  bool List();
  bool Remove();

 private:
  template <class Rsp>
  bool Ask(std::uint32_t command, const SNACC::AsnType& request, Rsp& response);
  // Tells of `all` bytes between two percentages.
  ContentMoved Moved(int from, int to, std::uint64_t all, const std::string& step);
  bool Fail(std::string reason) {
    m_outcome.error = std::move(reason);
    return false;
  }

  const FileOptions& m_options;
  FileSession& m_session;
  const std::string m_server;
  FileOutcome& m_outcome;
};

template <class Rsp>
bool Transfer::Ask(std::uint32_t command, const SNACC::AsnType& request, Rsp& response) {
  std::uint32_t code = m_session.Exec(command, request, response);
  if (code != 0 && m_session.ServerGone()) return Fail(apps::Text("SERVER_ENDED", {m_server}));
  if (code == 0) code = CodeOf(response.result);
  if (code == 0) return true;
  m_outcome.refused = IsFileRefusal(code);
  return Fail(WhyFileFailed(code, m_options, m_session.Server()));
}

ContentMoved Transfer::Moved(int from, int to, std::uint64_t all, const std::string& step) {
  return [=, this, last = -1](std::uint64_t done) mutable {
    const auto width = static_cast<std::uint64_t>(to - from);
    const int percent = from + static_cast<int>(all == 0 ? 0 : std::min(done, all) * width / all);
    if (std::exchange(last, percent) == percent) return !m_session.Leaving();
    return m_session.Step(percent, step);
  };
}

bool Transfer::Get() {
  // Before the server is asked, so that nothing is fetched for nothing.
  LocalReplacement file(m_options.local);
  if (file.File() == nullptr) return Fail(file.Error());
  m_session.Step(0, apps::Text("FILE_WAITING", {m_options.path, m_server}));
  AsnGetRemoteFileReq request;
  SetText(request.fileName, m_options.path);
  AsnGetRemoteFileRsp response;
  if (!Ask(NSTE_util::CMD_GET_REMOTE_FILE, request, response)) return false;
  const std::string& content = response.content.data();
  if (content.size() >= kLarge) m_session.SetLarge();
  const std::uint64_t most = MostMiB();
  const auto moved = Moved(kAnswered, 100, content.size(), apps::Text("FILE_WRITING", {m_options.local}));
  switch (InflateContent(content, most * kMiB, moved, file.File(), m_outcome.bytes)) {
    case ContentEnd::done:
      return !m_session.Leaving() && (file.Commit() || Fail(file.Error()));
    case ContentEnd::left:
      return false;
    case ContentEnd::io:
      return Fail(file.Error());
    case ContentEnd::tooLarge:
      return Fail(apps::Text("FILE_GROWS", {m_options.path, std::to_string(most)}));
    case ContentEnd::damaged:
      return Fail(apps::Text("FILE_DAMAGED", {m_server, m_options.path}));
    case ContentEnd::memory:
      break;
  }
  return Fail(WhyFileFailed(VELA_ERR_MEMORY, m_options, m_session.Server()));
}

bool Transfer::Put() {
  std::uint64_t size = 0;
  const std::unique_ptr<std::FILE, CloseFile> file(OpenLocal(m_options.local, size, m_outcome.error));
  if (!file) return false;
  if (size >= kLarge) m_session.SetLarge();
  AsnSendRemoteFileReq request;
  SetText(request.fileName, m_options.path);
  const std::size_t around = kFrameAround + std::min<std::size_t>(m_options.path.size(), kMiB);
  const auto moved = Moved(0, kPacked, size, apps::Text("FILE_PACKING", {m_options.local}));
  std::string content;
  switch (DeflateContent(file.get(), CAsnHelper::maxEncoding - around, moved, content, m_outcome.bytes)) {
    case ContentEnd::done:
      break;
    case ContentEnd::left:
      return false;
    case ContentEnd::io:
      return Fail(apps::Text("FILE_NOT_READ", {m_options.local, std::strerror(errno)}));
    case ContentEnd::tooLarge:
      return Fail(apps::Text("FILE_ONE_MESSAGE", {m_options.local}));
    default:
      return Fail(WhyFileFailed(VELA_ERR_MEMORY, m_options, m_session.Server()));
  }
  SetText(request.content, content);
  if (!m_session.Step(kPacked, apps::Text("FILE_SENDING", {m_options.path, m_server}))) return false;
  AsnSendRemoteFileRsp response;
  return Ask(NSTE_util::CMD_SEND_REMOTE_FILE, request, response);
}

bool Transfer::List() {
  AsnGetRemoteFileNamesReq request;
  SetText(request.folder, m_options.path);
  SetText(request.pattern, m_options.pattern);
  AsnGetRemoteFileNamesRsp response;
  if (!Ask(NSTE_util::CMD_GET_REMOTE_FILE_NAMES, request, response)) return false;
  for (const AsnOcts& name : response.names) m_outcome.names.push_back(name.data());
  std::sort(m_outcome.names.begin(), m_outcome.names.end());
  return true;
}

bool Transfer::Remove() {
  AsnDeleteRemoteFileReq request;
  SetText(request.fileName, m_options.path);
  AsnDeleteRemoteFileRsp response;
  return Ask(NSTE_util::CMD_DELETE_REMOTE_FILE, request, response);
}

}  // namespace

bool TransferFile(const FileOptions& options, FileSession& session, FileOutcome& outcome) {
  Transfer transfer(options, session, outcome);
  switch (options.verb) {
    case FileVerb::get:
      return transfer.Get();
    case FileVerb::put:
      return transfer.Put();
    case FileVerb::list:
      return transfer.List();
    case FileVerb::remove:
      return transfer.Remove();
  }
  return false;
}

}  // namespace velactl
