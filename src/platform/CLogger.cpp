#include "platform/CLogger.h"

#include <Poco/Exception.h>
#include <Poco/Logger.h>
#include <Poco/Message.h>
#include <Poco/PatternFormatter.h>

#include <new>

#include "managers/startup/getAppFilesPathHelper.h"

namespace vx_transfers {

namespace {

const char* const kLogFileName = "vx_transfers.log";
const char* const kLoggerName = "VxTransfersLogger";
const char* const kPattern = "[%n-%e-%y %H:%M:%S:%i] [%I %T] [%p] %t";

// Set while this thread builds the logger: anything that tries to log from inside the
// construction (finding the application folder, say) gets no logger instead of a deadlock.
thread_local bool t_constructing = false;

}  // namespace

std::unique_ptr<CLogger> CLogger::m_instancePtr;
Poco::FastMutex CLogger::m_mtx;

CLogger* CLogger::getInstance() {
    if (t_constructing) {
        return nullptr;
    }
    Poco::FastMutex::ScopedLock guard(m_mtx);
    if (!m_instancePtr) {
        t_constructing = true;
        try {
            m_instancePtr.reset(new (std::nothrow) CLogger());
        } catch (...) {
            m_instancePtr.reset();
        }
        t_constructing = false;
        // Without a stream there is nothing to write through; try again on the next line.
        if (m_instancePtr && !m_instancePtr->m_stream) {
            m_instancePtr.reset();
        }
    }
    return m_instancePtr.get();
}

void CLogger::lock() {
    try {
        m_mtx.lock();
    } catch (...) {
        throw Poco::SystemException("cannot lock mutex");
    }
}

void CLogger::unlock() {
    try {
        m_mtx.unlock();
    } catch (...) {
        throw Poco::SystemException("cannot unlock mutex");
    }
}

Poco::LogStream& CLogger::getStream() { return *m_stream; }

CLogger::CLogger() {
    std::string path;
    getLogFilePath(path);

    m_fileChannel = new (std::nothrow) Poco::FileChannel(path);
    if (m_fileChannel.isNull()) {
        return;
    }
    m_fileChannel->setProperty(Poco::FileChannel::PROP_ROTATION, "2 M");
    m_fileChannel->setProperty(Poco::FileChannel::PROP_PURGECOUNT, "5");

    Poco::AutoPtr<Poco::PatternFormatter> formatter =
        new (std::nothrow) Poco::PatternFormatter(kPattern);
    if (formatter.isNull()) {
        return;
    }
    formatter->setProperty(Poco::PatternFormatter::PROP_TIMES, "local");

    m_formattingChannel = new (std::nothrow) Poco::FormattingChannel(formatter);
    if (m_formattingChannel.isNull()) {
        return;
    }
    m_formattingChannel->setChannel(m_fileChannel);

    Poco::Logger* logger = nullptr;
    try {
        logger = &Poco::Logger::create(kLoggerName, m_formattingChannel,
                                       Poco::Message::PRIO_INFORMATION);
    } catch (const Poco::ExistsException&) {
        // A logger of this name outlived an earlier instance: take it over.
        logger = &Poco::Logger::get(kLoggerName);
        logger->setChannel(m_formattingChannel);
        logger->setLevel(Poco::Message::PRIO_INFORMATION);
    }
    m_stream.reset(new (std::nothrow) Poco::LogStream(*logger, Poco::Message::PRIO_DEBUG));
}

CLogger::~CLogger() {
    if (m_stream) {
        m_stream->flush();
    }
    if (!m_fileChannel.isNull()) {
        m_fileChannel->close();
    }
}

void CLogger::getLogFilePath(std::string& path) {
    std::string dir;
    getAppFilesPathHelper(dir);
    if (dir.empty()) {
        path = kLogFileName;
    } else {
        path = dir + "/" + kLogFileName;
    }
}

}  // namespace vx_transfers
