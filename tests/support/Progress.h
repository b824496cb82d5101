// Records the progress reports of a transfer so tests compare whole sequences.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "vxsensor/vx_host.h"

using Report = std::pair<int, int>;  // (state, percent) or (state, chunk offset)
using Reports = std::vector<Report>;

struct SetProgress {
    Reports reports;
    auto callback() {
        return [this](VXDataTranState state, uint8_t percent) {
            reports.emplace_back(static_cast<int>(state), static_cast<int>(percent));
        };
    }
    // For the exported C functions.
    static void record(VXDataTranState state, uint8_t percent, void* self) {
        static_cast<SetProgress*>(self)->reports.emplace_back(static_cast<int>(state),
                                                              static_cast<int>(percent));
    }
};

struct GetProgress {
    Reports reports;            // (state, chunk offset)
    std::vector<uint8_t> data;  // every state-0 chunk appended
    std::vector<uint32_t> sizes;
    auto callback() {
        return [this](VXDataTranState state, VXDataChunk* chunk) { take(state, chunk); };
    }
    static void record(VXDataTranState state, VXDataChunk* chunk, void* self) {
        static_cast<GetProgress*>(self)->take(state, chunk);
    }
    void take(VXDataTranState state, const VXDataChunk* chunk) {
        reports.emplace_back(static_cast<int>(state), static_cast<int>(chunk->offset));
        if (state == VX_DATA_TRAN_STATE_TRANSFERRING) {
            data.insert(data.end(), chunk->data, chunk->data + chunk->size);
            sizes.push_back(chunk->size);
        }
    }
};
