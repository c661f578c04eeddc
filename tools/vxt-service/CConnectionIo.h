// The byte level of one connection: a read buffer that lets request heads be parsed without
// losing the body bytes behind them, whole writes, file bodies sent with sendfile (or through a
// buffer under TLS), and an optional pace that limits body bytes per second in both directions.
#ifndef VXT_SERVICE_CCONNECTIONIO_H
#define VXT_SERVICE_CCONNECTIONIO_H

#include <Poco/Net/StreamSocket.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "vxt-service/CStopSignal.h"

namespace vxt_service {

class CConnectionIo {
public:
    enum class HeadStatus { Complete, Closed, TooLarge };

    CConnectionIo(Poco::Net::StreamSocket& socket, bool tls, const CStopSignal& stop);

    // Reads up to and including the blank line that ends a request head (empty lines before it
    // are skipped). Closed: the peer closed or went silent before a complete head. TooLarge: no
    // blank line within `maxBytes`.
    HeadStatus readHead(std::size_t maxBytes, std::string& head);

    // Up to `max` bytes, buffered ones first; 0 when the peer has closed. Throws
    // Poco::TimeoutException when the peer stays silent past the receive time-out.
    std::size_t readSome(char* dst, std::size_t max);
    // Exactly `size` bytes; false when the peer closed first.
    bool readExact(char* dst, std::size_t size);
    // Reads and drops `size` bytes; false when the peer closed first.
    bool discard(std::uint64_t size);
    // Reads one line ending in CRLF (for chunked bodies), at most `maxBytes`.
    bool readLine(std::string& line, std::size_t maxBytes);

    void write(const char* data, std::size_t size);
    void write(const std::string& text) { write(text.data(), text.size()); }
    // Sends `length` bytes of the open file `fd` from `offset`. Returns the count sent; stops
    // early only when the service is stopping.
    std::uint64_t sendFile(int fd, std::uint64_t offset, std::uint64_t length);

    // Paces body bytes from now on; 0 removes the limit.
    void setThrottle(std::uint64_t bytesPerSecond);
    // Waits as the pace demands before `bytes` more body bytes move; true if stopping.
    bool pace(std::uint64_t bytes);
    // The largest body chunk worth moving at once under the current pace.
    std::size_t chunkLimit(std::size_t wanted) const;

    std::uint64_t bytesReceived() const { return m_received; }
    std::uint64_t bytesSent() const { return m_sent; }
    bool stopping() const { return m_stop.raised(); }

private:
    std::size_t buffered() const { return m_end - m_begin; }
    std::size_t fill();

    Poco::Net::StreamSocket& m_socket;
    bool m_tls;
    const CStopSignal& m_stop;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::uint64_t m_received = 0;
    std::uint64_t m_sent = 0;
    std::uint64_t m_throttle = 0;
    std::uint64_t m_pacedBytes = 0;
    std::chrono::steady_clock::time_point m_paceStart;
};

}  // namespace vxt_service

#endif
