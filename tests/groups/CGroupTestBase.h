#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "CFakeUploadFileFactory.h"
#include "CRecordingUploadCallback.h"
#include "groups/CUploadGroup.h"
#include "support/CLocalService.h"
#include "support/CRecordingUploadEngine.h"

namespace vx_transfers {

// What the group tests share: the binary's application folder and database (tables emptied
// before each test), the local service as REST end-point with a fresh bucket, a recording engine
// and callback, and the fake file factory reset.
class CGroupTestBase : public ::testing::Test {
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();

    void SetUp() override;
    void TearDown() override;

    CUploadGroup::TransferGroupInitParams groupParams(int groupId = 0);
    // A new group (row inserted) of the test's bucket, with the recording engine and callback.
    Poco::SharedPtr<CUploadGroup> makeGroup(int groupId = 0);
    // A local file of `size` bytes in the application folder; its file URL.
    std::wstring makeLocalFile(const std::string& name, size_t size);
    CUploadManager::FileDesc fileDesc(const std::string& uid, const std::wstring& fileUrl = L"");

    // Column `column` of GroupsDictionary for one group, as text; empty when there is no row.
    static std::string groupColumn(int groupId, const std::string& column);
    static size_t groupRowCount();
    // Requests of one route that the service saw for the test's bucket.
    size_t serviceRequests(const std::string& route);

    static vxt_test::CLocalService& service();

    vxt_test::CServiceControlClient::BucketInfo m_bucket;
    vxt_test::CRecordingUploadEngine m_engine;
    CRecordingUploadCallback m_callback;

private:
    static std::unique_ptr<vxt_test::CLocalService> s_service;
};

}  // namespace vx_transfers
