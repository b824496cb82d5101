// The host functions the extension binds to, defined by vxfw itself: each call is forwarded to
// the host table of the device plugin loaded (vxsensor/vx_device_plugin.h). On the way, the seam
// counts exchanges and bytes (on a real camera as on the emulator), lets only requests that
// change nothing through in a dry run, and stops at the next transfer step after an interrupt.
// With --record the host it forwards to is the trace recorder in front of the plugin's
// (Tracing.h), so a request the seam refuses never reaches the trace.
//
// vxfw links the extension's code statically, so the extension's references to the host
// functions resolve to these at link time: no symbol interposition, no load order to get right.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "vxsensor/vx_device_plugin.h"

namespace vxfw::seam {

// From now on calls go to `host` (nullptr: no plugin; error objects and logging still work).
void attach(const vx_host_functions* host);

// The library's log lines go to stderr from `minimum` on (VX_LOG_SEVERITY_OFF: none); they
// also reach the plugin's own log sink.
void echoLog(VXLogSeverity minimum);

struct Totals {
    uint64_t exchanges = 0;
    uint64_t failed = 0;  // host errors, and answers with an error status or none at all
    uint64_t bytesSent = 0;
    uint64_t bytesReceived = 0;
};
const Totals& totals();

// A dry run: only requests that read let through; the first that would change the camera is
// not sent, and every later one neither.
void setDryRun(bool on);
// The opcode a dry run stopped at, if it did.
std::optional<uint16_t> dryRunStoppedAt();
// Whether the opcode only reads (the fixed allow-list of the dry run).
bool isReadOnly(uint16_t opcode);

// Interrupts: a first one lets the current transfer step end and stops before the next one
// starts; a second stops at the next exchange.
void interrupt();
int interruptCount();
// Whether the seam refused an exchange because of an interrupt.
bool stoppedByInterrupt();

// The writes the camera acknowledged in full, as the protocol shows them: a flash range from its
// erase to its finish, or a raw-data object from its start to its finish.
struct CompletedWrite {
    bool flash = true;
    uint32_t where = 0;  // flash address, or raw-data property
    uint32_t size = 0;
};
const std::vector<CompletedWrite>& completedWrites();
// A write started and not finished when the run ended.
std::optional<CompletedWrite> unfinishedWrite();

// Whether the last exchange sent got no answer at all: a camera gone, or going.
bool cameraStoppedAnswering();

}  // namespace vxfw::seam
