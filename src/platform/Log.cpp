#include "platform/Log.h"

#include <Poco/ScopedLock.h>

#include "platform/CBucketSpecificLogger.h"
#include "platform/CLogger.h"

namespace vx_transfers {
namespace log_helper {

void write(Level level, const CBucketSpecificLogger* prefix, const std::string& text) {
    try {
        CLogger* logger = CLogger::getInstance();
        if (logger == nullptr) {
            return;
        }
        const std::string head = prefix != nullptr ? prefix->getMessagePrefix() : std::string();
        Poco::ScopedLock<CLogger> guard(*logger);
        Poco::LogStream& stream = logger->getStream();
        // A line that failed to reach the file (a folder not yet there) leaves the stream's
        // badbit set, which would silence every later line.
        stream.clear();
        switch (level) {
            case Level::Information:
                stream.information();
                break;
            case Level::Warning:
                stream.warning();
                break;
            case Level::Error:
                stream.error();
                break;
        }
        stream << head << text << std::endl;
    } catch (...) {
        // Logging never reports its own problems to the caller.
    }
}

}  // namespace log_helper
}  // namespace vx_transfers
