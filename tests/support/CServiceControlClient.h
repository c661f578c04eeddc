// Client of the local service's control interface (the routes under "/_control"), so that tests
// read naturally: seed buckets and files, script faults, read the request log, inspect stored
// files. It speaks HTTP(S) to the service, so it works the same against the in-process service
// (CLocalService::control()) and against a separately started vxt-service executable.
//
// Every call throws std::runtime_error when the control route answers with an error or cannot be
// reached; a test that uses the client wrongly fails loudly instead of running on with defaults.
// One client object may be used from several threads: each call takes a connection of its own.
#ifndef VXT_TESTS_SUPPORT_CSERVICECONTROLCLIENT_H
#define VXT_TESTS_SUPPORT_CSERVICECONTROLCLIENT_H

#include <json/json.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace vxt_test {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

// Route names, as the service classifies each request. A fault or a log query names one of
// these, or "any" for every route, "rest" for every REST route, "data" for both data routes.
namespace routes {
inline constexpr const char* kLogin = "login";                 // POST /login
inline constexpr const char* kBucketCreate = "bucket.create";  // POST /api/v2/bucket/message
inline constexpr const char* kBucketFiles = "bucket.files";    // POST .../<id>/files
inline constexpr const char* kBucketStatusUpdate = "bucket.status.update";  // POST .../<id>/status
inline constexpr const char* kBucketStatusGet = "bucket.status.get";        // GET .../<id>?token=..
inline constexpr const char* kFileStatus = "file.status";  // POST .../file/<f>/status
inline constexpr const char* kMultipartInitialize = "multipart.initialize";
inline constexpr const char* kMultipartComplete = "multipart.complete";
inline constexpr const char* kMultipartAbort = "multipart.abort";
inline constexpr const char* kDownload = "file.download";  // GET .../file/<f>/download?action=..
inline constexpr const char* kDataPut = "data.put";        // PUT of a whole file or one part
inline constexpr const char* kDataGet = "data.get";        // GET (or HEAD) of a stored file
inline constexpr const char* kUnknown = "unknown";         // anything the service does not route
inline constexpr const char* kAny = "any";
inline constexpr const char* kRest = "rest";
inline constexpr const char* kData = "data";
}  // namespace routes

class CServiceControlClient {
public:
    // What a fault does to the request it hits. Several may combine (delay, then status).
    enum class FaultAction {
        None,                // only `status` and/or `delayMs` apply
        CloseBeforeHeaders,  // close right after reading the request head: no body is read
                             // (a PUT's sender sees its send fail) and nothing is answered
        CloseAfterHeaders,   // send the response head announcing the real body length, then
                             // close without any body byte (for a PUT: after the whole body)
        TruncateBody,        // data GET and REST answers: send `afterBytes` body bytes, then close;
                             // data PUT: receive `afterBytes` body bytes, then close unanswered
        IgnoreRange,         // data GET: answer 200 with the whole file even when a Range was sent
        RedirectLoop,        // answer 302 with Location = `location`, or the request's own URL
        ExpiredUrl,          // data routes: answer 403 exactly as for an expired signed URL
    };

    struct Fault {
        std::string route = routes::kAny;  // one of routes::*
        std::string method;                // empty: any method
        std::string pathContains;          // empty: any path; else a substring of the target
        int count = 1;                     // the next `count` matching requests; -1: until reset
        int status = 0;                    // answer this status (with a JSON error body) instead
        unsigned int delayMs = 0;          // wait before answering (after reading the head)
        FaultAction action = FaultAction::None;
        std::uint64_t afterBytes = 0;  // for TruncateBody
        std::string location;          // for RedirectLoop; empty means the request's own URL
    };

    // One request as the service saw it. Control requests are not logged.
    struct RequestRecord {
        std::uint64_t seq = 0;           // position in the log, from 1
        std::uint64_t connectionId = 0;  // the same for requests on one kept-alive connection
        std::string route;               // one of routes::*
        std::string method;
        std::string target;  // as on the request line (origin or absolute form)
        std::string path;    // decoded path, without the query and the prefix
        std::vector<std::pair<std::string, std::string>> query;  // decoded query pairs
        HeaderList headers;                                      // in order, names as sent
        std::string body;                     // REST bodies only (data bodies are not kept)
        Json::Value json;                     // `body` parsed, or null when it is not JSON
        std::uint64_t bodyBytes = 0;          // request body bytes received
        int status = 0;                       // status answered; 0 when the connection was closed
        std::uint64_t responseBodyBytes = 0;  // response body bytes sent
        std::uint64_t startMicros = 0;  // head complete, microseconds since the service started
        std::uint64_t endMicros = 0;    // answer finished, same clock
        bool faulted = false;           // a scripted fault applied to this request
        bool finished = false;          // false while the request is still being served

        // Value of the first header with this name (case-insensitive), or "".
        std::string header(const std::string& name) const;
        // Value of the first query key with this name, or "".
        std::string queryValue(const std::string& key) const;
    };

    struct BucketInfo {
        std::string bucketId;
        std::string token;
        std::uint64_t tokenExpires = 0;  // milliseconds since the epoch
        std::string status;              // "INITIALIZED", "COMPLETED", "EXPIRED", "DELETED", ...
        std::vector<std::string> statusHistory;  // every status word the client posted, in order
        std::vector<std::string> fileIds;
    };

