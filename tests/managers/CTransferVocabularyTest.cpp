#include <gtest/gtest.h>

#include "vx_transfers/CDownloadManager.h"
#include "vx_transfers/CUploadManager.h"
#include "vx_transfers/error_type_convert.h"

namespace vx_transfers {
namespace {

TEST(CTransferVocabularyTest, OnlyFiveResultsMapToAFileErrorAndEverythingElseToNone) {
    struct Row {
        int error;
        transfer_defs::FileErrorType expected;
    };
    const Row rows[] = {
        {DT_SUCCESS, transfer_defs::FILE_ERROR_NONE},
        {DT_INVALID_ARGUMENT, transfer_defs::FILE_ERROR_NONE},
        {DT_FAILURE, transfer_defs::FILE_ERROR_NONE},
        {DT_RESERVED_3, transfer_defs::FILE_ERROR_NONE},
        {DT_NOT_CONNECTED, transfer_defs::FILE_ERROR_NONE},
        {DT_RESERVED_5, transfer_defs::FILE_ERROR_NONE},
        {DT_CANCELED, transfer_defs::FILE_ERROR_NONE},
        {DT_PAUSED, transfer_defs::FILE_ERROR_NONE},
        {DT_STOPPED, transfer_defs::FILE_ERROR_NONE},
        {9, transfer_defs::FILE_ERROR_LOCAL_FILE},
        {10, transfer_defs::FILE_ERROR_FILE_CHANGED},
        {11, transfer_defs::FILE_ERROR_MULTIPART_INIT},
        {12, transfer_defs::FILE_ERROR_URL},
        {13, transfer_defs::FILE_ERROR_CONNECTION},
        {DT_URL_EMPTY, transfer_defs::FILE_ERROR_NONE},
        {15, transfer_defs::FILE_ERROR_NONE},
        {-1, transfer_defs::FILE_ERROR_NONE},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.error);
        EXPECT_EQ(row.expected,
                  error_type_convert::fileErrorTypeFromDtError(static_cast<dt_error>(row.error)));
    }
}

TEST(CTransferVocabularyTest, DefaultUploadConfigurationHoldsTheDocumentedDefaults) {
    const CUploadManager::Configuration config;
    EXPECT_EQ(2u, config.maxConcurrentTransfers);
    EXPECT_EQ(52428800ull, config.minMultipartSize);
    EXPECT_EQ(3u, config.maxTransferRetries);
    EXPECT_FALSE(config.verifyUploads);
    EXPECT_TRUE(config.preventSleep);
    EXPECT_EQ(0ull, config.throttleBytesPerSec);
    EXPECT_EQ(0ull, config.reservedLimit);
    EXPECT_EQ(300000u, config.serverTransferProgressInterval);
    EXPECT_EQ(0u, config.restEndPoint.rfind("https://", 0)) << config.restEndPoint;
}

TEST(CTransferVocabularyTest, FreshGroupStatesAreNewEmptyAndCarryNoError) {
    const CUploadManager::GroupState upload;
    const CDownloadManager::GroupState download;
    for (const CTransferManagerBase::GroupState* state :
         {static_cast<const CTransferManagerBase::GroupState*>(&upload),
          static_cast<const CTransferManagerBase::GroupState*>(&download)}) {
        EXPECT_EQ(CTransferManagerBase::GROUP_STATUS_NEW, state->status);
        EXPECT_EQ(transfer_defs::GROUP_ERROR_NONE, state->errorType);
        EXPECT_TRUE(state->empty);
        EXPECT_EQ(0ull, state->bytesTotal);
        EXPECT_EQ(0u, state->retryCount);
    }
    EXPECT_FALSE(upload.queueMarked);
    EXPECT_TRUE(download.downloadPath.empty());
}

}  // namespace
}  // namespace vx_transfers
