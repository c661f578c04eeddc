#pragma once

#include <Poco/Condition.h>
#include <Poco/Mutex.h>
#include <Poco/Runnable.h>
#include <Poco/SharedPtr.h>
#include <Poco/Thread.h>

#include <string>

#include "channels/ITransferChannel.h"
#include "memory/ITransferBufferManager.h"
#include "platform/CBucketSpecificLogger.h"
#include "vx_transfers/dt_error.h"
#include "vx_transfers/transfer_defs.h"

namespace Poco {
class URI;
namespace Net {
class HTTPRequest;
class HTTPResponse;
}  // namespace Net
}  // namespace Poco

namespace vx_transfers {

class CCurlHandle;
class IChannelClock;
class ILocalFile;
class ITransferFile;

// One byte range of one local file, moved over one connection of its own on one thread of its
// own. The whole life of a range (attempts, reconnects, pausing, taking progress back, final
// states, stored states) is written here once; the upload and download directions fill in the
// hooks. libcurl only opens the connection (lookup, proxy, TCP, TLS); the HTTP/1.1 exchange is
// written by hand over it, so that ranges stream straight out of pool buffers with our own
// throttle, time-outs and cancellation.
class CTransferChannelBase : public ITransferChannel, public Poco::Runnable {
public:
    CTransferChannelBase(const std::string& url, const std::wstring& path,
                         unsigned long long offset, unsigned long long size, ITransferFile* parent,
                         unsigned int channelIndex,
                         Poco::SharedPtr<ITransferBufferManager> bufferManager, bool addToDb);
    ~CTransferChannelBase() override;

    // ITransferChannel
    void setMaxRetries(unsigned int maxRetries) override;
    void setMaxTransferSpeed(unsigned int bytesPerSec) override;
    dt_error start() override;
    void cancel() override;
    void stop() override;
    bool isStarted() override;
    void pause() override;
    void resume() override;
    bool isPaused() override;
    unsigned long long getOffset() override;
    ITransferFile* getParent() const override;
    void setParent(ITransferFile* parent) override;

    // The thread's body. Exceptions never leave it.
    void run() override;

    // Test seams, to be set before start(): where the throttle reads time and sleeps, and how
    // long a silent connection is waited for (kSocketWaitTimeoutMs otherwise).
    void setClock(IChannelClock* clock);
    void setSocketWaitTimeoutMs(long timeoutMs);

protected:
    // Hooks, in the order the attempt meets them.
    virtual dt_error onBeforeConnectionInit();
    // DT_SUCCESS means: try again at once, without spending an attempt.
    virtual dt_error onConnectionFailure(dt_error error);
    virtual void onBeforeSendHttpRequest(Poco::Net::HTTPRequest& request,
                                         unsigned long long startOffset);
    virtual dt_error onAfterRequestSent(CCurlHandle& handle);
    virtual dt_error onTransferComplete(CCurlHandle& handle);
    // The source and the sink of the byte loop: fill, then take, exactly `length` bytes.
    virtual dt_error onGetData(CCurlHandle& handle, ILocalFile& file, char* buffer,
                               unsigned long long length) = 0;
    virtual dt_error onSendData(CCurlHandle& handle, ILocalFile& file, char* buffer,
                                unsigned long long length) = 0;
    // Whether progress survives a failed attempt or a pause (the next request asks for the rest).
    virtual bool isRangeRequestSupported() = 0;
    // Kept for the interface; the local file is always opened read-write.
    virtual int getFileOpenMode() = 0;
    // Stores the channel's state; called at each state change but the first.
    virtual void onDbStateModify(ITransferChannel::State state) = 0;

    void sendProgressEvent(unsigned long long bytesLeft);
    void sendStateEvent(ITransferChannel::State state, transfer_defs::FileErrorType error);
    // Fires StatePaused and waits once for resume(), stop() or cancel().
    void onPause();
    dt_error openFile(ILocalFile& file, unsigned long long startOffset);

    // Connection set-up: connect through libcurl, send the request head, run
    // onAfterRequestSent. `startOffset` is how much of the range is already done.
    dt_error initiateConnection(CCurlHandle& handle, unsigned long long startOffset);
    dt_error basicCurlOptionsSetup(CCurlHandle& handle);
    dt_error setSslCurlOptions(CCurlHandle& handle);
    dt_error setProxyCurlOptions(CCurlHandle& handle);
    void httpRequestGenerate(const Poco::URI& uri, unsigned long long startOffset,
                             Poco::Net::HTTPRequest& request);

