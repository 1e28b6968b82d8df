#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

// The NEs here are imagined. Which of their parts refuse what is asked of them stands in a table, so that a
// request meets the same errors every time. Not thread-safe once it changes; const use by any thread.
namespace velad {

// Where a fault sits. Slot and port count from 1; 0: the whole of what encloses it.
struct NEPlace {
  std::uint32_t ne = 0;
  std::uint32_t slot = 0;
  std::uint32_t port = 0;
  auto operator<=>(const NEPlace&) const = default;  // NOLINT(modernize-use-nullptr): a false finding
};

// "9-1, slot 3, port 2", in the language of the root.
std::string PlaceText(const NEPlace& place);

struct NEFault {
  std::uint32_t code = 0;
  std::string detail;  // what the error's text is about; empty: the code says it all
  bool once = false;   // gone when the board is asked again
};

class NEFaults {
 public:
  static constexpr std::uint32_t kSlots = 8;
  static constexpr std::uint32_t kMostPorts = 1024;

  // "9-1/3/2" and what is wrong there: "busy VC4-7", "once busy VC4-7", ... False when either is wrong, when
  // the fault does not belong to such a place or the place has one already.
  bool Add(std::string_view place, std::string_view fault);

  // The fault of the NE itself, of which there is one at most; null: none.
  const NEFault* OfNE(std::uint32_t ne) const;
  // Calls visit(place, fault) for those of a board and its ports, by port; those of the board itself first.
  template <class Visit>
  void OfBoard(std::uint32_t ne, std::uint32_t slot, Visit&& visit) const {
    for (auto it = m_faults.lower_bound({ne, slot, 0});
         it != m_faults.end() && it->first.ne == ne && it->first.slot == slot; ++it)
      visit(it->first, it->second);
  }

 private:
  std::map<NEPlace, NEFault> m_faults;
};

// Reads the table, lines "PLACE = FAULT"; a missing file is an empty table. False with `reason`, one line
// that names file and line.
bool LoadNEFaults(const std::string& file, NEFaults& faults, std::string& reason);

}  // namespace velad
