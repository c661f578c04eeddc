#include "platform/CThreadPoco.h"

#include <Poco/Exception.h>

#include <exception>
#include <new>

#include "platform/Log.h"

namespace vx_transfers {

IThread::~IThread() = default;

IThread* IThread::create() { return new (std::nothrow) CThreadPoco(); }

void IThread::destroy(IThread* thread) { delete thread; }

void IThread::sleep(unsigned int milliseconds) { Poco::Thread::sleep(milliseconds); }

CThreadPoco::~CThreadPoco() {
    if (m_thread.isRunning()) {
        m_thread.tryJoin(1);
    }
}

int CThreadPoco::start(ICallback* callback) {
    if (m_thread.isRunning()) {
        return START_ALREADY_RUNNING;
    }
    // A finished run still holds its thread until joined; release it before starting anew.
    if (m_unjoined) {
        m_thread.join();
        m_unjoined = false;
    }
    m_callback = callback;
    try {
        m_thread.start(*this);
    } catch (const Poco::Exception& e) {
        VXT_LOG_ERROR("IThread: cannot start a thread: " << e.displayText());
        m_callback = nullptr;
        return START_FAILED;
    }
    m_unjoined = true;
    return START_OK;
}

void CThreadPoco::join() {
    if (m_unjoined) {
        m_thread.join();
        m_unjoined = false;
    }
    m_callback = nullptr;
}

void CThreadPoco::run() {
    if (m_callback == nullptr) {
        return;
    }
    try {
        m_callback->run();
    } catch (const std::exception& e) {
        VXT_LOG_ERROR("IThread: the thread's callback threw: " << e.what());
    } catch (...) {
        VXT_LOG_ERROR("IThread: the thread's callback threw an unknown exception");
    }
}

}  // namespace vx_transfers
