// Writes a flash region of an emulated L840-series camera through the library's exported C
// functions, verifies it by reading it back, and shows the progress received and a summary of
// what went over the wire. Recorded and replayed, the same run checks a trace end to end:
//   LD_PRELOAD=.../libvxsensor_record.so VXSENSOR_RECORD=demo.trace vxsensor_demo
//   vxsensor_demo --replay demo.trace
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "vxsensor/vx_extension.h"
#include "vxsim/Models.h"
#include "vxsim/Replay.h"
#include "vxsim/Trace.h"

namespace {

struct WriteProgress {
    int lastState = 99;
    int reports = 0;
};

const char* stateName(int state) {
    switch (state) {
        case VX_DATA_TRAN_STATE_TRANSFERRING:
            return "transferring";
        case VX_DATA_TRAN_STATE_VERIFYING:
            return "verifying";
        case VX_DATA_TRAN_STATE_DONE:
            return "done";
        case VX_DATA_TRAN_STATE_VERIFY_DONE:
            return "verify done";
        case VX_DATA_TRAN_STATE_FAILED:
            return "FAILED";
        case VX_DATA_TRAN_STATE_VERIFY_FAILED:
            return "VERIFY FAILED";
        default:
            return "?";
    }
}

// Prints one line per state change and the last percentage of each phase.
void onWrite(VXDataTranState state, uint8_t percent, void* user) {
    auto* progress = static_cast<WriteProgress*>(user);
    ++progress->reports;
    if (state != progress->lastState || percent == 100 || state < 0) {
        std::printf("  %-13s %3u%%\n", stateName(state), percent);
    }
    progress->lastState = state;
}

struct ReadBack {
    std::vector<uint8_t> data;
};

void onRead(VXDataTranState state, VXDataChunk* chunk, void* user) {
    if (state == VX_DATA_TRAN_STATE_TRANSFERRING) {
        auto& data = static_cast<ReadBack*>(user)->data;
        data.insert(data.end(), chunk->data, chunk->data + chunk->size);
    }
}

}  // namespace

// The run against a recorded camera: the same requests must meet the recorded answers.
int replay(const char* trace, const std::vector<uint8_t>& image, uint32_t offset) {
    vxsim::ReplayCamera camera(trace);
    std::printf("%s\n", camera.describe().c_str());
    WriteProgress progress;
    vx_device_write_flash(camera.handle(), offset, image.data(),
                          static_cast<uint32_t>(image.size()), onWrite, false, &progress);
    ReadBack back;
    vx_device_read_flash(camera.handle(), offset, static_cast<uint32_t>(image.size()), onRead,
                         false, &back);
    std::printf("%s\n", camera.report().c_str());
    return camera.matched() && back.data == image ? 0 : 1;
}

int main(int argc, char** argv) {
    const bool replaying = argc > 2 && std::string(argv[1]) == "--replay";
    const std::string model = argc > 1 && !replaying ? argv[1] : "l840,conn=USB2.0,fw=1.7.16";
    const uint32_t offset = 0x200000;
    const uint32_t size = 256 * 1024;

    // The application tells the library which product ids form the run-time device groups.
    for (const auto& [group, records] : vxsim::groupRecords()) {
        vx_error* error = nullptr;
        vx_set_device_info_data(group, records.data(), static_cast<uint32_t>(records.size()),
                                &error);
        if (error != nullptr) vx_delete_error(error);
    }
    std::vector<uint8_t> image(size);
    std::mt19937 rng(1);
    for (auto& b : image) b = static_cast<uint8_t>(rng());
    if (replaying) return replay(argv[2], image, offset);

    auto camera = vxsim::makeCamera(model);
    if (auto link = vxsim::linkPreset(camera->device().identity().connectionType)) {
        camera->device().setLinkModel(*link);
    }
    std::printf("Emulated camera: %s (%s, firmware %s), library %s\n",
                camera->model().productName.c_str(),
                camera->device().identity().connectionType.c_str(),
                camera->device().identity().firmwareVersion.c_str(), vx_get_commit_hash());

    std::printf("\nvx_device_write_flash: %u bytes at 0x%06X, verified by read-back\n", size,
                offset);
    WriteProgress progress;
    vx_device_write_flash(camera->handle(), offset, image.data(), size, onWrite, false, &progress);
    std::printf("  %d progress reports\n", progress.reports);

    std::printf("\nvx_device_read_flash: the same range\n");
    ReadBack back;
    vx_device_read_flash(camera->handle(), offset, size, onRead, false, &back);
    const bool same = back.data == image;
    std::printf("  read %zu bytes: %s\n", back.data.size(),
                same ? "identical to the image" : "DIFFERENT");

    const vxsim::TraceSummary s = vxsim::summarizeExchanges(camera->device());
    std::printf("\nOn the wire: %llu exchanges, %llu bytes sent, %llu received, %llu errors\n",
                static_cast<unsigned long long>(s.exchanges),
                static_cast<unsigned long long>(s.bytesSent),
                static_cast<unsigned long long>(s.bytesReceived),
                static_cast<unsigned long long>(s.transportErrors + s.deviceErrors));
    for (const auto& [opcode, count] : s.perOpcode) {
        std::printf("  %-20s %llu\n", vxsim::wire::opcodeName(opcode),
                    static_cast<unsigned long long>(count));
    }
    if (camera->device().linkModel()) {
        std::printf("A real %s link would have taken about %.2f s.\n",
                    camera->device().linkModel()->name.c_str(), camera->device().modelledSeconds());
    }
    return same && progress.lastState == VX_DATA_TRAN_STATE_DONE ? 0 : 1;
}
