#include "CCannedResponseServer.h"
#include "CRestTestFixture.h"
#include "rest/CRestApiBucketStatusRetrieve.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;
typedef CRestApiBucketStatusRetrieve::ResponseDetails Response;

class CRestApiBucketStatusRetrieveTest : public vxt_test::CRestTestFixture {
protected:
    dt_error retrieve(const std::string& bucketId, const std::string& token, Response& out) {
        CRestApiBucketStatusRetrieve call;
        CRestApiBucketStatusRetrieve::RequestDetails details;
        details.bucketId = bucketId;
        details.token = token;
        const dt_error sent = call.sendRequest(details);
        return sent != DT_SUCCESS ? sent : call.receiveResponse(out);
    }
};

TEST_F(CRestApiBucketStatusRetrieveTest, StatusOfTheServiceIsReadInTheReadingTable) {
    const CServiceControlClient::BucketInfo bucket = service().control().createBucket();
    const struct {
        const char* word;
        Response::BucketStatus expected;
    } rows[] = {
        {"INITIALIZED", Response::INITIALIZED}, {"COMPLETED", Response::COMPLETED},
        {"EXPIRED", Response::EXPIRED},         {"DELETED", Response::DELETED},
        {"UPLOADING", Response::UNRECOGNIZED},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.word);
        service().control().setBucketStatus(bucket.bucketId, row.word);
        Response out;
        out.status = static_cast<Response::BucketStatus>(99);
        EXPECT_EQ(DT_SUCCESS, retrieve(bucket.bucketId, bucket.token, out));
        EXPECT_EQ(row.expected, out.status);
    }

    const CServiceControlClient::RequestRecord request = requests(routes::kBucketStatusGet).front();
    EXPECT_EQ("GET", request.method);
    EXPECT_EQ("/api/v2/bucket/" + bucket.bucketId + "?token=" + bucket.token + "&detail=false",
              request.target);
    EXPECT_EQ("null\n", request.body);
}

TEST_F(CRestApiBucketStatusRetrieveTest, AnswersWithoutMandatoryPartsFailWithTheirWord) {
    const struct {
        const char* name;
        const char* body;
        dt_error expected;
        const char* logLine;
    } rows[] = {
        {"no bucket", R"({"id":"B1"})", DT_FAILURE, "mandatory attribute: bucket"},
        {"other bucket", R"({"bucket":{"id":"B2","status":"EXPIRED"}})", DT_FAILURE,
         "mandatory attribute: id"},
        {"no id", R"({"bucket":{"status":"EXPIRED"}})", DT_FAILURE, "mandatory attribute: id"},
        {"null status", R"({"bucket":{"id":"B1","status":null}})", DT_FAILURE,
         "mandatory attribute: status"},
        {"no status", R"({"bucket":{"id":"B1"}})", DT_SUCCESS, "Unrecognized bucket status: \n"},
        {"unknown word", R"({"bucket":{"id":"B1","status":"SYNCING"}})", DT_SUCCESS,
         "Unrecognized bucket status: SYNCING"},
        {"status is an object", R"({"bucket":{"id":"B1","status":{"a":1}}})", DT_FAILURE, ""},
    };
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        canned.answer(200, row.body);
        markLog();
        Response out;
        EXPECT_EQ(row.expected, retrieve("B1", "T1", out));
        EXPECT_NE(std::string::npos, logSinceMark().find(row.logLine));
        if (row.expected == DT_SUCCESS) {
            EXPECT_EQ(Response::UNRECOGNIZED, out.status);
        }
    }
}

TEST_F(CRestApiBucketStatusRetrieveTest, ErrorStatusOfTheServiceFails) {
    const CServiceControlClient::BucketInfo bucket = service().control().createBucket();
    CServiceControlClient::Fault fault;
    fault.route = routes::kBucketStatusGet;
    fault.status = 404;
    service().control().injectFault(fault);
    Response out;
    EXPECT_EQ(DT_FAILURE, retrieve(bucket.bucketId, bucket.token, out));
}

}  // namespace
}  // namespace vx_transfers
