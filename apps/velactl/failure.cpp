#include "apps/velactl/failure.h"

#include <cstdio>
#include <cstdlib>

#include "apps/common/texts.h"
#include "apps/velactl/asn_values.h"
#include "platform/os/vela_os.h"

namespace velactl {

int Fail(const std::string& reason) {
  std::fprintf(stderr, "velactl: %s\n", vela::EscapeControls(reason).c_str());
  return EXIT_FAILURE;
}

bool Print(const std::string& text) {
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

std::string AddressText(CProcID process) {
  return std::to_string(process.Number()) + "/" + std::to_string(process.Handle());
}

std::string WhyFailed(std::uint32_t code, CProcID server) {
  const std::string known = apps::ErrorText(code, {AddressText(server)});
  if (!known.empty()) return known;
  return apps::Text("SERVER_FAILED", {AddressText(server), HexCode(code)});
}

}  // namespace velactl
