#include "vxt-service/CDataRoutes.h"

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Timestamp.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <vector>

#include "vxt-service/CJson.h"
#include "vxt-service/CObjectStore.h"
#include "vxt-service/CServiceIds.h"
#include "vxt-service/CServiceImpl.h"

namespace vxt_service {
namespace {

constexpr std::size_t kReceiveBuffer = 1 << 20;

class CFileDescriptor {
public:
    explicit CFileDescriptor(int fd) : m_fd(fd) {}
    ~CFileDescriptor() {
        if (m_fd >= 0) ::close(m_fd);
    }
    CFileDescriptor(const CFileDescriptor&) = delete;
    CFileDescriptor& operator=(const CFileDescriptor&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

bool parseDecimal(const std::string& text, std::uint64_t& out) {
    if (text.empty() || text.size() > 19 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    out = std::stoull(text);
    return true;
}

bool writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

void CDataRoutes::handle(const HttpRequest& request, const RouteMatch& match,
                         const FaultRule& fault, CConnectionIo& io, ExchangeResult& result) {
    io.setThrottle(m_service.throttle());
    if (match.name == "data.put") {
        put(request, match, fault, io, result);
    } else {
        get(request, match, fault, io, result);
    }
    io.setThrottle(0);
}

void CDataRoutes::refuse(const HttpRequest& request, const HttpResponse& response,
                         CConnectionIo& io, ExchangeResult& result) {
    HttpResponse answer = response;
    bool hasBody = request.chunked || request.contentLength > 0;
    if (hasBody) {
        if (request.chunked || request.expectContinue) {
            answer.close = true;
        } else if (!io.discard(request.contentLength)) {
            result.close = true;
            return;
        } else {
            result.bodyBytes = request.contentLength;
        }
    }
    CResponseWriter::send(io, answer, request.keepAlive, request.method == "HEAD", FaultRule(),
                          result);
}

bool CDataRoutes::checkUrl(const HttpRequest& request, const FaultRule& fault,
                           HttpResponse& error) {
    if (fault.action == FaultAction::ExpiredUrl) {
        error = CJson::error(403, CUrlSigner::verdictText(CUrlSigner::Verdict::Expired));
        return false;
    }
    CUrlSigner::Verdict verdict = m_service.signer().verify(request, CServiceIds::nowMs());
    if (verdict != CUrlSigner::Verdict::Valid) {
        error = CJson::error(403, CUrlSigner::verdictText(verdict));
        return false;
    }
    return true;
}

bool CDataRoutes::lookupPutTarget(const RouteMatch& match, PutTarget& target, HttpResponse& error) {
    std::lock_guard<std::mutex> lock(m_service.state().mutex());
    BucketRecord* bucket = m_service.state().findBucketNoLock(match.bucketId);
    FileRecord* file = m_service.state().findFileNoLock(match.bucketId, match.fileId);
    if (bucket == nullptr || file == nullptr) {
        error = CJson::error(404, "no such file");
        return false;
    }
    if (!bucket->live()) {
        error = CJson::error(410, "bucket is " + bucket->status);
        return false;
    }
    if (match.partNumber == 0) {
        target.key = CObjectStore::fileKey(bucket->id, file->id);
        target.size = file->size;
        target.uploadKey = file->uploadKey;
        return true;
    }
    auto it = file->uploads.find(match.uploadId);
    if (it == file->uploads.end() || it->second.state == UploadRecord::State::Aborted ||
        match.partNumber > it->second.parts.size()) {
        error = CJson::error(404, "no such upload part");
        return false;
    }
    if (it->second.state == UploadRecord::State::Completed) {
        error = CJson::error(409, "the upload is already complete");
        return false;
    }
    target.key = CObjectStore::partKey(bucket->id, file->id, match.uploadId, match.partNumber);
    target.size = it->second.parts[match.partNumber - 1].size;
    target.uploadKey = it->second.key;
    target.partNumber = match.partNumber;
    return true;
}

bool CDataRoutes::checkPutHeaders(const HttpRequest& request, const PutTarget& target,
                                  HttpResponse& error) {
    // Parts carry a key of their own, so that a file's single-part headers, which an application
    // may pass along for every file, never collide with it.
    const std::string keyHeader = target.partNumber != 0 ? "x-vx-part-key" : "x-vx-upload-key";
    if (!request.hasHeader(keyHeader)) {
        error = CJson::error(403, "missing " + keyHeader);
        return false;
    }
    if (request.header(keyHeader) != target.uploadKey) {
        error = CJson::error(403, "wrong " + keyHeader);
        return false;
    }
    if (target.partNumber != 0) {
        if (!request.hasHeader("x-vx-part-number")) {
            error = CJson::error(403, "missing x-vx-part-number");
            return false;
        }
        if (request.header("x-vx-part-number") != std::to_string(target.partNumber)) {
            error = CJson::error(400, "x-vx-part-number differs from the URL");
            return false;
        }
    }
    if (request.chunked || !request.hasContentLength) {
        error = CJson::error(411, "a PUT needs a Content-Length");
        return false;
    }
    if (request.contentLength != target.size) {
        error = CJson::error(400, "Content-Length " + std::to_string(request.contentLength) +
                                      " differs from the expected " + std::to_string(target.size));
        return false;
    }
    return true;
}

void CDataRoutes::put(const HttpRequest& request, const RouteMatch& match, const FaultRule& fault,
                      CConnectionIo& io, ExchangeResult& result) {
    HttpResponse error;
    PutTarget target;
    if (request.method != "PUT") {
        error = CJson::error(405, "use PUT");
        error.headers.emplace_back("Allow", "PUT");
        refuse(request, error, io, result);
        return;
    }
    if (!checkUrl(request, fault, error) || !lookupPutTarget(match, target, error) ||
        !checkPutHeaders(request, target, error)) {
        refuse(request, error, io, result);
        return;
    }
    if (request.expectContinue) io.write("HTTP/1.1 100 Continue\r\n\r\n");
    if (!receiveBody(request, target, fault, io, result, error)) {
        if (error.status != 200) {
            error.close = true;
            CResponseWriter::send(io, error, false, false, FaultRule(), result);
        }
        result.close = true;
        return;
    }
    HttpResponse response;
    response.contentType.clear();
    CResponseWriter::send(io, response, request.keepAlive, false, fault, result);
}

bool CDataRoutes::receiveBody(const HttpRequest& request, const PutTarget& target,
                              const FaultRule& fault, CConnectionIo& io, ExchangeResult& result,
                              HttpResponse& error) {
    CObjectStore& store = m_service.store();
    std::string temp = store.makeTempPath();
    CFileDescriptor fd(::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (fd.get() < 0) {
        error = CJson::error(500, "cannot create a temporary file");
        return false;
    }
    std::uint64_t limit = request.contentLength;
    bool truncate = fault.action == FaultAction::TruncateBody && fault.afterBytes < limit;
    if (truncate) limit = fault.afterBytes;
    std::vector<char> buffer(kReceiveBuffer);
    std::uint64_t received = 0;
    while (received < limit) {
        std::size_t want = io.chunkLimit(
            static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), limit - received)));
        std::size_t n = io.readSome(buffer.data(), want);
        if (n == 0) break;
        if (!writeAll(fd.get(), buffer.data(), n)) {
            ::unlink(temp.c_str());
            error = CJson::error(500, "cannot write the stored file");
            return false;
        }
        received += n;
        if (io.pace(n)) break;
    }
    result.bodyBytes = received;
    if (received < request.contentLength) {
        ::unlink(temp.c_str());
        return false;  // error stays 200: nothing is answered
    }
    store.commit(temp, target.key);
    return true;
}

int CDataRoutes::evaluateRange(const std::string& header, std::uint64_t size, std::uint64_t& first,
                               std::uint64_t& last) {
    std::string value = header;
    while (!value.empty() && (value.back() == ' ' || value.back() == '\t')) value.pop_back();
    if (value.size() < 6) return 200;
    std::string unit = value.substr(0, 6);
    for (auto& c : unit) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (unit != "bytes=") return 200;
    std::string rangeSet = value.substr(6);
    if (rangeSet.find(',') != std::string::npos) return 200;  // several ranges: served whole
    std::size_t dash = rangeSet.find('-');
    if (dash == std::string::npos) return 200;
    std::string a = rangeSet.substr(0, dash), b = rangeSet.substr(dash + 1);
    std::uint64_t x = 0, y = 0;
    if (a.empty()) {  // suffix: the last y bytes
        if (!parseDecimal(b, y)) return 200;
        if (y == 0 || size == 0) return 416;
        first = y >= size ? 0 : size - y;
        last = size - 1;
        return 206;
    }
    if (!parseDecimal(a, x)) return 200;
    if (b.empty()) {
        y = UINT64_MAX;
    } else if (!parseDecimal(b, y) || y < x) {
        return 200;
    }
    if (x >= size) return 416;
    first = x;
    last = std::min(y, size - 1);
    return 206;
}

void CDataRoutes::get(const HttpRequest& request, const RouteMatch& match, const FaultRule& fault,
                      CConnectionIo& io, ExchangeResult& result) {
    HttpResponse error;
    if (request.method != "GET" && request.method != "HEAD") {
        error = CJson::error(405, "use GET or HEAD");
        error.headers.emplace_back("Allow", "GET, HEAD, PUT");
        refuse(request, error, io, result);
        return;
    }
    if (request.chunked || request.contentLength > m_service.config().maxRestBodyBytes) {
        refuse(request, CJson::error(413, "a GET carries no body"), io, result);
        return;
    }
    if (!checkUrl(request, fault, error)) {
        refuse(request, error, io, result);
        return;
    }
    std::string key = CObjectStore::fileKey(match.bucketId, match.fileId);
    std::uint64_t modifiedMs = 0;
    {
        std::lock_guard<std::mutex> lock(m_service.state().mutex());
        BucketRecord* bucket = m_service.state().findBucketNoLock(match.bucketId);
        FileRecord* file = m_service.state().findFileNoLock(match.bucketId, match.fileId);
        if (bucket == nullptr || file == nullptr) {
            error = CJson::error(404, "no such file");
        } else if (!bucket->live()) {
            error = CJson::error(410, "bucket is " + bucket->status);
        } else {
            modifiedMs = file->modifiedMs;
        }
    }
    CFileDescriptor fd(error.status == 200
                           ? ::open(m_service.store().pathOf(key).c_str(), O_RDONLY | O_CLOEXEC)
                           : -1);
    struct stat st;
    if (error.status == 200 && (fd.get() < 0 || ::fstat(fd.get(), &st) != 0)) {
        error = CJson::error(404, "the file has no content");
    }
    if (error.status != 200) {
        refuse(request, error, io, result);
        return;
    }
    if (request.contentLength > 0 && !io.discard(request.contentLength)) {
        result.close = true;
        return;
    }
    result.bodyBytes = request.contentLength;

    const std::uint64_t size = static_cast<std::uint64_t>(st.st_size);
    std::uint64_t first = 0, last = size == 0 ? 0 : size - 1;
    int status = 200;
    if (request.hasHeader("Range") && fault.action != FaultAction::IgnoreRange) {
        status = evaluateRange(request.header("Range"), size, first, last);
    }
    HeaderList headers{{"Accept-Ranges", "bytes"}};
    if (modifiedMs != 0) {
        headers.emplace_back(
            "Last-Modified",
            Poco::DateTimeFormatter::format(
                Poco::Timestamp(static_cast<Poco::Timestamp::TimeVal>(modifiedMs * 1000)),
                Poco::DateTimeFormat::HTTP_FORMAT));
    }
    if (status == 416) {
        HttpResponse response = CJson::error(416, "range not satisfiable");
        response.headers.emplace_back("Content-Range", "bytes */" + std::to_string(size));
        CResponseWriter::send(io, response, request.keepAlive, request.method == "HEAD", fault,
                              result);
        return;
    }
    std::uint64_t length = size == 0 ? 0 : last - first + 1;
    if (status == 206) {
        headers.emplace_back("Content-Range", "bytes " + std::to_string(first) + "-" +
                                                  std::to_string(last) + "/" +
                                                  std::to_string(size));
    }
    bool cut =
        fault.action == FaultAction::CloseAfterHeaders || fault.action == FaultAction::TruncateBody;
    bool keepAlive = request.keepAlive && !cut;
    result.answering(status);
    io.write(CResponseWriter::head(status, headers, length, "application/octet-stream", keepAlive));
    result.close = !keepAlive;
    if (request.method == "HEAD" || fault.action == FaultAction::CloseAfterHeaders) return;
    std::uint64_t toSend = length;
    if (fault.action == FaultAction::TruncateBody) toSend = std::min(toSend, fault.afterBytes);
    result.responseBodyBytes = io.sendFile(fd.get(), first, toSend);
    if (result.responseBodyBytes < length) result.close = true;
}

}  // namespace vxt_service
