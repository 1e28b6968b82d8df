#pragma once
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/asn1/audit_codes.h"

// What is right and wrong in an inventory of NEs. Plain values and functions, without the platform. Not
// thread-safe: one audit, one thread.
namespace velad {

struct NERecord {
  std::string identifier;
  std::string name;
  std::string type;
  std::string address;
  std::string version;
  std::string position;
};

struct Finding {
  AuditFault fault;
  std::size_t record;                // index in the inventory
  std::optional<std::size_t> other;  // the earlier record with the same value
  std::string text;                  // one line; values from outside are escaped and cut
};

using Version = std::vector<std::uint32_t>;

// "high-low", both 0 to 65535 in decimal without leading zeros. 0-0 is refused: it means "all NEs".
std::optional<std::uint32_t> ParseNEIdentifier(std::string_view text);
// Dotted IPv4, four decimal numbers without leading zeros.
std::optional<std::uint32_t> ParseIPv4(std::string_view text);
// False for 0.0.0.0, 255.255.255.255 and multicast.
bool CanBelongToOneNE(std::uint32_t address);
// One to six numbers of at most 32 bits, joined by dots; leading zeros count nothing ("5.01" is 5.1).
std::optional<Version> ParseVersion(std::string_view text);
// By number from the left; missing numbers count as 0.
bool IsOlder(const Version& left, const Version& right);

// Known types of NE and the lowest version that is still supported of each.
class NETypes {
 public:
  // False when the version is none, or the type is there already.
  bool Add(const std::string& type, std::string_view minimum);
  struct Minimum {
    std::string text;
    Version version;
  };
  const Minimum* Find(const std::string& type) const;
  bool empty() const { return m_types.empty(); }

 private:
  std::map<std::string, Minimum> m_types;
};

// Each appends what it finds.
void CheckForm(const NERecord& record, std::size_t index, std::vector<Finding>& out);
void CheckType(const NERecord& record, std::size_t index, const NETypes& types, std::vector<Finding>& out);

// Compares records with those added before. Malformed identifiers and addresses are left to CheckForm.
class CrossCheck {
 public:
  void Add(const NERecord& record, std::size_t index, std::vector<Finding>& out);

 private:
  struct Place {
    std::size_t index;
    std::string who;
  };
  std::map<std::uint32_t, Place> m_identifiers;
  std::map<std::uint32_t, Place> m_addresses;
};

// A value from outside as it may stand in a finding: escaped, at most `limit` bytes, whole characters.
std::string Shown(std::string_view value, std::size_t limit = 64);

}  // namespace velad
