#pragma once
#include <cstdint>

#include "util/basicutil/export.h"

namespace NSTE_util {

// What the file service refuses with, beside VELA_ERR_TOO_LARGE (file, content or answer above its limit),
// VELA_ERR_OVERLOAD (too much memory in use by transfers), VELA_ERR_MEMORY, VELA_ERR_DECODE (damaged content)
// and VELA_ERR_GENERAL (the system failed).
constexpr std::uint32_t FILE_SERVICE_REFUSED = 0x4101F040;      // by its configuration, or for its name
constexpr std::uint32_t FILE_SERVICE_NO_FILE = 0x4101F041;      // no such file or folder
constexpr std::uint32_t FILE_SERVICE_NOT_WRITTEN = 0x42008134;  // the system failed while it was written

// Lets this process answer the commands of CVelaAppFile (get, send, delete, list, own address) in the threads
// of a task manager. One call switches it on; another one reads the configuration again. Any thread.
//
// What it does with files stays below one folder (platform/os/beneath.h), to which the names of the requests
// are relative; it must lie on one file system. Readers of a file never see half of a new content, and a
// process that is killed leaves the old one; what it had under way is removed by the next call. Each refusal
// is answered with a code and logged with the name and the process that asked.
//
// Keys of etc/conf/vela.cfg; the lists name folders below the service's own, with ",", "." stands for all:
//   FileServiceFolder       full path; built-in: the installation root
//   FileServiceRead         what may be read and listed; built-in: nothing
//   FileServiceWrite, FileServiceDelete   likewise
//   FileServiceMaxBytes     of one file, also of what is written; 67108864
//   FileServiceMaxMemory    of all transfers under way, both ways: contents and 384000 each; 134217728
//   FileServiceAddress      what is told as the host's address; built-in: the first one of CHostInfo
//
// 0; -1 after an assertion (the identifier is 0) or a line in the log (another handler has one of the
// commands).
BASIC_UTIL_EXPORT int RegFileService(unsigned char taskMgrId);

}  // namespace NSTE_util
