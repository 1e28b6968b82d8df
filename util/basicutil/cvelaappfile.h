#pragma once
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "platform/message/proc_id.h"
#include "util/basicutil/export.h"

namespace NSTE_util {

// How a CVelaAppFile is opened. The numbers are part of the interface and not those of std::ios_base.
enum AppFileMode : int {
  APPFILE_READ = 1,            // in; C mode "r"
  APPFILE_READ_BINARY = 33,    // in, binary; C mode "r+b"
  APPFILE_APPEND = 11,         // in, out, app
  APPFILE_APPEND_BINARY = 43,  // the same, binary
  APPFILE_TRUNCATE = 19,       // in, out, trunc
  APPFILE_TRUNCATE_BINARY = 51
};

enum AppFileType : unsigned int { APPFILE_C = 0, APPFILE_STREAM = 1 };

// The commands of the file service.
constexpr std::uint32_t CMD_GET_REMOTE_FILE = 0x2122E7;
constexpr std::uint32_t CMD_SEND_REMOTE_FILE = 0x2122E8;
constexpr std::uint32_t CMD_DELETE_REMOTE_FILE = 0x2122E9;
constexpr std::uint32_t CMD_GET_REMOTE_FILE_NAMES = 0x2122EA;
constexpr std::uint32_t CMD_GET_PROC_IP = 0x2122EB;

// A file of a server process, on this host or another. It is named by its path from the installation root on
// (a name with ":" is a full path) and by the process that owns it. The owner is local when it is this
// process, any instance of it, or a process that reports an address of this host; then the file is used in
// place. Otherwise it is fetched into the same place below this host's root, used there, and on Close sent
// back (appending and truncating modes) or removed (reading modes).
//
//   state  | Open                       | Close, destruction
//   -------+----------------------------+------------------------------------------------------------
//   closed | -> open; failed: -> closed | 0
//   open   | refused, nothing changes   | -> closed; stays open when the file itself cannot be closed
//
// Belongs to one task at a time. Asking a process that is not the own one needs a current task and blocks it:
// 60 seconds for the address, 240 for each file command. Nothing throws.
//
// Results: 0; 0x4101F008 (general failure); 0x4101F00E (memory exhausted); the code of the owner's refusal;
// or a code of platform/task/vela_error.h.
class BASIC_UTIL_EXPORT CVelaAppFile {
 public:
  CVelaAppFile();
  CVelaAppFile(const std::string& name, int mode, unsigned int type, const CProcID& owner);
  virtual ~CVelaAppFile();
  CVelaAppFile(const CVelaAppFile&) = delete;
  CVelaAppFile& operator=(const CVelaAppFile&) = delete;

  // The outcome is GetResult. A name with ":" and "/server/script" is used locally from "script" on. The
  // truncating modes fetch nothing. A failure leaves no local copy of a remote file. Neither an empty name
  // nor a folder can be opened.
  void Open(const std::string& name, int mode, unsigned int type, const CProcID& owner);
  int GetResult() const { return static_cast<int>(m_nResult); }

  // What was opened: the stream for APPFILE_STREAM, the file for APPFILE_C (else null). Owned by this object.
  std::fstream& GetStream() { return m_fsFile; }
  std::FILE* GetFile() const { return m_pFile; }

  // 0, or why the file could not be closed, sent back or removed (-1). What could not be sent back stays as
  // the local copy, and the object is closed. 0x4101F008 with the object still open: the content could not
  // be written, now or earlier; nothing is sent, another Close gives up the file.
  // A file is sent back under its name as it was given to Open, not from the root on: a process that writes
  // files of remote owners has the installation root as working directory. A full name is removed as given
  // to Open too: the local copy of a script stays, and Close tells -1.
  int Close();

  // The names of the ordinary files in a folder, in the system's order, without the folder. `pattern` may
  // hold one "*", which stands for any text; without one it is a part of the name; empty: all. Local: `names`
  // is replaced; remote: names are added, as the owner gives them, also such that are no names of files.
  static int GetFiles(const std::string& folder, std::vector<std::string>& names, const CProcID& owner,
                      const std::string& pattern);
  // Failures (0x4101F008, `names` empty): two "*" or more, a folder that cannot be read.
  static int GetLocalFiles(const std::string& folder, std::vector<std::string>& names,
                           const std::string& pattern);

  // Local: the result of unlink, 0 or -1.
  int DeleteFileA(const std::string& name, const CProcID& owner);

  // Makes the folder and what is missing above it, from the nearest one that exists on. The path is used as
  // it is; when no part of it exists it fails. True when the folder is there.
  static bool CreateFolder(const std::string& path);

  // Lets the answers to the file commands reach the task manager; once, before files of remote owners are
  // used. `skip`: does nothing. Always 0; an identifier of 0 is an assertion.
  static int RegUsingCVelaAppFile(unsigned char taskMgrId, bool skip);

 protected:
  void Init();
  std::uint32_t OpenLocalFile(const std::string& name, int mode, unsigned int type);
  static std::uint32_t GetRemoteFile(const std::string& name, const CProcID& owner);
  static std::uint32_t SendRemoteFile(const std::string& name, const CProcID& owner);
  static std::uint32_t DeleteRemoteFile(const std::string& name, const CProcID& owner);
  static int DeleteLocalFile(const std::string& name);

 private:
  std::uint32_t OpenSteps(const std::string& name, int mode, unsigned int type, const CProcID& owner);
  bool CloseFiles(bool& wasOpen);
  bool CloseStream();
  int GiveBack() const;

  std::fstream m_fsFile;
  std::FILE* m_pFile = nullptr;
  std::uint32_t m_nResult = 0;
  std::string m_strFileName;
  std::uint32_t m_nMode = APPFILE_READ;
  std::uint32_t m_nType = APPFILE_STREAM;
  CProcID m_stOwner;
  std::uint8_t m_bOwnerIsLocal = 1;
};

}  // namespace NSTE_util
