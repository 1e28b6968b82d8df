// Looking at folders and reading files.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <memory>
#include <utility>

#include "platform/os/clock.h"
#include "platform/os/mutex.h"
#include "platform/os/os_faults.h"
#include "platform/os/vela_os.h"
#include "util/basicutil/common.h"
#include "util/basicutil/filepath.h"

namespace NSTE_util {
namespace {

constexpr int kUnreadable = 0x4108C00B;
constexpr off_t kLargestFile = 0x7FFFFFFF;

constinit vela::Mutex g_probeMutex;

struct CloseFile {
  void operator()(std::FILE* file) const { VELA_OS::fclose(file); }
};
struct CloseDir {
  void operator()(DIR* dir) const { VELA_OS::closedir(dir); }
};
using Directory = std::unique_ptr<DIR, CloseDir>;

Directory OpenDir(const std::string& path) {
  return Directory(VELA_OS::opendir(path.c_str(), "UTF-8"));
}

// Calls `visit` with each name but "." and ".."; 0, or the error that ended the reading.
template <class Visit>
int ForEachName(const Directory& dir, Visit visit) {
  while (true) {
    dirent entry;
    dirent* found = nullptr;
    const int error = VELA_OS::readdir_r(dir.get(), &entry, &found, "UTF-8");
    if (error != 0 || found == nullptr) return error;
    const std::string name = found->d_name;
    if (name != "." && name != "..") visit(name);
  }
}

std::string ProbeName() {
  const auto now = vela::Now().time_since_epoch();
  const auto second = std::chrono::floor<std::chrono::seconds>(now);
  const int micros = static_cast<int>((now - second).count());
  char name[64];
  std::snprintf(name, sizeof(name), "temp_thr%04d_time%06ddumppath.txt",
                static_cast<int>(GetCurrentThreadId()), micros);
  return name;
}

// To the platform output, with what errno says now.
void ReportProbe(const char* what) {
  const std::string text = what + std::to_string(errno);
  VelaOutputString(text.c_str());
}

int ProbeFolder(const std::string& folder) {
  const std::string probe = folder + (folder.ends_with('/') ? "" : "/") + ProbeName();
  std::FILE* const file = VELA_OS::fopen(probe.c_str(), "w", "UTF-8");
  if (file == nullptr) {
    ReportProbe(("Fail to open: " + probe + ", ErrNo: ").c_str());
    return PATH_NOT_WRITABLE;
  }
  if (VELA_OS::fclose(file) != 0) ReportProbe("fail to close file. errno: ");
  if (VELA_OS::unlink(probe.c_str(), "UTF-8") != 0) ReportProbe("fail to delete file. errno: ");
  return 0;
}

// Room for the file's content; false when there is no memory for it.
bool Reserve(std::vector<unsigned char>& data, off_t size) {
  if (size > kLargestFile || vela::AllocationFails()) return false;
  try {
    data.resize(static_cast<std::size_t>(size));
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

[[gnu::format(printf, 2, 0)]] int Unreadable(std::vector<unsigned char>& data, const char* format,
                                             const std::string& path) {
  data.clear();
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  GetDefaultDebugInterface().PrintF(1, format, vela::EscapeControls(path).c_str());
#pragma GCC diagnostic pop
  return kUnreadable;
}

// A pattern's component: what stands in front of and behind its "*".
struct Wildcard {
  std::string before;
  std::string after;

  bool Fits(const std::string& name) const {
    return name.size() >= before.size() + after.size() && name.starts_with(before) && name.ends_with(after);
  }
};

std::vector<std::string> SplitAtSlash(const std::string& pattern) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t at = pattern.find('/'); at != std::string::npos; at = pattern.find('/', start)) {
    parts.push_back(pattern.substr(start, at - start));
    start = at + 1;
  }
  parts.push_back(pattern.substr(start));
  return parts;
}

bool StarsAreSingle(const std::vector<std::string>& parts) {
  for (const std::string& part : parts) {
    if (std::count(part.begin(), part.end(), '*') <= 1) continue;
    GetDefaultDebugInterface().PrintF(1, "GetMatchString  * more than once: %s\n",
                                      vela::EscapeControls(part).c_str());
    return false;
  }
  return true;
}

// The paths that continue one of `folders` (each ends with "/" or is empty) with a name that fits.
std::vector<std::string> Continued(const std::vector<std::string>& folders, const Wildcard& wildcard) {
  std::vector<std::string> paths;
  for (const std::string& folder : folders) {
    const Directory dir = OpenDir(folder.empty() ? "." : folder);
    if (!dir) continue;
    ForEachName(dir, [&](const std::string& name) {
      if (wildcard.Fits(name)) paths.push_back(folder + name);
    });
  }
  return paths;
}

std::vector<std::string> Expanded(const std::vector<std::string>& parts) {
  std::vector<std::string> paths{""};
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const std::size_t star = parts[i].find('*');
    if (star != std::string::npos) {
      paths = Continued(paths, {parts[i].substr(0, star), parts[i].substr(star + 1)});
    } else {
      for (std::string& path : paths) path += parts[i];
    }
    const bool last = i + 1 == parts.size();
    if (last) break;
    for (std::string& path : paths) path += '/';
  }
  return paths;
}

bool Exists(const std::string& path) {
  struct ::stat facts {};
  return !path.empty() && VELA_OS::stat(path.c_str(), &facts, "UTF-8") == 0;
}

}  // namespace

