// A throw-away certificate for the service's HTTPS: an EC key and a self-signed X.509
// certificate for 127.0.0.1, ::1 and localhost, written as PEM files.
#ifndef VXT_SERVICE_CSELFSIGNEDCERTIFICATE_H
#define VXT_SERVICE_CSELFSIGNEDCERTIFICATE_H

#include <string>

namespace vxt_service {

class CSelfSignedCertificate {
public:
    // Writes "<dir>/service-key.pem" and "<dir>/service-cert.pem"; throws std::runtime_error.
    static void create(const std::string& dir, std::string& keyFile, std::string& certFile);
};

}  // namespace vxt_service

#endif
