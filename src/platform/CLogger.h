#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/FileChannel.h>
#include <Poco/FormattingChannel.h>
#include <Poco/LogStream.h>
#include <Poco/Mutex.h>

#include <memory>
#include <string>

namespace vx_transfers {

// The process-wide rotating log "vx_transfers.log" in the application files folder.
// Callers do not use this class directly: they go through log_helper (Log.h), which holds
// the lock for the whole line. The logger's mutex is the last in the library's lock order.
class CLogger {
public:
    // Made on first use; null if that failed (then nothing is logged).
    static CLogger* getInstance();

    void lock();
    void unlock();
    Poco::LogStream& getStream();

    ~CLogger();
    CLogger(const CLogger&) = delete;
    CLogger& operator=(const CLogger&) = delete;

private:
    CLogger();
    static void getLogFilePath(std::string& path);

    Poco::AutoPtr<Poco::FileChannel> m_fileChannel;
    std::unique_ptr<Poco::LogStream> m_stream;
    Poco::AutoPtr<Poco::FormattingChannel> m_formattingChannel;

    static std::unique_ptr<CLogger> m_instancePtr;
    static Poco::FastMutex m_mtx;
};

}  // namespace vx_transfers
