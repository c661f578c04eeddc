// The progress text of `vxt upload`: units, durations, bars, and how a terminal and a plain
// output differ.
#include <gtest/gtest.h>

#include <sstream>

#include "CProgressView.h"

namespace vxt {
namespace {

TEST(CProgressViewTest, BytesDurationsAndBarsAreFormattedForPeople) {
    const std::pair<std::uint64_t, const char*> bytes[] = {{0, "0 B"},
                                                           {1023, "1023 B"},
                                                           {1024, "1.0 KiB"},
                                                           {1536, "1.5 KiB"},
                                                           {1048576, "1.0 MiB"},
                                                           {1073741824ULL, "1.00 GiB"},
                                                           {5ULL << 40, "5.00 TiB"}};
    for (const auto& row : bytes) {
        SCOPED_TRACE(row.second);
        EXPECT_EQ(CProgressView::formatBytes(row.first), row.second);
    }
    const std::pair<std::int64_t, const char*> durations[] = {{-1, "--:--"},     {0, "0:00"},
                                                              {59, "0:59"},      {61, "1:01"},
                                                              {3600, "1:00:00"}, {3725, "1:02:05"}};
    for (const auto& row : durations) {
        SCOPED_TRACE(row.second);
        EXPECT_EQ(CProgressView::formatDuration(row.first), row.second);
    }
    EXPECT_EQ(CProgressView::bar(0.0, 4), "[....]");
    EXPECT_EQ(CProgressView::bar(0.5, 4), "[##..]");
    EXPECT_EQ(CProgressView::bar(1.0, 4), "[####]");
    EXPECT_EQ(CProgressView::bar(2.0, 4), "[####]");
}

TEST(CProgressViewTest, TotalLineCarriesPercentSpeedEtaAndFileCounts) {
    TotalProgress total;
    total.bytesDone = 512 * 1024;
    total.bytesTotal = 1024 * 1024;
    total.speed = 2048;
    total.etaSeconds = 256;
    total.filesDone = 1;
    total.filesFailed = 1;
    total.filesTotal = 3;
    EXPECT_EQ(CProgressView::totalLine(total, 0),
              "Total  50.0%  512.0 KiB / 1.0 MiB  2.0 KiB/s  ETA 4:16  files 1/3, 1 failed");
    // A group of empty files is complete, not at 0%.
    TotalProgress empty;
    EXPECT_NE(CProgressView::totalLine(empty, 0).find("100.0%"), std::string::npos);
}

TEST(CProgressViewTest, LongFileNamesKeepTheirEndAndTheLineFitsTheWidth) {
    FileProgress file;
    file.name = std::string(200, 'a') + "/the-end.bin";
    file.bytesDone = 10;
    file.bytesTotal = 100;
    const std::string line = CProgressView::fileLine(file, 79);
    EXPECT_LE(line.size(), 79u);
    EXPECT_NE(line.find("...aaaa"), std::string::npos);
    EXPECT_NE(line.find("the-end.bin"), std::string::npos);
    EXPECT_NE(line.find(" 10.0%"), std::string::npos);
}

TEST(CProgressViewTest, PlainOutputPrintsTotalsOnlyOncePerIntervalAndNoEscapes) {
    std::ostringstream out;
    CProgressView view(out, false, 80, std::chrono::seconds(5));
    const auto start = CProgressView::Clock::now();
    TotalProgress total;
    total.bytesTotal = 10;
    view.update({{"a", 1, 10, 1}}, total, start);
    view.update({{"a", 2, 10, 1}}, total, start + std::chrono::seconds(1));
    view.fileCompleted("a", 10);
    view.update({}, total, start + std::chrono::seconds(6));
    const std::string text = out.str();
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    std::size_t totals = 0;
    for (std::size_t at = text.find("Total"); at != std::string::npos;
         at = text.find("Total", at + 1)) {
        ++totals;
    }
    EXPECT_EQ(totals, 2u);
    EXPECT_NE(text.find("done    a (10 B)\n"), std::string::npos);
}

TEST(CProgressViewTest, TerminalRedrawsItsBlockInPlaceAndPrintsFinishedFilesAboveIt) {
    std::ostringstream out;
    CProgressView view(out, true, 80);
    view.setMaxFileLines(1);
    TotalProgress total;
    total.bytesTotal = 20;
    view.update({{"a", 1, 10, 1}, {"b", 1, 10, 1}}, total);
    // One file line, the "more" line and the total line were drawn.
    EXPECT_NE(out.str().find("... and 1 more moving"), std::string::npos);
    out.str("");
    view.fileFailed("b", "the connection failed too often");
    EXPECT_EQ(out.str(), "\x1b[3F\x1b[JFAILED  b: the connection failed too often\n");
    out.str("");
    view.update({{"a", 5, 10, 1}}, total);
    EXPECT_EQ(out.str().find("\x1b[2F"), std::string::npos) << "nothing left to move up over";
    out.str("");
    view.update({{"a", 6, 10, 1}}, total);
    EXPECT_EQ(out.str().rfind("\x1b[2F\x1b[J", 0), 0u);
}

}  // namespace
}  // namespace vxt
