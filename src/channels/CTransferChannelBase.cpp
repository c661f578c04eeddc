#include "channels/CTransferChannelBase.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/URI.h>
#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <sstream>

#include "channels/CChannelThrottle.h"
#include "channels/CCurlHandle.h"
#include "channels/CSystemChannelClock.h"
#include "channels/http_request_head.h"
#include "channels/wait_on_socket.h"
#include "files/ITransferFile.h"
#include "platform/Log.h"
#include "platform/ProxyConfig.h"
#include "platform/porting/ILocalFile.h"
#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {

namespace {

const long kConnectTimeoutMs = 15000;
// A response head longer than this is not an HTTP server talking to us.
const std::string::size_type kMaxResponseHeadBytes = 64 * 1024;

}  // namespace

CTransferChannelBase::CTransferChannelBase(const std::string& url, const std::wstring& path,
                                           unsigned long long offset, unsigned long long size,
                                           ITransferFile* parent, unsigned int channelIndex,
                                           Poco::SharedPtr<ITransferBufferManager> bufferManager,
                                           bool /*addToDb: the derived classes store the row*/)
    : m_cancelRequested(false),
      m_stopRequested(false),
      m_paused(false),
      m_offset(offset),
      m_size(size),
      m_bytesReported(0),
      m_maxRetries(0),
      m_maxSpeed(0),
      m_parent(parent),
      m_url(url),
      m_path(path),
      m_bufferManager(bufferManager),
      m_socket(-1),
      m_clock(&CSystemChannelClock::instance()),
      m_socketWaitTimeoutMs(kSocketWaitTimeoutMs),
      m_workerNeedsJoin(false),
      m_progressFired(0) {
    if (parent != nullptr) {
        std::string bucketUid;
        parent->getUid(m_fileUid);
        parent->getBucketUid(bucketUid);
        const int groupId = parent->getGroupId();
        m_logger.configure(bucketUid, static_cast<unsigned int>(groupId), m_fileUid,
                           static_cast<int>(channelIndex));
    }
}

CTransferChannelBase::~CTransferChannelBase() { shutdownWorker(); }

// --- Control, from the threads of engines, files and the application -------------------------

void CTransferChannelBase::setMaxRetries(unsigned int maxRetries) {
    if (!m_thread.isRunning()) {
        m_maxRetries = maxRetries;
    }
}

void CTransferChannelBase::setMaxTransferSpeed(unsigned int bytesPerSec) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_maxSpeed = bytesPerSec;
}

dt_error CTransferChannelBase::start() {
    Poco::FastMutex::ScopedLock joinLock(m_joinMutex);
    if (m_thread.isRunning()) {
        VXT_BLOG_ERROR(m_logger, "Transfer channel: start requested while the channel runs");
        return DT_FAILURE;
    }
    if (m_workerNeedsJoin) {
        // The previous run ended by itself; reap its thread before the next one.
        m_thread.join();
        m_workerNeedsJoin = false;
    }
    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        m_cancelRequested = false;
        m_stopRequested = false;
        m_bytesReported = 0;
    }
    m_thread.start(*this);
    m_workerNeedsJoin = true;
    return DT_SUCCESS;
}

void CTransferChannelBase::cancel() {
    if (!isWorkerRunning()) {
        joinWorker();
        return;
    }
    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        m_paused = false;
        m_cancelRequested = true;
        m_pauseCondition.signal();
    }
    joinWorker();
}

void CTransferChannelBase::stop() {
    if (!isWorkerRunning()) {
        joinWorker();
        return;
    }
    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        m_stopRequested = true;
        m_pauseCondition.signal();
    }
    joinWorker();
}

bool CTransferChannelBase::isStarted() { return m_thread.isRunning(); }

void CTransferChannelBase::pause() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_paused = true;
}

void CTransferChannelBase::resume() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    if (!m_thread.isRunning()) {
        m_paused = false;
        return;
    }
    if (m_paused) {
        m_pauseCondition.signal();
        m_paused = false;
    }
}

