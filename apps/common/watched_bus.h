#pragma once
#include <memory>

#include "platform/bus/bus.h"

namespace apps {

// A bus that tells the program why it could not be opened, which VelaAppMgr::Start only logs. `openResult`
// must live until Open has returned.
std::unique_ptr<vela::Bus> WatchOpen(std::unique_ptr<vela::Bus> bus, vela::BusResult& openResult);

}  // namespace apps
