#include "support/CNginxFixture.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/CFreePort.h"

namespace vxt_test {
namespace fs = std::filesystem;
namespace {

const char* const kNginx = "/usr/sbin/nginx";
constexpr int kLaunchAttempts = 3;

std::string readWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool answersOn(unsigned short port) {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return ok;
}

}  // namespace

std::string CNginxFixture::AccessLogEntry::method() const {
    return request.substr(0, request.find(' '));
}

std::string CNginxFixture::AccessLogEntry::path() const {
    std::size_t start = request.find(' ');
    if (start == std::string::npos) return std::string();
    std::size_t end = request.find(' ', start + 1);
    return request.substr(start + 1, end == std::string::npos ? end : end - start - 1);
}

CNginxFixture::CNginxFixture() {
    if (::access(kNginx, X_OK) != 0) {
        throw std::runtime_error(std::string(kNginx) +
                                 " is missing: install nginx-core (scripts/install-deps)");
    }
    std::string pattern = fs::temp_directory_path().string() + "/vxt-nginx-XXXXXX";
    if (::mkdtemp(&pattern[0]) == nullptr) throw std::runtime_error("cannot make a temp folder");
    m_dir = pattern;
    m_root = m_dir + "/root";
    for (const char* sub : {"root", "body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        fs::create_directories(m_dir + "/" + sub);
    }
    std::string lastError;
    for (int attempt = 0; attempt < kLaunchAttempts; ++attempt) {
        m_port = CFreePort::pick();
        writeConfig();
        launch();
        try {
            waitUntilAnswering(std::chrono::seconds(10));
            return;
        } catch (const std::exception& e) {
            lastError = e.what();
            stop();
            // Another process may have taken the port between picking and binding: try again.
            if (lastError.find("Address already in use") == std::string::npos) break;
        }
    }
    std::error_code ec;
    fs::remove_all(m_dir, ec);
    throw std::runtime_error("nginx did not start: " + lastError);
}

CNginxFixture::~CNginxFixture() {
    stop();
    std::error_code ec;
    fs::remove_all(m_dir, ec);
}

std::string CNginxFixture::baseUrl() const { return "http://127.0.0.1:" + std::to_string(m_port); }

std::string CNginxFixture::urlFor(const std::string& relativePath) const {
    return baseUrl() + "/" + relativePath;
}

std::string CNginxFixture::accessLogPath() const { return m_dir + "/access.log"; }
std::string CNginxFixture::errorLogPath() const { return m_dir + "/error.log"; }

void CNginxFixture::writeConfig() const {
    std::ofstream conf(m_dir + "/nginx.conf");
    // One process, in the foreground: the fixture's child is nginx itself, files it writes belong
    // to the user running the tests (root included), and stopping it is one signal.
    conf << "daemon off;\n"
            "master_process off;\n"
            "worker_processes 1;\n"
            "pid "
         << m_dir
         << "/nginx.pid;\n"
            "error_log "
         << m_dir
         << "/error.log info;\n"
            "events { worker_connections 1024; }\n"
            "http {\n"
            "    default_type application/octet-stream;\n"
            "    log_format vxt '$status|$http_range|$body_bytes_sent|$request_length|$request';\n"
            "    access_log "
         << m_dir
         << "/access.log vxt;\n"
            "    client_body_temp_path "
         << m_dir
         << "/body;\n"
            "    proxy_temp_path "
         << m_dir
         << "/proxy;\n"
            "    fastcgi_temp_path "
         << m_dir
         << "/fastcgi;\n"
            "    uwsgi_temp_path "
         << m_dir
         << "/uwsgi;\n"
            "    scgi_temp_path "
         << m_dir
         << "/scgi;\n"
            "    sendfile on;\n"
            "    tcp_nopush on;\n"
            "    keepalive_requests 100000;\n"
            "    client_max_body_size 0;\n"
            "    client_body_buffer_size 1m;\n"
            "    server {\n"
            "        listen 127.0.0.1:"
         << m_port
         << ";\n"
            "        root "
         << m_root
         << ";\n"
            "        location / {\n"
            "            dav_methods PUT DELETE;\n"
            "            create_full_put_path on;\n"
            "            dav_access user:rw group:r all:r;\n"
            "        }\n"
            "    }\n"
            "}\n";
    if (!conf) throw std::runtime_error("cannot write " + m_dir + "/nginx.conf");
}

void CNginxFixture::launch() {
    // Everything the child needs is prepared before fork: after it, only system calls.
    std::string prefix = m_dir + "/";
    std::string conf = m_dir + "/nginx.conf";
    std::string errors = m_dir + "/error.log";
    std::string output = m_dir + "/stderr.log";
    std::vector<char*> argv{const_cast<char*>(kNginx),         const_cast<char*>("-p"),
                            const_cast<char*>(prefix.c_str()), const_cast<char*>("-e"),
                            const_cast<char*>(errors.c_str()), const_cast<char*>("-c"),
                            const_cast<char*>(conf.c_str()),   nullptr};
    pid_t pid = ::fork();
    if (pid < 0) throw std::runtime_error("fork failed");
    if (pid == 0) {
        // nginx goes when the test process goes, even if it dies without cleaning up.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        int fd = ::open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        if (fd >= 0) {
            ::dup2(fd, 1);
            ::dup2(fd, 2);
        }
        ::execv(kNginx, argv.data());
        ::_exit(127);
    }
    m_pid = pid;
}

void CNginxFixture::waitUntilAnswering(std::chrono::milliseconds timeout) {
    // nginx is another process: polling its port, with a deadline, is the only way to know.
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_pid = -1;
            throw std::runtime_error("nginx exited: " + readWhole(m_dir + "/stderr.log") +
                                     readWhole(errorLogPath()));
        }
        if (answersOn(m_port)) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    throw std::runtime_error("nginx did not answer on port " + std::to_string(m_port) + ": " +
                             readWhole(errorLogPath()));
}

