#include "vxt-service/CConnectionIo.h"

#include <Poco/Exception.h>
#include <Poco/Net/NetException.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vxt_service {
namespace {
constexpr std::size_t kBufferSize = 64 * 1024;
constexpr std::size_t kSendFileChunk = 8 * 1024 * 1024;
constexpr std::size_t kTlsChunk = 256 * 1024;
}  // namespace

CConnectionIo::CConnectionIo(Poco::Net::StreamSocket& socket, bool tls, const CStopSignal& stop)
    : m_socket(socket), m_tls(tls), m_stop(stop), m_buffer(kBufferSize) {}

std::size_t CConnectionIo::fill() {
    if (m_begin == m_end) {
        m_begin = m_end = 0;
    } else if (m_begin > 0 && m_end == m_buffer.size()) {
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, buffered());
        m_end -= m_begin;
        m_begin = 0;
    }
    if (m_end == m_buffer.size()) return 0;
    int n =
        m_socket.receiveBytes(m_buffer.data() + m_end, static_cast<int>(m_buffer.size() - m_end));
    if (n <= 0) return 0;
    m_end += static_cast<std::size_t>(n);
    m_received += static_cast<std::uint64_t>(n);
    return static_cast<std::size_t>(n);
}

CConnectionIo::HeadStatus CConnectionIo::readHead(std::size_t maxBytes, std::string& head) {
    std::size_t scanned = 0;
    for (;;) {
        // Blank lines before a request line are tolerated, as between pipelined requests.
        while (buffered() >= 2 && m_buffer[m_begin] == '\r' && m_buffer[m_begin + 1] == '\n') {
            m_begin += 2;
            scanned = 0;
        }
        const char* start = m_buffer.data() + m_begin;
        std::size_t from = scanned >= 3 ? scanned - 3 : 0;
        std::size_t limit = std::min(buffered(), maxBytes);
        for (std::size_t i = from; i + 4 <= limit; ++i) {
            if (start[i] == '\r' && start[i + 1] == '\n' && start[i + 2] == '\r' &&
                start[i + 3] == '\n') {
                head.assign(start, i + 4);
                m_begin += i + 4;
                return HeadStatus::Complete;
            }
        }
        scanned = limit;
        if (buffered() >= maxBytes) return HeadStatus::TooLarge;
        if (m_begin > 0) {
            std::memmove(m_buffer.data(), m_buffer.data() + m_begin, buffered());
            m_end -= m_begin;
            m_begin = 0;
        }
        if (fill() == 0) return HeadStatus::Closed;
    }
}

std::size_t CConnectionIo::readSome(char* dst, std::size_t max) {
    if (max == 0) return 0;
    if (buffered() > 0) {
        std::size_t n = std::min(max, buffered());
        std::memcpy(dst, m_buffer.data() + m_begin, n);
        m_begin += n;
        return n;
    }
    int n = m_socket.receiveBytes(dst, static_cast<int>(std::min<std::size_t>(max, 1 << 30)));
    if (n <= 0) return 0;
    m_received += static_cast<std::uint64_t>(n);
    return static_cast<std::size_t>(n);
}

bool CConnectionIo::readExact(char* dst, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        std::size_t n = readSome(dst + done, size - done);
        if (n == 0) return false;
        done += n;
    }
    return true;
}

bool CConnectionIo::discard(std::uint64_t size) {
    std::vector<char> sink(kBufferSize);
    while (size > 0) {
        std::size_t n = readSome(
            sink.data(), static_cast<std::size_t>(std::min<std::uint64_t>(size, sink.size())));
        if (n == 0) return false;
        size -= n;
    }
    return true;
}

bool CConnectionIo::readLine(std::string& line, std::size_t maxBytes) {
    line.clear();
    for (;;) {
        if (buffered() == 0 && fill() == 0) return false;
        char c = m_buffer[m_begin++];
        if (c == '\n') {
            if (line.empty() || line.back() != '\r') return false;
            line.pop_back();
            return true;
        }
        line.push_back(c);
        if (line.size() > maxBytes) return false;
    }
}

void CConnectionIo::write(const char* data, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        int n = m_socket.sendBytes(data + done,
                                   static_cast<int>(std::min<std::size_t>(size - done, 1 << 30)));
        if (n <= 0) throw Poco::Net::ConnectionResetException("peer closed while sending");
        done += static_cast<std::size_t>(n);
        m_sent += static_cast<std::uint64_t>(n);
    }
}

std::uint64_t CConnectionIo::sendFile(int fd, std::uint64_t offset, std::uint64_t length) {
    std::uint64_t done = 0;
    std::vector<char> buffer;
    if (m_tls) buffer.resize(kTlsChunk);
    while (done < length) {
        std::size_t chunk = chunkLimit(static_cast<std::size_t>(
            std::min<std::uint64_t>(length - done, m_tls ? kTlsChunk : kSendFileChunk)));
        if (pace(chunk)) return done;
        if (m_tls) {
            ssize_t n = ::pread(fd, buffer.data(), chunk, static_cast<off_t>(offset + done));
            if (n <= 0) throw Poco::IOException("cannot read stored file");
            write(buffer.data(), static_cast<std::size_t>(n));
            done += static_cast<std::uint64_t>(n);
            continue;
        }
        off_t off = static_cast<off_t>(offset + done);
        ssize_t n = ::sendfile(m_socket.impl()->sockfd(), fd, &off, chunk);
        if (n < 0) {
            if (errno == EINTR) continue;
            if (errno == EAGAIN) throw Poco::TimeoutException("send timed out");
            throw Poco::Net::ConnectionResetException(std::strerror(errno));
        }
        if (n == 0) throw Poco::IOException("stored file ended early");
        done += static_cast<std::uint64_t>(n);
        m_sent += static_cast<std::uint64_t>(n);
    }
    return done;
}

void CConnectionIo::setThrottle(std::uint64_t bytesPerSecond) {
    m_throttle = bytesPerSecond;
    m_pacedBytes = 0;
    m_paceStart = std::chrono::steady_clock::now();
}

bool CConnectionIo::pace(std::uint64_t bytes) {
    if (m_throttle == 0) return m_stop.raised();
    // The bytes about to move may leave only when the running average allows them.
    auto due = m_paceStart + std::chrono::microseconds(m_pacedBytes * 1000000 / m_throttle);
    m_pacedBytes += bytes;
    auto now = std::chrono::steady_clock::now();
    if (due <= now) return m_stop.raised();
    return m_stop.waitFor(std::chrono::duration_cast<std::chrono::microseconds>(due - now));
}

std::size_t CConnectionIo::chunkLimit(std::size_t wanted) const {
    if (m_throttle == 0) return wanted;
    // About twenty steps a second keeps a throttled stream smooth.
    std::size_t step = static_cast<std::size_t>(std::max<std::uint64_t>(m_throttle / 20, 1));
    return std::min(wanted, step);
}

}  // namespace vxt_service
