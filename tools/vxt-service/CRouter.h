// Names each request by the route it addresses, with the identifiers its path carries, before
// any body is read: faults, the request log and the handlers all work from this name.
#ifndef VXT_SERVICE_CROUTER_H
#define VXT_SERVICE_CROUTER_H

#include <cstdint>
#include <string>

#include "vxt-service/HttpTypes.h"

namespace vxt_service {

struct RouteMatch {
    enum class Kind { Rest, Data, Control, Unknown };
    Kind kind = Kind::Unknown;
    std::string name = "unknown";  // "login", "bucket.files", "data.put", ...
    std::string bucketId;
    std::string fileId;
    std::string uploadId;
    std::uint32_t partNumber = 0;  // data PUT of one part; 0 for a whole file
    std::string restPath;          // the path without the REST prefix
};

class CRouter {
public:
    // `restPrefix` is "" or begins with '/' and has no trailing '/'.
    static RouteMatch classify(const HttpRequest& request, const std::string& restPrefix);

private:
    static RouteMatch classifyData(const HttpRequest& request);
    static RouteMatch classifyRest(const HttpRequest& request, const std::string& path);
};

}  // namespace vxt_service

#endif
