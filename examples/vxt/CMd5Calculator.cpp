#include "CMd5Calculator.h"

#include <Poco/DigestEngine.h>
#include <Poco/MD5Engine.h>

#include <fstream>

namespace vxt {

CMd5Calculator::CMd5Calculator(std::vector<std::string> paths)
    : m_paths(std::move(paths)), m_results(m_paths.size()) {
    m_thread = std::thread([this] {
        for (std::size_t i = 0; i < m_paths.size() && !m_cancel; ++i) {
            m_results[i] = ofFile(m_paths[i], &m_cancel);
        }
    });
}

CMd5Calculator::~CMd5Calculator() {
    cancel();
    if (m_thread.joinable()) m_thread.join();
}

const std::vector<std::string>& CMd5Calculator::results() {
    if (m_thread.joinable()) m_thread.join();
    return m_results;
}

std::string CMd5Calculator::ofFile(const std::string& path, const std::atomic<bool>* cancel) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::string();
    Poco::MD5Engine engine;
    std::vector<char> block(1 << 20);
    while (in) {
        if (cancel != nullptr && *cancel) return std::string();
        in.read(block.data(), static_cast<std::streamsize>(block.size()));
        engine.update(block.data(), static_cast<unsigned>(in.gcount()));
    }
    if (in.bad()) return std::string();
    return Poco::DigestEngine::digestToHex(engine.digest());
}

}  // namespace vxt
