#include <gtest/gtest.h>

#include <string>

#include "CPlatformTestEnvironment.h"
#include "platform/porting/FileUrlToFilePath.h"
#include "platform/porting/string_convert.h"

namespace vx_transfers {
namespace {

std::wstring pathOf(const std::wstring& url) {
    std::wstring path = L"stale";
    FileUrlToFilePath(url, path);
    return path;
}

TEST(FileUrlToFilePathTest, FileUrlsAndPlainPathsGiveLocalPaths) {
    struct Row {
        const wchar_t* url;
        const wchar_t* path;
    };
    const Row rows[] = {
        {L"file:///home/u/a%20b.txt", L"/home/u/a b.txt"},
        {L"file://localhost/tmp/x", L"/tmp/x"},
        {L"FILE://LocalHost/tmp/x", L"/tmp/x"},
        {L"file:/tmp/x", L"/tmp/x"},
        {L"file:///tmp/%C3%A9t%C3%A9/%e6%97%a5", L"/tmp/\u00E9t\u00E9/\u65E5"},
        {L"file:///tmp/\u00E9t\u00E9 raw", L"/tmp/\u00E9t\u00E9 raw"},
        {L"file:///tmp/100%", L"/tmp/100%"},
        {L"file:///tmp/%zz%4", L"/tmp/%zz%4"},
        {L"file:///tmp/a%00b", L"/tmp/a%00b"},
        {L"file:///tmp/%25%23%3F", L"/tmp/%#?"},
        {L"/plain/path with space", L"/plain/path with space"},
        {L"relative/dir/%20", L"relative/dir/%20"},
        {L"", L""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.url, row.url + std::wcslen(row.url)));
        EXPECT_EQ(std::wstring(row.path), pathOf(row.url));
    }
}

TEST(FileUrlToFilePathTest, EscapedBytesThatAreNotUtf8SurviveToTheNarrowPath) {
    std::string narrow;
    string_convert::WStringToString(pathOf(L"file:///tmp/caf%E9"), narrow);
    EXPECT_EQ("/tmp/caf\xE9", narrow);
}

TEST(FileUrlToFilePathTest, UrlsWithoutALocalPathGiveAnEmptyPathAndAWarning) {
    const wchar_t* const urls[] = {L"http://example.test/file.txt", L"bookmark:abcdef",
                                   L"file://otherhost/share/file.txt"};
    for (const wchar_t* url : urls) {
        const std::string narrow(url, url + std::wcslen(url));
        SCOPED_TRACE(narrow);
        const platform_test::CLogMark mark;
        EXPECT_EQ(L"", pathOf(url));
        const std::vector<std::string> lines = mark.linesContaining(narrow);
        ASSERT_EQ(1u, lines.size());
        EXPECT_NE(std::string::npos, lines[0].find("[Warning] FileUrlToFilePath: "));
    }
}

}  // namespace
}  // namespace vx_transfers
