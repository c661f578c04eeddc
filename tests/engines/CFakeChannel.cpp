#include "CFakeChannel.h"

namespace vx_transfers {

CFakeChannel::CFakeChannel(const std::string& name, CCallJournal& journal, ITransferFile* parent,
                           dt_error startResult)
    : m_name(name), m_journal(journal), m_parent(parent), m_startResult(startResult) {}

void CFakeChannel::setMaxRetries(unsigned int maxRetries) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_retries = maxRetries;
    }
    record("retries=" + std::to_string(maxRetries));
}

void CFakeChannel::setMaxTransferSpeed(unsigned int bytesPerSec) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_speed = bytesPerSec;
    }
    record("speed=" + std::to_string(bytesPerSec));
}

dt_error CFakeChannel::start() {
    dt_error result;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        result = m_startResult;
        m_started = result == DT_SUCCESS;
    }
    record("start");
    return result;
}

void CFakeChannel::cancel() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_started = false;
    }
    record("cancel");
}

void CFakeChannel::stop() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_started = false;
    }
    record("stop");
}

bool CFakeChannel::isStarted() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_started;
}

void CFakeChannel::pause() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_paused = true;
    }
    record("pause");
}

void CFakeChannel::resume() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_paused = false;
    }
    record("resume");
}

bool CFakeChannel::isPaused() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_paused;
}

ITransferFile* CFakeChannel::getParent() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_parent;
}

void CFakeChannel::setParent(ITransferFile* parent) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_parent = parent;
}

void CFakeChannel::fire(State state) {
    const StateEventData data{state, state == StateFailed ? transfer_defs::FILE_ERROR_CONNECTION
                                                          : transfer_defs::FILE_ERROR_NONE};
    stateEvent.notify(static_cast<ITransferChannel*>(this), data);
}

void CFakeChannel::setStartResult(dt_error result) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_startResult = result;
}

unsigned int CFakeChannel::lastSpeed() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_speed;
}

unsigned int CFakeChannel::lastRetries() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_retries;
}

void CFakeChannel::record(const std::string& call) { m_journal.record(m_name + "." + call); }

}  // namespace vx_transfers
