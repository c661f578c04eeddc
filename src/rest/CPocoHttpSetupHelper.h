#pragma once

#include <Poco/Net/HTTPResponse.h>

#include <istream>

namespace Poco {
namespace Net {
class HTTPClientSession;
}
}  // namespace Poco

namespace vx_transfers {

// Helpers shared by everything that talks HTTP through Poco sessions.
class CPocoHttpSetupHelper {
public:
    CPocoHttpSetupHelper() = delete;

    // 100 up to and including 307 is success; everything else is not.
    static bool isSuccessfullHttpStatus(Poco::Net::HTTPResponse::HTTPStatus status);

    // Applies the proxy that the global configuration finds for the REST end-point, with its
    // user name and password when they are given. Without a configuration, nothing.
    static void configureProxy(Poco::Net::HTTPClientSession& session);

    // Logs the content length and, when it is not above maxLength, the whole body.
    static void logHttpResponse(Poco::Net::HTTPResponse& response, std::istream& stream,
                                unsigned long long maxLength);

    // Logs the rest of the stream.
    static void doResponseLog(std::istream& stream);
};

}  // namespace vx_transfers