void CNginxFixture::stop() {
    if (m_pid <= 0) return;
    ::kill(m_pid, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    int status = 0;
    while (::waitpid(m_pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    m_pid = -1;
}

void CNginxFixture::writeFile(const std::string& relativePath, const std::string& content) const {
    fs::path path = fs::path(m_root) / relativePath;
    fs::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    out << content;
    if (!out) throw std::runtime_error("cannot write " + path.string());
}

std::string CNginxFixture::readFile(const std::string& relativePath) const {
    std::string path = m_root + "/" + relativePath;
    if (!fs::is_regular_file(path)) throw std::runtime_error("no file " + path);
    return readWhole(path);
}

std::vector<CNginxFixture::AccessLogEntry> CNginxFixture::accessLog() const {
    std::vector<AccessLogEntry> out;
    std::istringstream in(readWhole(accessLogPath()));
    std::string line;
    while (std::getline(in, line)) {
        std::vector<std::string> fields;
        std::size_t start = 0;
        for (int i = 0; i < 4; ++i) {
            std::size_t bar = line.find('|', start);
            if (bar == std::string::npos) break;
            fields.push_back(line.substr(start, bar - start));
            start = bar + 1;
        }
        if (fields.size() != 4) continue;
        AccessLogEntry entry;
        entry.status = std::atoi(fields[0].c_str());
        entry.range = fields[1] == "-" ? std::string() : fields[1];
        entry.bodyBytesSent = std::strtoull(fields[2].c_str(), nullptr, 10);
        entry.requestLength = std::strtoull(fields[3].c_str(), nullptr, 10);
        entry.request = line.substr(start);
        out.push_back(entry);
    }
    return out;
}

CNginxFixture::AccessLogEntry CNginxFixture::waitForAccess(
    const std::function<bool(const AccessLogEntry&)>& predicate,
    std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        for (const auto& entry : accessLog()) {
            if (predicate(entry)) return entry;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            throw std::runtime_error("no matching nginx access within " +
                                     std::to_string(timeout.count()) + " ms");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

}  // namespace vxt_test
