// Several application threads calling the manager at once against several groups, under a
// watchdog: the library must neither deadlock nor lose its ability to upload.
#include <atomic>
#include <random>
#include <set>
#include <thread>

#include "integration/CUploadPipelineFixture.h"
#include "integration/CWatchdog.h"

namespace vxt_test {
namespace {

using Manager = vx_transfers::CUploadManager;

class CUploadManagerConcurrencyTest : public CUploadPipelineFixture {};

TEST_F(CUploadManagerConcurrencyTest, ConcurrentGroupOperationsNeitherDeadlockNorStopTheEngine) {
    Manager::Configuration configuration = testConfiguration();
    configuration.maxConcurrentTransfers = 3;
    startManager(configuration);
    control().throttleData(512 * 1024);  // transfers stay in flight while the threads work

    struct GroupUnderTest {
        int id = -1;
        std::vector<Upload> queued;
        std::vector<Upload> spare;  // registered, queued by the threads
    };
    std::vector<GroupUnderTest> groups(3);
    for (std::size_t g = 0; g < groups.size(); ++g) {
        auto bucket = newBucket();
        groups[g].id = createGroup(bucket);
        for (int f = 0; f < 3; ++f) {
            std::string name = "g" + std::to_string(g) + "f" + std::to_string(f);
            // One multipart file per group, so that files have several channels.
            std::uint64_t size = f == 0 ? 3 * kPartSize : 20000 + 1000 * f;
            groups[g].queued.push_back(prepareUpload(bucket, name + ".bin", size));
            groups[g].spare.push_back(prepareUpload(bucket, name + "-spare.bin", 5000));
        }
        queue(groups[g].id, groups[g].queued);
    }

    std::atomic<bool> stop{false};
    std::atomic<unsigned> calls{0};
    {
        CWatchdog watchdog(std::chrono::seconds(40), "the concurrent manager calls");
        std::vector<std::thread> workers;
        for (unsigned t = 0; t < 4; ++t) {
            workers.emplace_back([&, t] {
                std::mt19937 random(1234 + t);
                while (!stop.load()) {
                    GroupUnderTest& g = groups[random() % groups.size()];
                    std::vector<FileDesc> one{
                        (random() % 2 ? g.queued : g.spare)[random() % g.queued.size()].desc};
                    GroupState state;
                    std::vector<GroupState> all;
                    switch (random() % 10) {
                        case 0:
                        case 1:
                            m_manager->pauseGroup(g.id);
                            break;
                        case 2:
                        case 3:
                            m_manager->resumeGroup(g.id);
                            break;
                        case 4:
                            m_manager->dequeueFile(g.id, one);
                            break;
                        case 5:
                            m_manager->queueFiles(g.id, one);
                            break;
                        case 6:
                            m_manager->getGroupState(g.id, state);
                            break;
                        case 7:
                            m_manager->fetchGroupsInfo(all);
                            break;
                        case 8:
                            // Rarely: cancelling ends the group's part in the run.
                            if (random() % 25 == 0) m_manager->cancelGroup(g.id);
                            break;
                        default:
                            if (random() % 2) {
                                m_manager->markQueue(g.id);
                            } else {
                                m_manager->unmarkQueue(g.id);
                            }
                            break;
                    }
                    ++calls;
                }
            });
        }
        // The run lasts a fixed stretch by design: it is the exposure to races, not a wait for
        // the library.
        std::this_thread::sleep_for(std::chrono::milliseconds(2500));
        stop = true;
        for (auto& w : workers) w.join();
        watchdog.disarm();
    }
    EXPECT_GT(calls.load(), 100u);
    control().throttleData(0);

    // The engine still serves: a new group after the storm completes.
    CWatchdog watchdog(std::chrono::seconds(40), "the upload after the concurrent calls");
    for (const auto& g : groups) m_manager->resumeGroup(g.id);
    auto bucket = newBucket();
    int after = createGroup(bucket);
    Upload u = prepareUpload(bucket, "after.bin", 2 * kPartSize + 5);
    queue(after, {u});
    waitUntilFilesInitialized(after);
    m_manager->markQueue(after);
    // Groups before it in the registry may hold the engine until they give no more files; they
    // were resumed, so they finish or fail first.
    ASSERT_GE(waitForGroupStatus(after, Manager::GROUP_STATUS_COMPLETED, 0, nullptr,
                                 std::chrono::seconds(30)),
              0)
        << m_callback.describe();
    EXPECT_EQ(u.content, storedContent(bucket.bucketId, u.fileId));
    std::vector<GroupState> states;
    m_manager->fetchGroupsInfo(states);
    std::set<int> ids;
    for (const GroupState& state : states) {
        EXPECT_TRUE(ids.insert(state.groupId).second) << "group " << state.groupId << " twice";
    }
    // Finished groups may still leave the registry between the two calls, none can join it.
    EXPECT_LE(m_manager->getGroupsCount(), states.size());
}

}  // namespace
}  // namespace vxt_test