int CheckPathValidity(std::string& path) {
  vela::MutexLock lock(g_probeMutex);
  ConvertPathtoUnixMode(path);
  if (!path.starts_with('/')) {
    if (const int result = GetFullPath(path)) return result;
  }
  if (!OpenDir(path)) return PATH_INVALID;
  return ProbeFolder(path);
}

int GetSubFolderOrFileName(const std::string& dir, std::vector<std::string>& names, bool folders) {
  const Directory opened = OpenDir(dir);
  if (!opened) {
    GetDefaultDebugInterface().PrintF(1, "GetSubFolderOrFileName::Open Dir %s failed\n",
                                      vela::EscapeControls(dir).c_str());
    return -1;
  }
  std::vector<std::string> found;
  const int error = ForEachName(opened, [&](const std::string& name) {
    struct ::stat facts {};
    if (VELA_OS::stat((dir + "/" + name).c_str(), &facts, "UTF-8") != 0) return;
    if (folders ? S_ISDIR(facts.st_mode) : S_ISREG(facts.st_mode)) found.push_back(name);
  });
  if (error != 0) {
    GetDefaultDebugInterface().PrintF(1, "GetSubFolderOrFileName::Read Dir %s failed\n",
                                      vela::EscapeControls(dir).c_str());
    return -1;
  }
  names.insert(names.end(), found.begin(), found.end());
  return 0;
}

int ReadLoaclFile(std::vector<unsigned char>& data, const std::string& path) {
  struct ::stat facts {};
  if (VELA_OS::stat(path.c_str(), &facts, "UTF-8") != 0)
    return Unreadable(data, "TEGetFile::ReadLoaclFile %s failed.", path);
  if (facts.st_size == 0) return Unreadable(data, "TEGetFile::ReadLoaclFile %s is null.", path);
  if (!Reserve(data, facts.st_size))
    return Unreadable(data, "TEGetFile::ReadLoaclFile read %s failed.", path);
  const std::unique_ptr<std::FILE, CloseFile> file(VELA_OS::fopen(path.c_str(), "rb", "UTF-8"));
  if (!file) return Unreadable(data, "TEGetFile::ReadLoaclFile open %s failed.", path);
  const std::size_t read = VELA_OS::fread(data.data(), 1, data.size(), file.get());
  if (read != data.size()) return Unreadable(data, "TEGetFile::ReadLoaclFile read %s failed.", path);
  return 0;
}

void GetMatchFile(const std::string& pattern, std::vector<std::string>& files) {
  files.clear();
  const std::vector<std::string> parts = SplitAtSlash(pattern);
  if (!StarsAreSingle(parts)) return;
  files = Expanded(parts);
  std::erase_if(files, [](const std::string& path) { return !Exists(path); });
  std::sort(files.begin(), files.end());
}

}  // namespace NSTE_util
