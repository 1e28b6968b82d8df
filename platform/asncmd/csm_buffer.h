#pragma once
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/asncmd/asn_runtime.h"
#include "platform/export.h"

// An octet string of a message whose bytes are held in memory, or come from a named file that is read while
// the message is encoded. One thread at a time, as for every part of a message; copies name the same file.
class VELA_EXPORT CSM_Buffer : public SNACC::AsnType {
 public:
  CSM_Buffer() = default;

  void Set(std::string_view bytes);
  // The file (UTF-8 name, not empty) is opened by each encoding and each Read, never here, and not kept open.
  void SetFile(const std::string& name);

  bool IsFile() const { return !m_file.empty(); }
  const std::string& FileName() const { return m_file; }
  // What is held in memory; empty when bound to a file.
  const std::string& Bytes() const { return m_bytes; }

  // All bytes, from memory or from the file as it is now. False, `bytes` empty and errno set, when the file
  // cannot be read or there is no memory for it.
  bool Read(std::string& bytes) const;

  // The file is written from its end in blocks, so that it needs no memory beside that of the encoding. A
  // file that cannot be read makes the encoding fail (an exception inside the runtime, a result code of
  // CAsnHelper::Encode) and leaves a line in the log.
  SNACC::AsnLen BEncContent(SNACC::AsnBuf& out) const;
  SNACC::AsnLen BEnc(SNACC::AsnBuf& out) const override;
  // To memory. Constructed strings are refused.
  void BDecContent(const SNACC::AsnBuf& in, SNACC::AsnTag tag, SNACC::AsnLen length,
                   SNACC::AsnLen& bytesDecoded);
  void BDec(const SNACC::AsnBuf& in, SNACC::AsnLen& bytesDecoded) override;

  AsnType* Clone() const override { return new CSM_Buffer(*this); }
  const char* typeName() const override { return "CSM_Buffer"; }
  // The number of bytes or the file's name; never the content.
  void Print(std::ostream& out, unsigned short indent = 0) const override;
  void PrintXML(std::ostream& out, const char* title = nullptr) const;

 private:
  std::string m_bytes;
  std::string m_file;
};
