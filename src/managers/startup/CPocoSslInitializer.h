#pragma once

#include <Poco/Net/Context.h>
#include <Poco/Net/InvalidCertificateHandler.h>
#include <Poco/Net/PrivateKeyPassphraseHandler.h>
#include <Poco/SharedPtr.h>

namespace vx_transfers {

// Sets up Poco's SSL side for the library's REST calls: a client context that does not verify
// peers, and a handler that accepts any certificate that Poco still questions. Each manager
// owns one; Poco counts the set-ups, so the last one destroyed tears SSL down.
class CPocoSslInitializer {
public:
    // Accepts every certificate that a Poco HTTPS session reports as invalid.
    class CInvalidCertificateHandler : public Poco::Net::InvalidCertificateHandler {
    public:
        CInvalidCertificateHandler();
        void onInvalidCertificate(const void* sender,
                                  Poco::Net::VerificationErrorArgs& errorCert) override;
    };

    CPocoSslInitializer();
    ~CPocoSslInitializer();

    CPocoSslInitializer(const CPocoSslInitializer&) = delete;
    CPocoSslInitializer& operator=(const CPocoSslInitializer&) = delete;

private:
    Poco::SharedPtr<Poco::Net::PrivateKeyPassphraseHandler> m_keyHandler;
    Poco::SharedPtr<Poco::Net::InvalidCertificateHandler> m_certificateHandler;
    Poco::Net::Context::Ptr m_context;
};

}  // namespace vx_transfers
