#include "rest/CPocoHttpSetupHelper.h"

#include <Poco/Net/HTTPClientSession.h>

#include <string>

#include "platform/Log.h"
#include "platform/ProxyConfig.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {

bool CPocoHttpSetupHelper::isSuccessfullHttpStatus(Poco::Net::HTTPResponse::HTTPStatus status) {
    const int code = static_cast<int>(status);
    return code >= 100 && code <= 307;
}

void CPocoHttpSetupHelper::configureProxy(Poco::Net::HTTPClientSession& session) {
    CVxTransfersGlobalConfig* config = CVxTransfersGlobalConfig::getInstance();
    if (config == nullptr) {
        return;
    }
    ProxyConfig proxy;
    if (!config->getProxyConfig(proxy)) {
        return;
    }
    VXT_LOG_INFO("Obtained proxy server URL: " << proxy.uri.toString());
    session.setProxy(proxy.uri.getHost(), proxy.uri.getPort());
    if (!proxy.username.empty()) {
        session.setProxyUsername(proxy.username);
    }
    if (!proxy.password.empty()) {
        session.setProxyPassword(proxy.password);
    }
}

void CPocoHttpSetupHelper::logHttpResponse(Poco::Net::HTTPResponse& response, std::istream& stream,
                                           unsigned long long maxLength) {
    const Poco::Int64 length = response.getContentLength64();
    VXT_LOG_INFO("Http setup helper: Content length of response: " << length);
    // An unknown length (-1) compares as the largest value and so is never logged whole.
    if (static_cast<unsigned long long>(length) <= maxLength) {
        doResponseLog(stream);
    }
}

void CPocoHttpSetupHelper::doResponseLog(std::istream& stream) {
    std::string text;
    char buffer[1024];
    while (stream.good()) {
        stream.read(buffer, sizeof(buffer) - 1);
        const std::streamsize count = stream.gcount();
        buffer[count] = '\0';
        text.append(buffer, static_cast<size_t>(count));
    }
    VXT_LOG_INFO("Response from server is: " << text);
}

}  // namespace vx_transfers
