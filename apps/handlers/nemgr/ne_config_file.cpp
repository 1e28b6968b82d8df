#include "apps/handlers/nemgr/ne_config_file.h"

#include <cerrno>
#include <cstring>

#include "apps/asn1/nms_codes.h"
#include "apps/handlers/oper/ne_faults.h"
#include "platform/log/log_process.h"
#include "platform/os/vela_os.h"
#include "platform/task/vela_app_mgr.h"
#include "util/basicutil/compress.h"
#include "util/basicutil/cvelaappfile.h"
#include "util/basicutil/stringutil.h"
#include "util/basicutil/timelog.h"

namespace velad {
namespace {

constexpr unsigned long kSlow = 1000;  // milliseconds

std::string Folder() {
  return "var/upload/" + std::to_string(VelaGetProcHandle()) + "/";
}

std::string Content(const NetworkNE& ne, const std::string& version, NSTE_util::TETransactionLog& boards) {
  std::string text = "NE " + NSTE_util::TENEID2Str(ne.ne) + "\nname " + vela::EscapeControls(ne.name) +
                     "\ntype " + ne.type + "\nversion " + version + "\n";
  for (std::uint32_t slot = 1; slot <= NEFaults::kSlots; ++slot) {
    const auto* said = static_cast<const BoardBuffer*>(boards.GetBuffer(kBoardBuffer, slot));
    if (said != nullptr) text += "\nslot " + std::to_string(slot) + "\n" + said->text;
  }
  return text;
}

bool WriteText(const std::string& file, const std::string& text) {
  NSTE_util::CVelaAppFile out(file, NSTE_util::APPFILE_TRUNCATE_BINARY, NSTE_util::APPFILE_STREAM,
                              {VelaGetProcId(), VelaGetProcHandle()});
  if (out.GetResult() != 0) return false;
  out.GetStream() << text;
  return out.Close() == 0;
}

// Whoever fetches the file meanwhile gets the old one or the new one, whole.
bool Compress(const std::string& plain, const std::string& file) {
  const std::string part = file + ".part";
  if (NSTE_util::CompressFile(plain, part) == 0 && VELA_OS::rename(part.c_str(), file.c_str()) == 0)
    return true;
  VELA_OS::unlink(part.c_str());
  return false;
}

}  // namespace

std::string ConfigurationFile(std::uint32_t ne) {
  return Folder() + NSTE_util::TENEID2Str(ne) + ".cfg.gz";
}

std::uint32_t WriteConfiguration(const NetworkNE& ne, const std::string& version, unsigned long transaction) {
  const std::string plain = Folder() + NSTE_util::TENEID2Str(ne.ne) + ".cfg";
  const NSTE_util::TESimpleTimeGuard time("write " + plain, kSlow);
  const std::string root = vela::InstallRoot();
  NSTE_util::TETransactionLog boards(transaction);
  NSTE_util::CVelaAppFile::CreateFolder(root + Folder());
  const bool written = boards.IsValid() && WriteText(plain, Content(ne, version, boards)) &&
                       Compress(root + plain, root + ConfigurationFile(ne.ne));
  const int error = errno;
  VELA_OS::unlink((root + plain).c_str());
  if (written) return 0;
  LogProcess::Error(plain + ": not written: " + std::strerror(error));
  return NE_ERR_NOT_WRITTEN;
}

}  // namespace velad
