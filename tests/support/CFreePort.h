// Picks a loopback TCP port that is free right now, for servers that cannot bind port 0
// themselves (nginx). The port is released before returning, so another process may take it in
// between; callers that start a server on it retry with a new port when the bind fails.
#ifndef VXT_TESTS_SUPPORT_CFREEPORT_H
#define VXT_TESTS_SUPPORT_CFREEPORT_H

namespace vxt_test {

class CFreePort {
public:
    // Binds 127.0.0.1:0, reads the port the system gave, closes. Throws std::runtime_error.
    static unsigned short pick();
};

}  // namespace vxt_test

#endif
