// What a device command says: for people, progress lines (redrawn on a terminal) and a result
// with the run's figures; with --json, JSON Lines on standard output, one object per event and
// one final object that carries the exit status. Diagnostics go to standard error either way, and
// so does the report for people when the data itself goes to standard output (-o -).
//   {"type": "camera", "description": "..."}
//   {"type": "progress", "state": 4, "name": "transferring", "percent": 42, "message": "..."}
//   {"type": "firmware", "camera": "1.7.16", "file": "1.7.20"}
//   {"type": "plan", "writes": [{"what": "main", "flash": true, "where": 1048576, ...}], ...}
//   {"type": "result", "result": "done", "state": 3, "message": "...", "exit": 0,
//    "exchanges": 4924, "failedExchanges": 0, "bytesSent": ..., "bytesReceived": ...,
//    "seconds": 0.0137, "modelledSeconds": {"USB2.0": 1.3, ...}, "skippedPauseSeconds": 0,
//    "next": "run the same command again" (or null)}
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "vxfw/ExitCodes.h"
#include "vxfw/Progress.h"

namespace vxfw {

using Json = nlohmann::ordered_json;

// What the run cost, for the final report.
struct RunFigures {
    uint64_t exchanges = 0;
    uint64_t failedExchanges = 0;
    uint64_t bytesSent = 0;
    uint64_t bytesReceived = 0;
    double seconds = 0.0;              // the library's wall-clock time
    double skippedPauseSeconds = 0.0;  // pauses an emulated camera needs not
    bool modelled = false;             // an emulated camera: link times are modelled
    std::string cameraReport;          // the plugin's words
};

class Output {
public:
    // `stream`: where the report for people goes.
    Output(bool json, std::FILE* stream, Progress::UsageClock usage, uint64_t totalBytes);

    bool json() const { return json_; }
    // One JSON line, or (for people) one text line.
    void event(const Json& object, const std::string& text);
    void progress(int state, const char* name, const std::string& message, int percent,
                  bool transfer);
    bool reported() const { return progress_.reported(); }
    int lastState() const { return progress_.state(); }
    const std::string& lastMessage() const { return progress_.message(); }

    // The final report; returns `exit`. `state` is the library's, where there is one; `next`
    // what to do now, if anything (for people, the last line).
    ExitCode finish(ExitCode exit, const std::string& result, std::optional<int> state,
                    const std::string& message, const RunFigures& figures, const std::string& next);

private:
    bool json_;
    std::FILE* stream_;
    Progress progress_;
};

// Writes one JSON object as a line: texts from files or cameras may hold anything, so invalid
// UTF-8 is replaced rather than refused.
void printJsonLine(const Json& object);

}  // namespace vxfw
