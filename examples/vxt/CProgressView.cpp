#include "CProgressView.h"

#include <algorithm>
#include <cstdio>

namespace vxt {
namespace {

double fractionOf(std::uint64_t done, std::uint64_t total) {
    if (total == 0) return 1.0;
    return std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
}

std::string percent(double fraction) {
    char text[16];
    std::snprintf(text, sizeof text, "%5.1f%%", fraction * 100.0);
    return text;
}

// Keeps the end of a long name, which is the part that tells files apart.
std::string fit(const std::string& name, std::size_t width) {
    if (name.size() <= width) return name + std::string(width - name.size(), ' ');
    if (width <= 3) return name.substr(name.size() - width);
    return "..." + name.substr(name.size() - (width - 3));
}

}  // namespace

CProgressView::CProgressView(std::ostream& out, bool terminal, unsigned width,
                             std::chrono::milliseconds plainInterval)
    : m_out(out),
      m_terminal(terminal),
      m_width(std::max(40u, width)),
      m_plainInterval(plainInterval) {}

std::string CProgressView::formatBytes(std::uint64_t bytes) {
    static const char* const units[] = {"KiB", "MiB", "GiB", "TiB"};
    if (bytes < 1024) return std::to_string(bytes) + " B";
    double value = static_cast<double>(bytes) / 1024.0;
    std::size_t unit = 0;
    while (value >= 1024.0 && unit + 1 < sizeof units / sizeof units[0]) {
        value /= 1024.0;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, unit >= 2 ? "%.2f %s" : "%.1f %s", value, units[unit]);
    return text;
}

std::string CProgressView::formatDuration(std::int64_t seconds) {
    if (seconds < 0) return "--:--";
    char text[32];
    if (seconds >= 3600) {
        std::snprintf(
            text, sizeof text, "%lld:%02lld:%02lld", static_cast<long long>(seconds / 3600),
            static_cast<long long>(seconds / 60 % 60), static_cast<long long>(seconds % 60));
    } else {
        std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(seconds / 60),
                      static_cast<long long>(seconds % 60));
    }
    return text;
}

std::string CProgressView::bar(double fraction, unsigned width) {
    fraction = std::clamp(fraction, 0.0, 1.0);
    const auto filled = static_cast<unsigned>(fraction * width + 1e-9);
    return "[" + std::string(filled, '#') + std::string(width - filled, '.') + "]";
}

std::string CProgressView::totalLine(const TotalProgress& total, unsigned barWidth) {
    const double fraction = fractionOf(total.bytesDone, total.bytesTotal);
    std::string line = "Total ";
    if (barWidth > 0) line += bar(fraction, barWidth) + " ";
    line += percent(fraction) + "  " + formatBytes(total.bytesDone) + " / " +
            formatBytes(total.bytesTotal) + "  " + formatBytes(total.speed) + "/s  ETA " +
            formatDuration(total.etaSeconds) + "  files " + std::to_string(total.filesDone) + "/" +
            std::to_string(total.filesTotal);
    if (total.filesFailed > 0) line += ", " + std::to_string(total.filesFailed) + " failed";
    return line;
}

std::string CProgressView::fileLine(const FileProgress& file, unsigned width) {
    const double fraction = fractionOf(file.bytesDone, file.bytesTotal);
    std::string tail = " " + percent(fraction) + " " + formatBytes(file.bytesDone) + "/" +
                       formatBytes(file.bytesTotal) + " " + formatBytes(file.speed) + "/s";
    const unsigned barWidth = width >= 100 ? 30 : 20;
    const std::size_t used = 2 + 1 + (barWidth + 2) + tail.size();
    const std::size_t nameWidth = width > used + 8 ? width - used : 8;
    return "  " + fit(file.name, nameWidth) + " " + bar(fraction, barWidth) + tail;
}

void CProgressView::clearBlock() {
    if (!m_terminal || m_drawnLines == 0) return;
    // Up to the first line of the block, then erase from there to the end of the screen.
    m_out << "\x1b[" << m_drawnLines << "F\x1b[J";
    m_drawnLines = 0;
}

void CProgressView::printAbove(const std::string& line) {
    clearBlock();
    m_out << line << "\n";
    m_out.flush();
}

void CProgressView::update(const std::vector<FileProgress>& moving, const TotalProgress& total,
                           Clock::time_point now) {
    if (!m_terminal) {
        if (m_printedPlain && now - m_lastPlain < m_plainInterval) return;
        m_printedPlain = true;
        m_lastPlain = now;
        m_out << totalLine(total, 0) << "\n";
        m_out.flush();
        return;
    }
    clearBlock();
    const std::size_t shown = std::min(moving.size(), m_maxFileLines);
    for (std::size_t i = 0; i < shown; ++i) m_out << fileLine(moving[i], m_width - 1) << "\n";
    std::size_t lines = shown;
    if (moving.size() > shown) {
        m_out << "  ... and " << moving.size() - shown << " more moving\n";
        ++lines;
    }
    m_out << totalLine(total, m_width >= 100 ? 30 : 20) << "\n";
    m_drawnLines = lines + 1;
    m_out.flush();
}

void CProgressView::fileCompleted(const std::string& name, std::uint64_t size) {
    printAbove("done    " + name + " (" + formatBytes(size) + ")");
}

void CProgressView::fileFailed(const std::string& name, const std::string& reason) {
    printAbove("FAILED  " + name + (reason.empty() ? "" : ": " + reason));
}

void CProgressView::note(const std::string& text) { printAbove(text); }

void CProgressView::finish(const TotalProgress& total) {
    clearBlock();
    m_out << totalLine(total, 0) << "\n";
    m_out.flush();
}

}  // namespace vxt
