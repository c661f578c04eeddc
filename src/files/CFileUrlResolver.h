#pragma once

#include <string>

namespace vx_transfers {

class IOSResource;

// From a location as the application gives it (a file URL, or a "bookmark" URL naming a saved,
// access-controlled reference) to a plain local path.
class CFileUrlResolver {
public:
    // `url` is replaced by what a bookmark resolves to; `path` receives the plain path. When
    // `resource` is not null and a bookmark was opened, it receives the open object (the caller
    // owns it, with access started); otherwise the object is closed before returning. Errors of
    // URL parsing propagate as Poco exceptions.
    static void resolve(std::wstring& url, std::wstring& path, IOSResource** resource);
};

}  // namespace vx_transfers
