// Single-row inserts and updates per second through the table classes, each its own
// transaction: once on a session opened the library's way (WAL, synchronous=NORMAL) and once
// on a plain session in SQLite's default rollback journal (synchronous=FULL).
//   vx_bench_db <folder> [seconds-per-figure]
// Exits with 1 when WAL updates are less than 20 times as fast as the default journal's.

#include <Poco/Data/SQLite/Connector.h>
#include <Poco/Data/SessionFactory.h>
#include <Poco/File.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "db/CChannelsDbInfo.h"
#include "db/CDbSessionOpener.h"
#include "db/CGroupsDbInfo.h"
#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace {

using vx_transfers::CChannelsDbInfo;
using vx_transfers::CGroupsDbInfo;

const int kMaxOperations = 20000;
const double kTargetUpdateRatio = 20.0;

struct Figures {
    double channelInserts;
    double channelUpdates;
    double groupUpdates;
};

// Runs op(0), op(1), ... until kMaxOperations or the time budget; operations per second.
double rate(double budgetSeconds, const std::function<void(int)>& op, int limit = kMaxOperations) {
    const auto start = std::chrono::steady_clock::now();
    int done = 0;
    double elapsed = 0;
    while (done < limit && elapsed < budgetSeconds) {
        op(done++);
        elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    return done / elapsed;
}

Figures measure(Poco::Data::Session& session, double budgetSeconds) {
    CChannelsDbInfo channels(session);
    CGroupsDbInfo groups(session);
    Figures figures{};
    int inserted = 0;
    figures.channelInserts = rate(budgetSeconds, [&](int i) {
        CChannelsDbInfo::ChannelInfo channel;
        channel.fileUid = "file-" + std::to_string(i);
        channel.url = "https://upload.example/part";
        channel.offset = 0x100000000ULL * i;
        channel.bytesToUpload = 8 * 1024 * 1024;
        channel.httpHeaders = {{"Content-Type", "application/octet-stream"}};
        channels.insert(channel);
        inserted = i + 1;
    });
    figures.channelUpdates = rate(budgetSeconds, [&](int i) {
        const int row = i % inserted;
        channels.modifyState("file-" + std::to_string(row), 0x100000000ULL * row,
                             static_cast<unsigned int>(i % 6));
    });
    CGroupsDbInfo::GroupInfo group;
    group.groupId = 1;
    groups.insert(group);
    figures.groupUpdates =
        rate(budgetSeconds, [&](int i) { groups.setRetryCount(1, static_cast<unsigned int>(i)); });
    return figures;
}

std::unique_ptr<Poco::Data::Session> defaultJournalSession(const std::string& path) {
    return std::unique_ptr<Poco::Data::Session>(
        new Poco::Data::Session(Poco::Data::SessionFactory::instance().create(
            Poco::Data::SQLite::Connector::KEY, path, 0)));
}

void print(const char* mode, const Figures& f) {
    std::printf("db: %-22s %14.0f %14.0f %14.0f\n", mode, f.channelInserts, f.channelUpdates,
                f.groupUpdates);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <folder> [seconds-per-figure]\n", argv[0]);
        return 2;
    }
    const std::string folder = argv[1];
    const double budget = argc > 2 ? std::atof(argv[2]) : 3.0;
    Poco::File(folder).createDirectories();
    std::wstring wideFolder;
    vx_transfers::string_convert::StringToWstring(folder, wideFolder);
    vx_transfers::CVxTransfersGlobalConfig::getInstance()->setAppFilesPath(wideFolder);
    Poco::Data::SQLite::Connector::registerConnector();

    const std::string walPath = folder + "/bench-wal.db";
    const std::string defaultPath = folder + "/bench-default.db";
    for (const std::string& path : {walPath, defaultPath}) {
        for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
            Poco::File file(path + suffix);
            if (file.exists()) {
                file.remove();
            }
        }
    }

    std::printf("db: %-22s %14s %14s %14s\n", "mode (per second)", "channel insert",
                "channel update", "group update");
    Figures wal{};
    {
        std::unique_ptr<Poco::Data::Session> session =
            vx_transfers::CDbSessionOpener::open(walPath);
        wal = measure(*session, budget);
    }
    print("WAL, synchronous=NORMAL", wal);
    Figures rollback{};
    {
        std::unique_ptr<Poco::Data::Session> session = defaultJournalSession(defaultPath);
        rollback = measure(*session, budget);
    }
    print("default journal", rollback);

    const double insertRatio = wal.channelInserts / rollback.channelInserts;
    const double updateRatio = wal.channelUpdates / rollback.channelUpdates;
    const double groupRatio = wal.groupUpdates / rollback.groupUpdates;
    std::printf(
        "db: WAL / default journal: inserts x%.1f, channel updates x%.1f, group updates "
        "x%.1f (updates need x%.0f)\n",
        insertRatio, updateRatio, groupRatio, kTargetUpdateRatio);
    const bool met = updateRatio >= kTargetUpdateRatio && groupRatio >= kTargetUpdateRatio;
    std::printf("db: %s\n", met ? "PASS" : "FAIL");
    return met ? 0 : 1;
}
