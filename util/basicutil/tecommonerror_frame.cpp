#include <algorithm>
#include <string_view>
#include <utility>

#include "util/basicutil/tecommonerror_internal.h"

namespace NSTE_util {

namespace {

std::size_t Mixed(std::size_t hash, std::size_t more) {
  return (hash ^ more) * 0x9E3779B97F4A7C15U;
}

std::size_t TextHash(const std::string& text) {
  return std::hash<std::string_view>()(text);
}

// Whether the error says more than that something failed.
bool IsReal(const ErrEntry& entry) {
  if (entry.IsText()) return !entry.result.m_strText.empty();
  return entry.result.m_nErrorCode != 0 && entry.result.m_nErrorCode != GENERIC_ERROR;
}

}  // namespace

std::size_t SameResult::operator()(const ErrEntry* entry) const {
  return Mixed(TextHash(entry->result.m_strText), entry->result.m_nErrorCode);
}

bool SameResult::operator()(const ErrEntry* left, const ErrEntry* right) const {
  return left->result.m_nErrorCode == right->result.m_nErrorCode &&
         left->result.m_strText == right->result.m_strText;
}

std::size_t SameEntry::operator()(const ErrEntry* entry) const {
  std::size_t hash = Mixed(SameResult()(entry), TextHash(entry->position));
  for (const TEOperObject& object : entry->objects)
    for (const std::uint32_t key : {object.m_nFirst, object.m_nSecond, object.m_nThird})
      hash = Mixed(hash, key);
  return hash;
}

bool SameEntry::operator()(const ErrEntry* left, const ErrEntry* right) const {
  return SameResult()(left, right) && left->position == right->position && left->objects == right->objects;
}

void DropGenericErrors(ErrList& errors) {
  if (std::none_of(errors.begin(), errors.end(), IsReal)) return;
  errors.remove_if([](const ErrEntry& entry) { return entry.result.m_nErrorCode == GENERIC_ERROR; });
}

void ErrFrame::Add(ErrList one) {
  ErrEntry& entry = one.front();
  if (m_entries.contains(&entry)) return;
  const auto known = m_firstOfResult.find(&entry);
  if (known == m_firstOfResult.end()) return AddUntested(std::move(one));
  if (entry.IsBare()) return;
  if ((*known)->IsBare()) return Overwrite(**known, std::move(entry));
  AddUntested(std::move(one));
}

void ErrFrame::AddUntested(ErrList one) {
  if (m_transactions.empty()) return AppendFinal(std::move(one));
  ErrList& innermost = m_transactions.back();
  innermost.splice(innermost.end(), one);
}

void ErrFrame::AppendFinal(ErrList one) {
  m_errors.splice(m_errors.end(), one);
  Index(m_errors.back());
}

void ErrFrame::Overwrite(ErrEntry& known, ErrEntry&& entry) {
  m_entries.erase(&known);
  known.objects = std::move(entry.objects);
  known.position = std::move(entry.position);
  Index(known);
}

// Without memory for it the error is kept all the same; only its duplicates are not recognised.
void ErrFrame::Index(ErrEntry& entry) {
  try {
    m_firstOfResult.insert(&entry);
    m_entries.insert(&entry);
  } catch (const std::bad_alloc&) {
  }
}

std::size_t ErrFrame::Start() {
  m_transactions.emplace_back();
  return m_transactions.size();
}

void ErrFrame::Commit() {
  ErrList kept = Rollback();
  if (!m_transactions.empty()) {
    ErrList& outer = m_transactions.back();
    outer.splice(outer.end(), kept);
    return;
  }
  while (!kept.empty()) {
    ErrList one;
    one.splice(one.begin(), kept, kept.begin());
    Add(std::move(one));
  }
}

ErrList ErrFrame::Rollback() {
  ErrList dropped = std::move(m_transactions.back());
  m_transactions.pop_back();
  return dropped;
}

std::size_t ErrFrame::Pending() const {
  std::size_t count = 0;
  for (const ErrList& transaction : m_transactions) count += transaction.size();
  return count;
}

ErrList ErrFrame::TakeErrors() {
  m_firstOfResult.clear();
  m_entries.clear();
  m_code = 0;
  return std::exchange(m_errors, {});
}

}  // namespace NSTE_util
