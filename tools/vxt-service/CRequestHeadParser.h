// Strict parser of an HTTP/1.x request head. It refuses what a careful server refuses (bare line
// feeds, folded or malformed header lines, a missing or repeated Host, conflicting lengths,
// unknown transfer codings) and accepts every valid head, in origin or absolute form.
#ifndef VXT_SERVICE_CREQUESTHEADPARSER_H
#define VXT_SERVICE_CREQUESTHEADPARSER_H

#include <string>

#include "vxt-service/HttpTypes.h"

namespace vxt_service {

class CRequestHeadParser {
public:
    // `head` is everything up to and including the blank line ("\r\n\r\n"). Returns 0 and fills
    // `out`, or returns the status to answer (400, 417, 501, 505) with a reason in `error`.
    static int parse(const std::string& head, HttpRequest& out, std::string& error);

    // Percent-decodes `in`; false on a malformed escape or a decoded NUL.
    static bool percentDecode(const std::string& in, std::string& out);

private:
    static int parseRequestLine(const std::string& line, HttpRequest& out, std::string& error);
    static int parseTarget(HttpRequest& out, std::string& error);
    static int parseHeaderLine(const std::string& line, HttpRequest& out, std::string& error);
    static int interpretHeaders(HttpRequest& out, std::string& error);
};

}  // namespace vxt_service

#endif
