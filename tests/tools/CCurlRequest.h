// libcurl's easy API as an independent client of the service in these tests: one request,
// everything it answered, and what libcurl made of it.
#ifndef VXT_TESTS_TOOLS_CCURLREQUEST_H
#define VXT_TESTS_TOOLS_CCURLREQUEST_H

#include <curl/curl.h>

#include <string>
#include <utility>
#include <vector>

namespace vxt_test {

class CCurlRequest {
public:
    struct Result {
        CURLcode code = CURLE_OK;
        long status = 0;
        std::string headers;  // the raw header blocks received
        std::string body;
        long redirects = 0;
        std::string header(const std::string& name) const;  // last block, case-insensitive
    };

    explicit CCurlRequest(std::string url) : m_url(std::move(url)) {}

    CCurlRequest& method(std::string m) {
        m_method = std::move(m);
        return *this;
    }
    CCurlRequest& header(const std::string& name, const std::string& value) {
        m_headers.push_back(name + ": " + value);
        return *this;
    }
    CCurlRequest& headers(const std::vector<std::pair<std::string, std::string>>& list) {
        for (const auto& h : list) header(h.first, h.second);
        return *this;
    }
    // PUT (unless method() says otherwise) with this body and its Content-Length.
    CCurlRequest& upload(std::string body) {
        m_upload = std::move(body);
        m_hasUpload = true;
        return *this;
    }
    CCurlRequest& range(std::string r) {
        m_range = std::move(r);
        return *this;
    }
    CCurlRequest& follow(long maxRedirects) {
        m_follow = maxRedirects;
        return *this;
    }
    CCurlRequest& timeoutMs(long ms) {
        m_timeoutMs = ms;
        return *this;
    }

    // Runs the request on `handle` if given (to reuse its connection), else on a fresh handle.
    Result perform(CURL* handle = nullptr) const;

private:
    std::string m_url;
    std::string m_method;
    std::vector<std::string> m_headers;
    std::string m_upload;
    bool m_hasUpload = false;
    std::string m_range;
    long m_follow = -1;
    long m_timeoutMs = 20000;
};

}  // namespace vxt_test

#endif
