// The control interface under "/_control", for tests and scripts: seeding, inspection, faults,
// throttling, the request log (with a long poll), statistics and reset. Answers are JSON; a
// malformed call gets 400 and an unknown bucket or file 404.
#ifndef VXT_SERVICE_CCONTROLROUTES_H
#define VXT_SERVICE_CCONTROLROUTES_H

#include <json/json.h>

#include <string>
#include <vector>

#include "vxt-service/HttpTypes.h"

namespace vxt_service {

class CServiceImpl;
struct FileRecord;

class CControlRoutes {
public:
    explicit CControlRoutes(CServiceImpl& service) : m_service(service) {}

    // Answers one control request whose body has been read.
    HttpResponse handle(const HttpRequest& request);

private:
    HttpResponse route(const HttpRequest& request, const std::vector<std::string>& seg,
                       const Json::Value& body);
    HttpResponse createBucket(const Json::Value& body);
    HttpResponse bucketInfo(const std::string& bucketId);
    HttpResponse setBucketStatus(const std::string& bucketId, const Json::Value& body);
    HttpResponse seedFile(const std::string& bucketId, const Json::Value& body);
    HttpResponse registerUpload(const std::string& bucketId, const Json::Value& body);
    HttpResponse fileInfo(const std::string& bucketId, const std::string& fileId);
    HttpResponse addFault(const Json::Value& body);
    HttpResponse readLog(const HttpRequest& request);
    HttpResponse stats();
    HttpResponse issueUserToken();
    HttpResponse setDataServer(const Json::Value& body);
    HttpResponse setThrottle(const Json::Value& body);

    CServiceImpl& m_service;
};

}  // namespace vxt_service

#endif
