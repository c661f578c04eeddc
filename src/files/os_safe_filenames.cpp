#include "files/os_safe_filenames.h"

#include "platform/porting/getIllegalFilenameChars.h"
#include "platform/porting/string_convert.h"

namespace vx_transfers {
namespace os_safe_filenames {

void replaceUnsafeChars(std::string& name) {
    const std::string illegal = getIllegalFilenameChars();
    if (illegal.empty()) {
        return;
    }
    for (char& c : name) {
        if (illegal.find(c) != std::string::npos) {
            c = ' ';
        }
    }
}

void replaceUnsafeChars(std::wstring& name) {
    std::string narrow;
    string_convert::WStringToString(name, narrow);
    replaceUnsafeChars(narrow);
    string_convert::StringToWstring(narrow, name);
}

}  // namespace os_safe_filenames
}  // namespace vx_transfers
