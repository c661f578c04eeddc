#pragma once

#include <string>

namespace vx_transfers {
namespace os_safe_filenames {

// Replaces, in place, every byte that may not stand in a file name on this platform with a
// blank. The length stays and no uniqueness is sought: two names may become one. Whole relative
// paths go through it, so a separator in the platform's set becomes a blank as well.
void replaceUnsafeChars(std::string& name);
// The same on the UTF-8 form of a wide name.
void replaceUnsafeChars(std::wstring& name);

}  // namespace os_safe_filenames
}  // namespace vx_transfers
