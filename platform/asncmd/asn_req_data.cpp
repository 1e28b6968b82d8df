#include "platform/asncmd/asn_req_data.h"

#include "platform/asncmd/asn_helper.h"
#include "platform/asncmd/asn_runtime.h"

CAsnReqData::CAsnReqData(AsnType& request, int count, bool own)
    : m_request(&request), m_own(own), m_count(count) {}

CAsnReqData::CAsnReqData(unsigned char* buffer, std::size_t size, int count)
    : m_buffer(buffer), m_size(size), m_count(count) {}

CAsnReqData::~CAsnReqData() {
  if (m_own) delete m_request;
  CAsnHelper::ReleaseAsnBuf(m_buffer);
}
