#include "db/CDbSessionOpener.h"

#include <Poco/Data/SQLite/Connector.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <Poco/Data/SQLite/Utility.h>
#include <Poco/Data/SessionFactory.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/File.h>
#include <Poco/LocalDateTime.h>

#include <string>
#include <vector>

#include "db/CDbSessionLock.h"
#include "platform/Log.h"

namespace vx_transfers {

using Poco::Data::Keywords::into;
using Poco::Data::Keywords::now;

std::unique_ptr<Poco::Data::Session> CDbSessionOpener::open(const std::string& path) {
    makeSqliteSerialized();
    std::unique_ptr<Poco::Data::Session> session = connect(path);
    if (isSound(*session)) {
        applyJournalSettings(*session);
        return session;
    }
    session.reset();
    const std::string movedTo = moveAside(path);
    VXT_LOG_WARNING("Database file " << path << " is not a sound database; moved it to " << movedTo
                                     << " and starting with a new one");
    session = connect(path);
    applyJournalSettings(*session);
    return session;
}

void CDbSessionOpener::applyJournalSettings(Poco::Data::Session& session) {
    std::string journalMode;
    {
        Poco::FastMutex::ScopedLock statementLock(CDbSessionLock::mutex());
        session << "PRAGMA journal_mode=WAL", into(journalMode), now;
        session << "PRAGMA synchronous=NORMAL", now;
    }
    if (journalMode != "wal") {
        // A file system without shared memory keeps the rollback journal: slower, still safe.
        VXT_LOG_WARNING("Database journal mode is " << journalMode << " instead of wal");
    }
}

std::unique_ptr<Poco::Data::Session> CDbSessionOpener::connect(const std::string& path) {
    // A login timeout of 0 makes one attempt: Poco would otherwise retry a file that can't be
    // opened for a whole minute, and nothing makes such a file openable a moment later.
    std::unique_ptr<Poco::Data::Session> session(
        new Poco::Data::Session(Poco::Data::SessionFactory::instance().create(
            Poco::Data::SQLite::Connector::KEY, path, 0)));
    Poco::FastMutex::ScopedLock statementLock(CDbSessionLock::mutex());
    *session << "PRAGMA busy_timeout=" << kBusyTimeoutMs, now;
    return session;
}

bool CDbSessionOpener::isSound(Poco::Data::Session& session) {
    std::vector<std::string> problems;
    try {
        Poco::FastMutex::ScopedLock statementLock(CDbSessionLock::mutex());
        session << "PRAGMA integrity_check", into(problems), now;
    } catch (const Poco::Data::SQLite::CorruptImageException&) {
        // Raised for SQLITE_CORRUPT and SQLITE_NOTADB alike.
        return false;
    }
    return problems.size() == 1 && problems.front() == "ok";
}

std::string CDbSessionOpener::moveAside(const std::string& path) {
    const std::string stamp =
        Poco::DateTimeFormatter::format(Poco::LocalDateTime(), "%Y%m%d-%H%M%S-%i");
    const std::string movedTo = path + ".corrupt-" + stamp;
    Poco::File(path).renameTo(movedTo);
    // A log or index left beside the fresh file would be read as part of it.
    for (const char* companion : {"-wal", "-shm"}) {
        Poco::File file(path + companion);
        if (file.exists()) {
            file.renameTo(movedTo + companion);
        }
    }
    return movedTo;
}

void CDbSessionOpener::makeSqliteSerialized() {
    using Poco::Data::SQLite::Utility;
    // Debian's SQLite is serialized from the start, so this acts only on another build, and
    // only once: setThreadMode restarts SQLite, which the first open of the process allows.
    if (Utility::getThreadMode() != Utility::THREAD_MODE_SERIAL) {
        Utility::setThreadMode(Utility::THREAD_MODE_SERIAL);
    }
}

}  // namespace vx_transfers
