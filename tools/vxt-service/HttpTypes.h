// Plain values shared by the service's HTTP layer and its route handlers.
#ifndef VXT_SERVICE_HTTPTYPES_H
#define VXT_SERVICE_HTTPTYPES_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace vxt_service {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

// A parsed request head.
struct HttpRequest {
    std::string method;
    std::string target;   // as on the request line
    std::string version;  // "HTTP/1.1" or "HTTP/1.0"
    HeaderList headers;
    std::string rawPath;  // path of the target, still percent-encoded
    std::string path;     // rawPath decoded
    std::vector<std::pair<std::string, std::string>> query;  // decoded
    bool keepAlive = true;
    bool chunked = false;
    bool hasContentLength = false;
    std::uint64_t contentLength = 0;
    bool expectContinue = false;
    std::string body;  // filled for REST and control routes before they run

    // First value of a header (names compare case-insensitively), or "".
    std::string header(const std::string& name) const;
    bool hasHeader(const std::string& name) const;
    // First value of a query key, or "". `found` tells whether the key was there at all.
    std::string queryValue(const std::string& key, bool* found = nullptr) const;
};

// A complete response held in memory (REST and control answers, errors).
struct HttpResponse {
    int status = 200;
    HeaderList headers;
    std::string body;
    std::string contentType = "application/json";
    bool close = false;  // close the connection after this answer
};

// Standard reason phrase of a status code.
const char* reasonPhrase(int status);

bool equalsIgnoreCase(const std::string& a, const std::string& b);

}  // namespace vxt_service

#endif
