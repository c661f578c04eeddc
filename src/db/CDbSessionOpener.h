#pragma once

#include <Poco/Data/Session.h>

#include <memory>
#include <string>

namespace vx_transfers {

// Opens the library's SQLite file as the one session that every thread shares.
//
// The connection runs in SQLite's serialized mode, with a write-ahead log and
// synchronous=NORMAL: each statement stays its own transaction, and a commit costs no fsync
// of its own, yet a process killed between any two statements leaves every committed one in
// place. The busy timeout covers another process holding the file for a moment.
//
// A file that is not a database, or that fails its integrity check, is what disk trouble
// leaves behind: it is moved aside under a time-stamped name (with its -wal and -shm files),
// a warning names both files, and a fresh database takes its place.
class CDbSessionOpener {
public:
    static constexpr int kBusyTimeoutMs = 5000;

    // Throws what connecting throws (a folder that can't be written, say).
    static std::unique_ptr<Poco::Data::Session> open(const std::string& path);

    CDbSessionOpener() = delete;

private:
    static void applyJournalSettings(Poco::Data::Session& session);
    static std::unique_ptr<Poco::Data::Session> connect(const std::string& path);
    // False if the file is not a database or is damaged; other failures throw.
    static bool isSound(Poco::Data::Session& session);
    // Renames the file and its companions; returns the new name of the file.
    static std::string moveAside(const std::string& path);
    static void makeSqliteSerialized();
};

}  // namespace vx_transfers
