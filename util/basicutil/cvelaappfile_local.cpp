// Folders and names on this host.
#include <cerrno>
#include <exception>
#include <utility>

#include "platform/task/vela_error.h"
#include "util/basicutil/common.h"
#include "util/basicutil/cvelaappfile.h"
#include "util/basicutil/cvelaappfile_internal.h"
#include "util/basicutil/filepath.h"
#include "util/basicutil/token.h"

namespace NSTE_util {
namespace {

bool FolderOpens(const std::string& path) {
  return Directory(VELA_OS::opendir(path.c_str(), "UTF-8")) != nullptr;
}

bool MakeLevel(const std::string& path) {
  if (VELA_OS::mkdir(path.c_str(), 0755, "UTF-8") == 0) return true;
  return errno == EEXIST && FolderOpens(path);
}

bool MakeFolders(const std::string& path) {
  if (FolderOpens(path)) return true;
  const std::string whole = path.ends_with('/') ? path.substr(0, path.size() - 1) : path;
  std::size_t cut = whole.size();
  do {
    cut = cut == 0 ? std::string::npos : whole.rfind('/', cut - 1);
    if (cut == std::string::npos) return false;
  } while (!FolderOpens(cut == 0 ? "/" : whole.substr(0, cut)));
  while (cut != std::string::npos) {
    cut = whole.find('/', cut + 1);
    if (!MakeLevel(whole.substr(0, cut))) return false;
  }
  return true;
}

bool IsOrdinaryFile(const std::string& path) {
  struct ::stat facts {};
  return VELA_OS::stat(path.c_str(), &facts, "UTF-8") == 0 && S_ISREG(facts.st_mode);
}

// The ordinary files of the folder that fit; false when reading it fails.
bool CollectNames(DIR* dir, const std::string& folder, const NamePattern& pattern,
                  std::vector<std::string>& names) {
  while (true) {
    dirent entry;
    dirent* found = nullptr;
    if (VELA_OS::readdir_r(dir, &entry, &found, "UTF-8") != 0) return false;
    if (found == nullptr) return true;
    if (pattern.Fits(found->d_name) && IsOrdinaryFile(folder + "/" + found->d_name))
      names.emplace_back(found->d_name);
  }
}

std::uint32_t LocalFiles(const std::string& folder, const std::string& text,
                         std::vector<std::string>& names) {
  const NamePattern pattern(text);
  if (!pattern.IsValid()) return VELA_ERR_GENERAL;
  const std::string path = RootedName(folder);
  const Directory dir(VELA_OS::opendir(path.c_str(), "UTF-8"));
  if (!dir) {
    TETrace("CVelaAppFile::Open Dir %s failed\n", vela::EscapeControls(folder).c_str());
    return VELA_ERR_GENERAL;
  }
  return CollectNames(dir.get(), path, pattern, names) ? 0 : VELA_ERR_GENERAL;
}

}  // namespace

NamePattern::NamePattern(const std::string& pattern) {
  Token pieces(pattern, '*');
  m_valid = pieces.size() <= 2;
  m_anywhere = pieces.size() == 1;
  if (!m_valid) return;
  m_before = std::move(pieces[0]);
  if (!m_anywhere) m_after = std::move(pieces[1]);
}

bool NamePattern::Fits(std::string_view name) const {
  if (!m_valid) return false;
  if (m_anywhere) return name.find(m_before) != std::string_view::npos;
  return name.size() >= m_before.size() + m_after.size() && name.starts_with(m_before) &&
         name.ends_with(m_after);
}

std::string RootedName(const std::string& name) {
  return name.find(':') == std::string::npos ? GetVELARootPath() + name : name;
}

bool IsFolder(const std::string& path) {
  struct ::stat facts {};
  return VELA_OS::stat(path.c_str(), &facts, "UTF-8") == 0 && S_ISDIR(facts.st_mode);
}

bool CreateParentFolder(const std::string& path) {
  return CVelaAppFile::CreateFolder(GetParentPath(path));
}

bool CVelaAppFile::CreateFolder(const std::string& path) {
  try {
    return MakeFolders(path);
  } catch (const std::exception&) {
    return false;
  }
}

int CVelaAppFile::GetLocalFiles(const std::string& folder, std::vector<std::string>& names,
                                const std::string& pattern) {
  names.clear();
  try {
    const std::uint32_t code = LocalFiles(folder, pattern, names);
    if (code != 0) names.clear();
    return static_cast<int>(code);
  } catch (const std::exception&) {
    names.clear();
    return static_cast<int>(VELA_ERR_MEMORY);
  }
}

int CVelaAppFile::DeleteLocalFile(const std::string& name) {
  return VELA_OS::unlink(RootedName(name).c_str(), "UTF-8");
}

}  // namespace NSTE_util
