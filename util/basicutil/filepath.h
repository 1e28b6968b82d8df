#pragma once
#include <string>
#include <vector>

#include "util/basicutil/export.h"

// Paths of the installation, path texts, external commands and whole-file reading. All functions are safe in
// any thread and never throw. Unless stated, int results are 0 on success and -1 on failure, and an
// out-parameter is untouched on failure.
namespace NSTE_util {

// A path that is empty, has no root, or is no folder that opens; a folder that cannot be written.
constexpr int PATH_INVALID = 1141;
constexpr int PATH_NOT_WRITABLE = 1142;

// Environment

// The trimmed value of VELA_ROOT, with "/" at its end unless it ends with "/" or "\". When it is not set or
// blank: empty, and a message on the platform output.
BASIC_UTIL_EXPORT std::string GetVELARootPath();
// The variable's value without one final "/" or "\"; empty when it is not set.
BASIC_UTIL_EXPORT std::string GetSysEnvironment(const std::string& name);
// The folder etc/conf below the root; empty when VELA_ROOT is not set.
BASIC_UTIL_EXPORT std::string GetVELAEnvironment();
BASIC_UTIL_EXPORT std::string GetVELAPath();

// Path texts

// "./x" becomes root + "x", "../x" becomes root + "../x"; every other path stays. PATH_INVALID and an empty
// path when it was empty or there is no root.
BASIC_UTIL_EXPORT int GetFullPath(std::string& path);
// Strips blanks at both ends and turns every separator into "/", or into "\".
BASIC_UTIL_EXPORT void ConvertPathtoUnixMode(std::string& path);
BASIC_UTIL_EXPORT void ConvertPathtoWin32Mode(std::string& path);
// To "/" form without "/./" and "/..": "/a/b/../c/./d" becomes "/a/c/d". A text, not a look at the disk, so a
// name that merely begins with ".." counts as "..". -1 for an empty path, one that starts with "." and one
// that climbs above its start.
BASIC_UTIL_EXPORT int ConvertAbsolutePath(std::string& path);
// "/a/" for "/a/b" and "/a/b/"; empty when there is none.
BASIC_UTIL_EXPORT std::string GetParentPath(const std::string& path);

// Where the process lives

// Folder of the executable with its final separator; its file name without the last ".ending". -1 also when
// the full name is longer than 259 characters. Asked from the system once.
BASIC_UTIL_EXPORT int GetProcessPath(std::string& path);
BASIC_UTIL_EXPORT int GetProcessName(std::string& name);
// File name and folder (with its final separator) of the module that holds the address.
BASIC_UTIL_EXPORT int GetModuleFileNameA(const void* address, std::string& name);
BASIC_UTIL_EXPORT int GetModulePath(const void* address, std::string& path);

// Files of the installation; none is opened

BASIC_UTIL_EXPORT bool GetVelaCfgFile(std::string& path);
BASIC_UTIL_EXPORT bool GetEmsCfgFile(std::string& path);
// Below the folder of the executable; false when it is unknown.
BASIC_UTIL_EXPORT bool GetNemgrCfgFile(std::string& path);
BASIC_UTIL_EXPORT bool GetOptionalCfgFile(std::string& path);
// "res/" and the interface language ("en_US" when there is none).
BASIC_UTIL_EXPORT bool GetResBasePath(std::string& path);
BASIC_UTIL_EXPORT bool GetCoreResFilePath(std::string& path);
BASIC_UTIL_EXPORT bool GetNemgrResFilePath(std::string& path);
// A configuration file of the core, or of this process; the name alone, a trace and an assertion report when
// the place is unknown; empty for an empty name.
BASIC_UTIL_EXPORT std::string GetCoreFile(const std::string& name);
BASIC_UTIL_EXPORT std::string GetNeMgrFile(const std::string& name);

// External commands

// Runs a program in a folder and waits for it, at most 60 seconds; then it is killed with every process it
// left in its group. The line is split into words at blanks; "...", '...' and "\" quote as in a shell,
// nothing is expanded and no shell runs. The environment and the output are inherited, the input is empty.
// The exit status, 128 + the signal that ended the program, or -1 when it cannot be started or waited for.
BASIC_UTIL_EXPORT int execCMD(const std::string& workDir, const std::string& commandLine);
// Unpacks an archive into the folder with "7za", replacing existing files; the result of execCMD. The name is
// always taken as one file name.
BASIC_UTIL_EXPORT int extractFile(std::string archive, std::string workDir);

// Files

// Whether files can be made in the folder: tries it with a probe file, removed at once. Changes `path` to the
// full path in "/" form. 0, PATH_INVALID or PATH_NOT_WRITABLE. One at a time in the process.
BASIC_UTIL_EXPORT int CheckPathValidity(std::string& path);
// Appends the names of the folders, or of the ordinary files, in `dir`; in the order of the system.
BASIC_UTIL_EXPORT int GetSubFolderOrFileName(const std::string& dir, std::vector<std::string>& names,
                                             bool folders);
// The whole file; 0, or 0x4108C00B and no data when it is missing, empty, above 2 GiB or cannot be read.
BASIC_UTIL_EXPORT int ReadLoaclFile(std::vector<unsigned char>& data, const std::string& path);
// Everything on disk whose path fits the pattern, sorted. A component of the pattern may hold one "*", which
// stands for any run of characters; with more than one nothing matches. Folders only when the pattern ends
// with
// "/". What matches starts with the pattern's own start, so a full pattern gives full paths.
BASIC_UTIL_EXPORT void GetMatchFile(const std::string& pattern, std::vector<std::string>& files);

}  // namespace NSTE_util
