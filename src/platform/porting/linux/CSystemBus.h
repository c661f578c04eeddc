#pragma once

#include <systemd/sd-bus.h>

#include <string>

namespace vx_transfers {

// Owns one connection to the system D-Bus, the way logind is reached. Not thread-safe: each
// owner uses it from one thread at a time.
class CSystemBus {
public:
    // Connects; on failure returns null and logs one line that says which `feature` stays off.
    static CSystemBus* open(const std::string& feature);
    ~CSystemBus();

    sd_bus* get() const { return m_bus; }

    CSystemBus(const CSystemBus&) = delete;
    CSystemBus& operator=(const CSystemBus&) = delete;

private:
    explicit CSystemBus(sd_bus* bus) : m_bus(bus) {}

    sd_bus* m_bus;
};

}  // namespace vx_transfers
