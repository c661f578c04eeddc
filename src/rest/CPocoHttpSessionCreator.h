#pragma once

#include <string>

namespace Poco {
namespace Net {
class HTTPClientSession;
}
}  // namespace Poco

namespace vx_transfers {

// Makes a Poco session for a URL, for code that talks to URLs other than the REST end-point.
class CPocoHttpSessionCreator {
public:
    CPocoHttpSessionCreator() = delete;

    // An HTTPS session for "https", an HTTP session for "http", null for any other scheme, a
    // URL that does not parse or a failed allocation. Host and port are the caller's to set;
    // the caller owns the session.
    static Poco::Net::HTTPClientSession* createSession(std::string& url);
};

}  // namespace vx_transfers
