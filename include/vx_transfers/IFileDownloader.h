#pragma once

#include <string>

#include "vx_transfers/export.h"

namespace vx_transfers {

// A one-shot HTTP GET of a URL into a local file, through the proxy of the http_proxy
// environment variable (on port 80) when one is set. Made by create(), released by destroy().
class VX_TRANSFERS_API IFileDownloader {
public:
    enum Result {
        RESULT_OK = 0,
        RESULT_BAD_ARGUMENTS = 1,  // the URL does not parse, or the target path is empty
        RESULT_FAILED = 2,         // no connection, an error status, an empty body, no file
    };

    virtual ~IFileDownloader();

    // Fetches the URL and writes the body to the target path. Blocks until done.
    virtual int download() = 0;

    // A new downloader, or null if it cannot be made.
    static IFileDownloader* create(const std::string& url, const std::string& targetPath);
    static void destroy(IFileDownloader* downloader);
};

}  // namespace vx_transfers
