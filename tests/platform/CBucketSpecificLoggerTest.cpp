#include <gtest/gtest.h>

#include "platform/CBucketSpecificLogger.h"

namespace vx_transfers {
namespace {

TEST(CBucketSpecificLoggerTest, PrefixLeavesOutOnlyTheMissingParts) {
    struct Row {
        const char* bucket;
        unsigned int group;
        const char* file;
        int channel;
        const char* expected;
    };
    const Row rows[] = {
        {"b1", 7, "f9", 2, "[b1[7]: f9: 2] "},
        {"b1", 7, "f9", -1, "[b1[7]: f9] "},
        {"b1", 7, "", 0, "[b1[7]: 0] "},
        {"b1", 7, "", -1, "[b1[7]] "},
        {"", 0, "", -1, "[[0]] "},
        {"b", 4294967295u, "f", 15, "[b[4294967295]: f: 15] "},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.expected);
        EXPECT_EQ(
            row.expected,
            CBucketSpecificLogger(row.bucket, row.group, row.file, row.channel).getMessagePrefix());
        CBucketSpecificLogger configured;
        configured.configure(row.bucket, row.group, row.file, row.channel);
        EXPECT_EQ(row.expected, configured.getMessagePrefix());
    }
}

TEST(CBucketSpecificLoggerTest, DefaultHasNoBucketAndAllOnesGroup) {
    EXPECT_EQ("[[4294967295]] ", CBucketSpecificLogger().getMessagePrefix());
}

}  // namespace
}  // namespace vx_transfers