bool CTransferChannelBase::isPaused() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_paused;
}

unsigned long long CTransferChannelBase::getOffset() { return m_offset; }

ITransferFile* CTransferChannelBase::getParent() const {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    return m_parent;
}

void CTransferChannelBase::setParent(ITransferFile* parent) {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    m_parent = parent;
}

void CTransferChannelBase::setClock(IChannelClock* clock) {
    m_clock = clock != nullptr ? clock : &CSystemChannelClock::instance();
}

void CTransferChannelBase::setSocketWaitTimeoutMs(long timeoutMs) {
    m_socketWaitTimeoutMs = timeoutMs;
}

void CTransferChannelBase::shutdownWorker() {
    if (isWorkerRunning()) {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        m_stopRequested = true;
        m_pauseCondition.signal();
    }
    joinWorker();
}

bool CTransferChannelBase::isWorkerRunning() {
    if (Poco::Thread::current() == &m_thread) {
        // From a handler of our own event: joining would wait for ourselves.
        VXT_BLOG_ERROR(m_logger,
                       "Transfer channel: stop or cancel called from the channel's own thread");
        return false;
    }
    return m_thread.isRunning();
}

void CTransferChannelBase::joinWorker() {
    if (Poco::Thread::current() == &m_thread) {
        return;
    }
    Poco::FastMutex::ScopedLock joinLock(m_joinMutex);
    if (m_workerNeedsJoin) {
        m_thread.join();
        m_workerNeedsJoin = false;
    }
}

// --- Events ----------------------------------------------------------------------------------

void CTransferChannelBase::sendProgressEvent(unsigned long long bytesLeft) {
    const unsigned long long done = m_size - bytesLeft;
    const unsigned long long delta = done > m_bytesReported ? done - m_bytesReported : 0;
    m_bytesReported += delta;
    if (delta != 0) {
        const long long signedDelta = static_cast<long long>(delta);
        m_progressFired += signedDelta;
        progressEvent.notify(this, signedDelta);
    }
}

void CTransferChannelBase::takeBackProgress(unsigned long long bytes) {
    if (bytes != 0) {
        const long long signedDelta = -static_cast<long long>(bytes);
        m_progressFired += signedDelta;
        progressEvent.notify(this, signedDelta);
    }
}

void CTransferChannelBase::sendStateEvent(ITransferChannel::State state,
                                          transfer_defs::FileErrorType error) {
    const StateEventData data{state, error};
    stateEvent.notify(this, data);
}

void CTransferChannelBase::onPause() {
    sendStateEvent(StatePaused, transfer_defs::FILE_ERROR_NONE);
    Poco::FastMutex::ScopedLock lock(m_mutex);
    // m_paused is tested too: a resume() that came between the loop head and here has already
    // cleared it and signalled nobody, and must not leave the channel waiting for ever.
    if (!m_cancelRequested && !m_stopRequested && m_paused) {
        m_pauseCondition.wait(m_mutex);
    }
}

// --- The attempt loop ------------------------------------------------------------------------

void CTransferChannelBase::run() {
    m_progressFired = 0;
    try {
        runAttempts();
    } catch (const Poco::Exception& e) {
        failOnException(e.displayText());
    } catch (const std::exception& e) {
        failOnException(e.what());
    } catch (...) {
        failOnException("unknown exception");
    }
}

void CTransferChannelBase::runAttempts() {
    RunState state;
    state.bytesLeft = m_size;
    state.rangeSupported = isRangeRequestSupported();
    sendStateEvent(StateStarted, transfer_defs::FILE_ERROR_NONE);
    for (;;) {
        TurnOutcome outcome = pauseIfRequested();
        if (outcome == TurnOutcome::RETURN) {
            return;
        }
        if (outcome == TurnOutcome::STOP) {
            stopEnding(state);
            return;
        }
        onDbStateModify(StateStarted);
        outcome = prepareAttempt(state);
        if (outcome == TurnOutcome::GO_ON) {
            outcome = runAttempt(state);
        }
        if (outcome == TurnOutcome::RETURN) {
            return;
        }
        if (outcome == TurnOutcome::LEAVE_LOOP || isLastTurn(state)) {
            break;
        }
    }
    storeFinalState(state);
}

