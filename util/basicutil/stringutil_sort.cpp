#include <algorithm>
#include <utility>

#include "util/basicutil/stringutil.h"

namespace NSTE_util {
namespace {

using Order = std::vector<std::pair<int, std::size_t>>;  // key and row

// The row number as second key keeps equal keys in order.
Order Sorted(const std::vector<int>& keys) {
  Order order;
  order.reserve(keys.size());
  for (const int key : keys) order.emplace_back(key, order.size());
  std::sort(order.begin(), order.end());
  return order;
}

void Arrange(std::vector<int>& column, const Order& order) {
  std::vector<int> arranged;
  arranged.reserve(column.size());
  for (const auto& [key, row] : order) arranged.push_back(column[row]);
  column = std::move(arranged);
}

}  // namespace

void TERela2WaySort(std::vector<int>& a, std::vector<int>& b, int key) {
  if (a.size() != b.size()) return;
  const Order order = Sorted(key == 2 ? b : a);
  Arrange(a, order);
  Arrange(b, order);
}

void TERela3WaySort(std::vector<int>& a, std::vector<int>& b, std::vector<int>& c, int key) {
  if (a.size() != b.size() || a.size() != c.size()) return;
  const std::vector<int>& keys = key == 2 ? b : key == 3 ? c : a;
  const Order order = Sorted(keys);
  Arrange(a, order);
  Arrange(b, order);
  Arrange(c, order);
}

}  // namespace NSTE_util
