#pragma once
#include <cstddef>
#include <cstdint>

#include "platform/asncmd/asn_fwd.h"
#include "platform/export.h"

// Holds one request, either as an ASN.1 object or as an encoded buffer. Not thread-safe.
class VELA_EXPORT CAsnReqData {
 public:
  // Wraps an object; owns it when `own` is true.
  CAsnReqData(AsnType& request, int count, bool own);
  // Takes over a buffer of CAsnHelper.
  CAsnReqData(unsigned char* buffer, std::size_t size, int count);
  ~CAsnReqData();
  CAsnReqData(const CAsnReqData&) = delete;
  CAsnReqData& operator=(const CAsnReqData&) = delete;

  AsnType* Request() const { return m_request; }            // null when it holds a buffer
  const unsigned char* Buffer() const { return m_buffer; }  // null when it holds an object
  std::size_t Size() const { return m_size; }
  int Count() const { return m_count; }

 private:
  AsnType* m_request = nullptr;
  bool m_own = false;
  unsigned char* m_buffer = nullptr;
  std::size_t m_size = 0;
  int m_count = 0;
};
