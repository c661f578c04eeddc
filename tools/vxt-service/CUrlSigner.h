// Signs and checks the data URLs the service hands out: the method, the path, an expiry and a
// generation are bound together by an HMAC with a secret made at start, so a URL cannot be
// altered, reused for another method, or used after it expired or after expireAll().
#ifndef VXT_SERVICE_CURLSIGNER_H
#define VXT_SERVICE_CURLSIGNER_H

#include <atomic>
#include <cstdint>
#include <string>

#include "vxt-service/HttpTypes.h"

namespace vxt_service {

class CUrlSigner {
public:
    enum class Verdict { Valid, Missing, BadSignature, Expired };

    CUrlSigner();

    // The query string ("v=..&expires=..&sig=..") that makes `path` usable with `method` until
    // `expiresMs` (milliseconds since the epoch). HEAD is signed as GET.
    std::string sign(const std::string& method, const std::string& path,
                     std::uint64_t expiresMs) const;
    Verdict verify(const HttpRequest& request, std::uint64_t nowMs) const;
    // Every URL signed so far is expired from now on.
    void expireAll();

    static const char* verdictText(Verdict verdict);

private:
    std::string mac(const std::string& method, const std::string& path, std::uint64_t expiresMs,
                    std::uint64_t generation) const;

    std::string m_secret;
    std::atomic<std::uint64_t> m_generation{1};
};

}  // namespace vxt_service

#endif