CTransferChannelBase::TurnOutcome CTransferChannelBase::pauseIfRequested() {
    bool paused = false;
    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        paused = m_paused;
    }
    if (!paused) {
        return TurnOutcome::GO_ON;
    }
    VXT_BLOG_INFO(m_logger, "Upload channel: entering paused state. file id: "
                                << m_fileUid << ". offset: " << m_offset);
    onDbStateModify(StatePaused);
    onPause();
    sendStateEvent(StateStarted, transfer_defs::FILE_ERROR_NONE);
    bool cancelled = false;
    bool stopped = false;
    {
        Poco::FastMutex::ScopedLock lock(m_mutex);
        cancelled = m_cancelRequested;
        stopped = m_stopRequested;
    }
    if (cancelled) {
        onDbStateModify(StateCancelled);
        sendStateEvent(StateCancelled, transfer_defs::FILE_ERROR_NONE);
        return TurnOutcome::RETURN;
    }
    return stopped ? TurnOutcome::STOP : TurnOutcome::GO_ON;
}

CTransferChannelBase::TurnOutcome CTransferChannelBase::prepareAttempt(RunState& state) {
    state.result = onBeforeConnectionInit();
    if (state.result == DT_SUCCESS) {
        return TurnOutcome::GO_ON;
    }
    state.fileError = transfer_defs::FILE_ERROR_CHANNEL_INIT;
    if (state.result == DT_URL_UNAVAILABLE) {
        onDbStateModify(StateFailed);
        sendStateEvent(StateFailed, transfer_defs::FILE_ERROR_URL);
        return TurnOutcome::RETURN;
    }
    return TurnOutcome::LEAVE_LOOP;
}

CTransferChannelBase::TurnOutcome CTransferChannelBase::runAttempt(RunState& state) {
    {
        // A new file object and a new connection for every attempt; both go at the end of it.
        std::unique_ptr<ILocalFile> file(ILocalFile::create());
        if (!file) {
            VXT_BLOG_ERROR(m_logger, "Unable to create file object!");
            state.fileError = transfer_defs::FILE_ERROR_NONE;
            state.result = DT_FAILURE;
            return TurnOutcome::LEAVE_LOOP;
        }
        VXT_BLOG_INFO(m_logger, "Transfer channel: opening file. File id: "
                                    << m_fileUid << ". offset: " << m_offset);
        if (openFile(*file, state.doneBytes) != DT_SUCCESS) {
            // No stored state: it stays "started", so a later start looks like a recovery.
            VXT_BLOG_INFO(m_logger, "Transfer Error: unable to open file");
            sendStateEvent(StateFailed, transfer_defs::FILE_ERROR_LOCAL_FILE);
            return TurnOutcome::RETURN;
        }
        VXT_BLOG_INFO(m_logger, "Transfer channel: Initiating connection to url"
                                    << m_url << ". File id: " << m_fileUid
                                    << ". offset: " << m_offset);
        state.bytesThisAttempt = 0;
        CCurlHandle handle(nullptr);
        const TurnOutcome connected = connect(state, handle);
        if (connected != TurnOutcome::GO_ON) {
            return connected;
        }
        state.result = transfer(*file, handle, state.bytesLeft, state.bytesThisAttempt);
        state.doneBytes += state.bytesThisAttempt;
    }
    return judgeAttempt(state);
}

