#include "files/CFileUrlResolver.h"

#include <Poco/URI.h>

#include <memory>

#include "platform/Log.h"
#include "platform/porting/FileUrlToFilePath.h"
#include "platform/porting/IOSResource.h"
#include "platform/porting/string_convert.h"

namespace vx_transfers {

void CFileUrlResolver::resolve(std::wstring& url, std::wstring& path, IOSResource** resource) {
    std::string narrow;
    string_convert::WStringToString(url, narrow);
    const Poco::URI uri(narrow);
    if (uri.getScheme() == "bookmark") {
        VXT_LOG_INFO("Download file: Resolving bookmark: " << narrow);
        std::unique_ptr<IOSResource> opened(IOSResource::create(narrow));
        if (opened) {
            opened->startAccess();
            opened->getPath(narrow);
            string_convert::StringToWstring(narrow, url);
            if (resource == nullptr) {
                opened->stopAccess();
            } else {
                *resource = opened.release();
            }
        }
        VXT_LOG_INFO("Bookmark resolved to: " << narrow);
    }
    FileUrlToFilePath(url, path);
}

}  // namespace vx_transfers
