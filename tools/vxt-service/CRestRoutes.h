// The REST routes the transfer library calls: login, bucket creation, file registration,
// bucket and file status, the three multipart calls and the download redirect. Each answers as
// a strict service would: 400 for malformed JSON or missing keys, 401 for a missing credential,
// 403 for a wrong one, 404 for an unknown bucket, file or upload, 405 for a wrong verb, 409 for
// a request that contradicts what is stored, 410 for an expired or deleted bucket.
#ifndef VXT_SERVICE_CRESTROUTES_H
#define VXT_SERVICE_CRESTROUTES_H

#include <json/json.h>

#include <string>

#include "vxt-service/CRouter.h"
#include "vxt-service/CServiceState.h"
#include "vxt-service/HttpTypes.h"

namespace vxt_service {

class CServiceImpl;

class CRestRoutes {
public:
    explicit CRestRoutes(CServiceImpl& service) : m_service(service) {}

    // Answers one REST request whose body has been read.
    HttpResponse handle(const HttpRequest& request, const RouteMatch& match);

    // The JSON shapes shared with the control routes.
    static Json::Value fileJson(const FileRecord& file);
    static Json::Value bucketJson(const BucketRecord& bucket);

private:
    HttpResponse login(const HttpRequest& request);
    HttpResponse createBucket(const HttpRequest& request);
    HttpResponse addFiles(const HttpRequest& request, const RouteMatch& match);
    HttpResponse updateBucketStatus(const HttpRequest& request, const RouteMatch& match);
    HttpResponse getBucketStatus(const HttpRequest& request, const RouteMatch& match);
    HttpResponse updateFileStatus(const HttpRequest& request, const RouteMatch& match);
    HttpResponse initializeMultipart(const HttpRequest& request, const RouteMatch& match);
    HttpResponse completeMultipart(const HttpRequest& request, const RouteMatch& match);
    HttpResponse abortMultipart(const HttpRequest& request, const RouteMatch& match);
    HttpResponse downloadRedirect(const HttpRequest& request, const RouteMatch& match);

    // 401 without the user token header, 403 with an unknown or expired one.
    bool checkUserToken(const HttpRequest& request, HttpResponse& error);
    // Parses the body and checks `token`, `bucketId` (and `fileId` when `match` names a file)
    // against the path. Sets `error` on failure.
    bool parseBucketBody(const HttpRequest& request, const RouteMatch& match, Json::Value& body,
                         std::string& token, HttpResponse& error);
    // The bucket (404), its token (401 missing, 403 wrong), and unless `readOnly` its liveness
    // (410). `token` null means the request carried none.
    BucketRecord* checkBucketNoLock(const std::string& bucketId, const std::string* token,
                                    bool readOnly, HttpResponse& error);
    FileRecord* checkFileNoLock(BucketRecord& bucket, const std::string& fileId,
                                HttpResponse& error);
    UploadRecord* checkUploadNoLock(FileRecord& file, const std::string& uploadId,
                                    HttpResponse& error);
    // Validates the parts of an initialize body into `upload`.
    static bool readParts(const Json::Value& body, UploadRecord& upload, std::string& error);
    // Every announced part stored with its size and digest; then the file assembled.
    bool verifyAndAssemble(const std::string& bucketId, const std::string& fileId,
                           const UploadRecord& upload, std::string& error);

    CServiceImpl& m_service;
};

}  // namespace vxt_service

#endif
