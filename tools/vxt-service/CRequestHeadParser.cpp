#include "vxt-service/CRequestHeadParser.h"

#include <cctype>
#include <cstring>

namespace vxt_service {
namespace {

bool isTokenChar(unsigned char c) {
    return std::isalnum(c) || std::strchr("!#$%&'*+-.^_`|~", c) != nullptr;
}

bool isToken(const std::string& s) {
    if (s.empty()) return false;
    for (unsigned char c : s) {
        if (!isTokenChar(c)) return false;
    }
    return true;
}

std::string trimOws(const std::string& s) {
    std::size_t b = 0, e = s.size();
    while (b < e && (s[b] == ' ' || s[b] == '\t')) ++b;
    while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t')) --e;
    return s.substr(b, e - b);
}

std::string lower(std::string s) {
    for (auto& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// Splits a comma-separated header value into trimmed, non-empty elements.
std::vector<std::string> splitList(const std::string& value) {
    std::vector<std::string> out;
    std::size_t start = 0;
    while (start <= value.size()) {
        std::size_t comma = value.find(',', start);
        if (comma == std::string::npos) comma = value.size();
        std::string item = trimOws(value.substr(start, comma - start));
        if (!item.empty()) out.push_back(item);
        start = comma + 1;
    }
    return out;
}

int fail(std::string& error, const char* text, int status = 400) {
    error = text;
    return status;
}

}  // namespace

bool CRequestHeadParser::percentDecode(const std::string& in, std::string& out) {
    out.clear();
    out.reserve(in.size());
    for (std::size_t i = 0; i < in.size(); ++i) {
        char c = in[i];
        if (c != '%') {
            out.push_back(c);
            continue;
        }
        if (i + 2 >= in.size() || !std::isxdigit(static_cast<unsigned char>(in[i + 1])) ||
            !std::isxdigit(static_cast<unsigned char>(in[i + 2]))) {
            return false;
        }
        char decoded = static_cast<char>(std::stoi(in.substr(i + 1, 2), nullptr, 16));
        if (decoded == '\0') return false;
        out.push_back(decoded);
        i += 2;
    }
    return true;
}

int CRequestHeadParser::parse(const std::string& head, HttpRequest& out, std::string& error) {
    out = HttpRequest();
    if (head.size() < 4 || head.compare(head.size() - 4, 4, "\r\n\r\n") != 0) {
        return fail(error, "request head does not end with an empty line");
    }
    std::size_t pos = 0;
    bool first = true;
    const std::size_t end = head.size() - 2;  // the final CRLF closes the head
    while (pos < end) {
        std::size_t eol = head.find("\r\n", pos);
        std::string line = head.substr(pos, eol - pos);
        pos = eol + 2;
        if (line.find_first_of("\r\n") != std::string::npos) {
            return fail(error, "bare CR or LF in the request head");
        }
        int status = first ? parseRequestLine(line, out, error) : parseHeaderLine(line, out, error);
        if (status != 0) return status;
        first = false;
    }
    int status = parseTarget(out, error);
    if (status != 0) return status;
    return interpretHeaders(out, error);
}

int CRequestHeadParser::parseRequestLine(const std::string& line, HttpRequest& out,
                                         std::string& error) {
    std::size_t sp1 = line.find(' ');
    std::size_t sp2 = sp1 == std::string::npos ? sp1 : line.find(' ', sp1 + 1);
    if (sp1 == std::string::npos || sp2 == std::string::npos ||
        line.find(' ', sp2 + 1) != std::string::npos) {
        return fail(error, "malformed request line");
    }
    out.method = line.substr(0, sp1);
    out.target = line.substr(sp1 + 1, sp2 - sp1 - 1);
    out.version = line.substr(sp2 + 1);
    if (!isToken(out.method)) return fail(error, "malformed method");
    if (out.target.empty()) return fail(error, "empty request target");
    for (unsigned char c : out.target) {
        if (c <= 0x20 || c >= 0x7f) return fail(error, "invalid character in request target");
    }
    if (out.version.size() != 8 || out.version.compare(0, 5, "HTTP/") != 0 ||
        !std::isdigit(static_cast<unsigned char>(out.version[5])) || out.version[6] != '.' ||
        !std::isdigit(static_cast<unsigned char>(out.version[7]))) {
        return fail(error, "malformed HTTP version");
    }
    if (out.version != "HTTP/1.1" && out.version != "HTTP/1.0") {
        return fail(error, "HTTP version not supported", 505);
    }
    return 0;
}

int CRequestHeadParser::parseHeaderLine(const std::string& line, HttpRequest& out,
                                        std::string& error) {
    if (line.empty()) return fail(error, "empty header line");
    if (line[0] == ' ' || line[0] == '\t') return fail(error, "folded header line");
    std::size_t colon = line.find(':');
    if (colon == std::string::npos) return fail(error, "header line without a colon");
    std::string name = line.substr(0, colon);
    if (!isToken(name)) return fail(error, "malformed header name");
    std::string value = trimOws(line.substr(colon + 1));
    for (unsigned char c : value) {
        if ((c < 0x20 && c != '\t') || c == 0x7f) return fail(error, "control character in header");
    }
    out.headers.emplace_back(std::move(name), std::move(value));
    return 0;
}

int CRequestHeadParser::parseTarget(HttpRequest& out, std::string& error) {
    std::string target = out.target;
    if (target.find('#') != std::string::npos) return fail(error, "fragment in request target");
    if (target == "*") {
        if (out.method != "OPTIONS") return fail(error, "asterisk target outside OPTIONS");
        out.rawPath = "*";
        out.path = "*";
        return 0;
    }
    if (target[0] != '/') {
        std::string lowered = lower(target.substr(0, 8));
        std::size_t schemeEnd;
        if (lowered.compare(0, 7, "http://") == 0) {
            schemeEnd = 7;
        } else if (lowered.compare(0, 8, "https://") == 0) {
            schemeEnd = 8;
        } else {
            return fail(error, "request target is neither origin nor absolute form");
        }
        std::size_t pathStart = target.find_first_of("/?", schemeEnd);
        if (pathStart == schemeEnd) return fail(error, "absolute target without a host");
        target = pathStart == std::string::npos ? "/" : target.substr(pathStart);
        if (target[0] == '?') target = "/" + target;
    }
    std::size_t q = target.find('?');
    out.rawPath = target.substr(0, q);
    if (!percentDecode(out.rawPath, out.path)) return fail(error, "malformed percent escape");
    if (q == std::string::npos) return 0;
    std::string queryText = target.substr(q + 1);
    std::size_t start = 0;
    while (start <= queryText.size()) {
        std::size_t amp = queryText.find('&', start);
        if (amp == std::string::npos) amp = queryText.size();
        std::string pair = queryText.substr(start, amp - start);
        if (!pair.empty()) {
            std::size_t eq = pair.find('=');
            std::string key, value;
            if (!percentDecode(pair.substr(0, eq), key) ||
                !percentDecode(eq == std::string::npos ? "" : pair.substr(eq + 1), value)) {
                return fail(error, "malformed percent escape in query");
            }
            out.query.emplace_back(std::move(key), std::move(value));
        }
        start = amp + 1;
    }
    return 0;
}

int CRequestHeadParser::interpretHeaders(HttpRequest& out, std::string& error) {
    int hosts = 0;
    bool http10 = out.version == "HTTP/1.0";
    bool keepAliveToken = false, closeToken = false;
    std::string contentLength;
    bool hasTransferEncoding = false;
    for (const auto& h : out.headers) {
        if (equalsIgnoreCase(h.first, "Host")) {
            ++hosts;
        } else if (equalsIgnoreCase(h.first, "Content-Length")) {
            for (const auto& item : splitList(h.second)) {
                if (item.empty() || item.size() > 19 ||
                    item.find_first_not_of("0123456789") != std::string::npos) {
                    return fail(error, "malformed Content-Length");
                }
                if (!contentLength.empty() && contentLength != item) {
                    return fail(error, "conflicting Content-Length values");
                }
                contentLength = item;
            }
            if (contentLength.empty()) return fail(error, "empty Content-Length");
        } else if (equalsIgnoreCase(h.first, "Transfer-Encoding")) {
            hasTransferEncoding = true;
            auto codings = splitList(h.second);
            if (codings.empty()) return fail(error, "empty Transfer-Encoding");
            for (std::size_t i = 0; i < codings.size(); ++i) {
                if (lower(codings[i]) != "chunked" || out.chunked) {
                    return fail(error, "unsupported transfer coding", 501);
                }
                out.chunked = true;
            }
        } else if (equalsIgnoreCase(h.first, "Connection")) {
            for (const auto& item : splitList(h.second)) {
                std::string l = lower(item);
                if (l == "close") closeToken = true;
                if (l == "keep-alive") keepAliveToken = true;
            }
        } else if (equalsIgnoreCase(h.first, "Expect")) {
            if (lower(h.second) != "100-continue") return fail(error, "unknown expectation", 417);
            out.expectContinue = !http10;
        }
    }
    if (!http10 && hosts != 1) return fail(error, hosts == 0 ? "missing Host" : "repeated Host");
    if (hosts > 1) return fail(error, "repeated Host");
    if (hasTransferEncoding && !contentLength.empty()) {
        return fail(error, "both Transfer-Encoding and Content-Length");
    }
    if (hasTransferEncoding && http10) return fail(error, "Transfer-Encoding in HTTP/1.0");
    if (!contentLength.empty()) {
        out.hasContentLength = true;
        try {
            out.contentLength = std::stoull(contentLength);
        } catch (const std::exception&) {
            return fail(error, "Content-Length out of range");
        }
    }
    out.keepAlive = http10 ? (keepAliveToken && !closeToken) : !closeToken;
    return 0;
}

}  // namespace vxt_service
