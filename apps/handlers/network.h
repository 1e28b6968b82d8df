#pragma once
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace velad {

// An NE as the inventory has it.
struct NetworkNE {
  std::uint32_t ne = 0;
  std::string name;
  std::string type;
  std::string version;        // of its software
  std::uint16_t manager = 0;  // process number of its NE managers
};

// The NEs that there are and who looks after them, from conf/network.cfg: what the topology service and all
// NE managers of a root know alike. Not thread-safe while it is loaded; const use by any thread.
class Network {
 public:
  static constexpr int kDefaultNEs = 200;
  static constexpr int kMostNEs = 1000000;

  // Keys of the file: TYPE = PROCESS, which process number manages the NEs of a type (a type has a digit in
  // it, which tells it from a misspelt key), and
  //   NEs                 so many are made up, a hundred a subnet: 9-1 to 9-100, 10-1, ... (200)
  //   Inventory           or those of a CSV file, under the root unless absolute: identifier, name, type,
  //                       address, version, position
  //   NEMilliseconds      how long an NE takes to be connected or to restart (50)
  //   BoardMilliseconds   and a board, to be asked (20)
  // Rows of an inventory that are no NE, or one that was there before, or of a type without manager, are left
  // out and logged. False with `reason`, one line, when nothing can be made of the file; the network is then
  // empty.
  bool Load(const std::string& file, std::string& reason);

  const NetworkNE* Find(std::uint32_t ne) const;               // null: none
  const std::vector<NetworkNE>& All() const { return m_nes; }  // by identifier

  std::chrono::microseconds NETime() const { return m_neTime; }
  std::chrono::microseconds BoardTime() const { return m_boardTime; }

 private:
  struct Keys;
  bool Read(const std::string& file, Keys& keys, std::string& reason);
  bool AddEntry(std::string_view key, const std::string& value, Keys& keys);
  void MakeUp(std::size_t count);
  bool ReadInventory(const std::string& file, std::string& reason);

  std::map<std::string, std::uint16_t, std::less<>> m_managers;
  std::vector<std::string> m_types;  // as in the file
  std::vector<NetworkNE> m_nes;
  std::chrono::microseconds m_neTime{};
  std::chrono::microseconds m_boardTime{};
};

// That of this process: conf/network.cfg under the root, read once, by whoever asks first. Null when it
// cannot be used, with the reason in the log.
const Network* ProcessNetwork();

// A number that looks random and is always the same for the same seed.
std::uint32_t Imagined(std::uint32_t ne, std::uint32_t salt);

}  // namespace velad