CTransferChannelBase::TurnOutcome CTransferChannelBase::connect(RunState& state,
                                                                CCurlHandle& handle) {
    const dt_error error = initiateConnection(handle, state.doneBytes);
    if (error == DT_SUCCESS) {
        return TurnOutcome::GO_ON;
    }
    state.result = onConnectionFailure(error);
    if (state.result != DT_SUCCESS) {
        VXT_BLOG_INFO(m_logger, "Transfer Error: unable to initiate connection: " << m_url);
        state.fileError = transfer_defs::FILE_ERROR_URL;
        return TurnOutcome::LEAVE_LOOP;
    }
    // The hook repaired the connection (a redirect, a fresh URL): again at once, and free.
    state.result = DT_FAILURE;
    return TurnOutcome::NEXT_TURN;
}

CTransferChannelBase::TurnOutcome CTransferChannelBase::judgeAttempt(RunState& state) {
    if (state.result == DT_PAUSED) {
        VXT_BLOG_INFO(m_logger, "Transfer channel: received paused request. File id: "
                                    << m_fileUid << ". offset: " << m_offset);
        if (!state.rangeSupported) {
            takeBackProgress(state.doneBytes);
            m_bytesReported = 0;
            state.doneBytes = 0;
        }
        state.bytesLeft = m_size - state.doneBytes;
        return TurnOutcome::NEXT_TURN;
    }
    ++state.attempts;
    if (endsTheLoop(state.result)) {
        return TurnOutcome::LEAVE_LOOP;
    }
    VXT_BLOG_WARNING(m_logger,
                     "Error when uploading part using uri " << m_url << ". Trying to reconnect...");
    VXT_BLOG_INFO(m_logger, "Bytes already uploaded: " << state.doneBytes);
    if (state.rangeSupported && m_size > state.doneBytes && state.bytesThisAttempt != 0) {
        state.bytesLeft = m_size - state.doneBytes;
    } else {
        VXT_BLOG_INFO(m_logger, "Trying to re-transfer the whole part!");
        VXT_BLOG_INFO(m_logger, "Part transfer attempts: " << state.attempts);
        takeBackProgress(state.doneBytes);
        state.bytesLeft = m_size;
        m_bytesReported = 0;
        state.doneBytes = 0;
    }
    if (state.attempts >= m_maxRetries) {
        state.fileError = state.result == DT_LOCAL_FILE_ERROR
                              ? transfer_defs::FILE_ERROR_LOCAL_FILE
                              : transfer_defs::FILE_ERROR_CONNECTION;
        // doneBytes and m_bytesReported stay: with no retry limit the loop goes on from here.
        takeBackProgress(state.doneBytes);
    }
    return TurnOutcome::NEXT_TURN;
}

bool CTransferChannelBase::isLastTurn(const RunState& state) const {
    // Exact equality: with no retry limit (0) a failing channel keeps trying.
    return endsTheLoop(state.result) || state.attempts == m_maxRetries;
}

bool CTransferChannelBase::endsTheLoop(dt_error result) {
    return result == DT_SUCCESS || result == DT_CANCELED || result == DT_STOPPED;
}

void CTransferChannelBase::storeFinalState(RunState& state) {
    switch (state.result) {
        case DT_CANCELED:
            onDbStateModify(StateCancelled);
            sendStateEvent(StateCancelled, transfer_defs::FILE_ERROR_NONE);
            break;
        case DT_STOPPED:
            stopEnding(state);
            break;
        case DT_SUCCESS:
            onDbStateModify(StateCompleted);
            sendStateEvent(StateCompleted, transfer_defs::FILE_ERROR_NONE);
            break;
        default:
            onDbStateModify(StateFailed);
            sendStateEvent(StateFailed, state.fileError);
            break;
    }
}

void CTransferChannelBase::stopEnding(RunState& state) {
    // No stored state: the range is taken up again from what was stored when it started.
    VXT_BLOG_INFO(m_logger,
                  "Stopped upload of a channel. url: " << m_url << " offset: " << m_offset);
    takeBackProgress(state.doneBytes);
    sendStateEvent(StateStopped, transfer_defs::FILE_ERROR_NONE);
}

