// Progress lines for terminals and logs.
#include "vxfw/Progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace vxfw {

namespace {

constexpr int kBarWidth = 16;

double wallSeconds() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

int terminalWidth(std::FILE* out) {
    winsize size{};
    if (ioctl(fileno(out), TIOCGWINSZ, &size) == 0 && size.ws_col > 20) return size.ws_col;
    return 80;
}

std::string formatRate(double bytesPerSecond) {
    char text[32];
    if (bytesPerSecond >= 1e6) {
        std::snprintf(text, sizeof text, "%.1f MB/s", bytesPerSecond / 1e6);
    } else if (bytesPerSecond >= 1e3) {
        std::snprintf(text, sizeof text, "%.1f kB/s", bytesPerSecond / 1e3);
    } else {
        std::snprintf(text, sizeof text, "%.0f B/s", bytesPerSecond);
    }
    return text;
}

}  // namespace

std::string formatDuration(double seconds) {
    char text[32];
    if (seconds < 1.0) {
        std::snprintf(text, sizeof text, "%.1f ms", seconds * 1000.0);
    } else if (seconds < 10.0) {
        std::snprintf(text, sizeof text, "%.2f s", seconds);
    } else if (seconds < 120.0) {
        std::snprintf(text, sizeof text, "%.1f s", seconds);
    } else {
        const double whole = std::round(seconds);
        std::snprintf(text, sizeof text, "%.0f min %.0f s", std::floor(whole / 60.0),
                      std::fmod(whole, 60.0));
    }
    return text;
}

std::string oneLine(const std::string& text) {
    std::string line = text;
    for (char& c : line) {
        if (c == '\n' || c == '\r') c = ' ';
    }
    return line;
}

Progress::Progress(std::FILE* out, bool terminal, UsageClock usage, uint64_t totalBytes)
    : out_(out),
      terminal_(terminal),
      usage_(std::move(usage)),
      totalBytes_(totalBytes),
      wallStart_(wallSeconds()) {
    phaseStart_ = now();
    last_ = phaseStart_;
}

Progress::Instant Progress::now() const {
    if (const std::optional<LinkUsage> link = usage_ ? usage_() : std::nullopt) {
        return {link->seconds, link->bytes};
    }
    return {wallSeconds() - wallStart_, std::nullopt};
}

// A phase starts where the previous report left off, at 0 %.
std::string Progress::rateAndTimeLeft(const Instant& at) const {
    const double elapsed = at.seconds - phaseStart_.seconds;
    if (elapsed <= 0.0 || percent_ <= 0) return {};
    double moved = 0.0;
    if (at.bytes && phaseStart_.bytes) {
        moved = static_cast<double>(*at.bytes - *phaseStart_.bytes);
    } else {
        moved = static_cast<double>(totalBytes_) * percent_ / 100.0;
    }
    std::string text;
    if (moved > 0.0) text = formatRate(moved / elapsed);
    if (percent_ < 100) {
        text += (text.empty() ? "" : ", ") + formatDuration(elapsed * (100 - percent_) / percent_) +
                " left";
    }
    return text;
}

void Progress::report(int state, const char* stateName, const std::string& message, int percent,
                      bool transfer) {
    const Instant at = now();
    const std::string text = oneLine(message);
    const bool changed = !reported_ || state != state_ || text != message_;
    if (changed) {
        phaseStart_ = last_;
        if (drawn_) std::fputc('\n', out_);
        drawn_ = false;
    }
    last_ = at;
    if (!changed && percent == percent_) return;
    reported_ = true;
    state_ = state;
    message_ = text;
    percent_ = percent;
    if (!terminal_) {
        if (changed) std::fprintf(out_, "%-20s %3d%%  %s\n", stateName, percent, text.c_str());
        return;
    }
    // The message gives way first, so the numbers stay visible on a narrow terminal.
    const int filled = std::min(percent, 100) * kBarWidth / 100;
    char head[64];
    std::snprintf(head, sizeof head, "%-12s [%s%s] %3d%%  ", stateName,
                  std::string(static_cast<size_t>(filled), '#').c_str(),
                  std::string(static_cast<size_t>(kBarWidth - filled), '.').c_str(), percent);
    const std::string tail = transfer ? rateAndTimeLeft(at) : std::string();
    const auto width = static_cast<size_t>(terminalWidth(out_) - 1);
    std::string line = head + text;
    const size_t room =
        width > line.size() + tail.size() + 2 ? 0 : line.size() + tail.size() + 2 - width;
    if (room > 0) line.resize(line.size() > room ? line.size() - room : 0);
    if (!tail.empty()) line += "  " + tail;
    if (line.size() > width) line.resize(width);
    std::fprintf(out_, "\r\033[K%s", line.c_str());
    std::fflush(out_);
    drawn_ = true;
}

void Progress::track(int state, const std::string& message, int percent) {
    reported_ = true;
    state_ = state;
    message_ = oneLine(message);
    percent_ = percent;
}

void Progress::end() {
    if (drawn_) std::fputc('\n', out_);
    drawn_ = false;
    std::fflush(out_);
}

}  // namespace vxfw
