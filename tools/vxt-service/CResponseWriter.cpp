#include "vxt-service/CResponseWriter.h"

#include <Poco/DateTime.h>
#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>

#include <algorithm>

namespace vxt_service {

std::string CResponseWriter::head(int status, const HeaderList& headers,
                                  std::uint64_t contentLength, const std::string& contentType,
                                  bool keepAlive) {
    std::string out = "HTTP/1.1 " + std::to_string(status) + " " + reasonPhrase(status) + "\r\n";
    out += "Date: " +
           Poco::DateTimeFormatter::format(Poco::DateTime(), Poco::DateTimeFormat::HTTP_FORMAT) +
           "\r\n";
    out += "Server: vxt-service\r\n";
    if (!contentType.empty()) out += "Content-Type: " + contentType + "\r\n";
    out += "Content-Length: " + std::to_string(contentLength) + "\r\n";
    out += keepAlive ? "Connection: keep-alive\r\n" : "Connection: close\r\n";
    for (const auto& h : headers) out += h.first + ": " + h.second + "\r\n";
    out += "\r\n";
    return out;
}

void CResponseWriter::send(CConnectionIo& io, const HttpResponse& response, bool keepAlive,
                           bool headOnly, const FaultRule& fault, ExchangeResult& result) {
    bool cut =
        fault.action == FaultAction::CloseAfterHeaders || fault.action == FaultAction::TruncateBody;
    keepAlive = keepAlive && !response.close && !cut;
    result.answering(response.status);
    io.write(head(response.status, response.headers, response.body.size(),
                  response.body.empty() ? std::string() : response.contentType, keepAlive));
    result.close = !keepAlive;
    if (headOnly || fault.action == FaultAction::CloseAfterHeaders) return;
    std::size_t length = response.body.size();
    if (fault.action == FaultAction::TruncateBody) {
        length = static_cast<std::size_t>(std::min<std::uint64_t>(length, fault.afterBytes));
    }
    io.write(response.body.data(), length);
    result.responseBodyBytes = length;
}

}  // namespace vxt_service