    // A file registered for upload through POST .../files or registerUpload().
    struct UploadTarget {
        std::string fileId;
        std::string url;            // the signed PUT URL of the whole file
        std::uint64_t expires = 0;  // milliseconds since the epoch
        HeaderList headers;         // headers the PUT must carry
    };

    struct SeedFile {
        std::string name = "file.bin";
        // Either the exact content, or (when `content` is empty and `size` is set) `size` bytes
        // generated from `seed`, so that multi-gigabyte files need no memory in the test.
        std::string content;
        std::uint64_t size = 0;
        std::uint32_t seed = 1;
        std::uint64_t modifiedMs = 1218153600000ULL;  // modification date, ms since the epoch
        std::string md5;  // announced digest; empty: the service computes the real one
    };

    struct FileInfo {
        std::string fileId;
        std::string bucketId;
        std::string name;
        std::uint64_t declaredSize = 0;  // size given at registration or seeding
        bool stored = false;             // bytes are on disk (seeded, PUT, or assembled)
        std::uint64_t storedSize = 0;
        std::string md5;           // MD5 of the stored bytes, lower-case hex; "" if none
        std::string announcedMd5;  // digest given at seeding or in multipart initialize
        std::uint64_t modifiedMs = 0;
        std::string storagePath;  // absolute path of the stored bytes on the service side
        std::string status;       // last status word posted for the file
        std::vector<std::string> statusHistory;
        std::vector<std::uint64_t> progressHistory;  // `progress` of every status post, in order
        std::vector<std::string> uploadIds;          // multipart uploads begun, in order
        std::string completedUploadId;               // the multipart upload that was assembled
    };

    struct Stats {
        unsigned int currentDataConnections = 0;
        unsigned int maxConcurrentDataConnections = 0;  // since start or the last resetStats()
        std::uint64_t connectionsAccepted = 0;
        std::uint64_t requestsServed = 0;
    };

    // `rootUrl` is the service's unprefixed root, e.g. "http://127.0.0.1:8080"
    // (CLocalService::rootUrl()). With https the service's self-signed certificate is accepted.
    explicit CServiceControlClient(std::string rootUrl);

    const std::string& rootUrl() const { return m_rootUrl; }

    // Forget every bucket, file, fault, throttle and log entry; stored files are deleted and
    // the data server goes back to the service itself. Users and their tokens stay valid.
    void reset();

    // --- Seeding -------------------------------------------------------------------------------
    // A bucket as POST /api/v2/bucket/message would make it; ids and token are generated when
    // left empty.
    BucketInfo createBucket(const std::string& bucketId = "", const std::string& token = "");
    // A file with bytes, ready for download. Returns its record (id, size, md5, modifiedMs).
    FileInfo seedFile(const std::string& bucketId, const SeedFile& file);
    // A file registered for upload, as POST .../files would register it.
    UploadTarget registerUpload(const std::string& bucketId, const std::string& name,
                                std::uint64_t size);
    // Set a bucket's status word (e.g. "EXPIRED", "DELETED"); does not add to statusHistory.
    void setBucketStatus(const std::string& bucketId, const std::string& status);
    // A user token valid for the x-vx-auth-token header, without a POST /login.
    std::string issueUserToken();

    // --- Inspection ----------------------------------------------------------------------------
    BucketInfo bucket(const std::string& bucketId);
    FileInfo file(const std::string& bucketId, const std::string& fileId);
    Stats stats();
    void resetStats();  // zero the maximum of concurrent data connections

    // --- Faults and behaviour ------------------------------------------------------------------
    void injectFault(const Fault& fault);
    void clearFaults();
    // Every data URL handed out so far answers 403 from now on; new ones are valid.
    void expireDataUrlsNow();
    // Limit every data connection's body to this many bytes per second; 0 removes the limit.
    void throttleData(std::uint64_t bytesPerSecond);
    // Hand out data URLs under `baseUrl` (e.g. an nginx serving `rootDir`), storing seeded files
    // in `rootDir` and reading uploaded ones from there. Empty arguments: back to the service.
    void setDataServer(const std::string& baseUrl, const std::string& rootDir);

    // --- Request log ---------------------------------------------------------------------------
    // Every logged request with seq > `afterSeq`, oldest first.
    std::vector<RequestRecord> requests(std::uint64_t afterSeq = 0);
    // Those of one route.
    std::vector<RequestRecord> requests(const std::string& route);
    // Waits until a logged request (any, including earlier ones) satisfies `predicate`, up to
    // `timeout`. The service holds the call open until the log changes, so nothing polls.
    // Requests still being served (finished == false, status 0) are offered to the predicate
    // too, and again once they finish: test `finished` when the outcome matters.
    // Returns the first match; throws std::runtime_error on timeout, naming `what`.
    RequestRecord waitForRequest(const std::function<bool(const RequestRecord&)>& predicate,
                                 std::chrono::milliseconds timeout,
                                 const std::string& what = "request");
    // Convenience: the first finished request of `route` (with `status` unless it is 0).
    RequestRecord waitForRoute(const std::string& route, std::chrono::milliseconds timeout,
                               int status = 0);

private:
    Json::Value call(const std::string& method, const std::string& path,
                     const Json::Value& body = Json::Value());

    std::string m_rootUrl;
};

}  // namespace vxt_test

#endif
