#pragma once

#include "vx_transfers/export.h"

namespace vx_transfers {

// A plain thread for the application. Each object belongs to the thread that uses it; there is
// no locking. Made by create(), released by destroy().
class VX_TRANSFERS_API IThread {
public:
    // The thread's body, implemented by the application. It must outlive the thread.
    class VX_TRANSFERS_API ICallback {
    public:
        virtual void run() = 0;

    protected:
        ~ICallback() = default;
    };

    // Results of start().
    enum StartResult {
        START_OK = 0,
        START_FAILED = 1,           // the system refused a new thread
        START_ALREADY_RUNNING = 5,  // the callback was not replaced
    };

    // Waits one millisecond for a thread that still runs and then lets it go on detached, so
    // join() before destroy() unless the callback outlives everything.
    virtual ~IThread();

    // Runs `callback->run()` on a new thread. A null callback runs nothing.
    virtual int start(ICallback* callback) = 0;
    // Waits for the thread to end; forgets the callback.
    virtual void join() = 0;

    // A new thread object, or null if it cannot be made.
    static IThread* create();
    static void destroy(IThread* thread);
    static void sleep(unsigned int milliseconds);
};

}  // namespace vx_transfers
