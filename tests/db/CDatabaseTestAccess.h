#pragma once

#include <Poco/Data/Session.h>

#include <string>
#include <vector>

namespace vx_transfers {

// The test seam of CDatabase (its friend): the database is a process singleton with no close
// or reopen, so tests that need a fresh or a reopened file destroy the instance here and let
// the next CDatabase::getInstance() open the file of the current application folder.
class CDatabaseTestAccess {
public:
    // Destroys the instance (closing its session); the next getInstance() makes a new one.
    static void close();
    // close(), then deletes the current database file and its -wal and -shm companions.
    static void deleteDatabase();
    // The live session; the instance must have one.
    static Poco::Data::Session& session();
    static bool hasSession();
    // Runs `sql` on the live session and returns the first column of each row as text.
    static std::vector<std::string> query(const std::string& sql);
    // Runs `sql` on the live session; throws on failure.
    static void exec(const std::string& sql);
};

}  // namespace vx_transfers
