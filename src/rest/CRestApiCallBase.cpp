#include "rest/CRestApiCallBase.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/Net/SSLException.h>
#include <Poco/Timespan.h>
#include <Poco/URI.h>

#include <istream>
#include <new>
#include <ostream>

#include "managers/startup/CVersionInfo.h"
#include "platform/Log.h"
#include "rest/CPocoHttpSetupHelper.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {

namespace {

// The whole request may take this long to connect; once the request head is out, each send
// and each receive of the body and the answer gets the shorter limit.
const Poco::Timespan kSessionTimeout(30, 0);
const Poco::Timespan kSocketTimeout(15, 0);

}  // namespace

CRestApiCallBase::CRestApiCallBase() {
    CVxTransfersGlobalConfig* config = CVxTransfersGlobalConfig::getInstance();
    if (config == nullptr) {
        VXT_LOG_ERROR("Unable to retieve global config instance");
        return;
    }
    try {
        const std::string endPoint = config->getRestEndPointUrl();
        Poco::URI uri(endPoint);
        VXT_LOG_INFO("Initializing REST request, server host: " << uri.getHost()
                                                                << ". Port: " << uri.getPort());
        std::unique_ptr<Poco::Net::HTTPClientSession> session(createSession(uri));
        if (!session) {
            VXT_LOG_ERROR("Unable to create session for rest request for uri" << endPoint);
            return;
        }
        session->setHost(uri.getHost());
        session->setPort(uri.getPort());
        CPocoHttpSetupHelper::configureProxy(*session);
        m_basePath = uri.getPath();
        m_session = std::move(session);
    } catch (const Poco::SyntaxException& e) {
        VXT_LOG_ERROR("Exception parsing url: " << e.what());
    } catch (const std::exception& e) {
        // The proxy lookup may fail in other ways; the call is then simply not possible.
        VXT_LOG_ERROR("Exception setting up REST session: " << e.what());
    }
}

CRestApiCallBase::~CRestApiCallBase() = default;

Poco::Net::HTTPClientSession* CRestApiCallBase::createSession(Poco::URI& uri) {
    try {
        const std::string& scheme = uri.getScheme();
        if (scheme == "https") {
            return new (std::nothrow) Poco::Net::HTTPSClientSession();
        }
        if (scheme == "http") {
            return new (std::nothrow) Poco::Net::HTTPClientSession();
        }
    } catch (const std::exception&) {
        // An HTTPS session throws when no SSL client context has been set up.
    }
    return nullptr;
}

std::string CRestApiCallBase::httpVerbToPoco(HttpVerb verb) {
    switch (verb) {
        case POST:
            return Poco::Net::HTTPRequest::HTTP_POST;
        case GET:
            return Poco::Net::HTTPRequest::HTTP_GET;
    }
    return std::string();
}

void CRestApiCallBase::getUserAgentString(std::string& out) {
    CVxTransfersGlobalConfig* config = CVxTransfersGlobalConfig::getInstance();
    if (config != nullptr && !config->getUserAgent().empty()) {
        out = config->getUserAgent();
        return;
    }
    std::string selfVersion;
    std::string osVersion;
    CVersionInfo* versionInfo = CVersionInfo::getInstance();
    if (versionInfo != nullptr) {
        versionInfo->getSelfVersion(selfVersion);
        versionInfo->getOsVersion(osVersion);
    }
    out = "vx-transfers " + selfVersion + " - " + osVersion;
}

dt_error CRestApiCallBase::sendRequest(const std::string& path, Json::Value& body,
                                       const HeaderList& headers, HttpVerb verb) {
    if (!m_session) {
        return DT_NOT_CONNECTED;
    }
    const std::string fullPath = m_basePath + path;
    Json::FastWriter writer;
    const std::string text = writer.write(body);
    if (text.empty()) {
        return DT_INVALID_ARGUMENT;
    }
    VXT_LOG_INFO("Sending REST API request. Server path: " << fullPath
                                                           << "; request body: " << text);

    Poco::Net::HTTPRequest request(httpVerbToPoco(verb), fullPath,
                                   Poco::Net::HTTPMessage::HTTP_1_1);
    if (text.length() != 0) {
        request.setContentLength(static_cast<std::streamsize>(text.length()));
        VXT_LOG_INFO("Setting Content-Length in REST request to " << text.length());
    }
    std::string userAgent;
    getUserAgentString(userAgent);
    request.set("user-agent", userAgent);
    VXT_LOG_INFO("Setting user-agent in REST request to " << userAgent);
    const std::string contentType = "application/json";
    request.set("Content-Type", contentType);
    VXT_LOG_INFO("Setting Content-Type in REST request to " << contentType);
    for (const auto& header : headers) {
        request.set(header.first, header.second);
        VXT_LOG_INFO("REST request." << header.first << ": " << header.second);
    }

    try {
        m_session->setTimeout(kSessionTimeout);
        std::ostream& stream = m_session->sendRequest(request);
        m_session->socket().setSendTimeout(kSocketTimeout);
        m_session->socket().setReceiveTimeout(kSocketTimeout);
        if (!text.empty()) {
            stream << text;
            stream.flush();
        }
        return stream.fail() ? DT_FAILURE : DT_SUCCESS;
    } catch (const Poco::Net::CertificateValidationException& e) {
        VXT_LOG_ERROR(
            "Certificate validation exception caught when sending request to rest end-point: "
            << e.what());
    } catch (const std::exception& e) {
        VXT_LOG_ERROR("Exception caught when sending request to rest end-point: " << e.what());
    }
    return DT_FAILURE;
}

dt_error CRestApiCallBase::receiveResponse(Json::Value& out) {
    if (!m_session) {
        return DT_NOT_CONNECTED;
    }
    Poco::Net::HTTPResponse response;
    std::string body;
    try {
        std::istream& stream = m_session->receiveResponse(response);
        if (stream.fail()) {
            return DT_FAILURE;
        }
        std::getline(stream, body, static_cast<char>(-1));
    } catch (...) {
        return DT_FAILURE;
    }
    VXT_LOG_INFO("Received REST API response: " << body);

    if (response.getStatus() >= 400) {
        VXT_LOG_ERROR("Unsuccessfull HTTP status code received when calling REST API: "
                      << static_cast<int>(response.getStatus()));
        return DT_FAILURE;
    }
    Json::Reader reader;
    if (!reader.parse(body, out, true)) {
        VXT_LOG_ERROR("Unable to parse REST response!");
        return DT_FAILURE;
    }
    return DT_SUCCESS;
}

dt_error CRestApiCallBase::receiveCheckedResponse(Json::Value& out, const ResponseCheck& check) {
    const dt_error result = receiveResponse(out);
    if (result != DT_SUCCESS) {
        return result;
    }
    return runResponseCheck(out, check);
}

dt_error CRestApiCallBase::runResponseCheck(const Json::Value& value, const ResponseCheck& check) {
    try {
        return check(value);
    } catch (const std::exception& e) {
        VXT_LOG_ERROR("Unexpected content in REST response: " << e.what());
        return DT_FAILURE;
    }
}

}  // namespace vx_transfers
