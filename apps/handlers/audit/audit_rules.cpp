#include "apps/handlers/audit/audit_rules.h"

#include <algorithm>
#include <charconv>

#include "apps/common/texts.h"
#include "platform/os/vela_os.h"

namespace velad {
namespace {

constexpr std::size_t kVersionNumbers = 6;

// A decimal number up to `limit`; the whole text must be digits.
std::optional<std::uint32_t> Number(std::string_view text, std::uint32_t limit, bool leadingZeros) {
  if (text.empty() || text.front() == '-' || text.front() == '+') return std::nullopt;
  if (!leadingZeros && text.size() > 1 && text.front() == '0') return std::nullopt;
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value > limit) return std::nullopt;
  return value;
}

// Cuts the part before `mark` off the front of `rest`; the last part is what is left.
std::string_view NextPart(std::string_view& rest, char mark) {
  const std::size_t at = rest.find(mark);
  const std::string_view part = rest.substr(0, at);
  rest = at == std::string_view::npos ? std::string_view{} : rest.substr(at + 1);
  return part;
}

std::string Quoted(std::string_view value) {
  return '"' + Shown(value) + '"';
}

std::string Who(const NERecord& record) {
  return Quoted(record.name) + " (" + Shown(record.identifier, 24) + ")";
}

std::string FaultText(AuditFault fault, std::initializer_list<std::string> values) {
  return apps::ErrorText(static_cast<std::uint32_t>(fault), values);
}

}  // namespace

std::optional<std::uint32_t> ParseNEIdentifier(std::string_view text) {
  if (std::count(text.begin(), text.end(), '-') != 1) return std::nullopt;
  const auto high = Number(NextPart(text, '-'), 65535, false);
  const auto low = Number(text, 65535, false);
  if (!high || !low) return std::nullopt;
  const std::uint32_t identifier = (*high << 16) | *low;
  if (identifier == 0) return std::nullopt;
  return identifier;
}

std::optional<std::uint32_t> ParseIPv4(std::string_view text) {
  if (std::count(text.begin(), text.end(), '.') != 3) return std::nullopt;
  std::uint32_t address = 0;
  for (int i = 0; i < 4; ++i) {
    const auto octet = Number(NextPart(text, '.'), 255, false);
    if (!octet) return std::nullopt;
    address = (address << 8) | *octet;
  }
  return address;
}

bool CanBelongToOneNE(std::uint32_t address) {
  const bool multicast = (address >> 28) == 0xE;
  return address != 0 && address != 0xFFFFFFFF && !multicast;
}

std::optional<Version> ParseVersion(std::string_view text) {
  const auto count = static_cast<std::size_t>(std::count(text.begin(), text.end(), '.')) + 1;
  if (count > kVersionNumbers) return std::nullopt;
  Version version;
  for (std::size_t i = 0; i < count; ++i) {
    const auto number = Number(NextPart(text, '.'), 0xFFFFFFFF, true);
    if (!number) return std::nullopt;
    version.push_back(*number);
  }
  return version;
}

bool IsOlder(const Version& left, const Version& right) {
  for (std::size_t i = 0; i < std::max(left.size(), right.size()); ++i) {
    const std::uint32_t a = i < left.size() ? left[i] : 0;
    const std::uint32_t b = i < right.size() ? right[i] : 0;
    if (a != b) return a < b;
  }
  return false;
}

bool NETypes::Add(const std::string& type, std::string_view minimum) {
  auto version = ParseVersion(minimum);
  return version && m_types.try_emplace(type, Minimum{std::string(minimum), *std::move(version)}).second;
}

const NETypes::Minimum* NETypes::Find(const std::string& type) const {
  const auto found = m_types.find(type);
  return found == m_types.end() ? nullptr : &found->second;
}

void CheckForm(const NERecord& record, std::size_t index, std::vector<Finding>& out) {
  const auto report = [&](AuditFault fault, const std::string& value) {
    out.push_back({fault, index, std::nullopt, FaultText(fault, {value})});
  };
  if (!ParseNEIdentifier(record.identifier)) report(AuditFault::identifierForm, Quoted(record.identifier));
  if (record.name.find_first_not_of(" \t") == std::string::npos) report(AuditFault::nameEmpty, {});
  const auto address = ParseIPv4(record.address);
  if (!address)
    report(AuditFault::addressForm, Quoted(record.address));
  else if (!CanBelongToOneNE(*address))
    report(AuditFault::addressUse, Quoted(record.address));
}

void CheckType(const NERecord& record, std::size_t index, const NETypes& types, std::vector<Finding>& out) {
  const auto report = [&](AuditFault fault, std::initializer_list<std::string> values) {
    out.push_back({fault, index, std::nullopt, FaultText(fault, values)});
  };
  const auto version = ParseVersion(record.version);
  if (!version) report(AuditFault::versionForm, {Quoted(record.version)});
  const NETypes::Minimum* minimum = types.Find(record.type);
  if (minimum == nullptr)
    report(AuditFault::typeUnknown, {Quoted(record.type)});
  else if (version && IsOlder(*version, minimum->version))
    report(AuditFault::versionLow, {Shown(record.version), minimum->text, record.type});
}

void CrossCheck::Add(const NERecord& record, std::size_t index, std::vector<Finding>& out) {
  const auto report = [&](AuditFault fault, const std::string& value, const Place& first) {
    out.push_back({fault, index, first.index, FaultText(fault, {value, first.who})});
  };
  if (const auto identifier = ParseNEIdentifier(record.identifier)) {
    const auto [place, fresh] = m_identifiers.try_emplace(*identifier, Place{index, Quoted(record.name)});
    if (!fresh) report(AuditFault::identifierTwice, record.identifier, place->second);
  }
  const auto address = ParseIPv4(record.address);
  if (!address || !CanBelongToOneNE(*address)) return;
  const auto [place, fresh] = m_addresses.try_emplace(*address, Place{index, Who(record)});
  if (!fresh) report(AuditFault::addressTwice, record.address, place->second);
}

std::string Shown(std::string_view value, std::size_t limit) {
  const bool cut = value.size() > limit;
  if (cut) {
    while (limit > 0 && (static_cast<unsigned char>(value[limit]) & 0xC0) == 0x80) --limit;
    value = value.substr(0, limit);
  }
  return vela::EscapeControls(value) + (cut ? "..." : "");
}

}  // namespace velad
