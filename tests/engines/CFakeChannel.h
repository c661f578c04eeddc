#pragma once

#include <mutex>
#include <string>

#include "CCallJournal.h"
#include "channels/ITransferChannel.h"

namespace vx_transfers {

// A channel without a thread or a connection: it records every call the engine makes in a
// journal shared by the channels of a test, keeps the flags that the engine asks about, and
// fires its state event when the test says so (on the test's thread, as a channel thread would).
class CFakeChannel : public ITransferChannel {
public:
    CFakeChannel(const std::string& name, CCallJournal& journal, ITransferFile* parent = nullptr,
                 dt_error startResult = DT_SUCCESS);

    void setMaxRetries(unsigned int maxRetries) override;
    void setMaxTransferSpeed(unsigned int bytesPerSec) override;
    dt_error start() override;
    void cancel() override;
    void stop() override;
    bool isStarted() override;
    void pause() override;
    void resume() override;
    bool isPaused() override;
    unsigned long long getOffset() override { return 0; }
    ITransferFile* getParent() const override;
    void setParent(ITransferFile* parent) override;

    // Raises stateEvent with this channel as the sender.
    void fire(State state);
    // Every later start() returns this.
    void setStartResult(dt_error result);

    const std::string& name() const { return m_name; }
    unsigned int lastSpeed() const;
    unsigned int lastRetries() const;

private:
    void record(const std::string& call);

    const std::string m_name;
    CCallJournal& m_journal;
    mutable std::mutex m_mutex;
    ITransferFile* m_parent;
    dt_error m_startResult;
    bool m_started = false;
    bool m_paused = false;
    unsigned int m_speed = 0;
    unsigned int m_retries = 0;
};

}  // namespace vx_transfers
