#pragma once

#include <string>

namespace vxt_test {

// The MD5 of `bytes` in lower-case hex, as the service reports stored files and parts.
std::string md5Hex(const std::string& bytes);

}  // namespace vxt_test
