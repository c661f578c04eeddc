#include "db/CDbSessionLock.h"

namespace vx_transfers {

Poco::FastMutex& CDbSessionLock::mutex() {
    // Made on first use, so that no static initialisation order can hand out an unmade mutex.
    static Poco::FastMutex s_mutex;
    return s_mutex;
}

}  // namespace vx_transfers
