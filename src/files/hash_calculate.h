#pragma once

#include <string>

namespace vx_transfers {
namespace hash_calculate {

// MD5 of `length` bytes of a local file from `start` (0: the beginning); a `length` of 0 means
// everything behind `start`, and a range beyond the end is cut there. On success `out` receives
// 32 lower-case hexadecimal characters and the result is true; on failure `out` is left as it was
// and the result is false. A read that fails part way (the file shrank) is not a failure: the
// digest covers what was read. Never throws and never logs; the caller reports failure.
bool Md5CalculateFile(std::string& out, const std::wstring& path, unsigned long long start,
                      unsigned long long length);

}  // namespace hash_calculate
}  // namespace vx_transfers
