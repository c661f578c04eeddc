#include "platform/porting/linux/CSystemBus.h"

#include <cstring>
#include <new>

#include "platform/Log.h"

namespace vx_transfers {

namespace {

// A blocked or absent logind must not hold a transfer thread for sd-bus's default 25 s.
const uint64_t kMethodCallTimeoutUsec = 5 * 1000 * 1000;

}  // namespace

CSystemBus* CSystemBus::open(const std::string& feature) {
    sd_bus* bus = nullptr;
    const int result = sd_bus_open_system(&bus);
    if (result < 0) {
        VXT_LOG_WARNING(feature << " off: the system bus is not reachable ("
                                << std::strerror(-result) << ")");
        return nullptr;
    }
    sd_bus_set_method_call_timeout(bus, kMethodCallTimeoutUsec);
    CSystemBus* owner = new (std::nothrow) CSystemBus(bus);
    if (owner == nullptr) {
        sd_bus_flush_close_unref(bus);
    }
    return owner;
}

CSystemBus::~CSystemBus() { sd_bus_flush_close_unref(m_bus); }

}  // namespace vx_transfers
