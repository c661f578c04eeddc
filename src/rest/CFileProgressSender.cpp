#include "rest/CFileProgressSender.h"

#include <Poco/Exception.h>

#include <new>

#include "platform/Log.h"
#include "rest/CRestApiFileStatusUpdate.h"

namespace vx_transfers {

namespace {

const unsigned int kDefaultSendIntervalSeconds = 300;

}  // namespace

std::unique_ptr<CFileProgressSender> CFileProgressSender::m_thisPtr;
Poco::FastMutex CFileProgressSender::m_instanceMutex;

CFileProgressSender* CFileProgressSender::getInstance() {
    Poco::FastMutex::ScopedLock lock(m_instanceMutex);
    if (!m_thisPtr) {
        m_thisPtr.reset(new (std::nothrow) CFileProgressSender(0));
    }
    return m_thisPtr.get();
}

CFileProgressSender::CFileProgressSender(unsigned int sendInterval)
    : m_sendProgressActive(this, &CFileProgressSender::sendProgressToServer),
      m_clock([] { return Poco::Timestamp(); }) {
    setSendInterval(sendInterval);
}

CFileProgressSender::~CFileProgressSender() {
    // A pool thread may still be inside sendProgressToServer of this object. Each report ends
    // within the time-outs of one REST call.
    std::list<Poco::ActiveResult<void>> inFlight;
    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        inFlight.swap(m_inFlight);
    }
    for (Poco::ActiveResult<void>& result : inFlight) {
        result.wait();
    }
}

void CFileProgressSender::setSendInterval(unsigned int seconds) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_sendInterval = seconds == 0 ? kDefaultSendIntervalSeconds : seconds;
}

unsigned int CFileProgressSender::getSendInterval() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_sendInterval;
}

void CFileProgressSender::setClock(const Clock& clock) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_clock = clock;
}

void CFileProgressSender::reportProgress(const std::string& fileId, const std::string& bucketId,
                                         const std::string& token, unsigned long long progress) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    const Poco::Timestamp now = m_clock();
    auto entry = m_lastSendTimes.find(fileId);
    if (entry == m_lastSendTimes.end()) {
        m_lastSendTimes[fileId] = now;
        return;
    }
    const Poco::Timestamp::TimeDiff elapsedSeconds = (now - entry->second) / 1000000;
    if (elapsedSeconds < static_cast<Poco::Timestamp::TimeDiff>(m_sendInterval)) {
        return;
    }
    ProgressRequestParams params;
    params.fileId = fileId;
    params.bucketId = bucketId;
    params.token = token;
    params.progress = progress;
    m_inFlight.remove_if([](Poco::ActiveResult<void>& result) { return result.available(); });
    try {
        m_inFlight.push_back(m_sendProgressActive(params));
    } catch (const Poco::Exception& e) {
        // The shared thread pool is exhausted: this report is lost like a failed one.
        VXT_LOG_ERROR("Unable to start sending progress to server: file id = " << fileId << ": "
                                                                               << e.displayText());
    }
    entry->second = now;
}

void CFileProgressSender::sendProgressToServer(const ProgressRequestParams& params) {
    CRestApiFileStatusUpdate call;
    CRestApiFileStatusUpdate::RequestDetails details;
    details.fileId = params.fileId;
    details.bucketId = params.bucketId;
    details.token = params.token;
    details.progress = params.progress;
    details.status = CRestApiFileStatusUpdate::RequestDetails::UPLOADING;
    if (call.sendRequest(details) != DT_SUCCESS) {
        VXT_LOG_ERROR("Error sending progress to server: file id = " << params.fileId);
        return;
    }
    if (call.receiveResponse() != DT_SUCCESS) {
        VXT_LOG_ERROR("Error sending progress to server (invalid or no response): file id = "
                      << params.fileId);
    }
}

bool CFileProgressSender::waitForReportsSent(long timeoutMs) {
    std::list<Poco::ActiveResult<void>> inFlight;
    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        inFlight = m_inFlight;
    }
    const Poco::Timestamp start;
    for (Poco::ActiveResult<void>& result : inFlight) {
        const long left = timeoutMs - static_cast<long>(start.elapsed() / 1000);
        if (left <= 0 || !result.tryWait(left)) {
            return false;
        }
    }
    return true;
}

}  // namespace vx_transfers
