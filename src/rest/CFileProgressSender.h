#pragma once

#include <Poco/ActiveMethod.h>
#include <Poco/ActiveResult.h>
#include <Poco/Mutex.h>
#include <Poco/Timestamp.h>

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>

namespace vx_transfers {

// Reports the progress of uploads to the service, each file at most once per interval, on a
// pool thread so that the channel thread that reports is never held up by the network. One
// for the process. Its mutex is a leaf: nothing else is locked while it is held.
class CFileProgressSender {
public:
    struct ProgressRequestParams {
        std::string fileId;
        std::string bucketId;
        std::string token;
        unsigned long long progress = 0;  // bytes transferred so far
    };

    // Where the sender reads the time; tests move it instead of waiting.
    typedef std::function<Poco::Timestamp()> Clock;

    // The process's sender, made on the first call with the default interval; null if it
    // could not be made.
    static CFileProgressSender* getInstance();

    explicit CFileProgressSender(unsigned int sendInterval);
    // Waits for the reports still on their way.
    ~CFileProgressSender();

    CFileProgressSender(const CFileProgressSender&) = delete;
    CFileProgressSender& operator=(const CFileProgressSender&) = delete;

    // Minimal time between two reports of one file; 0 means the default of 300 seconds.
    void setSendInterval(unsigned int seconds);
    unsigned int getSendInterval();

    // The first sighting of a file only starts its clock; after that a report goes out once
    // the interval has passed since the last one.
    void reportProgress(const std::string& fileId, const std::string& bucketId,
                        const std::string& token, unsigned long long progress);

    // One report, sent and read on the calling thread; failures are logged, not retried.
    void sendProgressToServer(const ProgressRequestParams& params);

    void setClock(const Clock& clock);

    // True when every report started so far has finished within the time given.
    bool waitForReportsSent(long timeoutMs);

private:
    Poco::ActiveMethod<void, ProgressRequestParams, CFileProgressSender> m_sendProgressActive;
    Poco::FastMutex m_mutex;
    std::map<std::string, Poco::Timestamp> m_lastSendTimes;  // guarded by m_mutex
    unsigned int m_sendInterval = 0;                         // guarded by m_mutex
    Clock m_clock;                                           // guarded by m_mutex
    std::list<Poco::ActiveResult<void>> m_inFlight;          // guarded by m_mutex

    static std::unique_ptr<CFileProgressSender> m_thisPtr;
    static Poco::FastMutex m_instanceMutex;
};

}  // namespace vx_transfers
