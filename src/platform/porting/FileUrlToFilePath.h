#pragma once

#include <string>

namespace vx_transfers {

// The local path of a file URL: "file:///a%20b" and "file://localhost/a%20b" give "/a b";
// percent escapes are decoded as UTF-8 (a malformed escape stays as written, and "%00" too,
// since no path can hold a NUL). Anything without a URL scheme is taken for a path already and
// copied as it stands. A URL of another scheme, or a file URL naming another host, has no local
// path: `path` becomes empty and a warning is logged.
void FileUrlToFilePath(const std::wstring& url, std::wstring& path);

}  // namespace vx_transfers
