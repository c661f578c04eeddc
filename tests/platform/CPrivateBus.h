#pragma once

#include <sys/types.h>

#include <string>

namespace vx_transfers {
namespace platform_test {

// A dbus-daemon of our own on a socket in a temporary folder, standing in for the system bus:
// while the object lives, DBUS_SYSTEM_BUS_ADDRESS points at it.
class CPrivateBus {
public:
    explicit CPrivateBus(const std::string& dir);
    ~CPrivateBus();

    // False if the daemon did not come up.
    bool isRunning() const { return m_running; }
    const std::string& address() const { return m_address; }

    CPrivateBus(const CPrivateBus&) = delete;
    CPrivateBus& operator=(const CPrivateBus&) = delete;

private:
    pid_t m_pid = -1;
    bool m_running = false;
    std::string m_address;
    bool m_hadAddress = false;
    std::string m_oldAddress;
};

}  // namespace platform_test
}  // namespace vx_transfers
