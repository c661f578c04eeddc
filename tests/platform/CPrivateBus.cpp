#include "CPrivateBus.h"

#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

extern char** environ;

namespace vx_transfers {
namespace platform_test {

namespace {

const char* const kAddressVariable = "DBUS_SYSTEM_BUS_ADDRESS";

bool canConnect(const std::string& socketPath) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return false;
    }
    sockaddr_un address;
    std::memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socketPath.c_str(), sizeof(address.sun_path) - 1);
    const bool connected = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
    close(fd);
    return connected;
}

}  // namespace

CPrivateBus::CPrivateBus(const std::string& dir) {
    const std::string socketPath = dir + "/bus";
    m_address = "unix:path=" + socketPath;

    std::string program = "dbus-daemon";
    std::string config = "--session";
    std::string noFork = "--nofork";
    std::string noPidFile = "--nopidfile";
    std::string address = "--address=" + m_address;
    char* argv[] = {&program[0], &config[0], &noFork[0], &noPidFile[0], &address[0], nullptr};
    if (posix_spawnp(&m_pid, program.c_str(), nullptr, nullptr, argv, environ) != 0) {
        m_pid = -1;
        return;
    }
    // An external process: poll for its socket against a deadline.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!canConnect(socketPath)) {
        int status = 0;
        if (waitpid(m_pid, &status, WNOHANG) != 0 || std::chrono::steady_clock::now() > deadline) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    m_running = true;

    const char* old = std::getenv(kAddressVariable);
    m_hadAddress = old != nullptr;
    if (m_hadAddress) {
        m_oldAddress = old;
    }
    setenv(kAddressVariable, m_address.c_str(), 1);
}

CPrivateBus::~CPrivateBus() {
    if (m_running) {
        if (m_hadAddress) {
            setenv(kAddressVariable, m_oldAddress.c_str(), 1);
        } else {
            unsetenv(kAddressVariable);
        }
    }
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        int status = 0;
        waitpid(m_pid, &status, 0);
    }
}

}  // namespace platform_test
}  // namespace vx_transfers
