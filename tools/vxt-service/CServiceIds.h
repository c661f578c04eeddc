// Random identifiers and tokens, and the checks that keep client-chosen ids safe to use as file
// names.
#ifndef VXT_SERVICE_CSERVICEIDS_H
#define VXT_SERVICE_CSERVICEIDS_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace vxt_service {

class CServiceIds {
public:
    // `prefix` followed by `randomChars` random lower-case letters and digits.
    static std::string make(const std::string& prefix, std::size_t randomChars);
    static std::string toHex(const unsigned char* data, std::size_t size);
    // Letters, digits, '-' and '_' only, 1 to 128 characters.
    static bool isSafe(const std::string& id);
    static std::uint64_t nowMs();
};

}  // namespace vxt_service

#endif
