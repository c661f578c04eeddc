#include "vxt-service/CObjectStore.h"

#include <Poco/MD5Engine.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace vxt_service {
namespace fs = std::filesystem;
namespace {

std::atomic<std::uint64_t> g_tempCounter{0};

class CFd {
public:
    explicit CFd(int fd) : m_fd(fd) {}
    ~CFd() {
        if (m_fd >= 0) ::close(m_fd);
    }
    CFd(const CFd&) = delete;
    CFd& operator=(const CFd&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

void writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) throw std::runtime_error(std::string("write failed: ") + std::strerror(errno));
        data += n;
        size -= static_cast<std::size_t>(n);
    }
}

std::uint64_t splitmix(std::uint64_t x) {
    x += 0x9E3779B97F4A7C15ULL;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
}

}  // namespace

CObjectStore::CObjectStore(std::string root) : m_root(std::move(root)) {
    fs::create_directories(m_root);
}

std::string CObjectStore::fileKey(const std::string& bucketId, const std::string& fileId) {
    return "b/" + bucketId + "/" + fileId;
}

std::string CObjectStore::partKey(const std::string& bucketId, const std::string& fileId,
                                  const std::string& uploadId, std::uint32_t number) {
    return uploadDirKey(bucketId, fileId, uploadId) + "/" + std::to_string(number);
}

std::string CObjectStore::uploadDirKey(const std::string& bucketId, const std::string& fileId,
                                       const std::string& uploadId) {
    return "mp/" + bucketId + "/" + fileId + "/" + uploadId;
}

void CObjectStore::setRoot(const std::string& root) {
    fs::create_directories(root);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_root = root;
    m_md5.clear();
}

std::string CObjectStore::root() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_root;
}

std::string CObjectStore::pathOf(const std::string& key) const { return root() + "/" + key; }

bool CObjectStore::stat(const std::string& key, std::uint64_t& size) const {
    struct stat st;
    if (::stat(pathOf(key).c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
    size = static_cast<std::uint64_t>(st.st_size);
    return true;
}

std::string CObjectStore::md5(const std::string& key) {
    std::string path = pathOf(key);
    struct stat st;
    if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::string();
    std::int64_t mtimeNs =
        static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_md5.find(path);
        if (it != m_md5.end() && it->second.size == static_cast<std::uint64_t>(st.st_size) &&
            it->second.mtimeNs == mtimeNs) {
            return it->second.md5;
        }
    }
    CFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) return std::string();
    Poco::MD5Engine engine;
    std::vector<char> buffer(1 << 20);
    for (;;) {
        ssize_t n = ::read(fd.get(), buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return std::string();
        if (n == 0) break;
        engine.update(buffer.data(), static_cast<std::size_t>(n));
    }
    std::string digest = Poco::DigestEngine::digestToHex(engine.digest());
    std::lock_guard<std::mutex> lock(m_mutex);
    m_md5[path] = Md5Cache{static_cast<std::uint64_t>(st.st_size), mtimeNs, digest};
    return digest;
}

std::string CObjectStore::makeTempPath() const {
    std::string dir = root() + "/.tmp";
    fs::create_directories(dir);
    return dir + "/" + std::to_string(::getpid()) + "-" + std::to_string(++g_tempCounter);
}

void CObjectStore::commit(const std::string& tempPath, const std::string& key) {
    std::string path = pathOf(key);
    fs::create_directories(fs::path(path).parent_path());
    fs::rename(tempPath, path);
}

void CObjectStore::writeContent(const std::string& key, const std::string& content) {
    std::string temp = makeTempPath();
    {
        CFd fd(::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        if (fd.get() < 0) throw std::runtime_error("cannot create " + temp);
        writeAll(fd.get(), content.data(), content.size());
    }
    commit(temp, key);
}

void CObjectStore::generateInto(char* out, std::size_t size, std::uint32_t seed,
                                std::uint64_t offset) {
    // Each 8-byte word is a hash of its index, so any slice can be made without the ones before.
    std::uint64_t word = offset / 8;
    std::size_t skip = static_cast<std::size_t>(offset % 8);
    std::size_t done = 0;
    while (done < size) {
        std::uint64_t value = splitmix((static_cast<std::uint64_t>(seed) << 40) ^ word);
        unsigned char bytes[8];
        for (int i = 0; i < 8; ++i) bytes[i] = static_cast<unsigned char>(value >> (8 * i));
        std::size_t take = std::min<std::size_t>(8 - skip, size - done);
        std::memcpy(out + done, bytes + skip, take);
        done += take;
        skip = 0;
        ++word;
    }
}

void CObjectStore::writeGenerated(const std::string& key, std::uint64_t size, std::uint32_t seed) {
    std::string temp = makeTempPath();
    {
        CFd fd(::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        if (fd.get() < 0) throw std::runtime_error("cannot create " + temp);
        std::vector<char> buffer(1 << 20);
        std::uint64_t offset = 0;
        while (offset < size) {
            std::size_t chunk =
                static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), size - offset));
            generateInto(buffer.data(), chunk, seed, offset);
            writeAll(fd.get(), buffer.data(), chunk);
            offset += chunk;
        }
    }
    commit(temp, key);
}

bool CObjectStore::assemble(const std::vector<std::string>& partKeys, const std::string& key,
                            std::string& error) {
    std::string temp = makeTempPath();
    {
        CFd out(::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        if (out.get() < 0) {
            error = "cannot create " + temp;
            return false;
        }
        for (const auto& partKey : partKeys) {
            CFd in(::open(pathOf(partKey).c_str(), O_RDONLY | O_CLOEXEC));
            if (in.get() < 0) {
                error = "part " + partKey + " is missing";
                ::unlink(temp.c_str());
                return false;
            }
            // The kernel copies (or shares) the extents; no bytes pass through this process.
            for (;;) {
                ssize_t n = ::copy_file_range(in.get(), nullptr, out.get(), nullptr, 1 << 30, 0);
                if (n < 0 && errno == EINTR) continue;
                if (n < 0) {
                    error = std::string("copy failed: ") + std::strerror(errno);
                    ::unlink(temp.c_str());
                    return false;
                }
                if (n == 0) break;
            }
        }
    }
    commit(temp, key);
    return true;
}

void CObjectStore::remove(const std::string& key) {
    std::error_code ec;
    fs::remove(pathOf(key), ec);
}

void CObjectStore::removeTree(const std::string& key) {
    std::error_code ec;
    fs::remove_all(pathOf(key), ec);
}

void CObjectStore::clear() {
    std::string base = root();
    std::error_code ec;
    for (const char* dir : {"b", "mp", ".tmp"}) fs::remove_all(base + "/" + dir, ec);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_md5.clear();
}

}  // namespace vxt_service
