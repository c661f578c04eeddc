#pragma once

#include <Poco/URI.h>

#include <string>

#include "vx_transfers/IFileDownloader.h"

namespace Poco {
namespace Net {
class HTTPClientSession;
}
}  // namespace Poco

namespace vx_transfers {

// IFileDownloader over a Poco HTTPClientSession (plain HTTP).
class CFileDownloaderPoco : public IFileDownloader {
public:
    CFileDownloaderPoco(const std::string& url, const std::string& targetPath);

    int download() override;

private:
    int fetch();
    static void configureProxy(Poco::Net::HTTPClientSession& session);

    Poco::URI m_uri;
    std::string m_targetPath;
    bool m_uriValid = false;
};

}  // namespace vx_transfers
