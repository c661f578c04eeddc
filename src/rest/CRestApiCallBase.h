#pragma once

#include <json/json.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vx_transfers/dt_error.h"

namespace Poco {
class URI;
namespace Net {
class HTTPClientSession;
}
}  // namespace Poco

namespace vx_transfers {

// One request to the REST end-point and its answer. Construction makes the session (no
// connection yet) and applies the proxy; the caller runs sendRequest and receiveResponse once,
// or twice on the same object to retry, and drops the object. Belongs to the thread that made
// it. Nothing but allocation failures is thrown out of its operations: every failure is a
// dt_error with a log line.
class CRestApiCallBase {
public:
    enum HttpVerb { POST = 0, GET = 1 };

    typedef std::vector<std::pair<std::string, std::string>> HeaderList;

    CRestApiCallBase();
    virtual ~CRestApiCallBase();

    CRestApiCallBase(const CRestApiCallBase&) = delete;
    CRestApiCallBase& operator=(const CRestApiCallBase&) = delete;

    // Sends one request to m_basePath + path; the header list is applied after the fixed ones.
    virtual dt_error sendRequest(const std::string& path, Json::Value& body,
                                 const HeaderList& headers, HttpVerb verb);
    // Reads the answer; statuses of 400 and above and bodies that are not JSON fail.
    virtual dt_error receiveResponse(Json::Value& out);

    // A session by the URI's scheme (http or https), null for any other scheme or on failure.
    static Poco::Net::HTTPClientSession* createSession(Poco::URI& uri);
    static std::string httpVerbToPoco(HttpVerb verb);
    static void getUserAgentString(std::string& out);

protected:
    typedef std::function<dt_error(const Json::Value&)> ResponseCheck;

    // The shared answer cycle of the concrete calls: the receiveResponse of the class's
    // family (with its own checks, such as the file identifiers) and then the call's check on
    // the parsed value.
    dt_error receiveCheckedResponse(Json::Value& out, const ResponseCheck& check);

    // Runs a check of a parsed answer. jsoncpp throws when a member has an unexpected type
    // (an object where a string belongs, say); that is an unusable answer, not an exception
    // for the caller.
    static dt_error runResponseCheck(const Json::Value& value, const ResponseCheck& check);

    // The wire word of an enumeration value from its table; DT_INVALID_ARGUMENT beyond it.
    template <size_t N>
    static dt_error wordOf(const char* const (&words)[N], unsigned int value, std::string& out) {
        if (value >= N) {
            return DT_INVALID_ARGUMENT;
        }
        out = words[value];
        return DT_SUCCESS;
    }

private:
    std::unique_ptr<Poco::Net::HTTPClientSession> m_session;
    std::string m_basePath;
};

}  // namespace vx_transfers
