#pragma once

#include <Poco/Mutex.h>
#include <Poco/SharedPtr.h>

#include <condition_variable>
#include <mutex>
#include <string>

#include "channels/ITransferChannel.h"
#include "files/ITransferFile.h"
#include "memory/CTransferProgressTracker.h"
#include "memory/ITransferBufferManager.h"

namespace vx_transfers {

// The file above the benchmarked channels, doing with their events what an upload file does:
// adds the deltas up in a progress tracker and gives the tracker's speed to the buffer manager
// at every event, so that buffer sizes follow the speed as they do in the library.
class CBenchFile : public ITransferFile {
public:
    CBenchFile(Poco::SharedPtr<ITransferBufferManager> manager, unsigned long long total);

    void getUid(std::string& uid) override { uid = "bench-file"; }
    void getBucketUid(std::string& bucketUid) override { bucketUid = "bench-bucket"; }
    int getGroupId() override { return 1; }

    void attach(ITransferChannel& channel);
    void detach(ITransferChannel& channel);

    long long bytes();
    // Waits until `count` channels have ended, or `seconds` have passed; true if they ended.
    bool waitForEnds(int count, double seconds);
    int completed();

private:
    void onProgress(const void* sender, const long long& delta);
    void onState(const void* sender, const ITransferChannel::StateEventData& data);

    Poco::SharedPtr<ITransferBufferManager> m_manager;
    Poco::FastMutex m_mutex;  // the file's lock, as around the tracker in the library
    CTransferProgressTracker m_tracker;
    long long m_bytes = 0;
    std::mutex m_endsMutex;
    std::condition_variable m_ended;
    int m_ends = 0;
    int m_completed = 0;
};

}  // namespace vx_transfers
