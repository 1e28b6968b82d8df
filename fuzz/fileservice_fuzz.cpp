// Names and contents from outside against a folder of the file service: what lies beside the folder is never
// seen, changed or added to, whatever the name.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/os/beneath.h"

namespace {

namespace fs = std::filesystem;

const std::string SECRET = "what nobody may read";

void Require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", property);
  std::abort();
}

struct Place {
  Place() {
    char name[] = "/tmp/fileservice_fuzz.XXXXXX";
    Require(::mkdtemp(name) != nullptr, "no folder");
    root = name;
    fs::create_directories(root + "/served/a/b");
    std::ofstream(root + "/secret") << SECRET;
    std::ofstream(root + "/served/a/f") << "content";
    fs::create_symlink("../../secret", root + "/served/a/s");
    fs::create_directory_symlink("../..", root + "/served/a/d");
  }
  ~Place() { fs::remove_all(root); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;
  std::string root;
};

std::string ReadAll(std::FILE* file) {
  std::string text(64, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), file));
  std::fclose(file);
  return text;
}

void Try(const vela::BeneathFolder& folder, char what, const std::string& name) {
  std::vector<std::string> names;
  if (what % 4 == 0) folder.Remove(name);
  if (what % 4 == 1 && folder.List(name, names) == 0) {
    for (const std::string& found : names) Require(found != "secret", "a folder outside was listed");
  }
  if (what % 4 == 2) {
    vela::BeneathReplacement replacement(folder, name);
    if (replacement.File() != nullptr) replacement.Commit();
  }
  if (std::FILE* const file = folder.Open(name)) Require(ReadAll(file) != SECRET, "a file outside was read");
}

}  // namespace

// One byte for what is done, then the name.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size == 0) return 0;
  static const Place place;
  const std::string name(reinterpret_cast<const char*>(data) + 1, size - 1);
  Try(vela::BeneathFolder(place.root + "/served"), static_cast<char>(data[0] & 0x7F), name);
  std::ifstream secret(place.root + "/secret");
  Require(std::string(std::istreambuf_iterator<char>(secret), {}) == SECRET, "a file outside was changed");
  const auto entries = std::distance(fs::directory_iterator(place.root), fs::directory_iterator());
  Require(entries == 2, "something was added or removed outside");
  return 0;
}
