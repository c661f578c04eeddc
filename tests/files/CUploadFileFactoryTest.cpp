#include <gtest/gtest.h>

#include <memory>

#include "files/CUploadFileFactory.h"
#include "files/CUploadFileMultiPart.h"
#include "files/CUploadFileSinglePart.h"

namespace vx_transfers {
namespace {

bool isMultiPart(IUploadFile* file) { return dynamic_cast<CUploadFileMultiPart*>(file) != nullptr; }
bool isSinglePart(IUploadFile* file) {
    return dynamic_cast<CUploadFileSinglePart*>(file) != nullptr;
}

TEST(CUploadFileFactoryTest, SizeAboveTheThresholdAloneMakesAMultipartFile) {
    const unsigned long long threshold = 52428800;
    struct Case {
        unsigned long long size;
        bool multipart;
    };
    for (const Case& c :
         {Case{0, false}, Case{1, false}, Case{threshold - 1, false}, Case{threshold, false},
          Case{threshold + 1, true}, Case{0xFFFFFFFFULL, true}}) {
        SCOPED_TRACE(c.size);
        std::unique_ptr<IUploadFile> file(CUploadFileFactory::create(threshold, c.size));
        ASSERT_NE(nullptr, file);
        EXPECT_EQ(c.multipart, isMultiPart(file.get()));
        EXPECT_EQ(!c.multipart, isSinglePart(file.get()));
    }
}

TEST(CUploadFileFactoryTest, MoreThanOneStoredChannelMakesAMultipartFile) {
    struct Case {
        unsigned int channels;
        bool multipart;
    };
    for (const Case& c : {Case{0, false}, Case{1, false}, Case{2, true}, Case{1000, true}}) {
        SCOPED_TRACE(c.channels);
        std::unique_ptr<IUploadFile> file(CUploadFileFactory::create(c.channels));
        ASSERT_NE(nullptr, file);
        EXPECT_EQ(c.multipart, isMultiPart(file.get()));
        EXPECT_EQ(!c.multipart, isSinglePart(file.get()));
    }
}

TEST(CUploadFileMultiPartDivisionTest, CountRoundsUpAndPartSizeGrowsBeyondAThousandParts) {
    struct Case {
        unsigned long long fileSize;
        unsigned long long partSize;
        unsigned long long expectedPartSize;
        unsigned long long expectedCount;
        unsigned long long expectedLastPart;
    };
    const Case cases[] = {
        {52428801ULL, 52428800ULL, 52428800ULL, 2, 1},
        {104857600ULL, 52428800ULL, 52428800ULL, 2, 52428800ULL},
        {52428801000ULL, 52428800ULL, 52428801ULL, 1000, 52428801ULL},
        {5242880001ULL, 5242880ULL, 5242881ULL, 1000, 5241882ULL},
        {5242880000ULL, 5242880ULL, 5242880ULL, 1000, 5242880ULL},
        {5242880ULL, 5242880ULL, 5242880ULL, 1, 5242880ULL},
        {0, 5242880ULL, 5242880ULL, 0, 0},
        // A nominal size under 1,000 bytes: the trailing parts come out empty.
        {1500, 1, 2, 1000, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.fileSize) + " / " + std::to_string(c.partSize));
        unsigned long long partSize = c.partSize;
        unsigned long long count = 0;
        CUploadFileMultiPart::divide(c.fileSize, partSize, count);
        EXPECT_EQ(c.expectedPartSize, partSize);
        EXPECT_EQ(c.expectedCount, count);
        if (count == 0) {
            continue;
        }
        // The parts as initialize cuts them: each the smaller of what remains and the part size.
        unsigned long long remaining = c.fileSize, last = 0;
        for (unsigned long long i = 0; i < count; ++i) {
            last = remaining < partSize ? remaining : partSize;
            remaining -= last;
        }
        EXPECT_EQ(0u, remaining);
        EXPECT_EQ(c.expectedLastPart, last);
    }
}

}  // namespace
}  // namespace vx_transfers
