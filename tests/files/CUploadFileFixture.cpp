#include "CUploadFileFixture.h"

#include <Poco/FileStream.h>
#include <Poco/Path.h>

#include "platform/porting/string_convert.h"

namespace vx_transfers {

void CUploadFileFixture::SetUp() {
    control().reset();
    m_bucket = control().createBucket();
    m_groupId = CFilesTestEnvironment::uniqueNumber();
    m_group = makeGroup(m_groupId);
}

void CUploadFileFixture::TearDown() { m_group.reset(); }

vxt_test::CServiceControlClient& CUploadFileFixture::control() {
    return CFilesTestEnvironment::service().control();
}

std::unique_ptr<CUploadGroup> CUploadFileFixture::makeGroup(int groupId, bool isNew) {
    CUploadGroup::TransferGroupInitParams params;
    params.bucketId = m_bucket.bucketId;
    params.bucketToken = m_bucket.token;
    params.bucketType = "test";
    params.groupId = groupId != 0 ? groupId : CFilesTestEnvironment::uniqueNumber();
    params.callback = static_cast<CUploadManager::ICallback*>(&m_callback);
    params.isNew = isNew;
    params.minMultipartSize = 0x500000;
    return std::make_unique<CUploadGroup>(params);
}

std::string CUploadFileFixture::writeLocalFile(const std::string& name, unsigned long long size) {
    std::string bytes(size, '\0');
    unsigned long long value = 0x9E3779B97F4A7C15ULL ^ std::hash<std::string>()(name);
    for (auto& byte : bytes) {
        value = value * 6364136223846793005ULL + 1442695040888963407ULL;
        byte = static_cast<char>(value >> 56);
    }
    Poco::FileOutputStream out(Poco::Path(CFilesTestEnvironment::folder(), name).toString());
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    return bytes;
}

std::wstring CUploadFileFixture::fileUrlOf(const std::string& name) const {
    std::wstring wide;
    string_convert::StringToWstring(
        "file://" + Poco::Path(CFilesTestEnvironment::folder(), name).toString(), wide);
    return wide;
}

CUploadManager::FileDesc CUploadFileFixture::registerFile(const std::string& name,
                                                          unsigned long long size) {
    const auto target = control().registerUpload(m_bucket.bucketId, name, size);
    CUploadManager::FileDesc desc;
    desc.fileUid = target.fileId;
    desc.fileUrl = fileUrlOf(name);
    desc.url = target.url;
    desc.additionalHttpHeaders = target.headers;
    return desc;
}

void CUploadFileFixture::feed(Poco::SharedPtr<IUploadFile> file, CUploadManager::FileDesc& desc) {
    CTransferManagerBase::FileState state;
    file->getFileState(state);
    m_group->feedFile(file, desc, state, false);
}

CUploadFileFixture::ChannelList CUploadFileFixture::startChannels(IUploadFile& file,
                                                                  unsigned int maxRetries) {
    EXPECT_EQ(DT_SUCCESS, file.prepareForUpload());
    ChannelList channels;
    file.getChannelsToTransfer(channels);
    for (auto& channel : channels) {
        channel->setMaxRetries(maxRetries);
        EXPECT_EQ(DT_SUCCESS, channel->start());
    }
    return channels;
}

std::vector<vxt_test::CServiceControlClient::RequestRecord> CUploadFileFixture::calls(
    const std::string& route, const std::string& fileId) {
    const auto collect = [&] {
        std::vector<vxt_test::CServiceControlClient::RequestRecord> found;
        for (auto& request : control().requests(route)) {
            if (request.path.find("/file/" + fileId + "/") != std::string::npos) {
                found.push_back(std::move(request));
            }
        }
        return found;
    };
    auto found = collect();
    // The client may have its answer before the service has finished the log entry; the
    // calls before the last were answered before it was sent.
    if (!found.empty() && !found.back().finished) {
        const std::uint64_t seq = found.back().seq;
        control().waitForRequest(
            [seq](const vxt_test::CServiceControlClient::RequestRecord& request) {
                return request.seq == seq && request.finished;
            },
            kWait, "the end of the last " + route + " call");
        found = collect();
    }
    return found;
}

std::string CUploadFileFixture::storedMd5(const std::string& fileId) {
    return control().file(m_bucket.bucketId, fileId).md5;
}

}  // namespace vx_transfers
