#include "vxt-service/CSelfSignedCertificate.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace vxt_service {
namespace {

struct PkeyFree {
    void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
};
struct X509Free {
    void operator()(X509* p) const { X509_free(p); }
};
struct FileClose {
    void operator()(FILE* f) const { std::fclose(f); }
};

void check(bool ok, const char* what) {
    if (!ok) throw std::runtime_error(std::string("certificate: ") + what);
}

void addExtension(X509* cert, int nid, const char* value) {
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, cert, cert, nullptr, nullptr, 0);
    X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value);
    check(ext != nullptr, "extension");
    X509_add_ext(cert, ext, -1);
    X509_EXTENSION_free(ext);
}

}  // namespace

void CSelfSignedCertificate::create(const std::string& dir, std::string& keyFile,
                                    std::string& certFile) {
    std::unique_ptr<EVP_PKEY, PkeyFree> key(EVP_EC_gen("P-256"));
    check(key != nullptr, "key generation");
    std::unique_ptr<X509, X509Free> cert(X509_new());
    check(cert != nullptr, "allocation");
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 7L * 24 * 3600);
    X509_set_pubkey(cert.get(), key.get());
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("127.0.0.1"), -1, -1, 0);
    X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("vxt-service"), -1, -1, 0);
    X509_set_issuer_name(cert.get(), name);
    addExtension(cert.get(), NID_subject_alt_name, "IP:127.0.0.1,IP:::1,DNS:localhost");
    addExtension(cert.get(), NID_basic_constraints, "critical,CA:FALSE");
    check(X509_sign(cert.get(), key.get(), EVP_sha256()) > 0, "signing");

    keyFile = dir + "/service-key.pem";
    certFile = dir + "/service-cert.pem";
    std::unique_ptr<FILE, FileClose> keyOut(std::fopen(keyFile.c_str(), "wb"));
    check(keyOut != nullptr, "cannot write the key file");
    check(PEM_write_PrivateKey(keyOut.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1,
          "key output");
    std::unique_ptr<FILE, FileClose> certOut(std::fopen(certFile.c_str(), "wb"));
    check(certOut != nullptr, "cannot write the certificate file");
    check(PEM_write_X509(certOut.get(), cert.get()) == 1, "certificate output");
}

}  // namespace vxt_service
