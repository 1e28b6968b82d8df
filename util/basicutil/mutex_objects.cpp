#include <cstdlib>

#include "util/basicutil/mutex_objects_internal.h"

namespace NSTE_util {
namespace {

__extension__ using Wide = unsigned __int128;

constexpr std::size_t kFewestPlaces = 64;
constexpr std::size_t kLongestPath = 5;  // four places and, for keys behind a 0, the object itself

bool IsUnused(std::uint32_t within, const GrantQueue& grants) {
  return within == 0 && grants.Empty();
}

}  // namespace

void GrantQueue::Push(MutexGrant* grant) {
  if (m_oldest == nullptr) {
    m_oldest = grant;
    return;
  }
  if (m_later == nullptr) m_later = std::make_unique<std::deque<MutexGrant*>>();
  m_later->push_back(grant);
}

MutexGrant* GrantQueue::PopOldest() {
  MutexGrant* const oldest = m_oldest;
  m_oldest = nullptr;
  if (m_later == nullptr || m_later->empty()) return oldest;
  m_oldest = m_later->front();
  m_later->pop_front();
  if (m_later->empty()) m_later.reset();
  return oldest;
}

void GrantQueue::PopNewest() {
  if (m_later == nullptr || m_later->empty()) {
    m_oldest = nullptr;
    return;
  }
  m_later->pop_back();
  if (m_later->empty()) m_later.reset();
}

HeldObjects::Path::Path(const TEOperObject& object)
    : places{TEOperObject(0, 0, 0), TEOperObject(object.m_nFirst, 0, 0),
             TEOperObject(object.m_nFirst, object.m_nSecond, 0), object},
      count(object.m_nFirst == 0    ? 1
            : object.m_nSecond == 0 ? 2
            : object.m_nThird == 0  ? 3
                                    : 4) {}

const HeldObjects::Share* HeldObjects::Place::FindShare(int operCode) const {
  if (first.operCode == operCode) return &first;
  if (others == nullptr) return nullptr;
  const auto it = others->find(operCode);
  return it != others->end() ? &it->second : nullptr;
}

HeldObjects::Share* HeldObjects::Place::FindShare(int operCode) {
  return const_cast<Share*>(std::as_const(*this).FindShare(operCode));
}

HeldObjects::HeldObjects()
    : m_seed(static_cast<std::uint64_t>(arc4random()) << 32 | arc4random()), m_places(kFewestPlaces) {}

std::size_t HeldObjects::Home(const TEOperObject& object) const {
  const std::uint64_t inner = static_cast<std::uint64_t>(object.m_nSecond) << 32 | object.m_nThird;
  const Wide product = static_cast<Wide>(m_seed ^ inner) *
                       (0x9E3779B97F4A7C15U ^ static_cast<std::uint64_t>(object.m_nFirst) << 16);
  return static_cast<std::size_t>(static_cast<std::uint64_t>(product) ^
                                  static_cast<std::uint64_t>(product >> 64)) &
         (m_places.size() - 1);
}

const HeldObjects::Place* HeldObjects::Find(const TEOperObject& object) const {
  for (std::size_t i = Home(object); m_places[i].used; i = (i + 1) & (m_places.size() - 1)) {
    if (m_places[i].object == object) return &m_places[i];
  }
  return nullptr;
}

HeldObjects::Place* HeldObjects::Find(const TEOperObject& object) {
  return const_cast<Place*>(std::as_const(*this).Find(object));
}

// So that the places of one more object fit without moving any.
void HeldObjects::MakeRoom() {
  if ((m_used + kLongestPath) * 2 <= m_places.size()) return;
  std::vector<Place> old(m_places.size() * 2);
  old.swap(m_places);
  for (Place& place : old) {
    if (!place.used) continue;
    std::size_t i = Home(place.object);
    while (m_places[i].used) i = (i + 1) & (m_places.size() - 1);
    m_places[i] = std::move(place);
  }
}

HeldObjects::Place& HeldObjects::Make(const TEOperObject& object) {
  std::size_t i = Home(object);
  while (m_places[i].used) i = (i + 1) & (m_places.size() - 1);
  m_places[i].object = object;
  m_places[i].used = true;
  ++m_used;
  return m_places[i];
}

HeldObjects::Share& HeldObjects::MakeShare(const TEOperObject& object, int operCode) {
  Place* place = Find(object);
  if (place == nullptr) {
    place = &Make(object);
    place->first.operCode = operCode;
    return place->first;
  }
  if (Share* share = place->FindShare(operCode)) return *share;
  if (place->others == nullptr) place->others = std::make_unique<std::map<int, Share>>();
  Share& share = (*place->others)[operCode];
  share.operCode = operCode;
  return share;
}

void HeldObjects::Erase(Place& place) {
  const std::size_t mask = m_places.size() - 1;
  std::size_t hole = static_cast<std::size_t>(&place - m_places.data());
  // What was pushed behind the hole by a collision moves up, so that no search ends too early.
  for (std::size_t i = (hole + 1) & mask; m_places[i].used; i = (i + 1) & mask) {
    if (((i - Home(m_places[i].object)) & mask) < ((i - hole) & mask)) continue;
    m_places[hole] = std::move(m_places[i]);
    hole = i;
  }
  m_places[hole] = Place();
  --m_used;
}

void HeldObjects::PruneShare(Place& place, int operCode) {
  const Share* share = place.FindShare(operCode);
  if (share == nullptr || !IsUnused(share->within, share->grants)) return;
  if (share != &place.first) {
    place.others->erase(operCode);
  } else if (place.others != nullptr && !place.others->empty()) {
    place.first = std::move(place.others->begin()->second);
    place.others->erase(place.others->begin());
  } else {
    Erase(place);
    return;
  }
  if (place.others != nullptr && place.others->empty()) place.others.reset();
}

// Counts so many objects less at the places of this one, and forgets the places that nobody needs any more.
void HeldObjects::Reduce(int operCode, const TEOperObject& object, std::uint32_t by) {
  const Path path(object);
  for (const TEOperObject& enclosing : path) {
    Place* const place = Find(enclosing);
    Share* const share = place != nullptr ? place->FindShare(operCode) : nullptr;
    if (share == nullptr) continue;
    share->within -= by;
    if (enclosing == path.Own()) {
      share->here -= by;
      place->here -= by;
    }
    PruneShare(*place, operCode);
  }
  if (object == path.Own()) return;
  if (Place* place = Find(object)) PruneShare(*place, operCode);
}

void HeldObjects::Add(int operCode, const TEOperObject& object, MutexGrant* grant) {
  MakeRoom();
  const Path path(object);
  std::array<Share*, kLongestPath> shares{};
  std::size_t made = 0;
  try {
    for (const TEOperObject& enclosing : path) shares[made++] = &MakeShare(enclosing, operCode);
    MakeShare(object, operCode).grants.Push(grant);
  } catch (...) {
    Reduce(operCode, object, 0);
    throw;
  }
  for (std::size_t i = 0; i < made; ++i) ++shares[i]->within;
  ++shares[made - 1]->here;
  ++Find(path.Own())->here;
}

MutexGrant* HeldObjects::RemoveOldest(int operCode, const TEOperObject& object) {
  Place* const place = Find(object);
  Share* const share = place != nullptr ? place->FindShare(operCode) : nullptr;
  if (share == nullptr || share->grants.Empty()) return nullptr;
  MutexGrant* const grant = share->grants.PopOldest();
  Reduce(operCode, object, 1);
  return grant;
}

void HeldObjects::RemoveNewest(int operCode, const TEOperObject& object) {
  Find(object)->FindShare(operCode)->grants.PopNewest();
  Reduce(operCode, object, 1);
}

std::optional<std::pair<TEOperObject, const MutexGrant*>> HeldObjects::FindConflict(
    int operCode, const TEOperObject& wanted) const {
  const Path path(wanted);
  for (const TEOperObject& enclosing : path) {
    const Place* const place = Find(enclosing);
    const Share* const share = place != nullptr ? place->FindShare(operCode) : nullptr;
    if (share != nullptr && !share->grants.Empty())
      return std::pair(place->object, static_cast<const MutexGrant*>(share->grants.Oldest()));
  }
  std::optional<std::pair<TEOperObject, const MutexGrant*>> smallest;
  for (const Place& place : m_places) {
    if (!place.used || !place.object.IsConflict(wanted)) continue;
    if (smallest && !(place.object < smallest->first)) continue;
    const Share* const share = place.FindShare(operCode);
    if (share != nullptr && !share->grants.Empty()) smallest.emplace(place.object, share->grants.Oldest());
  }
  return smallest;
}

}  // namespace NSTE_util
