// Shows the library's progress reports. On a terminal one line is redrawn in place (a finished
// phase keeps its last line); in a log only a change of state or message gets a line, so a
// transfer of thousands of packets stays a handful of lines.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>

namespace vxfw {

class Progress {
public:
    // How long the link has been busy and how many bytes crossed it, when that is known better
    // than by the wall clock (an emulated link).
    struct LinkUsage {
        double seconds = 0.0;
        uint64_t bytes = 0;
    };
    using UsageClock = std::function<std::optional<LinkUsage>()>;

    // `totalBytes` (0 if unknown) lets a rate be estimated from percentages when the device
    // source cannot count bytes.
    Progress(std::FILE* out, bool terminal, UsageClock usage, uint64_t totalBytes);

    // One report. `transfer`: the percentage measures bytes moving, so a rate and the time left
    // mean something.
    void report(int state, const char* stateName, const std::string& message, int percent,
                bool transfer);
    // Closes a line drawn in place.
    void end();
    // Keeps a report as the last one without showing it (for output of another form).
    void track(int state, const std::string& message, int percent);

    bool reported() const { return reported_; }
    int state() const { return state_; }
    const std::string& message() const { return message_; }
    int percent() const { return percent_; }

private:
    struct Instant {
        double seconds = 0.0;
        std::optional<uint64_t> bytes;
    };
    Instant now() const;
    std::string rateAndTimeLeft(const Instant& at) const;

    std::FILE* out_;
    bool terminal_;
    UsageClock usage_;
    uint64_t totalBytes_;
    double wallStart_;
    bool reported_ = false;
    bool drawn_ = false;
    int state_ = 0;
    std::string message_;
    int percent_ = -1;
    Instant phaseStart_;
    Instant last_;
};

// "4.2 ms", "1.25 s", "12.5 s", "3 min 20 s".
std::string formatDuration(double seconds);
// The library's messages may hold line breaks; a progress line may not.
std::string oneLine(const std::string& text);

}  // namespace vxfw
