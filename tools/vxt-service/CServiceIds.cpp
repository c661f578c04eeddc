#include "vxt-service/CServiceIds.h"

#include <openssl/rand.h>

#include <cctype>
#include <chrono>
#include <stdexcept>
#include <vector>

namespace vxt_service {

std::string CServiceIds::make(const std::string& prefix, std::size_t randomChars) {
    static const char kAlphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::vector<unsigned char> bytes(randomChars);
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        throw std::runtime_error("no random bytes for an identifier");
    }
    std::string out = prefix;
    for (unsigned char b : bytes) out.push_back(kAlphabet[b % 36]);
    return out;
}

std::string CServiceIds::toHex(const unsigned char* data, std::size_t size) {
    static const char kDigits[] = "0123456789abcdef";
    std::string out;
    out.reserve(size * 2);
    for (std::size_t i = 0; i < size; ++i) {
        out.push_back(kDigits[data[i] >> 4]);
        out.push_back(kDigits[data[i] & 0xf]);
    }
    return out;
}

bool CServiceIds::isSafe(const std::string& id) {
    if (id.empty() || id.size() > 128) return false;
    for (unsigned char c : id) {
        if (!std::isalnum(c) && c != '-' && c != '_') return false;
    }
    return true;
}

std::uint64_t CServiceIds::nowMs() {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                          std::chrono::system_clock::now().time_since_epoch())
                                          .count());
}

}  // namespace vxt_service
