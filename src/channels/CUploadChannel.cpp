#include "channels/CUploadChannel.h"

#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>

#include "db/CChannelsDbInfo.h"
#include "db/CDatabase.h"
#include "platform/Log.h"
#include "platform/porting/ILocalFile.h"

namespace vx_transfers {

CUploadChannel::CUploadChannel(const std::string& url, const std::wstring& path,
                               unsigned long long offset, unsigned long long size,
                               const HeaderList& headers, ITransferFile* parent,
                               unsigned int channelIndex,
                               Poco::SharedPtr<ITransferBufferManager> bufferManager, bool addToDb)
    : CTransferChannelBase(url, path, offset, size, parent, channelIndex, bufferManager, addToDb),
      m_uploadUrl(url),
      m_uploadPath(path),
      m_headers(headers),
      m_uploadBufferManager(bufferManager) {
    CDatabase* database = CDatabase::getInstance();
    if (database != nullptr) {
        m_channelsInfo = database->getChannelsInfo();
    }
    if (addToDb && m_channelsInfo) {
        CChannelsDbInfo::ChannelInfo info;
        info.fileUid = m_fileUid;
        info.url = url;
        info.offset = offset;
        info.bytesToUpload = size;
        info.state = StateStarted;
        info.httpHeaders = headers;
        m_channelsInfo->insert(info);
    }
}

CUploadChannel::~CUploadChannel() {
    // The worker calls this object's hooks: it must be gone before this part of it is.
    shutdownWorker();
}

void CUploadChannel::setMaxTransferSpeed(unsigned int bytesPerSec) {
    VXT_BLOG_INFO(m_logger, "Setting max upload speed to "
                                << bytesPerSec << " to a channel. Channel url: " << m_uploadUrl
                                << ". Offset: " << m_offset);
    CTransferChannelBase::setMaxTransferSpeed(bytesPerSec);
}

dt_error CUploadChannel::start() {
    VXT_BLOG_INFO(m_logger, "Starting upload of a channel. Channel url: "
                                << m_uploadUrl << ". Offset: " << m_offset);
    if (m_uploadUrl.empty() || m_uploadPath.empty()) {
        VXT_BLOG_ERROR(m_logger,
                       "Upload channel: unable to start since either url or path is "
                       "empty!");
        return DT_INVALID_ARGUMENT;
    }
    return CTransferChannelBase::start();
}

void CUploadChannel::cancel() {
    VXT_BLOG_INFO(m_logger, "Canceling upload of a channel. Channel url: "
                                << m_uploadUrl << ". Offset: " << m_offset);
    CTransferChannelBase::cancel();
}

void CUploadChannel::stop() {
    VXT_BLOG_INFO(m_logger, "Stoping upload of a channel. Channel url: "
                                << m_uploadUrl << ". Offset: " << m_offset);
    CTransferChannelBase::stop();
}

void CUploadChannel::pause() {
    VXT_BLOG_INFO(m_logger, "Pausing upload of a channel. Channel url: "
                                << m_uploadUrl << ". Offset: " << m_offset);
    CTransferChannelBase::pause();
}

void CUploadChannel::resume() {
    VXT_BLOG_INFO(m_logger, "Resuming upload of a channel. Channel url: "
                                << m_uploadUrl << ". Offset: " << m_offset);
    CTransferChannelBase::resume();
}

void CUploadChannel::onBeforeSendHttpRequest(Poco::Net::HTTPRequest& request,
                                             unsigned long long startOffset) {
    request.setMethod(Poco::Net::HTTPRequest::HTTP_PUT);
    for (const auto& header : m_headers) {
        request.set(header.first, header.second);
    }
    // Always the whole range: an upload never goes on from the middle of one.
    request.setContentLength(static_cast<std::streamsize>(m_size));
    if (startOffset != 0) {
        request.set("Content-Range",
                    std::to_string(startOffset) + "-" + std::to_string(m_offset + m_size - 1));
    }
}

dt_error CUploadChannel::onTransferComplete(CCurlHandle& handle) {
    Poco::Net::HTTPResponse response;
    const dt_error result = receiveHttpResponse(handle, response);
    if (result != DT_SUCCESS) {
        return result;
    }
    const int status = static_cast<int>(response.getStatus());
    if (status < 400) {
        VXT_BLOG_ERROR(
            m_logger, "Successfully uploaded path: " << m_uploadUrl << ". Http status: " << status);
        return DT_SUCCESS;
    }
    VXT_BLOG_ERROR(m_logger, "Error happened during file upload! Http status: " << status);
    return DT_FAILURE;
}

dt_error CUploadChannel::onGetData(CCurlHandle&, ILocalFile& file, char* buffer,
                                   unsigned long long length) {
    unsigned long long done = 0;
    while (done < length) {
        unsigned int read = 0;
        if (!file.read(buffer + done, static_cast<unsigned int>(length - done), &read)) {
            return DT_LOCAL_FILE_ERROR;
        }
        if (read == 0) {
            // The file is shorter than the range: it changed since the range was cut.
            VXT_BLOG_ERROR(m_logger, "Upload channel: end of file reached with "
                                         << length - done << " bytes of the chunk unread");
            return DT_LOCAL_FILE_ERROR;
        }
        done += read;
    }
    return DT_SUCCESS;
}

dt_error CUploadChannel::onSendData(CCurlHandle& handle, ILocalFile&, char* buffer,
                                    unsigned long long length) {
    unsigned long long done = 0;
    while (done < length) {
        unsigned long sent = 0;
        const dt_error result =
            sendBytes(handle, buffer + done, static_cast<unsigned long>(length - done), sent);
        if (result != DT_SUCCESS) {
            return result;
        }
        done += sent;
    }
    return DT_SUCCESS;
}

bool CUploadChannel::isRangeRequestSupported() { return false; }

int CUploadChannel::getFileOpenMode() { return 0; }

void CUploadChannel::onDbStateModify(ITransferChannel::State state) {
    if (m_channelsInfo) {
        m_channelsInfo->modifyState(m_fileUid, m_offset, static_cast<unsigned int>(state));
    }
}

}  // namespace vx_transfers
