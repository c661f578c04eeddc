#include "platform/CFileDownloaderPoco.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/StreamCopier.h>

#include <exception>
#include <fstream>
#include <memory>
#include <new>

#include "platform/Log.h"
#include "platform/porting/IProxyConfiguration.h"

namespace vx_transfers {

namespace {

const std::size_t kCopyBufferSize = 8192;
// The proxy's own port is not known to this source of settings.
const Poco::UInt16 kProxyPort = 80;

}  // namespace

IFileDownloader::~IFileDownloader() = default;

IFileDownloader* IFileDownloader::create(const std::string& url, const std::string& targetPath) {
    return new (std::nothrow) CFileDownloaderPoco(url, targetPath);
}

void IFileDownloader::destroy(IFileDownloader* downloader) { delete downloader; }

CFileDownloaderPoco::CFileDownloaderPoco(const std::string& url, const std::string& targetPath)
    : m_targetPath(targetPath) {
    try {
        m_uri = url;
        m_uriValid = true;
    } catch (const Poco::Exception& e) {
        VXT_LOG_WARNING("File downloader: the URL does not parse: " << e.displayText());
        m_uriValid = false;
    }
}

int CFileDownloaderPoco::download() {
    if (!m_uriValid || m_targetPath.empty()) {
        return RESULT_BAD_ARGUMENTS;
    }
    try {
        return fetch();
    } catch (const Poco::Exception& e) {
        VXT_LOG_ERROR("File downloader: " << m_uri.toString() << ": " << e.displayText());
    } catch (const std::exception& e) {
        VXT_LOG_ERROR("File downloader: " << m_uri.toString() << ": " << e.what());
    }
    return RESULT_FAILED;
}

int CFileDownloaderPoco::fetch() {
    Poco::Net::HTTPClientSession session(m_uri.getHost(), m_uri.getPort());
    configureProxy(session);

    Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_GET, m_uri.getPathEtc(),
                                   Poco::Net::HTTPMessage::HTTP_1_1);
    std::ostream& requestStream = session.sendRequest(request);
    if (!requestStream.good()) {
        return RESULT_FAILED;
    }

    Poco::Net::HTTPResponse response;
    std::istream& responseStream = session.receiveResponse(response);
    const int status = response.getStatus();
    if (!responseStream.good() || status < 100 || status > 307) {
        VXT_LOG_ERROR("File downloader: " << m_uri.toString() << " answered " << status);
        return RESULT_FAILED;
    }

    std::ofstream file(m_targetPath, std::ios::out | std::ios::binary);
    if (!file.is_open()) {
        VXT_LOG_ERROR("File downloader: cannot create " << m_targetPath);
        return RESULT_FAILED;
    }
    const std::streamsize copied =
        Poco::StreamCopier::copyStream(responseStream, file, kCopyBufferSize);
    file.flush();
    if (copied == 0 || !file) {
        VXT_LOG_ERROR("File downloader: nothing or not all written to " << m_targetPath);
        return RESULT_FAILED;
    }
    return RESULT_OK;
}

void CFileDownloaderPoco::configureProxy(Poco::Net::HTTPClientSession& session) {
    std::unique_ptr<porting::IProxyConfiguration> proxy(porting::IProxyConfiguration::create());
    if (!proxy || !proxy->isProxyUsed()) {
        return;
    }
    std::string host;
    proxy->getProxyHost(host);
    session.setProxy(host, kProxyPort);
}

}  // namespace vx_transfers
