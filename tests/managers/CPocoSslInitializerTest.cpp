#include <Poco/File.h>
#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/SecureServerSocket.h>
#include <Poco/StreamCopier.h>
#include <Poco/TemporaryFile.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdio>
#include <memory>
#include <string>

#include "managers/startup/CPocoSslInitializer.h"

namespace vx_transfers {
namespace {

// Writes a fresh self-signed certificate for 127.0.0.1 and its key as PEM files.
void writeSelfSignedCertificate(const std::string& keyFile, const std::string& certFile) {
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
    ASSERT_TRUE(key);
    std::unique_ptr<X509, decltype(&X509_free)> cert(X509_new(), &X509_free);
    ASSERT_TRUE(cert);
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), -60);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 3600);
    X509_set_pubkey(cert.get(), key.get());
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("127.0.0.1"), -1, -1, 0);
    X509_set_issuer_name(cert.get(), name);
    ASSERT_GT(X509_sign(cert.get(), key.get(), EVP_sha256()), 0);

    FILE* keyOut = std::fopen(keyFile.c_str(), "w");
    ASSERT_NE(nullptr, keyOut);
    PEM_write_PrivateKey(keyOut, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    std::fclose(keyOut);
    FILE* certOut = std::fopen(certFile.c_str(), "w");
    ASSERT_NE(nullptr, certOut);
    PEM_write_X509(certOut, cert.get());
    std::fclose(certOut);
}

class CHelloHandler : public Poco::Net::HTTPRequestHandler {
public:
    void handleRequest(Poco::Net::HTTPServerRequest&,
                       Poco::Net::HTTPServerResponse& response) override {
        response.setContentType("text/plain");
        response.send() << "hello";
    }
};

class CHelloFactory : public Poco::Net::HTTPRequestHandlerFactory {
public:
    Poco::Net::HTTPRequestHandler* createRequestHandler(
        const Poco::Net::HTTPServerRequest&) override {
        return new CHelloHandler;
    }
};

class CPocoSslInitializerTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_folder = Poco::TemporaryFile::tempName() + "-vxt-ssl";
        Poco::File(m_folder).createDirectories();
        const std::string keyFile = m_folder + "/key.pem";
        const std::string certFile = m_folder + "/cert.pem";
        writeSelfSignedCertificate(keyFile, certFile);

        m_initializer.reset(new CPocoSslInitializer());

        Poco::Net::Context::Ptr serverContext = new Poco::Net::Context(
            Poco::Net::Context::SERVER_USE, keyFile, certFile, "", Poco::Net::Context::VERIFY_NONE);
        Poco::Net::SecureServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0), 16,
                                             serverContext);
        m_port = socket.address().port();
        m_server.reset(
            new Poco::Net::HTTPServer(new CHelloFactory, socket, new Poco::Net::HTTPServerParams));
        m_server->start();
    }

    void TearDown() override {
        if (m_server) {
            m_server->stopAll(true);
        }
        m_server.reset();
        m_initializer.reset();
        Poco::File(m_folder).remove(true);
    }

    std::string get(Poco::Net::HTTPSClientSession& session) {
        session.setTimeout(Poco::Timespan(10, 0));
        Poco::Net::HTTPRequest request(Poco::Net::HTTPRequest::HTTP_GET, "/",
                                       Poco::Net::HTTPMessage::HTTP_1_1);
        session.sendRequest(request);
        Poco::Net::HTTPResponse response;
        std::istream& body = session.receiveResponse(response);
        std::string text;
        Poco::StreamCopier::copyToString(body, text);
        return text;
    }

    std::string m_folder;
    std::unique_ptr<CPocoSslInitializer> m_initializer;
    std::unique_ptr<Poco::Net::HTTPServer> m_server;
    Poco::UInt16 m_port = 0;
};

TEST_F(CPocoSslInitializerTest, DefaultClientContextTalksToASelfSignedServer) {
    Poco::Net::HTTPSClientSession session("127.0.0.1", m_port);
    EXPECT_EQ("hello", get(session));
}

TEST_F(CPocoSslInitializerTest, CertificateThatAVerifyingContextRejectsIsAcceptedAnyway) {
    Poco::Net::Context::Ptr verifying = new Poco::Net::Context(
        Poco::Net::Context::CLIENT_USE, "", Poco::Net::Context::VERIFY_RELAXED, 9, false);
    Poco::Net::HTTPSClientSession session("127.0.0.1", m_port, verifying);
    EXPECT_EQ("hello", get(session));
}

TEST_F(CPocoSslInitializerTest, SecondInitializerGoingAwayLeavesTheFirstWorking) {
    std::unique_ptr<CPocoSslInitializer> second(new CPocoSslInitializer());
    second.reset();
    Poco::Net::HTTPSClientSession session("127.0.0.1", m_port);
    EXPECT_EQ("hello", get(session));
}

}  // namespace
}  // namespace vx_transfers
