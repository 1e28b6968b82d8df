#pragma once
// The ASN.1 runtime's base types by name only; include platform/asncmd/asn_runtime.h to use them.
namespace SNACC {
class AsnType;
class AsnBuf;
class AsnInt;
class AsnOcts;
class AsnNull;
class AsnBool;
}  // namespace SNACC
using SNACC::AsnBool;
using SNACC::AsnBuf;
using SNACC::AsnInt;
using SNACC::AsnNull;
using SNACC::AsnOcts;
using SNACC::AsnType;
