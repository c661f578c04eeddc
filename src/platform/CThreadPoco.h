#pragma once

#include <Poco/Runnable.h>
#include <Poco/Thread.h>

#include "vx_transfers/IThread.h"

namespace vx_transfers {

// IThread over a Poco::Thread, which runs this object as its Runnable.
class CThreadPoco : public IThread, public Poco::Runnable {
public:
    CThreadPoco() = default;
    ~CThreadPoco() override;

    int start(ICallback* callback) override;
    void join() override;
    void run() override;

private:
    Poco::Thread m_thread;
    ICallback* m_callback = nullptr;
    bool m_unjoined = false;  // started and not joined since, so the OS thread is still held
};

}  // namespace vx_transfers
