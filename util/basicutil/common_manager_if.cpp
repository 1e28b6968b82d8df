#include "util/basicutil/common_manager_if.h"

#include "platform/os/os_types.h"
#include "util/basicutil/common_manager.h"

namespace NSTE_util {
namespace {

constexpr const char* kName = "TEDebugMgrIf";
constexpr std::uint32_t kVersion = 0x2010100;

constexpr std::uint32_t Major(std::uint32_t version) {
  return version >> 24;
}

}  // namespace

TEDebugMgrIf::~TEDebugMgrIf() = default;

std::string TEDebugMgrIFImpl::GetName() const {
  return kName;
}

unsigned long TEDebugMgrIFImpl::GetVersion() const {
  return kVersion;
}

bool TEDebugMgrIFImpl::IsCompitable(const std::string& name, unsigned long version) const {
  const std::uint32_t wanted = vela::Cut32(version);
  return name == kName && Major(wanted) == Major(kVersion) && wanted <= kVersion;
}

TEDebugInterface* TEDebugMgrIFImpl::GetDebugInterface(const std::string& name) {
  TEDebugMgrImpl* const manager = TEDebugMgrImpl::Instance();
  return manager == nullptr ? nullptr : manager->GetDebugInterface(name);
}

int TEDebugMgrIFImpl::AddDebugCommand(TEDebugCommand* command) {
  return NSTE_util::AddDebugCommand(command);
}

void TEDebugMgrIFImpl::RemoveDebugCommand(TEDebugCommand* command) {
  NSTE_util::RemoveDebugCommand(command);
}

void TEDebugMgrIFImpl::RemoveDebugCommand(const std::string& name) {
  NSTE_util::RemoveDebugCommand(name);
}

}  // namespace NSTE_util
