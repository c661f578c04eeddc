#include "platform/porting/FileUrlToFilePath.h"

#include <cctype>
#include <cstddef>

#include "platform/Log.h"
#include "platform/porting/string_convert.h"

namespace vx_transfers {

namespace {

// The length of "scheme:" at the start of `text`, or 0 when it does not begin with a scheme.
std::size_t schemeLength(const std::string& text) {
    if (text.empty() || !std::isalpha(static_cast<unsigned char>(text[0]))) {
        return 0;
    }
    for (std::size_t i = 1; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == ':') {
            return i + 1;
        }
        if (!std::isalnum(c) && c != '+' && c != '-' && c != '.') {
            return 0;
        }
    }
    return 0;
}

bool equalsIgnoreCase(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i]))) {
            return false;
        }
    }
    return true;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::string percentDecode(const std::string& text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const int high = hexValue(text[i + 1]);
            const int low = hexValue(text[i + 2]);
            const int value = high * 16 + low;
            if (high >= 0 && low >= 0 && value != 0) {
                decoded += static_cast<char>(value);
                i += 2;
                continue;
            }
        }
        decoded += text[i];
    }
    return decoded;
}

}  // namespace

void FileUrlToFilePath(const std::wstring& url, std::wstring& path) {
    std::string narrow;
    string_convert::WStringToString(url, narrow);

    const std::size_t scheme = schemeLength(narrow);
    if (scheme == 0) {
        path = url;
        return;
    }
    if (!equalsIgnoreCase(narrow.substr(0, scheme), "file:")) {
        VXT_LOG_WARNING("FileUrlToFilePath: not a file URL, no local path for: " << narrow);
        path.clear();
        return;
    }

    // file:/path, file:///path and file://host/path; the host may only be this machine.
    std::string rest = narrow.substr(scheme);
    if (rest.compare(0, 2, "//") == 0) {
        const std::size_t pathStart = rest.find('/', 2);
        const std::string host =
            rest.substr(2, pathStart == std::string::npos ? std::string::npos : pathStart - 2);
        if (!host.empty() && !equalsIgnoreCase(host, "localhost")) {
            VXT_LOG_WARNING(
                "FileUrlToFilePath: file URL of another host, no local path for: " << narrow);
            path.clear();
            return;
        }
        rest = pathStart == std::string::npos ? std::string("/") : rest.substr(pathStart);
    }
    string_convert::StringToWstring(percentDecode(rest), path);
}

}  // namespace vx_transfers
