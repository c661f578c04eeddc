#pragma once

#include <Poco/Mutex.h>
#include <Poco/SharedPtr.h>

#include <list>
#include <string>
#include <vector>

#include "channels/ITransferChannel.h"
#include "db/CChannelsDbInfo.h"
#include "engines/CUploadEngine.h"
#include "groups/CGroupManager.h"
#include "managers/startup/CPocoSslInitializer.h"
#include "vx_transfers/CUploadManager.h"
#include "vx_transfers/dt_error.h"

namespace vx_transfers {

// The work behind CUploadManager: the live configuration, the registry of upload groups and the
// upload engine. Public operations take m_mutex (before any group's lock), look the group up and
// log; startup, shutdown, hasActiveTransfers and the start-up report take no lock, since the
// sleep notification calls them too.
class CUploadManagerProxy {
public:
    // Restores groups and files from the database; starts nothing.
    CUploadManagerProxy();
    ~CUploadManagerProxy();

    CUploadManagerProxy(const CUploadManagerProxy&) = delete;
    CUploadManagerProxy& operator=(const CUploadManagerProxy&) = delete;

    CUploadManager::Configuration& getConfiguration();
    dt_error setConfiguration(CUploadManager::Configuration& newConfiguration);
    int createGroup(std::string& bucketId, std::string& bucketType, std::string& bucketToken,
                    unsigned long long expirationDate);
    int findGroupByBucketId(std::string& bucketId);
    void subscribeToEvents(CUploadManager::ICallback* callback);
    void queueFiles(int groupId, std::vector<CUploadManager::FileDesc>& files);
    void dequeueFile(int groupId, std::vector<CUploadManager::FileDesc>& files);
    void markQueue(int groupId);
    void unmarkQueue(int groupId);
    bool isQueueMarked(int groupId);
    dt_error getGroupState(int groupId, CUploadManager::GroupState& state);
    void pauseGroup(int groupId);
    void resumeGroup(int groupId);
    void cancelGroup(int groupId);
    void startup();
    void shutdown();
    bool hasActiveTransfers();
    void fetchGroupsInfo(std::vector<CUploadManager::GroupState>& states);
    unsigned int getGroupsCount();

    // The engine, for tests that check what reached it.
    CUploadEngine& getEngine() { return m_engine; }

    // Restoration helpers that the library does not call; restored channels reach the engine
    // through their groups.
    // Copies into `result` the records of `channels` that belong to `fileUid`, in order.
    static void getAllChannelsForFile(std::vector<CChannelsDbInfo::ChannelInfo>& channels,
                                      const std::string& fileUid,
                                      std::vector<CChannelsDbInfo::ChannelInfo>& result);
    // Hands channel i to the engine with the state of record i, adjusted to the group's pause.
    void feedChannelsToUploadEngine(std::list<Poco::SharedPtr<ITransferChannel>>& channels,
                                    std::vector<CChannelsDbInfo::ChannelInfo>& infos,
                                    bool groupPaused);
    static bool isAnyChannelErrored(std::vector<CChannelsDbInfo::ChannelInfo>& infos);

private:
    void logConfiguration();
    void updateProgressSenderConfig();
    static void logFileDescVector(std::vector<CUploadManager::FileDesc>& files);
    void fetchGroupsInfoNoLock(std::vector<CUploadManager::GroupState>& states);
    // Reports every group once to the application; holds no lock while it calls out.
    void publishGroupState();
    // The engine's active-transfers event, on the engine's worker thread.
    void activeTransfersCallback(const void* sender, const bool& active);
    void subscribeActiveTransfers();
    void unsubscribeActiveTransfers();
    // The group of `groupId` as an upload group; logs and gives null when there is none.
    CUploadGroup* findUploadGroup(int groupId, const char* operation,
                                  CGroupManagerBase::GroupPtr& holder);

    CUploadManager::Configuration m_config;
    Poco::FastMutex m_mutex;
    CGroupManager m_groupManager;
    CUploadManager::ICallback* m_callback;
    CUploadEngine m_engine;
    CPocoSslInitializer m_sslInitializer;
};

}  // namespace vx_transfers
