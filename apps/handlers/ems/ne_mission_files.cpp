#include "apps/handlers/ems/ne_mission_files.h"

#include <utility>
#include <vector>

#include "platform/os/beneath.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_error.h"
#include "util/basicutil/compress.h"
#include "util/basicutil/cvelaappfile.h"
#include "util/basicutil/stringutil.h"

namespace velad {
namespace {

constexpr const char* kFolder = "var/configs";

// A manager names files of its own folder, no others of this root.
bool IsUploadedFile(const std::string& name) {
  std::vector<std::string> parts;
  return vela::SplitNameBeneath(name, parts) && parts.size() > 2 && parts[0] == "var" && parts[1] == "upload";
}

// Whoever reads the target meanwhile sees the old content or the new one.
std::uint32_t Inflate(const std::string& gzipFile, const std::string& target) {
  const std::string aside = target + ".new";
  auto code = static_cast<std::uint32_t>(NSTE_util::UncompressFile(gzipFile, aside));
  if (code == 0 && VELA_OS::rename(aside.c_str(), target.c_str()) != 0) code = VELA_ERR_GENERAL;
  if (code != 0) VELA_OS::unlink(aside.c_str());
  return code;
}

}  // namespace

std::uint32_t NEMissionFiles::Fetch(CProcID manager, NEResult& result) {
  const std::string source = std::exchange(result.file, {});
  if (!IsUploadedFile(source)) return VELA_ERR_DECODE;
  if (m_silent.contains(manager)) return VELA_ERR_NO_ANSWER;
  const std::string root = vela::InstallRoot();
  if (!NSTE_util::CVelaAppFile::CreateFolder(root + kFolder)) return VELA_ERR_GENERAL;
  NSTE_util::CVelaAppFile file(source, NSTE_util::APPFILE_READ_BINARY, NSTE_util::APPFILE_STREAM, manager);
  auto code = static_cast<std::uint32_t>(file.GetResult());
  if (code == VELA_ERR_NO_ANSWER || code == VELA_ERR_NO_RECEIVER) m_silent.insert(manager);
  if (code != 0) return code;
  const std::string name = std::string(kFolder) + "/" + NSTE_util::TENEID2Str(result.ne) + ".cfg";
  code = Inflate(root + source, root + name);
  if (code == 0) result.file = name;
  return code;
}

}  // namespace velad
