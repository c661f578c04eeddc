#include "vxt-service/CUrlSigner.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <stdexcept>

#include "vxt-service/CServiceIds.h"

namespace vxt_service {
namespace {
std::string signedMethod(const std::string& method) { return method == "HEAD" ? "GET" : method; }

bool parseUnsigned(const std::string& text, std::uint64_t& out) {
    if (text.empty() || text.size() > 19 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    out = std::stoull(text);
    return true;
}
}  // namespace

CUrlSigner::CUrlSigner() {
    unsigned char key[32];
    if (RAND_bytes(key, sizeof key) != 1)
        throw std::runtime_error("no random bytes for the URL key");
    m_secret.assign(reinterpret_cast<char*>(key), sizeof key);
}

std::string CUrlSigner::mac(const std::string& method, const std::string& path,
                            std::uint64_t expiresMs, std::uint64_t generation) const {
    std::string text = signedMethod(method) + "\n" + path + "\n" + std::to_string(expiresMs) +
                       "\n" + std::to_string(generation);
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    HMAC(EVP_sha256(), m_secret.data(), static_cast<int>(m_secret.size()),
         reinterpret_cast<const unsigned char*>(text.data()), text.size(), out, &length);
    return CServiceIds::toHex(out, length);
}

std::string CUrlSigner::sign(const std::string& method, const std::string& path,
                             std::uint64_t expiresMs) const {
    std::uint64_t generation = m_generation.load();
    return "v=" + std::to_string(generation) + "&expires=" + std::to_string(expiresMs) +
           "&sig=" + mac(method, path, expiresMs, generation);
}

CUrlSigner::Verdict CUrlSigner::verify(const HttpRequest& request, std::uint64_t nowMs) const {
    bool hasV = false, hasExpires = false, hasSig = false;
    std::string v = request.queryValue("v", &hasV);
    std::string expires = request.queryValue("expires", &hasExpires);
    std::string sig = request.queryValue("sig", &hasSig);
    if (!hasV || !hasExpires || !hasSig) return Verdict::Missing;
    std::uint64_t generation = 0, expiresMs = 0;
    if (!parseUnsigned(v, generation) || !parseUnsigned(expires, expiresMs)) {
        return Verdict::BadSignature;
    }
    if (mac(request.method, request.rawPath, expiresMs, generation) != sig) {
        return Verdict::BadSignature;
    }
    if (generation < m_generation.load() || expiresMs <= nowMs) return Verdict::Expired;
    return Verdict::Valid;
}

void CUrlSigner::expireAll() { ++m_generation; }

const char* CUrlSigner::verdictText(Verdict verdict) {
    switch (verdict) {
        case Verdict::Valid:
            return "valid";
        case Verdict::Missing:
            return "the URL is not signed";
        case Verdict::BadSignature:
            return "the URL's signature does not match";
        case Verdict::Expired:
            return "the URL has expired";
    }
    return "invalid";
}

}  // namespace vxt_service
