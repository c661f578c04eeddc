#pragma once

#include <sstream>
#include <string>

namespace vx_transfers {

class CBucketSpecificLogger;

namespace log_helper {

enum class Level { Information, Warning, Error };

// Writes one finished line: gets the logger, locks it, sets the level, writes the prefix
// (when given) and the text, ends the line and unlocks. Never throws; a missing logger
// means no logging.
void write(Level level, const CBucketSpecificLogger* prefix, const std::string& text);

}  // namespace log_helper
}  // namespace vx_transfers

// The text is formatted before the logger's lock is taken, so no caller expression (a getter
// that takes a group's lock, say) ever runs under it.
#define VXT_LOG_AT(level, prefix, expr)                                        \
    do {                                                                       \
        std::ostringstream vxt_log_text_;                                      \
        vxt_log_text_ << expr;                                                 \
        ::vx_transfers::log_helper::write(level, prefix, vxt_log_text_.str()); \
    } while (0)

#define VXT_LOG_INFO(expr) VXT_LOG_AT(::vx_transfers::log_helper::Level::Information, nullptr, expr)
#define VXT_LOG_WARNING(expr) VXT_LOG_AT(::vx_transfers::log_helper::Level::Warning, nullptr, expr)
#define VXT_LOG_ERROR(expr) VXT_LOG_AT(::vx_transfers::log_helper::Level::Error, nullptr, expr)

// Lines of a group, file or channel, prefixed by its CBucketSpecificLogger.
#define VXT_BLOG_INFO(bucketLogger, expr) \
    VXT_LOG_AT(::vx_transfers::log_helper::Level::Information, &(bucketLogger), expr)
#define VXT_BLOG_WARNING(bucketLogger, expr) \
    VXT_LOG_AT(::vx_transfers::log_helper::Level::Warning, &(bucketLogger), expr)
#define VXT_BLOG_ERROR(bucketLogger, expr) \
    VXT_LOG_AT(::vx_transfers::log_helper::Level::Error, &(bucketLogger), expr)
