#pragma once

#include <Poco/Any.h>
#include <Poco/Condition.h>
#include <Poco/Mutex.h>
#include <Poco/SharedPtr.h>

#include <deque>

namespace vx_transfers {

// The mailbox of an engine's worker thread. Any thread posts typed requests; the one worker
// takes them strictly in the order of posting and blocks while there are none. The mutex is a
// leaf of the library's lock order, so a request may be posted under any other lock, and it is
// never held while a request is handled.
class CTransferEngineRequestQueue {
public:
    // Shared by both engines; the numbers are stable.
    enum RequestType : int {
        REQUEST_INITIATE_TRANSFERS = 1,  // no payload
        REQUEST_CHANNEL_ADD = 2,         // ITransferEngineCallback::ChannelInfo
        REQUEST_FILES_CANCEL = 3,        // list of shared pointers to files
        REQUEST_FILES_PAUSE = 4,         // list of shared pointers to files
        REQUEST_CHANNEL_PAUSED = 5,      // const ITransferChannel*
        REQUEST_FILES_RESUME = 6,        // list of shared pointers to files
        REQUEST_TRANSFER_COMPLETE = 7,   // const ITransferChannel*
        REQUEST_TRANSFER_ERROR = 8,      // const ITransferChannel*
        REQUEST_FILE_ADD_PAUSED = 9,     // shared pointer to a file
        REQUEST_GROUP_REMOVE = 10,       // pointer to the group
        REQUEST_STOP = 11,               // no payload
        REQUEST_FILES_INITIALIZE = 12,   // the engine's FileInitInfo
        REQUEST_GROUP_MARK = 13,         // pointer to the upload group
        REQUEST_GROUP_RESUME = 14,       // ITransferEngineCallback::GroupResumeInfo
    };

    struct QueueElement {
        RequestType type = REQUEST_INITIATE_TRANSFERS;
        Poco::Any payload;
    };

    CTransferEngineRequestQueue();

    // Posts a request without payload.
    void AddRequest(RequestType type);
    // Posts a request with a copy of `payload`; the caller keeps its own. When memory runs out
    // the request is dropped.
    void AddRequest(RequestType type, Poco::Any& payload);

    // Takes the oldest request, waiting for one if there is none. After CancelWait() it
    // returns without taking anything and leaves both arguments as they were.
    void PopRequest(RequestType& type, Poco::Any& payload);

    // Makes every later PopRequest return empty-handed. It does not wake a waiting worker.
    void CancelWait();

    CTransferEngineRequestQueue(const CTransferEngineRequestQueue&) = delete;
    CTransferEngineRequestQueue& operator=(const CTransferEngineRequestQueue&) = delete;

private:
    std::deque<Poco::SharedPtr<QueueElement>> m_queue;  // guarded by m_mutex
    Poco::FastMutex m_mutex;
    Poco::Condition m_condition;
    bool m_cancelWait;  // guarded by m_mutex
};

}  // namespace vx_transfers
