#pragma once
#include <list>

#include "platform/asncmd/asn_buffers.h"
#include "platform/asncmd/asn_runtime.h"

// Reaching into a SEQUENCE OF without knowing what it holds. Internal.
namespace vela {

// Stands in an empty list: encodes as nothing, and notes where that is. Only where the list calls its
// elements' encoder as a virtual function: not when the compiler knows that their class has no derived ones.
class AsnListProbe : public AsnType {
 public:
  AsnListProbe() = default;
  explicit AsnListProbe(const AsnWriteBuf& out) : m_out(&out) {}

  int Calls() const { return m_calls; }
  std::size_t BytesBehind() const { return m_bytesBehind; }

  AsnType* Clone() const override { return new AsnListProbe(*this); }
  const char* typeName() const override { return "AsnListProbe"; }
  void BDec(const AsnBuf&, SNACC::AsnLen&) override {}
  SNACC::AsnLen BEnc(AsnBuf&) const override {
    ++m_calls;
    m_bytesBehind = m_out->Size();
    return 0;
  }
  void Print(std::ostream&, unsigned short) const override {}

 private:
  const AsnWriteBuf* m_out = nullptr;
  mutable int m_calls = 0;
  mutable std::size_t m_bytesBehind = 0;
};

using AsnProbeList = std::list<AsnListProbe>;

// The std::list inside a SEQUENCE OF of whatever element type; null when `field` is none. It may only be
// swapped, spliced and asked whether it is empty: that needs only links and header, which do not depend on
// what the list holds.
AsnProbeList* FindListNodes(const AsnType& field);

// Exchanges the elements of a list for those of another while it lives; never throws.
class AsnNodeSwap {
 public:
  AsnNodeSwap(AsnProbeList& field, AsnProbeList& other) : m_field(field), m_other(other) {
    m_field.swap(m_other);
  }
  ~AsnNodeSwap() { m_field.swap(m_other); }
  AsnNodeSwap(const AsnNodeSwap&) = delete;
  AsnNodeSwap& operator=(const AsnNodeSwap&) = delete;

 private:
  AsnProbeList& m_field;
  AsnProbeList& m_other;
};

}  // namespace vela
