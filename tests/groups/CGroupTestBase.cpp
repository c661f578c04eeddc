#include "CGroupTestBase.h"

#include <fstream>

#include "db/CDatabase.h"
#include "db/CDatabaseDumpAnalyzer.h"
#include "db/CDatabaseTestAccess.h"
#include "db/CDbTestFolder.h"
#include "managers/startup/CSingleton.h"
#include "platform/porting/string_convert.h"
#include "vx_transfers/CVxTransfersGlobalConfig.h"

namespace vx_transfers {

std::unique_ptr<vxt_test::CLocalService> CGroupTestBase::s_service;

void CGroupTestBase::SetUpTestSuite() {
    // A proxy of the machine running the tests must not carry the loopback calls.
    for (const char* name : {"http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY"}) {
        unsetenv(name);
    }
    CDbTestFolder::restoreAppFilesPath();
    if (!s_service) {
        s_service = std::make_unique<vxt_test::CLocalService>();
    }
}

void CGroupTestBase::TearDownTestSuite() { s_service.reset(); }

vxt_test::CLocalService& CGroupTestBase::service() { return *s_service; }

void CGroupTestBase::SetUp() {
    CDbTestFolder::restoreAppFilesPath();
    // One database for the whole binary: the dump analyzer singleton keeps its pointer.
    ASSERT_NE(CDatabase::getInstance(), nullptr);
    ASSERT_TRUE(CDatabaseTestAccess::hasSession());
    for (const char* table : {"GroupsDictionary", "FilesDictionary", "ChannelsDictionary"}) {
        CDatabaseTestAccess::exec(std::string("DELETE FROM ") + table);
    }
    CSingleton<CDatabaseDumpAnalyzer>::getInstance()->unloadUploadData();
    CVxTransfersGlobalConfig::getInstance()->setRestEndPointUrl(service().baseUrl());
    service().control().reset();
    m_bucket = service().control().createBucket();
    CFakeUploadFileFactory::reset();
}

void CGroupTestBase::TearDown() { CFakeUploadFileFactory::reset(); }

CUploadGroup::TransferGroupInitParams CGroupTestBase::groupParams(int groupId) {
    CUploadGroup::TransferGroupInitParams params;
    params.bucketId = m_bucket.bucketId;
    params.bucketToken = m_bucket.token;
    params.bucketType = "transfer";
    params.expirationDate = 1700000000000ULL;
    params.groupId = groupId;
    params.callback = static_cast<CUploadManager::ICallback*>(&m_callback);
    params.isNew = true;
    params.minMultipartSize = 1000;
    params.engineCallback = &m_engine;
    params.verifyUploads = false;
    return params;
}

Poco::SharedPtr<CUploadGroup> CGroupTestBase::makeGroup(int groupId) {
    CUploadGroup::TransferGroupInitParams params = groupParams(groupId);
    return Poco::SharedPtr<CUploadGroup>(new CUploadGroup(params));
}

std::wstring CGroupTestBase::makeLocalFile(const std::string& name, size_t size) {
    const std::string path = CDbTestFolder::path() + "/" + name;
    std::ofstream(path, std::ios::binary | std::ios::trunc) << std::string(size, 'x');
    std::wstring url;
    string_convert::StringToWstring("file://" + path, url);
    return url;
}

CUploadManager::FileDesc CGroupTestBase::fileDesc(const std::string& uid,
                                                  const std::wstring& fileUrl) {
    CUploadManager::FileDesc desc;
    desc.fileUid = uid;
    desc.fileUrl = fileUrl.empty() ? makeLocalFile(uid + ".bin", 100) : fileUrl;
    desc.url = "http://127.0.0.1:1/data/" + uid;
    return desc;
}

std::string CGroupTestBase::groupColumn(int groupId, const std::string& column) {
    std::vector<std::string> values = CDatabaseTestAccess::query(
        "SELECT " + column + " FROM GroupsDictionary WHERE GroupId=" + std::to_string(groupId));
    return values.empty() ? std::string() : values.front();
}

size_t CGroupTestBase::groupRowCount() {
    return CDatabaseTestAccess::query("SELECT GroupId FROM GroupsDictionary").size();
}

size_t CGroupTestBase::serviceRequests(const std::string& route) {
    size_t count = 0;
    for (const auto& request : service().control().requests(route)) {
        count += request.path.find(m_bucket.bucketId) != std::string::npos ? 1 : 0;
    }
    return count;
}

}  // namespace vx_transfers