void CTransferChannelBase::failOnException(const std::string& what) {
    VXT_BLOG_ERROR(m_logger,
                   "Transfer channel: exception ended the transfer of the channel: " << what);
    try {
        if (m_progressFired > 0) {
            takeBackProgress(static_cast<unsigned long long>(m_progressFired));
        }
        m_bytesReported = 0;
        onDbStateModify(StateFailed);
        sendStateEvent(StateFailed, transfer_defs::FILE_ERROR_CONNECTION);
    } catch (...) {
        VXT_BLOG_ERROR(m_logger, "Transfer channel: exception while reporting the failure");
    }
}

dt_error CTransferChannelBase::openFile(ILocalFile& file, unsigned long long startOffset) {
    std::string path;
    string_convert::WStringToString(m_path, path);
    if (!file.open(path, ILocalFile::MODE_READ_WRITE)) {
        VXT_BLOG_ERROR(m_logger, "Unable to  open file: " << path);
        return DT_FAILURE;
    }
    const unsigned long long position = m_offset + startOffset;
    VXT_BLOG_INFO(m_logger, "File. Seek to " << position);
    if (!file.seek(position)) {
        VXT_BLOG_ERROR(m_logger, "openFile"
                                     << ": Unable to seek to position in file:" << position);
        return DT_FAILURE;
    }
    return DT_SUCCESS;
}

// --- Hooks' defaults -------------------------------------------------------------------------

dt_error CTransferChannelBase::onBeforeConnectionInit() { return DT_SUCCESS; }

dt_error CTransferChannelBase::onConnectionFailure(dt_error) { return DT_FAILURE; }

void CTransferChannelBase::onBeforeSendHttpRequest(Poco::Net::HTTPRequest&, unsigned long long) {}

dt_error CTransferChannelBase::onAfterRequestSent(CCurlHandle&) { return DT_SUCCESS; }

dt_error CTransferChannelBase::onTransferComplete(CCurlHandle&) { return DT_SUCCESS; }

// --- Connection set-up -----------------------------------------------------------------------

dt_error CTransferChannelBase::initiateConnection(CCurlHandle& handle,
                                                  unsigned long long startOffset) {
    const Poco::URI uri(m_url);
    if (handle.get() == nullptr) {
        VXT_BLOG_ERROR(m_logger, "Failed to create curl easy handle!");
        return DT_FAILURE;
    }
    dt_error result = basicCurlOptionsSetup(handle);
    if (result != DT_SUCCESS) {
        return result;
    }
    if (uri.getScheme() == "https") {
        result = setSslCurlOptions(handle);
        if (result != DT_SUCCESS) {
            return result;
        }
    }
    result = setProxyCurlOptions(handle);
    if (result != DT_SUCCESS) {
        return result;
    }
    // Connect only: returns once TCP (and TLS) stand; nothing has been sent.
    const CURLcode performed = curl_easy_perform(static_cast<CURL*>(handle.get()));
    if (performed != CURLE_OK) {
        VXT_BLOG_ERROR(m_logger, "Error calling curl_easy_perform: " << performed);
        return DT_FAILURE;
    }

    Poco::Net::HTTPRequest request;
    httpRequestGenerate(uri, startOffset, request);
    const std::string head = http_request_head::generate(request);
    VXT_BLOG_INFO(m_logger, "Sending HTTP request: " << head);

    curl_socket_t socket = CURL_SOCKET_BAD;
    const CURLcode info =
        curl_easy_getinfo(static_cast<CURL*>(handle.get()), CURLINFO_ACTIVESOCKET, &socket);
    if (info != CURLE_OK || socket == CURL_SOCKET_BAD) {
        VXT_BLOG_ERROR(m_logger,
                       "Error calling curl_easy_getinfo with CURLINFO_LASTSOCKET: " << info);
        return DT_FAILURE;
    }
    m_socket = socket;

    unsigned long sent = 0;
    result = sendBytes(handle, head.data(), static_cast<unsigned long>(head.size()), sent);
    if (result != DT_SUCCESS) {
        return result;
    }
    if (sent < head.size()) {
        // A head is far smaller than a socket buffer; a short send means a broken connection.
        VXT_BLOG_ERROR(m_logger, "Transfer channel: request head sent only in part: "
                                     << sent << " of " << head.size());
        return DT_FAILURE;
    }
    return onAfterRequestSent(handle);
}

