#include "vxfw/Output.h"

#include <unistd.h>

#include <cstdio>

#include "vxfw/Tracing.h"
#include "vxsim/LinkModel.h"

namespace vxfw {

void printJsonLine(const Json& object) {
    std::puts(object.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
    std::fflush(stdout);
}

Output::Output(bool json, std::FILE* stream, Progress::UsageClock usage, uint64_t totalBytes)
    : json_(json),
      stream_(stream),
      progress_(stream, !json && isatty(fileno(stream)) != 0, std::move(usage), totalBytes) {}

void Output::event(const Json& object, const std::string& text) {
    if (json_) {
        printJsonLine(object);
    } else {
        progress_.end();
        std::fprintf(stream_, "%s\n", text.c_str());
    }
}

void Output::progress(int state, const char* name, const std::string& message, int percent,
                      bool transfer) {
    tracing::progress(state, message, percent);
    if (!json_) {
        progress_.report(state, name, message, percent, transfer);
        return;
    }
    // The state is kept for the result either way; the line goes out for every report.
    progress_.track(state, message, percent);
    printJsonLine({{"type", "progress"},
                   {"state", state},
                   {"name", name},
                   {"percent", percent},
                   {"message", message}});
}

ExitCode Output::finish(ExitCode exit, const std::string& result, std::optional<int> state,
                        const std::string& message, const RunFigures& f, const std::string& next) {
    tracing::result(exit, result, state, message, json_);
    Json modelled = Json::object();
    if (f.modelled) {
        for (const vxsim::LinkModel& link :
             {vxsim::LinkModel::usb2(), vxsim::LinkModel::gmsl2(), vxsim::LinkModel::ethernet()}) {
            modelled[link.name] = link.totalSeconds(f.exchanges, f.bytesSent + f.bytesReceived);
        }
    }
    if (json_) {
        printJsonLine({{"type", "result"},
                       {"result", result},
                       {"state", state ? Json(*state) : Json(nullptr)},
                       {"message", message},
                       {"exit", static_cast<int>(exit)},
                       {"exchanges", f.exchanges},
                       {"failedExchanges", f.failedExchanges},
                       {"bytesSent", f.bytesSent},
                       {"bytesReceived", f.bytesReceived},
                       {"seconds", f.seconds},
                       {"modelledSeconds", modelled},
                       {"skippedPauseSeconds", f.skippedPauseSeconds},
                       {"next", next.empty() ? Json(nullptr) : Json(next)}});
        return exit;
    }
    progress_.end();
    if (state) {
        std::fprintf(stream_, "Result: %s (%d): %s\n", result.c_str(), *state,
                     oneLine(message).c_str());
    } else {
        std::fprintf(stream_, "Result: %s: %s\n", result.c_str(), oneLine(message).c_str());
    }
    std::fprintf(stream_, "Exchanges: %llu (%llu failed), %llu bytes sent, %llu received\n",
                 static_cast<unsigned long long>(f.exchanges),
                 static_cast<unsigned long long>(f.failedExchanges),
                 static_cast<unsigned long long>(f.bytesSent),
                 static_cast<unsigned long long>(f.bytesReceived));
    if (!f.cameraReport.empty()) std::fprintf(stream_, "%s\n", f.cameraReport.c_str());
    if (f.modelled) {
        std::string links;
        for (const auto& [name, seconds] : modelled.items()) {
            links +=
                (links.empty() ? "" : ", ") + name + " " + formatDuration(seconds.get<double>());
        }
        std::fprintf(stream_, "Modelled link time: %s\n", links.c_str());
    }
    std::fprintf(stream_, "Library time: %s (wall clock)", formatDuration(f.seconds).c_str());
    if (f.skippedPauseSeconds > 0.0) {
        std::fprintf(stream_, "; %s of pauses skipped (the emulated camera needs none)",
                     formatDuration(f.skippedPauseSeconds).c_str());
    }
    std::fprintf(stream_, "\n");
    if (!next.empty()) std::fprintf(stream_, "Next: %s.\n", next.c_str());
    std::fflush(stream_);
    return exit;
}

}  // namespace vxfw
