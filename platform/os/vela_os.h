#pragma once
#include <dirent.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "platform/export.h"
#include "platform/os/os_types.h"

// The one seam to the operating system's files, environment and process facts. File names are given with the
// name of their character set; only "UTF-8" (and a null pointer, which means the same) is known, every other
// one fails with errno EINVAL. All functions are safe in any thread; results and errno are those of the C
// functions; files are opened close-on-exec. Failures can be injected here: see platform/os/os_faults.h.
namespace VELA_OS {

// As the C functions of these names.
VELA_EXPORT std::FILE* fopen(const char* name, const char* mode, const char* charset = "UTF-8");
// Opens the stream under the name; false and errno, the stream's failbit set, when it cannot.
VELA_EXPORT bool open(std::fstream& stream, const char* name, std::ios_base::openmode mode,
                      const char* charset = "UTF-8");
VELA_EXPORT int fclose(std::FILE* file);
VELA_EXPORT std::size_t fread(void* data, std::size_t size, std::size_t count, std::FILE* file);
VELA_EXPORT std::size_t fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* file);
VELA_EXPORT DIR* opendir(const char* name, const char* charset = "UTF-8");
// 0 and *result == entry, 0 and *result == null at the end, or an error number. One thread at a time per
// directory stream.
VELA_EXPORT int readdir_r(DIR* dir, dirent* entry, dirent** result, const char* charset = "UTF-8");
VELA_EXPORT int closedir(DIR* dir);
VELA_EXPORT int stat(const char* name, struct ::stat* out, const char* charset = "UTF-8");
VELA_EXPORT int fstat(std::FILE* file, struct ::stat* out);
VELA_EXPORT int unlink(const char* name, const char* charset = "UTF-8");
VELA_EXPORT int rename(const char* from, const char* to, const char* charset = "UTF-8");
VELA_EXPORT int mkdir(const char* name, mode_t mode, const char* charset = "UTF-8");

}  // namespace VELA_OS

// An input stream whose file name is UTF-8; a leading byte-order mark of the content is skipped.
class VELA_EXPORT UTF8_ifstream : public std::ifstream {
 public:
  UTF8_ifstream() = default;
  explicit UTF8_ifstream(const char* name, std::ios_base::openmode mode = std::ios_base::in);
  void open(const char* name, std::ios_base::openmode mode = std::ios_base::in);
};

// Milliseconds of a monotonic clock, 32 bits: wraps after 49.7 days.
VELA_EXPORT std::uint32_t VelaGetTickCount();

// The kernel's id of the calling thread (gettid), cached per thread.
VELA_EXPORT std::uint32_t GetCurrentThreadId();

// Writes the text to standard error, control bytes escaped except the line end, a missing last line end
// added; for messages before logging runs.
VELA_EXPORT void VelaOutputString(const char* text);

// Removes blanks, tabs, CR and LF at both ends, in place; returns the text.
VELA_EXPORT std::string& VelaTrim(std::string& text);

// The variable's value and true; false (and `value` untouched) when it is not set.
VELA_EXPORT bool VelaGetEnv(const char* name, std::string& value);

// Full file name of the running executable, and of the module that holds an address; false when unknown.
VELA_EXPORT bool VelaGetExecutableName(std::string& name);
VELA_EXPORT bool VelaGetModuleName(const void* address, std::string& name);

// Utility initialisation of a process, once, before logging; `enableInt3` makes failed assertions of the
// platform stop in a debugger. 0, or -1 when the installation root is missing.
VELA_EXPORT int VELAUtilInit(bool enableInt3);

// Reports a failed assertion of the platform to standard error and goes on. With enableInt3 and a debugger
// attached, the process stops there first.
VELA_EXPORT void VelaAssertFailed(const char* file, int line, const char* expression);

namespace vela {
// The installation root: the trimmed value of VELA_ROOT with "/" at its end (a final "\\" is kept instead);
// empty when not set or blank.
VELA_EXPORT std::string InstallRoot();
// One line, fit for a log: CR, LF, ESC, NUL, other control bytes (C1 too) and bad UTF-8 written as \xNN.
VELA_EXPORT std::string EscapeControls(std::string_view text);
}  // namespace vela
