#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/porting/string_convert.h"

namespace vx_transfers {
namespace {

std::wstring toWide(const std::string& narrow) {
    std::wstring wide;
    string_convert::StringToWstring(narrow, wide);
    return wide;
}

std::string toNarrow(const std::wstring& wide) {
    std::string narrow;
    string_convert::WStringToString(wide, narrow);
    return narrow;
}

TEST(StringConvertTest, NonAsciiPathsRoundTripBothWays) {
    struct Row {
        const char* narrow;
        const wchar_t* wide;
    };
    const Row rows[] = {
        {"", L""},
        {"/tmp/plain.txt", L"/tmp/plain.txt"},
        {"/home/r\xC3\xA9sum\xC3\xA9/\xC3\xA9t\xC3\xA9.pdf",
         L"/home/r\u00E9sum\u00E9/\u00E9t\u00E9.pdf"},
        {"/data/\xD0\xBF\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82",
         L"/data/\u043F\u0440\u0438\u0432\u0435\u0442"},
        {"/\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E/\xE6\x96\x87\xE4\xBB\xB6",
         L"/\u65E5\u672C\u8A9E/\u6587\u4EF6"},
        {"/emoji \xF0\x9F\x98\x80 file", L"/emoji \U0001F600 file"},
        {"/combining e\xCC\x81", L"/combining e\u0301"},
        {"/max \xF4\x8F\xBF\xBF", L"/max \U0010FFFF"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.narrow);
        EXPECT_EQ(std::wstring(row.wide), toWide(row.narrow));
        EXPECT_EQ(std::string(row.narrow), toNarrow(row.wide));
    }
}

TEST(StringConvertTest, InvalidUtf8BytesBecomeEscapesThatRoundTrip) {
    struct Row {
        const char* name;
        std::string narrow;
        std::wstring wide;
    };
    const Row rows[] = {
        {"lone byte",
         "a\xFF"
         "b",
         L"a\xDCFF"
         L"b"},
        {"truncated sequence", "x\xC3", L"x\xDCC3"},
        {"overlong slash", "\xC0\xAF", L"\xDCC0\xDCAF"},
        {"encoded surrogate", "\xED\xA0\x80", L"\xDCED\xDCA0\xDC80"},
        {"beyond U+10FFFF", "\xF4\x90\x80\x80", L"\xDCF4\xDC90\xDC80\xDC80"},
        {"stray continuation", "\x80z", L"\xDC80z"},
        {"latin-1 name", "/tmp/caf\xE9.txt", L"/tmp/caf\xDCE9.txt"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.wide, toWide(row.narrow));
        EXPECT_EQ(row.narrow, toNarrow(toWide(row.narrow)));
    }
}

TEST(StringConvertTest, CodePointsOutsideUtf8BecomeReplacementCharacters) {
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ("a" + replacement + "b", toNarrow(std::wstring(L"a") + wchar_t(0xD800) + L"b"));
    EXPECT_EQ(replacement, toNarrow(std::wstring(1, wchar_t(0xDC7F))));
    EXPECT_EQ(replacement, toNarrow(std::wstring(1, wchar_t(0x110000))));
    EXPECT_EQ(replacement, toNarrow(std::wstring(1, static_cast<wchar_t>(-1))));
}

TEST(StringConvertTest, AnyByteStringRoundTrips) {
    std::mt19937 random(12345);
    std::uniform_int_distribution<int> length(0, 40);
    std::uniform_int_distribution<int> byte(0, 255);
    for (int i = 0; i < 5000; ++i) {
        std::string narrow(static_cast<std::size_t>(length(random)), '\0');
        for (char& c : narrow) {
            c = static_cast<char>(byte(random));
        }
        ASSERT_EQ(narrow, toNarrow(toWide(narrow))) << "case " << i;
    }
}

TEST(StringConvertTest, OutputReplacesWhatWasThere) {
    std::wstring wide = L"old content";
    string_convert::StringToWstring("new", wide);
    EXPECT_EQ(L"new", wide);
    std::string narrow = "old content";
    string_convert::WStringToString(L"new", narrow);
    EXPECT_EQ("new", narrow);
}

}  // namespace
}  // namespace vx_transfers
