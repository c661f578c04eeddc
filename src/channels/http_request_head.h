#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Poco {
namespace Net {
class HTTPRequest;
}
}  // namespace Poco

namespace vx_transfers {
namespace http_request_head {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

// The HTTP/1.1 request head, exactly as it goes on the wire: the request line ("/" for an
// empty path), then "Host", then `headers` in their order with the names as given (a range is
// one of them: "Content-Range" of a PUT, "Range" of a GET), then the blank line. No header is
// added or reordered, and values are written as they stand.
std::string generate(const std::string& method, const std::string& pathEtc, const std::string& host,
                     const HeaderList& headers);

// The head of a request that the channel hooks have filled: its method, URI and host, and its
// other fields in the order they were set.
std::string generate(const Poco::Net::HTTPRequest& request);

}  // namespace http_request_head
}  // namespace vx_transfers
