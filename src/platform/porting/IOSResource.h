#pragma once

#include <string>

namespace vx_transfers {

// A file or folder the operating system grants access to through a token: a URL of the scheme
// "bookmark". On a platform without such tokens create() gives null and callers treat the URL
// as an ordinary file URL.
class IOSResource {
public:
    virtual ~IOSResource() = default;

    // From here on the resolved path may be used.
    virtual void startAccess() = 0;
    // Called before the object is dropped.
    virtual void stopAccess() = 0;
    // Replaces `path` with the resolved location.
    virtual void getPath(std::string& path) = 0;

    // A new object for the bookmark URL, owned by the caller, or null.
    static IOSResource* create(const std::string& url);
};

}  // namespace vx_transfers
