#include "channels/http_request_head.h"

#include <Poco/Net/HTTPRequest.h>
#include <Poco/String.h>

namespace vx_transfers {
namespace http_request_head {

namespace {

void appendField(std::string& text, const std::string& name, const std::string& value) {
    text += name;
    text += ": ";
    text += value;
    text += "\r\n";
}

}  // namespace

std::string generate(const std::string& method, const std::string& pathEtc, const std::string& host,
                     const HeaderList& headers) {
    std::string text;
    text.reserve(256);
    text += method;
    text += ' ';
    text += pathEtc.empty() ? std::string("/") : pathEtc;
    text += " HTTP/1.1\r\n";
    appendField(text, "Host", host);
    for (const auto& header : headers) {
        appendField(text, header.first, header.second);
    }
    text += "\r\n";
    return text;
}

std::string generate(const Poco::Net::HTTPRequest& request) {
    HeaderList headers;
    for (const auto& field : request) {
        if (Poco::icompare(field.first, Poco::Net::HTTPRequest::HOST) != 0) {
            headers.emplace_back(field.first, field.second);
        }
    }
    return generate(request.getMethod(), request.getURI(), request.getHost(), headers);
}

}  // namespace http_request_head
}  // namespace vx_transfers
