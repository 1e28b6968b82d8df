#pragma once
#include <cstdint>
#include <string_view>

// The codes of the audit message: what both sides know beside the ASN.1 types of audit.asn1.

constexpr std::uint32_t AUDIT_COMMAND = 0x210001;

// Why an audit ended early (AsnAuditRsp::errorCode).
constexpr std::uint32_t AUDIT_ERR_CANCELED = 0x42010001;
constexpr std::uint32_t AUDIT_ERR_TIMEOUT = 0x42010002;
constexpr std::uint32_t AUDIT_ERR_STOPPING = 0x42010003;     // the server is told to end
constexpr std::uint32_t AUDIT_ERR_CLIENT_GONE = 0x42010005;  // nobody waits any more; seen in logs only
constexpr std::uint32_t AUDIT_ERR_NO_TYPES = 0x42010004;     // the server cannot read its table of types

// What is wrong with a record (AsnAuditFinding::errorCode).
enum class AuditFault : std::uint32_t {
  identifierForm = 0x42010101,
  nameEmpty,
  addressForm,
  addressUse,  // well-formed, but no address of one NE
  typeUnknown,
  versionForm,
  versionLow,
  identifierTwice,
  addressTwice
};

// The fault as scripts and tables name it; "unknown" for a code of a newer server.
constexpr std::string_view AuditFaultName(std::uint32_t code) {
  switch (static_cast<AuditFault>(code)) {
    case AuditFault::identifierForm:
      return "identifier-form";
    case AuditFault::nameEmpty:
      return "name-empty";
    case AuditFault::addressForm:
      return "address-form";
    case AuditFault::addressUse:
      return "address-use";
    case AuditFault::typeUnknown:
      return "type-unknown";
    case AuditFault::versionForm:
      return "version-form";
    case AuditFault::versionLow:
      return "version-low";
    case AuditFault::identifierTwice:
      return "identifier-twice";
    case AuditFault::addressTwice:
      return "address-twice";
  }
  return "unknown";
}
