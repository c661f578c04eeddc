#include "support/md5Hex.h"

#include <Poco/DigestEngine.h>
#include <Poco/MD5Engine.h>

namespace vxt_test {

std::string md5Hex(const std::string& bytes) {
    Poco::MD5Engine engine;
    engine.update(bytes);
    return Poco::DigestEngine::digestToHex(engine.digest());
}

}  // namespace vxt_test
