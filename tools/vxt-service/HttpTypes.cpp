#include "vxt-service/HttpTypes.h"

#include <strings.h>

namespace vxt_service {

bool equalsIgnoreCase(const std::string& a, const std::string& b) {
    return a.size() == b.size() && ::strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string HttpRequest::header(const std::string& name) const {
    for (const auto& h : headers) {
        if (equalsIgnoreCase(h.first, name)) return h.second;
    }
    return std::string();
}

bool HttpRequest::hasHeader(const std::string& name) const {
    for (const auto& h : headers) {
        if (equalsIgnoreCase(h.first, name)) return true;
    }
    return false;
}

std::string HttpRequest::queryValue(const std::string& key, bool* found) const {
    for (const auto& q : query) {
        if (q.first == key) {
            if (found) *found = true;
            return q.second;
        }
    }
    if (found) *found = false;
    return std::string();
}

const char* reasonPhrase(int status) {
    switch (status) {
        case 100:
            return "Continue";
        case 200:
            return "OK";
        case 201:
            return "Created";
        case 204:
            return "No Content";
        case 206:
            return "Partial Content";
        case 301:
            return "Moved Permanently";
        case 302:
            return "Found";
        case 304:
            return "Not Modified";
        case 307:
            return "Temporary Redirect";
        case 308:
            return "Permanent Redirect";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 408:
            return "Request Timeout";
        case 409:
            return "Conflict";
        case 410:
            return "Gone";
        case 411:
            return "Length Required";
        case 413:
            return "Content Too Large";
        case 414:
            return "URI Too Long";
        case 416:
            return "Range Not Satisfiable";
        case 417:
            return "Expectation Failed";
        case 429:
            return "Too Many Requests";
        case 431:
            return "Request Header Fields Too Large";
        case 500:
            return "Internal Server Error";
        case 501:
            return "Not Implemented";
        case 502:
            return "Bad Gateway";
        case 503:
            return "Service Unavailable";
        case 504:
            return "Gateway Timeout";
        case 505:
            return "HTTP Version Not Supported";
        default:
            return "Status";
    }
}

}  // namespace vxt_service