dt_error CTransferChannelBase::basicCurlOptionsSetup(CCurlHandle& handle) {
    CURL* curl = static_cast<CURL*>(handle.get());
    if (curl_easy_setopt(curl, CURLOPT_URL, m_url.c_str()) != CURLE_OK) {
        VXT_BLOG_ERROR(m_logger, "Failed to set curl option CURLOPT_URL");
        return DT_FAILURE;
    }
    if (curl_easy_setopt(curl, CURLOPT_CONNECT_ONLY, 1L) != CURLE_OK) {
        VXT_BLOG_ERROR(m_logger, "Failed to set curl option CURLOPT_CONNECT_ONLY");
        return DT_FAILURE;
    }
    if (curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, kConnectTimeoutMs) != CURLE_OK) {
        VXT_BLOG_ERROR(m_logger, "Failed to set curl option CURLOPT_CONNECTTIMEOUT_MS");
        return DT_FAILURE;
    }
    // Many channels resolve names in parallel in a process whose signals are not ours.
    if (curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L) != CURLE_OK) {
        VXT_BLOG_ERROR(m_logger, "Failed to set curl option CURLOPT_NOSIGNAL");
        return DT_FAILURE;
    }
    return DT_SUCCESS;
}

dt_error CTransferChannelBase::setSslCurlOptions(CCurlHandle& handle) {
    CURL* curl = static_cast<CURL*>(handle.get());
    if (curl_easy_setopt(curl, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_TRY)) != CURLE_OK) {
        VXT_BLOG_ERROR(m_logger, "Failed to set curl option CURLOPT_USE_SSL");
        return DT_FAILURE;
    }
    // Transfer URLs are signed and short-lived; the peer's certificate is not checked.
    if (curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L) != CURLE_OK) {
        VXT_BLOG_ERROR(m_logger, "Failed to set curl option CURLOPT_SSL_VERIFYPEER");
        return DT_FAILURE;
    }
    return DT_SUCCESS;
}

dt_error CTransferChannelBase::setProxyCurlOptions(CCurlHandle& handle) {
    CVxTransfersGlobalConfig* config = CVxTransfersGlobalConfig::getInstance();
    if (config == nullptr) {
        return DT_SUCCESS;
    }
    // Asked at every connection, so that a change of network shows at the next attempt.
    ProxyConfig proxyConfig;
    if (!config->getProxyConfig(proxyConfig)) {
        return DT_SUCCESS;
    }
    const std::string proxy = proxyConfig.uri.toString();
    VXT_BLOG_INFO(m_logger, "Obtained proxy server URL: " << proxy);
    CURL* curl = static_cast<CURL*>(handle.get());
    if (curl_easy_setopt(curl, CURLOPT_PROXY, proxy.c_str()) != CURLE_OK) {
        VXT_BLOG_ERROR(m_logger, "Failed to set curl option CURLOPT_PROXY");
        return DT_FAILURE;
    }
    if (!proxyConfig.username.empty() &&
        curl_easy_setopt(curl, CURLOPT_PROXYUSERNAME, proxyConfig.username.c_str()) != CURLE_OK) {
        VXT_BLOG_ERROR(m_logger, "Failed to set curl option CURLOPT_PROXYUSERNAME");
        return DT_FAILURE;
    }
    if (!proxyConfig.password.empty() &&
        curl_easy_setopt(curl, CURLOPT_PROXYPASSWORD, proxyConfig.password.c_str()) != CURLE_OK) {
        VXT_BLOG_ERROR(m_logger, "Failed to set curl option CURLOPT_PROXYPASSWORD");
        return DT_FAILURE;
    }
    return DT_SUCCESS;
}

