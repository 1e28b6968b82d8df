#include <cstring>
#include <memory>
#include <new>
#include <ostream>
#include <streambuf>

#include "platform/asncmd/asn_runtime.h"
#include "platform/os/mutex.h"
#include "platform/os/os_faults.h"
#include "util/basicutil/common.h"
#include "util/basicutil/common_manager.h"
#include "util/basicutil/env_internal.h"
#include "util/basicutil/env_settings.h"

namespace NSTE_util {
namespace {

constexpr std::string_view kCutMark = "\n...More ASN not print.\n";

// Writes into a given array and fails when that is full.
class ArrayBuffer : public std::streambuf {
 public:
  void Use(char* begin, std::size_t size) { setp(begin, begin + size); }
  std::size_t Written() const { return static_cast<std::size_t>(pptr() - pbase()); }
};

// The room that messages are printed into, one for the process; its size follows nMaxSizeOfAsnTrace.
class AsnPrinter {
 public:
  // Prints the message, ended with a zero; null when there is no memory for it. `markCut` marks a text that
  // filled the room.
  const char* Print(const AsnType& msg, bool markCut) {
    if (!Resize()) return nullptr;
    m_buffer.Use(m_text.get(), m_size);
    std::ostream out(&m_buffer);
    msg.Print(out, 0);
    out.put('\0');
    if (markCut && m_buffer.Written() >= m_size) MarkCut();
    m_text[m_size] = '\0';
    return m_text.get();
  }

 private:
  bool Resize() {
    const int wanted = nMaxSizeOfAsnTrace.load(std::memory_order_relaxed);
    if (wanted <= 0) return false;
    const auto size = static_cast<std::size_t>(wanted);
    if (m_size == size) return true;
    m_text.reset();
    m_size = 0;
    if (vela::AllocationFails()) return false;
    m_text.reset(new (std::nothrow) char[size + 1]);
    if (!m_text) return false;
    m_size = size;
    return true;
  }

  void MarkCut() {
    const std::size_t length = std::min(kCutMark.size(), m_size);
    std::memcpy(m_text.get() + m_size - length, kCutMark.data() + kCutMark.size() - length, length);
  }

  std::unique_ptr<char[]> m_text;
  std::size_t m_size = 0;
  ArrayBuffer m_buffer;
};

// Never destroyed: messages may be traced until the process ends. Both users change the room, so a plain
// mutex serves.
constinit vela::Mutex g_printerMutex;

AsnPrinter& Printer() VELA_REQUIRES(g_printerMutex) {
  static AsnPrinter& printer = *new AsnPrinter;
  return printer;
}

bool IsPrintAsn(const char* typeName) {
  TEDebugMgrImpl* const manager = TEDebugMgrImpl::Instance();
  return manager != nullptr && manager->IsPrintAsn(typeName);
}

void TraceAsn(const AsnType& msg, TEDebugInterface& out) {
  const char* const typeName = msg.typeName();
  if (!IsPrintAsn(typeName)) return out.Print(2, typeName);
  vela::MutexLock lock(g_printerMutex);
  const char* const text = Printer().Print(msg, true);
  if (text != nullptr && g_bEnableAsnLog) out.Print(2, text);
}

}  // namespace

// The runtime and the streams may throw; a trace never does.
void AsnTrace(const AsnType& msg, TEDebugInterface& out) {
  if (!g_bEnableAsnTrace && !g_bEnableAsnLog) return;
  try {
    TraceAsn(msg, out);
  } catch (const std::exception&) {
  }
}

std::string toString(const AsnType& msg) {
  try {
    vela::MutexLock lock(g_printerMutex);
    const char* const text = Printer().Print(msg, false);
    return text == nullptr ? std::string() : std::string(text);
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace NSTE_util
