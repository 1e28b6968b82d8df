#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "util/basicutil/mutex.h"

namespace NSTE_util {

struct MutexGrant;

// The grants that hold one object for one operation, the oldest first. Almost always one.
class GrantQueue {
 public:
  bool Empty() const { return m_oldest == nullptr; }
  MutexGrant* Oldest() const { return m_oldest; }
  void Push(MutexGrant* grant);  // throws without memory, and has changed nothing then
  MutexGrant* PopOldest();
  void PopNewest();
  template <class Visit>
  void ForEach(Visit&& visit) const {
    if (m_oldest != nullptr) visit(m_oldest);
    if (m_later == nullptr) return;
    for (MutexGrant* grant : *m_later) visit(grant);
  }

 private:
  MutexGrant* m_oldest = nullptr;
  std::unique_ptr<std::deque<MutexGrant*>> m_later;
};

// All objects that are held, by whom, and who holds something that overlaps a wanted object: a few look-ups,
// however much is held. Not locked.
//
// An object without trailing keys is a place that encloses others: (0,0,0) encloses all, (5,0,0) what is in
// 5, (5,2,0) what is in there. Two objects overlap when they are the same place or one encloses the other. So
// each place counts, for each operation, the objects that it holds right here and those that it holds here or
// inside; who overlaps a wanted object is who holds something right at an enclosing place, or at or inside
// its own. The places lie in one open-addressing table, each in a cache line of its own.
class HeldObjects {
 public:
  HeldObjects();

  // Throws without memory, and has changed nothing then.
  void Add(int operCode, const TEOperObject& object, MutexGrant* grant);
  // The oldest grant that holds the object gives it back; null when nobody does.
  MutexGrant* RemoveOldest(int operCode, const TEOperObject& object);
  // Takes back the latest Add of this object, which must have been there.
  void RemoveNewest(int operCode, const TEOperObject& object);

  // Calls visit(operation code) for every operation that holds something in conflict, some more than once.
  template <class Visit>
  void VisitConflicts(const TEOperObject& wanted, Visit&& visit) const {
    const Path path(wanted);
    for (const TEOperObject& enclosing : path) {
      const Place* place = Find(enclosing);
      if (place == nullptr) return;  // then there is nothing further inside either
      const bool own = enclosing == path.Own();
      if (!own && place->here == 0) continue;
      place->ForEachShare([&](const Share& share) {
        if ((own ? share.within : share.here) != 0) visit(share.operCode);
      });
    }
  }

  // An object of the operation that is in conflict, with its oldest grant: the outermost enclosing one, else
  // the smallest. The latter looks at everything that is held.
  std::optional<std::pair<TEOperObject, const MutexGrant*>> FindConflict(int operCode,
                                                                         const TEOperObject& wanted) const;

  // Calls visit(object, grant), in no particular order.
  template <class Visit>
  void ForEachHeld(Visit&& visit) const {
    for (const Place& place : m_places) {
      if (!place.used) continue;
      place.ForEachShare([&](const Share& share) {
        share.grants.ForEach([&](MutexGrant* grant) { visit(place.object, grant); });
      });
    }
  }

 private:
  // What one operation holds at a place.
  struct Share {
    int operCode = 0;
    std::uint32_t here = 0;
    std::uint32_t within = 0;  // here or further inside
    GrantQueue grants;         // of the object with exactly the keys of the place
  };

  struct alignas(64) Place {
    template <class Visit>
    void ForEachShare(Visit&& visit) const {
      visit(first);
      if (others == nullptr) return;
      for (const auto& [code, share] : *others) visit(share);
    }
    const Share* FindShare(int operCode) const;
    Share* FindShare(int operCode);

    TEOperObject object{0, 0, 0};
    std::uint32_t here = 0;  // of all operations
    Share first;             // one of the operations; most places have no other
    std::unique_ptr<std::map<int, Share>> others;
    bool used = false;
  };

  // The places that enclose an object, from (0,0,0) to its own.
  struct Path {
    explicit Path(const TEOperObject& object);
    const TEOperObject& Own() const { return places[count - 1]; }
    const TEOperObject* begin() const { return places.data(); }
    const TEOperObject* end() const { return places.data() + count; }

    std::array<TEOperObject, 4> places;
    std::size_t count;
  };

  std::size_t Home(const TEOperObject& object) const;
  const Place* Find(const TEOperObject& object) const;
  Place* Find(const TEOperObject& object);
  void MakeRoom();
  Place& Make(const TEOperObject& object);
  Share& MakeShare(const TEOperObject& object, int operCode);
  void PruneShare(Place& place, int operCode);
  void Reduce(int operCode, const TEOperObject& object, std::uint32_t by);
  void Erase(Place& place);

  std::uint64_t m_seed;  // nobody outside can choose objects that meet in the table
  std::size_t m_used = 0;
  std::vector<Place> m_places;  // a power of two of them, at most half of them used
};

}  // namespace NSTE_util
