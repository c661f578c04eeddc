#include <gtest/gtest.h>

#include <string>

#include "files/os_safe_filenames.h"
#include "platform/porting/getIllegalFilenameChars.h"

namespace vx_transfers {
namespace {

TEST(OsSafeFilenamesTest, EveryIllegalByteBecomesABlankAndTheLengthStays) {
    const std::string illegal = getIllegalFilenameChars();
    ASSERT_FALSE(illegal.empty());
    std::string onlyIllegal = illegal;
    os_safe_filenames::replaceUnsafeChars(onlyIllegal);
    EXPECT_EQ(std::string(illegal.size(), ' '), onlyIllegal);

    std::string name = "dir/a" + std::string(1, illegal[0]) + "b.txt";
    os_safe_filenames::replaceUnsafeChars(name);
    EXPECT_EQ("dir/a b.txt", name);  // the separator is not in the set
}

TEST(OsSafeFilenamesTest, LegalNamesAndMultiByteCharactersAreLeftAlone) {
    std::string narrow = "r\xC3\xA9sum\xC3\xA9 (1).pdf";
    const std::string before = narrow;
    os_safe_filenames::replaceUnsafeChars(narrow);
    EXPECT_EQ(before, narrow);

    std::wstring wide = L"caf\u00e9?.txt";
    os_safe_filenames::replaceUnsafeChars(wide);
    EXPECT_EQ(L"caf\u00e9 .txt", wide);
}

TEST(OsSafeFilenamesTest, DifferentNamesMayBecomeOne) {
    std::string first = "a?b", second = "a*b";
    os_safe_filenames::replaceUnsafeChars(first);
    os_safe_filenames::replaceUnsafeChars(second);
    EXPECT_EQ(first, second);
}

}  // namespace
}  // namespace vx_transfers
