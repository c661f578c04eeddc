// A small HTTP(S) client for tests that talk to the local service directly (REST routes, the
// control interface): one request per call on a fresh connection, the body parsed as JSON when it
// is JSON. HTTPS accepts the service's self-signed certificate. Independent of the library.
#ifndef VXT_TESTS_SUPPORT_CJSONHTTPCLIENT_H
#define VXT_TESTS_SUPPORT_CJSONHTTPCLIENT_H

#include <json/json.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace vxt_test {

class CJsonHttpClient {
public:
    using Headers = std::vector<std::pair<std::string, std::string>>;

    struct Response {
        int status = 0;
        Headers headers;
        std::string body;
        Json::Value json;  // null when the body is not JSON
        // First header of that name (case-insensitive), or "".
        std::string header(const std::string& name) const;
    };

    // `rootUrl`: scheme, host and port, e.g. "http://127.0.0.1:8080" (a path is ignored).
    explicit CJsonHttpClient(const std::string& rootUrl,
                             std::chrono::milliseconds timeout = std::chrono::seconds(30));

    // Sends `method` to `target` (path and query, e.g. "/login"). Throws std::runtime_error when
    // no answer arrives; any HTTP status is returned as it is.
    Response send(const std::string& method, const std::string& target,
                  const std::string& body = std::string(), const Headers& headers = {}) const;
    // POST with a JSON body and Content-Type application/json.
    Response postJson(const std::string& target, const Json::Value& body,
                      const Headers& headers = {}) const;

    static std::string toJson(const Json::Value& value);
    // False when `text` is not JSON.
    static bool parseJson(const std::string& text, Json::Value& out);

    // Overrides the timeout for the calls that follow.
    void setTimeout(std::chrono::milliseconds timeout) { m_timeout = timeout; }

private:
    std::string m_scheme;
    std::string m_host;
    unsigned short m_port = 0;
    std::chrono::milliseconds m_timeout;
};

}  // namespace vxt_test

#endif
