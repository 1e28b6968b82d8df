#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/asncmd/asn_fwd.h"
#include "util/basicutil/export.h"

namespace SNACC {
class AsnFile;
}
using SNACC::AsnFile;

// Compression of files (gzip), of files inside messages (AsnFile, asn1/file.h) and of memory (zlib format).
// Nothing throws. The functions may run in any threads, as long as no two of them write the same file; an
// object belongs to one thread at a time. File names are UTF-8.
//
// What inflates is bounded, so that a small hostile input cannot fill memory or disk: by InflateMaxBytes
// (1 MiB to 2 GiB - 1; 256 MiB) in memory and InflateMaxFileMiB (1 to 2147483647; 16384) in a file. Both are
// keys of etc/conf/vela.cfg, read once; a value out of range counts as the nearest one in it.
namespace NSTE_util {

// What the functions here answer, beside 0.
constexpr std::uint32_t COMPRESS_FAILED = 0x4101F008;
constexpr std::uint32_t COMPRESS_NO_MEMORY = 0x4101F00E;
constexpr std::uint32_t COMPRESS_ZLIB_ERROR = 0x4101F011;    // of a memory buffer
constexpr std::uint32_t COMPRESS_WRITE_FAILED = 0x42008134;  // of a file

// Files. Whatever their size, they pass through one block of memory. Every failure is traced. After a failure
// the written file is what was done until then. Without memory for the names: COMPRESS_NO_MEMORY, untraced.

// Compresses `source` into the gzip file. COMPRESS_FAILED: a file cannot be opened, the two are the same
// file (it stays untouched), a read error, or the gzip file cannot be completed; COMPRESS_WRITE_FAILED: an
// error while it was written.
BASIC_UTIL_EXPORT unsigned long CompressFile(const std::string& source, const std::string& gzipFile);
// Inflates the gzip file into `target`; a file that is not in gzip format is copied as it is.
// COMPRESS_FAILED: a file cannot be opened, the two are the same file, content that is damaged, cut short or
// above the bound (`target` then holds no more than the bound); COMPRESS_WRITE_FAILED: `target` cannot be
// written or closed.
BASIC_UTIL_EXPORT unsigned long UncompressFile(const std::string& gzipFile, const std::string& target);

// Files inside messages. `folder` may end with "/" or "\"; otherwise, unless it is empty, "/" is added.

// Compresses folder/name into folder/name.gz, deletes folder/name, and binds `out` to the gzip file: its
// content is read when the message is encoded, so the file must live until then; whoever encodes deletes it.
// 0: folder/name is deleted also when it could not be compressed. A success of CompressFile is traced as
// "GZip File fail!"; of its failure only CompressFile's own trace tells.
BASIC_UTIL_EXPORT unsigned long EncodeFileToAsnFile(const std::string& folder, const std::string& name,
                                                    AsnFile& out);
// Writes the content of `in` to folder/name.gz (its own name), inflates that to folder/name and deletes it.
// COMPRESS_WRITE_FAILED: the gzip file cannot be written (what there is of it is deleted), the content is
// bound to a file that cannot be read, or the name is refused. Else 0, also when inflating failed, which only
// UncompressFile's trace tells; its success is traced as "UnZip File fail!".
// The name comes from the sender: an empty one, one with a zero byte and one with a component ".." is
// refused, so nothing is written outside the folder. With an empty folder the name may be any path; then the
// caller vouches for it.
BASIC_UTIL_EXPORT unsigned long BuildFileFromAsnStream(const std::string& folder, const AsnFile& in);

// Memory. `data` must live until Process ends; `len` is cut to 32 bits.
class BASIC_UTIL_EXPORT MemBufProcesser {
 public:
  virtual ~MemBufProcesser();
  // 0, COMPRESS_NO_MEMORY (also for output above the bound, or above 32 bits of length) or
  // COMPRESS_ZLIB_ERROR. After a failure there is no output. It may be repeated.
  virtual unsigned long Process() = 0;

  MemBufProcesser(const char* data, unsigned long len);
  MemBufProcesser(const MemBufProcesser&) = delete;
  MemBufProcesser& operator=(const MemBufProcesser&) = delete;

  // The output: owned by the object, valid until the next Process; null and 0 before the first success.
  const char* GetProcessedDataPtr() const { return m_pOutData.get(); }
  unsigned long GetProcessedDataLen() const { return m_nOutLen; }

 protected:
  // Fresh room of the capacity, at most `bound`. False when memory is exhausted; then there is no output.
  bool Allocate(std::uint32_t bound);
  // Room of `growth` times the capacity, at most `bound`, with the first `used` bytes of the output in it.
  // False when memory is exhausted, or (traced) the capacity is the bound; then there is no output. The
  // capacity is kept for the next time.
  bool Grow(unsigned growth, std::uint32_t bound, std::size_t used);
  // COMPRESS_ZLIB_ERROR, without output.
  std::uint32_t ZlibFailed();

  const char* m_pData;
  std::uint32_t m_nLen;
  std::unique_ptr<char[]> m_pOutData;
  std::uint32_t m_nOutLen = 0;
  std::uint64_t m_nCapacity = 0;

 private:
  std::unique_ptr<char[]> NewRoom() const;
  void Release();
};

// Room at first: 101 % of the input and 12 bytes; doubled when it is too small.
class BASIC_UTIL_EXPORT MemCompresser : public MemBufProcesser {
 public:
  MemCompresser(const char* data, unsigned long len);
  unsigned long Process() override;

 private:
  std::uint32_t Compress();
};

// Room at first: 4 times the input; 4 times as much when it is too small. What was inflated is copied into
// it: both exist for that moment.
class BASIC_UTIL_EXPORT MemUncompresser : public MemBufProcesser {
 public:
  MemUncompresser(const char* data, unsigned long len);
  unsigned long Process() override;

 private:
  std::uint32_t Uncompress();
};

}  // namespace NSTE_util
