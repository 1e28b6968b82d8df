#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/asncmd/asn_fwd.h"
#include "platform/export.h"

// Encodes and decodes whole messages. Nothing throws. An object is used by one thread at a time, also while
// it is only encoded; different objects are independent.
class VELA_EXPORT CAsnHelper {
 public:
  static constexpr std::size_t maxEncoding = std::size_t{16} << 20;

  // Encodes into a buffer that ReleaseAsnBuf frees. 0, 0x4101F008 (encoding failed or longer than `limit`),
  // 0x4101F00E (memory). On failure buffer is null and size 0.
  static std::uint32_t Encode(const AsnType& msg, unsigned char*& buffer, std::size_t& size,
                              std::size_t limit = maxEncoding);

  // The encoding of `request` with `listField`, a SEQUENCE OF that is a member of it at any depth (or the
  // request itself), emptied; and where in it the list's length octets are and how many. The field is told by
  // its identity, not by what it holds. Its elements are set aside during the call, not copied: afterwards
  // `request` is as before, the elements at their old addresses, also after a failure. The elements' class
  // may be any, but of an empty list neither final nor in an unnamed namespace. Whoever puts elements in must
  // correct the lengths of all that encloses the list. Result as Encode; 0x4101F008 also when
  // `listField` is no SEQUENCE OF or no part of `request`.
  static std::uint32_t EncodeExcludeListField(const AsnType& request, const AsnType& listField,
                                              unsigned char*& buffer, std::size_t& size,
                                              std::size_t& lengthOffset, std::size_t& lengthOctets);

  // Writes `length` as definite BER length octets, the shortest form; returns how many (1 to 5).
  static std::size_t EncodeAsnLen(std::uint32_t length, unsigned char (&octets)[5]);

  // A buffer as Encode gives it; null when memory is exhausted.
  static unsigned char* AllocateAsnBuf(std::size_t size);
  static void ReleaseAsnBuf(unsigned char* buffer);

  // Checks the bytes (platform/asncmd/asn_checker.h), then decodes them into the fresh object `msg`; all must
  // be consumed. 0 or 0x4101F00A; `reason` then reads "byte <offset>: <what was wrong>", else it is empty.
  // After a failure `msg` holds no usable value.
  static std::uint32_t Decode(std::span<const unsigned char> bytes, AsnType& msg, std::string& reason);
  static std::uint32_t Decode(std::span<const unsigned char> bytes, AsnType& msg);
};
