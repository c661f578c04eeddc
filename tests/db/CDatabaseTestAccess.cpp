#include "CDatabaseTestAccess.h"

#include <Poco/Data/Statement.h>
#include <Poco/File.h>

#include "db/CDatabase.h"
#include "db/CDbSessionLock.h"

namespace vx_transfers {

using Poco::Data::Keywords::into;
using Poco::Data::Keywords::now;

void CDatabaseTestAccess::close() { CDatabase::m_this.reset(); }

void CDatabaseTestAccess::deleteDatabase() {
    close();
    std::string path;
    CDatabase::getDbFilePath(path);
    for (const char* suffix : {"", "-wal", "-shm"}) {
        Poco::File file(path + suffix);
        if (file.exists()) {
            file.remove();
        }
    }
}

Poco::Data::Session& CDatabaseTestAccess::session() { return *CDatabase::getInstance()->m_session; }

bool CDatabaseTestAccess::hasSession() {
    return static_cast<bool>(CDatabase::getInstance()->m_session);
}

std::vector<std::string> CDatabaseTestAccess::query(const std::string& sql) {
    std::vector<std::string> column;
    Poco::FastMutex::ScopedLock statementLock(CDbSessionLock::mutex());
    session() << sql, into(column), now;
    return column;
}

void CDatabaseTestAccess::exec(const std::string& sql) {
    Poco::FastMutex::ScopedLock statementLock(CDbSessionLock::mutex());
    session() << sql, now;
}

}  // namespace vx_transfers
