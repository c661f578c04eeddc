#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include "files/CFileUrlResolver.h"
#include "platform/porting/FileUrlToFilePath.h"
#include "platform/porting/IOSResource.h"

namespace vx_transfers {
namespace {

TEST(CFileUrlResolverTest, FileUrlGivesThePlatformPathAndKeepsTheUrl) {
    const std::wstring urls[] = {L"file:///tmp/a%20b/c.bin", L"file://localhost/x/%C3%A9.txt",
                                 L"/already/a/path"};
    for (const std::wstring& original : urls) {
        std::wstring url = original, path, expected;
        FileUrlToFilePath(original, expected);
        IOSResource* resource = nullptr;
        CFileUrlResolver::resolve(url, path, &resource);
        EXPECT_EQ(expected, path);
        EXPECT_EQ(original, url);
        EXPECT_EQ(nullptr, resource);
    }
    std::wstring url = L"file:///tmp/a%20b/c.bin", path;
    CFileUrlResolver::resolve(url, path, nullptr);
    EXPECT_EQ(L"/tmp/a b/c.bin", path);
}

TEST(CFileUrlResolverTest, BookmarkThatCannotBeOpenedLeavesTheUrlAsItWas) {
    // No bookmarks on this platform: nothing is opened and nothing handed over.
    std::wstring url = L"bookmark://saved/ref-1", path = L"untouched";
    IOSResource* resource = nullptr;
    EXPECT_NO_THROW(CFileUrlResolver::resolve(url, path, &resource));
    EXPECT_EQ(L"bookmark://saved/ref-1", url);
    EXPECT_EQ(nullptr, resource);
    std::wstring expected;
    FileUrlToFilePath(url, expected);
    EXPECT_EQ(expected, path);
}

TEST(CFileUrlResolverTest, UnparsableUrlThrowsToTheCaller) {
    std::wstring url = L"file://[bad", path;
    EXPECT_THROW(CFileUrlResolver::resolve(url, path, nullptr), Poco::Exception);
}

}  // namespace
}  // namespace vx_transfers
