#pragma once

#include <Poco/SharedPtr.h>

#include <string>
#include <utility>
#include <vector>

#include "channels/CTransferChannelBase.h"

namespace vx_transfers {

class CChannelsDbInfo;

// Sends one byte range of a local file with an HTTP PUT to a URL the file prepared for it.
// Uploads have no resume inside a range: a failed attempt or a pause sends the range again.
class CUploadChannel : public CTransferChannelBase {
public:
    using HeaderList = std::vector<std::pair<std::string, std::string>>;

    // With `addToDb` the channel's row is stored at once (state "started"); a channel restored
    // from the database passes false.
    CUploadChannel(const std::string& url, const std::wstring& path, unsigned long long offset,
                   unsigned long long size, const HeaderList& headers, ITransferFile* parent,
                   unsigned int channelIndex, Poco::SharedPtr<ITransferBufferManager> bufferManager,
                   bool addToDb);
    ~CUploadChannel() override;

    void setMaxTransferSpeed(unsigned int bytesPerSec) override;
    // DT_INVALID_ARGUMENT, and no thread, without a URL or a path.
    dt_error start() override;
    void cancel() override;
    void stop() override;
    void pause() override;
    void resume() override;

protected:
    void onBeforeSendHttpRequest(Poco::Net::HTTPRequest& request,
                                 unsigned long long startOffset) override;
    dt_error onTransferComplete(CCurlHandle& handle) override;
    dt_error onGetData(CCurlHandle& handle, ILocalFile& file, char* buffer,
                       unsigned long long length) override;
    dt_error onSendData(CCurlHandle& handle, ILocalFile& file, char* buffer,
                        unsigned long long length) override;
    bool isRangeRequestSupported() override;
    int getFileOpenMode() override;
    void onDbStateModify(ITransferChannel::State state) override;

private:
    std::string m_uploadUrl;
    std::wstring m_uploadPath;
    HeaderList m_headers;
    Poco::SharedPtr<ITransferBufferManager> m_uploadBufferManager;
    Poco::SharedPtr<CChannelsDbInfo> m_channelsInfo;
};

}  // namespace vx_transfers
