#pragma once

#include <Poco/BasicEvent.h>

#include "vx_transfers/dt_error.h"
#include "vx_transfers/transfer_defs.h"

namespace vx_transfers {

class ITransferFile;

// One contiguous byte range of one file, moved over a connection and a thread of its own.
// Engines start, stop and throttle channels; files listen to their two events. Both events
// fire on the channel's own thread, so a handler must not call stop() or cancel() on the same
// channel (they join that thread).
class ITransferChannel {
public:
    // Stored in the channel tables and sent in stateEvent: the numbers are stable.
    enum State : int {
        StateStarted = 0,    // running, or running again after a pause
        StateFailed = 1,     // gave up; the event carries the reason
        StateCompleted = 2,  // the range is moved and the server accepted it
        StatePaused = 3,     // inside the pause wait
        StateCancelled = 4,  // ended by cancel(); not to be resumed
        StateStopped = 5,    // ended by stop(); resumable from its stored state
    };

    struct StateEventData {
        State state;
        transfer_defs::FileErrorType error;  // FILE_ERROR_NONE unless state is StateFailed
    };

    // Signed delta of bytes: positive for bytes newly moved, negative for bytes taken back.
    Poco::BasicEvent<const long long> progressEvent;
    Poco::BasicEvent<const StateEventData> stateEvent;

    virtual ~ITransferChannel() = default;

    // Ignored while the channel's thread runs.
    virtual void setMaxRetries(unsigned int maxRetries) = 0;
    // Bytes per second, 0 for no limit; a running channel takes it up at its next chunk.
    virtual void setMaxTransferSpeed(unsigned int bytesPerSec) = 0;
    // Starts the thread; DT_SUCCESS, or DT_INVALID_ARGUMENT without URL or path.
    virtual dt_error start() = 0;
    // cancel() and stop() return after the thread has ended and its final event was fired.
    virtual void cancel() = 0;
    virtual void stop() = 0;
    virtual bool isStarted() = 0;
    // pause() does not wait: the thread notices at its next turn.
    virtual void pause() = 0;
    virtual void resume() = 0;
    virtual bool isPaused() = 0;
    // Start of the range in the local file.
    virtual unsigned long long getOffset() = 0;
    // The file that owns the channel; not owned, may be null after the file let go of it.
    virtual ITransferFile* getParent() const = 0;
    virtual void setParent(ITransferFile* parent) = 0;
};

}  // namespace vx_transfers
