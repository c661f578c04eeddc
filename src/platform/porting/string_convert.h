#pragma once

#include <string>

namespace vx_transfers {
namespace string_convert {

// Conversions between the library's wide strings (one UTF-32 code point per wchar_t) and the
// UTF-8 narrow form that Poco, SQLite and the file system take. Both are pure functions,
// safe from any thread, and never throw on bad input.
//
// Any byte string round-trips narrow -> wide -> narrow unchanged, so every local path survives
// a trip through the database, even one that is not valid UTF-8: each byte that is not part of
// a well-formed UTF-8 sequence becomes the lone surrogate U+DC00 + byte (U+DC80..U+DCFF) on the
// way in, and such a surrogate becomes that byte again on the way out. Every valid wide string
// round-trips wide -> narrow -> wide. Code points that UTF-8 cannot carry (other surrogates,
// values above U+10FFFF) are written out as U+FFFD.

// UTF-8 to wide. `out` is replaced.
void StringToWstring(const std::string& in, std::wstring& out);

// Wide to UTF-8. `out` is replaced.
void WStringToString(const std::wstring& in, std::string& out);

// Wide to UTF-8, as a value: for log lines and calls that take a narrow path.
std::string toNarrow(const std::wstring& in);

}  // namespace string_convert
}  // namespace vx_transfers
