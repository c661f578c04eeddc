#include "CFakeUploadFile.h"

namespace vx_transfers {

void CFakeUploadFile::addChannel(const Poco::SharedPtr<ITransferChannel>& channel) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_channels.push_back(channel);
}

int CFakeUploadFile::uninitializeCount() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_uninitialized;
}

void CFakeUploadFile::getChannelVector(ChannelList& channels) {
    std::lock_guard<std::mutex> lock(m_mutex);
    channels = m_channels;
}

void CFakeUploadFile::getChannelsToTransfer(ChannelList& channels) {
    std::lock_guard<std::mutex> lock(m_mutex);
    channels = m_channels;
}

void CFakeUploadFile::uninitialize() {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_uninitialized;
}

}  // namespace vx_transfers
