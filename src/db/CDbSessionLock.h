#pragma once

#include <Poco/Mutex.h>

namespace vx_transfers {

// The one lock around every statement run on the shared database session.
//
// SQLite itself runs the connection serialized, but Poco's statement objects read the
// connection's error text (sqlite3_errmsg) and change count after SQLite has let go of the
// connection's own mutex, and that text belongs to whichever thread called last: another
// thread's statement may rewrite or free it while Poco copies it. So a statement is built,
// run and destroyed under this lock.
//
// It is a leaf, below every other lock of the system (table mutexes included): nothing is
// called out to while it is held, and in particular nothing logs under it.
class CDbSessionLock {
public:
    static Poco::FastMutex& mutex();

    CDbSessionLock() = delete;
};

}  // namespace vx_transfers
