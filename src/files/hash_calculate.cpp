#include "files/hash_calculate.h"

#include <Poco/DigestEngine.h>
#include <Poco/File.h>
#include <Poco/FileStream.h>
#include <Poco/MD5Engine.h>
#include <Poco/UnicodeConverter.h>

#include <algorithm>
#include <vector>

namespace vx_transfers {
namespace hash_calculate {

namespace {
constexpr unsigned long long kBlockSize = 1024;
}  // namespace

bool Md5CalculateFile(std::string& out, const std::wstring& path, unsigned long long start,
                      unsigned long long length) {
    try {
        std::string utf8Path;
        Poco::UnicodeConverter::toUTF8(path, utf8Path);

        Poco::FileInputStream stream(utf8Path, std::ios::in);
        if (start != 0) {
            stream.seekg(static_cast<std::streamoff>(start));
        }
        const unsigned long long size = Poco::File(utf8Path).getSize();
        if (length == 0) {
            length = size;
        }

        std::vector<char> block(kBlockSize, 0);
        Poco::MD5Engine engine;

        unsigned long long remaining = std::min(size - start, length);
        for (;;) {
            const unsigned long long chunk = std::min(remaining, kBlockSize);
            stream.read(block.data(), static_cast<std::streamsize>(chunk));
            if (stream.fail()) {
                // The file ended early: the digest is that of what was read.
                break;
            }
            engine.update(block.data(), static_cast<unsigned>(chunk));
            const bool more = remaining > kBlockSize;
            remaining -= chunk;
            if (!more) {
                break;
            }
        }

        out = Poco::DigestEngine::digestToHex(engine.digest());
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace hash_calculate
}  // namespace vx_transfers
