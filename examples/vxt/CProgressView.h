// The progress display of `vxt upload`. On a terminal: a bar for each file that is moving and
// a total line with speed and ETA, redrawn in place, with finished files printed above them.
// Otherwise (a pipe, a log file): a line per finished file and a total line now and then.
#ifndef VXT_CPROGRESSVIEW_H
#define VXT_CPROGRESSVIEW_H

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace vxt {

struct FileProgress {
    std::string name;
    std::uint64_t bytesDone = 0;
    std::uint64_t bytesTotal = 0;
    std::uint64_t speed = 0;  // bytes per second
};

struct TotalProgress {
    std::uint64_t bytesDone = 0;
    std::uint64_t bytesTotal = 0;
    std::uint64_t speed = 0;       // bytes per second
    std::int64_t etaSeconds = -1;  // -1: unknown
    std::size_t filesDone = 0;
    std::size_t filesFailed = 0;
    std::size_t filesTotal = 0;
};

class CProgressView {
public:
    using Clock = std::chrono::steady_clock;

    // `width`: columns of the terminal; `plainInterval`: how often a plain total line is
    // printed.
    CProgressView(std::ostream& out, bool terminal, unsigned width = 80,
                  std::chrono::milliseconds plainInterval = std::chrono::seconds(5));

    // The current picture. A terminal shows at most `maxFileLines` of the moving files.
    void update(const std::vector<FileProgress>& moving, const TotalProgress& total,
                Clock::time_point now = Clock::now());
    // One line for a file that finished, above the bars.
    void fileCompleted(const std::string& name, std::uint64_t size);
    void fileFailed(const std::string& name, const std::string& reason);
    // A message line, above the bars.
    void note(const std::string& text);
    // Removes the bars and prints the final total line.
    void finish(const TotalProgress& total);

    void setMaxFileLines(std::size_t lines) { m_maxFileLines = lines; }

    // "0 B", "999 B", "1.0 KiB", "12.3 MiB", "1.00 GiB"
    static std::string formatBytes(std::uint64_t bytes);
    // "h:mm:ss" or "m:ss"; "--:--" for a negative value.
    static std::string formatDuration(std::int64_t seconds);
    // "[#####.....]" with `width` cells between the brackets.
    static std::string bar(double fraction, unsigned width);
    static std::string totalLine(const TotalProgress& total, unsigned barWidth);
    static std::string fileLine(const FileProgress& file, unsigned width);

private:
    void clearBlock();
    void printAbove(const std::string& line);

    std::ostream& m_out;
    bool m_terminal;
    unsigned m_width;
    std::chrono::milliseconds m_plainInterval;
    std::size_t m_maxFileLines = 8;
    std::size_t m_drawnLines = 0;
    bool m_printedPlain = false;
    Clock::time_point m_lastPlain;
};

}  // namespace vxt

#endif
