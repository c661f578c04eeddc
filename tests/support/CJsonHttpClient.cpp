#include "support/CJsonHttpClient.h"

#include <Poco/Exception.h>
#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/StreamCopier.h>
#include <Poco/URI.h>
#include <strings.h>

#include <memory>
#include <sstream>
#include <stdexcept>

namespace vxt_test {
namespace {

Poco::Net::Context::Ptr trustingContext() {
    // Tests talk to a service with a certificate made a moment ago: nothing to verify against.
    static Poco::Net::Context::Ptr context = new Poco::Net::Context(
        Poco::Net::Context::TLS_CLIENT_USE, "", "", "", Poco::Net::Context::VERIFY_NONE, 9, false,
        "ALL:!aNULL:!eNULL:!LOW:!EXP:!MD5:@STRENGTH");
    return context;
}

}  // namespace

std::string CJsonHttpClient::Response::header(const std::string& name) const {
    for (const auto& h : headers) {
        if (h.first.size() == name.size() && ::strcasecmp(h.first.c_str(), name.c_str()) == 0) {
            return h.second;
        }
    }
    return std::string();
}

CJsonHttpClient::CJsonHttpClient(const std::string& rootUrl, std::chrono::milliseconds timeout)
    : m_timeout(timeout) {
    Poco::URI uri(rootUrl);
    m_scheme = uri.getScheme();
    m_host = uri.getHost();
    m_port = uri.getPort();
    if (m_scheme != "http" && m_scheme != "https") {
        throw std::runtime_error("CJsonHttpClient: unsupported URL " + rootUrl);
    }
}

std::string CJsonHttpClient::toJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

bool CJsonHttpClient::parseJson(const std::string& text, Json::Value& out) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    return reader->parse(text.data(), text.data() + text.size(), &out, &errors);
}

CJsonHttpClient::Response CJsonHttpClient::send(const std::string& method,
                                                const std::string& target, const std::string& body,
                                                const Headers& headers) const {
    std::unique_ptr<Poco::Net::HTTPClientSession> session;
    if (m_scheme == "https") {
        session =
            std::make_unique<Poco::Net::HTTPSClientSession>(m_host, m_port, trustingContext());
    } else {
        session = std::make_unique<Poco::Net::HTTPClientSession>(m_host, m_port);
    }
    session->setTimeout(Poco::Timespan(static_cast<long>(m_timeout.count() / 1000),
                                       static_cast<long>(m_timeout.count() % 1000) * 1000));
    Poco::Net::HTTPRequest request(method, target, Poco::Net::HTTPMessage::HTTP_1_1);
    for (const auto& h : headers) request.set(h.first, h.second);
    if (!body.empty() || method == "POST" || method == "PUT") {
        request.setContentLength(static_cast<std::streamsize>(body.size()));
    }
    Response response;
    try {
        std::ostream& out = session->sendRequest(request);
        out << body;
        Poco::Net::HTTPResponse answer;
        std::istream& in = session->receiveResponse(answer);
        std::ostringstream text;
        Poco::StreamCopier::copyStream(in, text);
        response.status = static_cast<int>(answer.getStatus());
        for (const auto& h : answer) response.headers.emplace_back(h.first, h.second);
        response.body = text.str();
    } catch (const Poco::Exception& e) {
        throw std::runtime_error("HTTP " + method + " " + target + " failed: " + e.displayText());
    }
    if (!parseJson(response.body, response.json)) response.json = Json::Value();
    return response;
}

CJsonHttpClient::Response CJsonHttpClient::postJson(const std::string& target,
                                                    const Json::Value& body,
                                                    const Headers& headers) const {
    Headers all = headers;
    all.emplace_back("Content-Type", "application/json");
    return send("POST", target, toJson(body), all);
}

}  // namespace vxt_test
