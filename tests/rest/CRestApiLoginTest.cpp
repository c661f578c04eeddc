#include "CCannedResponseServer.h"
#include "CRestTestFixture.h"
#include "rest/CRestApiLogin.h"

namespace vx_transfers {
namespace {

using vxt_test::CServiceControlClient;
namespace routes = vxt_test::routes;

class CRestApiLoginTest : public vxt_test::CRestTestFixture {
protected:
    dt_error login(const std::string& user, const std::string& password,
                   CRestApiLogin::ResponseDetails& out) {
        CRestApiLogin call;
        CRestApiLogin::RequestDetails details;
        details.userId = user;
        details.password = password;
        const dt_error sent = call.sendRequest(details);
        return sent != DT_SUCCESS ? sent : call.receiveResponse(out);
    }
};

TEST_F(CRestApiLoginTest, CredentialsGoInTheBodyAndTheTokenComesBack) {
    CRestApiLogin::ResponseDetails out;
    ASSERT_EQ(DT_SUCCESS, login(service().options().user, service().options().password, out));
    EXPECT_FALSE(out.token.empty());

    const CServiceControlClient::RequestRecord request = onlyRequest(routes::kLogin);
    EXPECT_EQ("POST", request.method);
    EXPECT_EQ("/login", request.target);
    EXPECT_EQ("", request.header("x-vx-auth-token"));
    Json::Value expected;
    expected["userId"] = service().options().user;
    expected["password"] = service().options().password;
    EXPECT_EQ(Json::FastWriter().write(expected), request.body);
}

TEST_F(CRestApiLoginTest, WrongPasswordFails) {
    CRestApiLogin::ResponseDetails out;
    EXPECT_EQ(DT_FAILURE, login(service().options().user, "wrong", out));
    EXPECT_TRUE(out.token.empty());
}

TEST_F(CRestApiLoginTest, TokenIsMandatoryAndItsExpiryOptional) {
    vxt_test::CCannedResponseServer canned;
    setEndPoint(canned.url());
    const struct {
        const char* body;
        dt_error expected;
        const char* token;
        unsigned long long expires;
    } rows[] = {
        {R"({"token":"U1","tokenExpires":1700000000000})", DT_SUCCESS, "U1", 1700000000000ULL},
        {R"({"token":"U1"})", DT_SUCCESS, "U1", 0},
        {R"({"token":"U1","tokenExpires":null})", DT_SUCCESS, "U1", 0},
        {R"({"tokenExpires":5})", DT_FAILURE, "", 7},
        {R"({"token":"U1","tokenExpires":"soon"})", DT_FAILURE, "U1", 7},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.body);
        canned.answer(200, row.body);
        CRestApiLogin::ResponseDetails out;
        out.tokenExpires = 7;
        EXPECT_EQ(row.expected, login("u", "p", out));
        EXPECT_EQ(row.token, out.token);
        EXPECT_EQ(row.expires, out.tokenExpires);
    }
}

}  // namespace
}  // namespace vx_transfers
