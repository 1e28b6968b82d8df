#include "platform/asncmd/csm_buffer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>

#include "platform/log/log_process.h"
#include "platform/os/os_faults.h"
#include "platform/os/vela_os.h"

namespace {

constexpr std::size_t kBlock = 65536;

struct CloseFile {
  void operator()(std::FILE* file) const { VELA_OS::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// A file to read from, with its size. Not open: errno says why.
struct OpenedFile {
  explicit OpenedFile(const std::string& name) : file(VELA_OS::fopen(name.c_str(), "rb", "UTF-8")) {
    if (!file) return;
    struct ::stat facts {};
    const bool known = VELA_OS::fstat(file.get(), &facts) == 0;
    if (known && S_ISREG(facts.st_mode)) {
      size = static_cast<std::size_t>(facts.st_size);
      return;
    }
    file.reset();
    if (known) errno = S_ISDIR(facts.st_mode) ? EISDIR : EINVAL;
  }

  // False also when the file ends too early.
  bool ReadAt(std::size_t offset, char* bytes, std::size_t count) const {
    errno = 0;
    if (std::fseek(file.get(), static_cast<long>(offset), SEEK_SET) != 0) return false;
    if (VELA_OS::fread(bytes, 1, count, file.get()) == count) return true;
    if (errno == 0) errno = EIO;
    return false;
  }

  File file;
  std::size_t size = 0;
};

[[noreturn]] void Unreadable(const std::string& name) {
  const std::string text =
      "message content: cannot read " + vela::EscapeControls(name) + ", errno " + std::to_string(errno);
  LogProcess::Error(text);
  throw std::runtime_error(text);
}

SNACC::AsnLen WriteFile(const std::string& name, SNACC::AsnBuf& out) {
  const OpenedFile in(name);
  if (!in.file) Unreadable(name);
  char block[kBlock];
  for (std::size_t left = in.size; left > 0;) {
    const std::size_t count = (left - 1) % kBlock + 1;
    left -= count;
    if (!in.ReadAt(left, block, count)) Unreadable(name);
    out.PutSegRvs(block, count);
  }
  return in.size;
}

}  // namespace

void CSM_Buffer::Set(std::string_view bytes) {
  m_bytes = bytes;
  m_file.clear();
}

void CSM_Buffer::SetFile(const std::string& name) {
  m_file = name;
  m_bytes.clear();
}

bool CSM_Buffer::Read(std::string& bytes) const {
  bytes.clear();
  try {
    if (vela::AllocationFails()) throw std::bad_alloc();
    if (!IsFile()) {
      bytes = m_bytes;
      return true;
    }
    const OpenedFile in(m_file);
    if (!in.file) return false;
    bytes.resize(in.size);
    if (in.ReadAt(0, bytes.data(), bytes.size())) return true;
  } catch (const std::exception&) {
    errno = ENOMEM;
  }
  bytes.clear();
  return false;
}

SNACC::AsnLen CSM_Buffer::BEncContent(SNACC::AsnBuf& out) const {
  if (IsFile()) return WriteFile(m_file, out);
  out.PutSegRvs(m_bytes.data(), m_bytes.size());
  return m_bytes.size();
}

SNACC::AsnLen CSM_Buffer::BEnc(SNACC::AsnBuf& out) const {
  SNACC::AsnLen length = BEncContent(out);
  length += SNACC::BEncDefLen(out, length);
  out.PutByteRvs(SNACC::OCTETSTRING_TAG_CODE);  // universal and primitive: no further bits
  return length + 1;
}

void CSM_Buffer::BDecContent(const SNACC::AsnBuf& in, SNACC::AsnTag tag, SNACC::AsnLen length,
                             SNACC::AsnLen& bytesDecoded) {
  const bool primitive = tag == MAKE_TAG_ID(SNACC::UNIV, SNACC::PRIM, SNACC::OCTETSTRING_TAG_CODE);
  if (!primitive || length > 0xFFFFFFFF) throw std::runtime_error("content in pieces or without a length");
  Set({});
  m_bytes.resize(length);
  in.GetSeg(m_bytes.data(), static_cast<long>(length));
  bytesDecoded += length;
}

void CSM_Buffer::BDec(const SNACC::AsnBuf& in, SNACC::AsnLen& bytesDecoded) {
  const SNACC::AsnTag tag = SNACC::BDecTag(in, bytesDecoded);
  const SNACC::AsnLen length = SNACC::BDecLen(in, bytesDecoded);
  BDecContent(in, tag, length, bytesDecoded);
}

void CSM_Buffer::Print(std::ostream& out, unsigned short) const {
  if (IsFile()) {
    out << "-- file " << vela::EscapeControls(m_file) << " --";
  } else {
    out << "-- " << m_bytes.size() << " bytes --";
  }
}

void CSM_Buffer::PrintXML(std::ostream& out, const char* title) const {
  const char* const element = title != nullptr ? title : typeName();
  out << '<' << element << '>';
  Print(out);
  out << "</" << element << '>' << std::endl;
}