    // The byte loop: moves up to `bytesLeft` bytes through pool buffers, from onGetData to
    // onSendData, within the speed limit. `bytesTransferred` receives what this call moved.
    dt_error transfer(ILocalFile& file, CCurlHandle& handle, unsigned long long& bytesLeft,
                      unsigned long long& bytesTransferred);
    // One successful send or receive call; the count may be short (and 0 when receiving
    // from a peer that closed).
    dt_error sendBytes(CCurlHandle& handle, const char* data, unsigned long length,
                       unsigned long& sent);
    dt_error receiveBytes(CCurlHandle& handle, char* data, unsigned long length,
                          unsigned long& received);
    // Reads a response head byte by byte, so that not one body byte is taken off the socket.
    dt_error receiveHttpResponse(CCurlHandle& handle, Poco::Net::HTTPResponse& response);

    // Ends the worker (as stop() does) and reaps it; derived destructors call it first, so
    // that no hook runs on a half-destroyed object.
    void shutdownWorker();

    mutable Poco::FastMutex m_mutex;
    Poco::Thread m_thread;
    Poco::Condition m_pauseCondition;
    bool m_cancelRequested;
    bool m_stopRequested;
    bool m_paused;
    const unsigned long long m_offset;
    const unsigned long long m_size;
    unsigned long long m_bytesReported;
    unsigned int m_maxRetries;
    unsigned int m_maxSpeed;
    std::string m_fileUid;
    ITransferFile* m_parent;
    CBucketSpecificLogger m_logger;
    std::string m_url;
    std::wstring m_path;
    Poco::SharedPtr<ITransferBufferManager> m_bufferManager;
    long long m_socket;

private:
    // What one turn of the attempt loop decided.
    enum class TurnOutcome {
        GO_ON,       // on with this turn
        NEXT_TURN,   // to the end-of-turn test: retry, or finish
        LEAVE_LOOP,  // straight to the endings
        RETURN,      // the final event has been fired already
        STOP,        // to the stop ending
    };

    // The locals of one run(), shared by its steps.
    struct RunState {
        unsigned long long bytesLeft = 0;
        unsigned long long bytesThisAttempt = 0;
        unsigned long long doneBytes = 0;
        unsigned int attempts = 0;
        transfer_defs::FileErrorType fileError = transfer_defs::FILE_ERROR_NONE;
        bool rangeSupported = false;
        dt_error result = DT_SUCCESS;
    };

    // What the byte loop read under the lock at its latest turn.
    struct ControlFlags {
        bool cancel = false;
        bool stop = false;
        bool pause = false;
        unsigned int maxSpeed = 0;
    };

    // The steps of run().
    void runAttempts();
    TurnOutcome pauseIfRequested();
    TurnOutcome prepareAttempt(RunState& state);
    TurnOutcome runAttempt(RunState& state);
    TurnOutcome connect(RunState& state, CCurlHandle& handle);
    TurnOutcome judgeAttempt(RunState& state);
    bool isLastTurn(const RunState& state) const;
    void storeFinalState(RunState& state);
    void stopEnding(RunState& state);
    // A malformed response or URL: ends the channel's work as a failure.
    void failOnException(const std::string& what);

    void takeBackProgress(unsigned long long bytes);
    ControlFlags readControlFlags();
    // Moves one chunk through one buffer; false when a hook failed.
    bool pumpChunk(ILocalFile& file, CCurlHandle& handle, unsigned long long chunk,
                   unsigned long long& moved);
    bool isWorkerRunning();
    void joinWorker();
    static bool endsTheLoop(dt_error result);

    IChannelClock* m_clock;
    long m_socketWaitTimeoutMs;
    // Guards the reaping of m_thread, which more than one controlling thread may attempt.
    Poco::FastMutex m_joinMutex;
    bool m_workerNeedsJoin;
    // Net progress announced by the current run, for taking it back if the run breaks off.
    long long m_progressFired;
};

}  // namespace vx_transfers
