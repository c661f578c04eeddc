#include "managers/startup/CPocoSslInitializer.h"

#include <Poco/Crypto/Crypto.h>
#include <Poco/Mutex.h>
#include <Poco/Net/KeyConsoleHandler.h>
#include <Poco/Net/Net.h>
#include <Poco/Net/SSLManager.h>

namespace vx_transfers {

namespace {

const char* const kCipherList = "ALL:!ADH:!LOW:!EXP:!MD5:@STRENGTH";

// Poco's uninitializeSSL() also shuts the SSL manager down, which would take the default client
// context away from every other manager still alive. Only the last initializer does that.
// Never destroyed: a manager held in a static object may be destroyed after this file's statics.
Poco::FastMutex& liveMutex() {
    static Poco::FastMutex* mutex = new Poco::FastMutex;
    return *mutex;
}
int g_liveCount = 0;

}  // namespace

// false: the handler answers for the client side, i.e. for certificates that servers present.
CPocoSslInitializer::CInvalidCertificateHandler::CInvalidCertificateHandler()
    : Poco::Net::InvalidCertificateHandler(false) {}

void CPocoSslInitializer::CInvalidCertificateHandler::onInvalidCertificate(
    const void* /*sender*/, Poco::Net::VerificationErrorArgs& errorCert) {
    errorCert.setIgnoreError(true);
}

CPocoSslInitializer::CPocoSslInitializer()
    : m_keyHandler(new Poco::Net::KeyConsoleHandler(false)),
      m_certificateHandler(new CInvalidCertificateHandler()),
      m_context(new Poco::Net::Context(Poco::Net::Context::CLIENT_USE, "",
                                       Poco::Net::Context::VERIFY_NONE, 9, false, kCipherList)) {
    Poco::FastMutex::ScopedLock lock(liveMutex());
    Poco::Net::initializeNetwork();
    Poco::Net::initializeSSL();
    Poco::Net::SSLManager::instance().initializeClient(m_keyHandler, m_certificateHandler,
                                                       m_context);
    ++g_liveCount;
}

CPocoSslInitializer::~CPocoSslInitializer() {
    Poco::FastMutex::ScopedLock lock(liveMutex());
    if (--g_liveCount == 0) {
        Poco::Net::uninitializeSSL();
    } else {
        // The crypto half of uninitializeSSL(), keeping the count of initializeSSL() balanced.
        Poco::Crypto::uninitializeCrypto();
    }
    Poco::Net::uninitializeNetwork();
}

}  // namespace vx_transfers