void CTransferChannelBase::httpRequestGenerate(const Poco::URI& uri, unsigned long long startOffset,
                                               Poco::Net::HTTPRequest& request) {
    request.setMethod(Poco::Net::HTTPRequest::HTTP_GET);
    request.setURI(uri.getPathEtc());
    request.setVersion(Poco::Net::HTTPMessage::HTTP_1_1);
    request.setKeepAlive(true);
    CVxTransfersGlobalConfig* config = CVxTransfersGlobalConfig::getInstance();
    if (config != nullptr) {
        request.set("user-agent", config->getUserAgent());
    }
    request.setHost(uri.getHost());
    onBeforeSendHttpRequest(request, startOffset);
}

// --- The data pump ---------------------------------------------------------------------------

CTransferChannelBase::ControlFlags CTransferChannelBase::readControlFlags() {
    Poco::FastMutex::ScopedLock lock(m_mutex);
    ControlFlags flags;
    flags.cancel = m_cancelRequested;
    flags.stop = m_stopRequested;
    flags.pause = m_paused;
    flags.maxSpeed = m_maxSpeed;
    return flags;
}

dt_error CTransferChannelBase::transfer(ILocalFile& file, CCurlHandle& handle,
                                        unsigned long long& bytesLeft,
                                        unsigned long long& bytesTransferred) {
    unsigned long long remaining = bytesLeft;
    ControlFlags flags = readControlFlags();
    CChannelThrottle throttle(*m_clock, flags.maxSpeed);
    bool hookFailed = false;
    bool waitingForMemory = false;
    while (remaining != 0 && !flags.cancel && !flags.pause && !flags.stop) {
        const unsigned long long chunk = throttle.takeChunk(remaining);
        unsigned long long moved = 0;
        try {
            if (!pumpChunk(file, handle, chunk, moved)) {
                hookFailed = true;
                break;
            }
            throttle.endOfChunk();
        } catch (const ITransferBufferManager::CInsufficientMemoryException& e) {
            // The other channels of the file hold the whole pool: wait for one of them to give
            // a buffer back. The flags are read again, so that stop() is not kept waiting.
            if (!waitingForMemory) {
                VXT_BLOG_ERROR(m_logger, "Exception caught when retrieving buffer: " << e.what());
                waitingForMemory = true;
            }
            m_clock->sleepMs(1);
            flags = readControlFlags();
            continue;
        } catch (const std::exception& e) {
            VXT_BLOG_ERROR(m_logger,
                           "Exception caught when copying data to output buffer: " << e.what());
            break;
        } catch (...) {
            VXT_BLOG_ERROR(m_logger,
                           "Undefined exception caught when copying data to output buffer");
            break;
        }
        waitingForMemory = false;
        remaining -= moved;
        sendProgressEvent(remaining);
        flags = readControlFlags();
        throttle.setMaxSpeed(flags.maxSpeed);
    }
    bytesTransferred = bytesLeft - remaining;

    if (flags.cancel) {
        return DT_CANCELED;
    }
    if (flags.pause) {
        return DT_PAUSED;
    }
    if (flags.stop) {
        return DT_STOPPED;
    }
    if (remaining != 0) {
        VXT_BLOG_ERROR(m_logger, "Transfer channel: transfer error, data not sent: " << remaining);
        return hookFailed ? DT_FAILURE : DT_SUCCESS;
    }
    return onTransferComplete(handle);
}

