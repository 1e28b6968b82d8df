// Texts by key among 20,000, in an order that the caches do not know, beside the standard table with a copied
// result under a mutex.
#include "bench/bench_util.h"

#include <unistd.h>

#include <map>
#include <mutex>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "util/basicutil/lang_res_base.h"

namespace {

constexpr int kKeys = 20000;

std::string Key(int i) {
  return "ERR" + std::to_string(0x42010000 + i);
}

std::string Text(int i) {
  return "The operation " + std::to_string(i) + " was refused by the network element";
}

// A file that the manager reads, gone with the guard.
class ResourceFile {
 public:
  ResourceFile() : m_name("/tmp/langres_bench." + std::to_string(getpid())) {
    std::FILE* file = std::fopen(m_name.c_str(), "w");
    for (int i = 0; file != nullptr && i < kKeys; ++i)
      std::fprintf(file, "%s = %s\n", Key(i).c_str(), Text(i).c_str());
    if (file != nullptr) std::fclose(file);
  }
  ~ResourceFile() { unlink(m_name.c_str()); }
  ResourceFile(const ResourceFile&) = delete;
  ResourceFile& operator=(const ResourceFile&) = delete;
  const char* Name() const { return m_name.c_str(); }

 private:
  std::string m_name;
};

template <class Map>
class Peer {
 public:
  Peer() {
    for (int i = 0; i < kKeys; ++i) m_texts.try_emplace(Key(i), Text(i));
  }
  std::string Get(const std::string& key) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_texts.find(key);
    return found == m_texts.end() ? std::string() : found->second;
  }

 private:
  std::mutex m_mutex;
  Map m_texts;
};

// Looks all keys up, again and again.
template <class Keys, class Get>
bench::Side LookUps(long operations, int threads, const Keys& keys, Get get) {
  return [=, &keys] {
    return bench::NanosecondsEach(threads, operations, [&](long count) {
      for (long i = 0; i < count; ++i)
        bench::Keep(get(keys[static_cast<std::size_t>(i) % keys.size()]).length());
    });
  };
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::Parse(argc, argv);
  const long operations = options.Operations(400000);
  const ResourceFile file;
  NSTE_util::TELangResMgrBase mgr;
  if (mgr.LoadLangFile(file.Name()) != 0) return 1;
  Peer<std::unordered_map<std::string, std::string>> hashed;
  Peer<std::map<std::string, std::string>> ordered;

  std::vector<std::string> keys;
  for (int i = 0; i < kKeys; ++i) keys.push_back(Key(i));
  std::shuffle(keys.begin(), keys.end(), std::mt19937(20011));
  const std::vector<RWCString> ours(keys.begin(), keys.end());
  std::vector<std::string> texts;
  for (int i = 0; i < kKeys; ++i) texts.push_back(Text(i));

  std::vector<bench::Row> rows;
  for (const int threads : {1, 2}) {
    const auto samples = bench::Interleaved(
        options,
        {LookUps(operations, threads, ours, [&](const RWCString& key) { return mgr.GetResourceStr(key); }),
         LookUps(operations, threads, keys, [&](const std::string& key) { return hashed.Get(key); }),
         LookUps(operations, threads, keys, [&](const std::string& key) { return ordered.Get(key); }),
         LookUps(operations, threads, texts, [](const std::string& text) { return text; })});
    const std::string where = ", 20,000 keys, " + std::to_string(threads) + " thread(s), ns";
    rows.push_back({"text against std::unordered_map" + where, samples[0], samples[1], samples[3], 1.3});
    rows.push_back({"text against std::map" + where, samples[0], samples[2], samples[3], 1.0});
  }
  bench::Print(options, rows);
}
