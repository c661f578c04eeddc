#include "CCurlRequest.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <sstream>

namespace vxt_test {
namespace {

struct UploadSource {
    const std::string* data;
    std::size_t offset;
};

size_t collect(char* data, size_t size, size_t count, void* user) {
    static_cast<std::string*>(user)->append(data, size * count);
    return size * count;
}

size_t feed(char* out, size_t size, size_t count, void* user) {
    auto* source = static_cast<UploadSource*>(user);
    std::size_t n = std::min(size * count, source->data->size() - source->offset);
    std::memcpy(out, source->data->data() + source->offset, n);
    source->offset += n;
    return n;
}

}  // namespace

std::string CCurlRequest::Result::header(const std::string& name) const {
    std::size_t lastBlock = headers.rfind("HTTP/");
    std::istringstream in(headers.substr(lastBlock == std::string::npos ? 0 : lastBlock));
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::size_t colon = line.find(':');
        if (colon == name.size() && ::strncasecmp(line.c_str(), name.c_str(), colon) == 0) {
            std::size_t start = line.find_first_not_of(' ', colon + 1);
            return start == std::string::npos ? std::string() : line.substr(start);
        }
    }
    return std::string();
}

CCurlRequest::Result CCurlRequest::perform(CURL* shared) const {
    CURL* curl = shared != nullptr ? shared : curl_easy_init();
    Result result;
    UploadSource source{&m_upload, 0};
    curl_slist* list = nullptr;
    for (const auto& h : m_headers) list = curl_slist_append(list, h.c_str());
    curl_easy_reset(curl);
    curl_easy_setopt(curl, CURLOPT_URL, m_url.c_str());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, m_timeoutMs);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &result.body);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, collect);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &result.headers);
    if (m_hasUpload) {
        curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(curl, CURLOPT_READFUNCTION, feed);
        curl_easy_setopt(curl, CURLOPT_READDATA, &source);
        curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(m_upload.size()));
    }
    if (!m_method.empty()) curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, m_method.c_str());
    if (m_method == "HEAD") curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
    if (!m_range.empty()) curl_easy_setopt(curl, CURLOPT_RANGE, m_range.c_str());
    if (m_follow >= 0) {
        curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
        curl_easy_setopt(curl, CURLOPT_MAXREDIRS, m_follow);
    }
    result.code = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &result.status);
    curl_easy_getinfo(curl, CURLINFO_REDIRECT_COUNT, &result.redirects);
    curl_slist_free_all(list);
    if (shared == nullptr) curl_easy_cleanup(curl);
    return result;
}

}  // namespace vxt_test