bool CTransferChannelBase::pumpChunk(ILocalFile& file, CCurlHandle& handle,
                                     unsigned long long chunk, unsigned long long& moved) {
    // Buffers are sized by the manager; `chunk` only bounds what is taken.
    CTransferBufferRef buffer = m_bufferManager->getBufferRef(chunk);
    unsigned long long room = 0;
    char* pointer = buffer->getPointerForWriting(room);
    const unsigned long long length = std::min(chunk, room);
    if (onGetData(handle, file, pointer, length) != DT_SUCCESS) {
        return false;
    }
    buffer->commitData(length);
    if (onSendData(handle, file, pointer, length) != DT_SUCCESS) {
        return false;
    }
    moved = length;
    // The buffer goes back here, before any throttle sleep, so that a throttled channel does
    // not keep memory from the other channels of its file.
    return true;
}

dt_error CTransferChannelBase::sendBytes(CCurlHandle& handle, const char* data,
                                         unsigned long length, unsigned long& sent) {
    for (;;) {
        if (wait_on_socket(static_cast<int>(m_socket), 0, m_socketWaitTimeoutMs) == 0) {
            VXT_BLOG_ERROR(m_logger, "Error waiting on socket");
            return DT_FAILURE;
        }
        size_t n = 0;
        const CURLcode code = curl_easy_send(static_cast<CURL*>(handle.get()), data, length, &n);
        if (code == CURLE_AGAIN) {
            if (n != 0) {
                sent = static_cast<unsigned long>(n);
                return DT_SUCCESS;
            }
            continue;
        }
        if (code != CURLE_OK) {
            VXT_BLOG_ERROR(m_logger, "Error calling curl_easy_send: " << code);
            return DT_SOCKET_ERROR;
        }
        sent = static_cast<unsigned long>(n);
        return DT_SUCCESS;
    }
}

dt_error CTransferChannelBase::receiveBytes(CCurlHandle& handle, char* data, unsigned long length,
                                            unsigned long& received) {
    // Receive first and wait only when nothing is there: over TLS the bytes of a record already
    // read from the socket sit in the TLS layer, and the socket would not show them as readable.
    for (;;) {
        size_t n = 0;
        const CURLcode code = curl_easy_recv(static_cast<CURL*>(handle.get()), data, length, &n);
        if (code == CURLE_AGAIN) {
            if (n != 0) {
                received = static_cast<unsigned long>(n);
                return DT_SUCCESS;
            }
            if (wait_on_socket(static_cast<int>(m_socket), 1, m_socketWaitTimeoutMs) == 0) {
                VXT_BLOG_ERROR(m_logger, "Error waiting on socket");
                return DT_FAILURE;
            }
            continue;
        }
        if (code != CURLE_OK) {
            VXT_BLOG_ERROR(m_logger, "Error calling curl_easy_recv: " << code);
            return DT_SOCKET_ERROR;
        }
        // 0 bytes with success: the peer closed the connection.
        received = static_cast<unsigned long>(n);
        return DT_SUCCESS;
    }
}

dt_error CTransferChannelBase::receiveHttpResponse(CCurlHandle& handle,
                                                   Poco::Net::HTTPResponse& response) {
    std::string head;
    // One byte at a time: not one body byte may be taken off the socket.
    while (head.size() < 4 || head.compare(head.size() - 4, 4, "\r\n\r\n") != 0) {
        char byte = 0;
        unsigned long received = 0;
        const dt_error result = receiveBytes(handle, &byte, 1, received);
        if (result != DT_SUCCESS) {
            return result;
        }
        if (received == 0) {
            VXT_BLOG_ERROR(m_logger,
                           "Transfer channel: connection closed before the end of the "
                           "response head: "
                               << head);
            return DT_FAILURE;
        }
        head += byte;
        if (head.size() > kMaxResponseHeadBytes) {
            VXT_BLOG_ERROR(m_logger, "Transfer channel: response head too long");
            return DT_FAILURE;
        }
    }
    VXT_BLOG_INFO(m_logger, "Received http response: " << head);
    std::istringstream stream(head);
    // A malformed head throws; run() ends the channel on it.
    response.read(stream);
    return DT_SUCCESS;
}

}  // namespace vx_transfers
