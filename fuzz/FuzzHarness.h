// What the fuzz targets share: reading the input, the checks that turn a broken promise into a
// crash libFuzzer reports, and a virtual camera whose answers are slices of the input.
//
// A device-flow input: variant u8 (which camera), host failure u8, skip u8, the flow's own
// parameters, then one slice per exchange:
//   mode u8 [reported length u32 LE, when mode & 8] length u16 LE, then that many bytes
//   mode & 3: 0 the bytes, but the id at offsets 6..7 counted from the request's (0 the same id,
//             0xFFFF the one before), since request ids are process-wide and runs must repeat;
//             1 the bytes with the request's opcode and id written over offsets 4..7, which is
//             how a recorded answer replays; 2 the camera's own answer; 3 a failed host call
//             (thrown when mode & 4)
// The camera sees every request whoever answers it, so its state follows the flow; once the input
// is used up it answers by itself, which ends every polling loop.
// With VXFUZZ_RECORD=<dir> a run writes its input plus the answers it got, in this slice format,
// to a new file of <dir>: how prefix-only inputs become seeds that replay a real camera.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/Sleep.h"
#include "vxsensor/vx_extension.h"
#include "vxsim/Install.h"
#include "vxsim/Models.h"
#include "vxsim/Wire.h"

#define VXFUZZ_CHECK(condition) \
    ((condition) ? void(0) : ::vxfuzz::broken(#condition, __FILE__, __LINE__))

namespace vxfuzz {

[[noreturn]] inline void broken(const char* what, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: broken: %s\n", file, line, what);
    std::abort();
}

// The emulated camera a state-file input is opened as: its first byte picks the model.
inline std::string stateFileSelector(uint8_t model, const std::string& path) {
    static const char* const kModels[] = {"l840", "l5pro", "openni"};
    return std::string(kModels[model % 3]) + ",flash=8M,state=" + path;
}

// Past the end every read gives zeros, so any input is a complete one.
class Input {
public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    bool empty() const { return pos_ >= size_; }
    uint8_t u8() { return empty() ? 0 : data_[pos_++]; }
    // Two statements: the operands of one expression may be evaluated in either order.
    uint16_t le16() {
        const uint8_t low = u8();
        return static_cast<uint16_t>(low | u8() << 8);
    }
    uint32_t le32() {
        const uint16_t low = le16();
        return low | static_cast<uint32_t>(le16()) << 16;
    }
    std::vector<uint8_t> take(size_t n) {
        const size_t count = empty() ? 0 : std::min(n, size_ - pos_);
        std::vector<uint8_t> out(data_ + pos_, data_ + pos_ + count);
        pos_ += count;
        return out;
    }
    // What remains, as an exact-size heap copy so that ASan sees a read past its end.
    std::vector<uint8_t> rest() { return take(size_); }
    std::vector<uint8_t> whole() const { return {data_, data_ + size_}; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

// Every host object the library obtained during the run must be released by its end; the log is
// dropped so a long campaign does not grow.
class LeakCheck {
public:
    LeakCheck() {
        static const bool once = setUpProcess();
        (void)once;
        host().reset();
        errors_ = host().liveErrors();
        infos_ = host().liveDeviceInfos();
    }
    ~LeakCheck() {
        VXFUZZ_CHECK(host().liveErrors() == errors_);
        VXFUZZ_CHECK(host().liveDeviceInfos() == infos_);
        host().reset();
    }
    LeakCheck(const LeakCheck&) = delete;
    LeakCheck& operator=(const LeakCheck&) = delete;

private:
    static vxsim::Host& host() { return vxsim::Host::instance(); }
    static bool setUpProcess() {
        libvxsensor::setSleepHook([](uint32_t) {});
        for (const auto& [group, records] : vxsim::groupRecords()) {
            vx_set_device_info_data(group, records.data(), static_cast<uint32_t>(records.size()),
                                    nullptr);
        }
        return true;
    }
    int errors_ = 0;
    int infos_ = 0;
};

class SliceResponder : public vxsim::Responder {
public:
    SliceResponder(Input& input, std::shared_ptr<vxsim::Responder> camera)
        : input_(input), camera_(std::move(camera)) {}

    vxsim::Reply exchange(const std::vector<uint8_t>& request, uint32_t capacity) override {
        given_.push_back(answer(request, capacity));
        return given_.back();
    }
    bool structuredData(uint32_t id, std::vector<uint8_t>& out) override {
        return camera_->structuredData(id, out);
    }

    // Every answer handed out, in order.
    const std::vector<vxsim::Reply>& given() const { return given_; }

private:
    vxsim::Reply answer(const std::vector<uint8_t>& request, uint32_t capacity) {
        vxsim::Reply own = camera_->exchange(request, capacity);
        if (input_.empty()) return own;
        const uint8_t mode = input_.u8();
        const uint32_t reported = (mode & 8) != 0 ? input_.le32() : 0;
        vxsim::Reply reply;
        reply.bytes = input_.take(input_.le16());
        const bool whole = reply.bytes.size() >= 8 && request.size() >= 8;
        switch (mode & 3) {
            case 0:
                if (whole) {
                    const auto id = static_cast<uint16_t>(reply.bytes[6] + request[6] +
                                                          (reply.bytes[7] + request[7]) * 256);
                    reply.bytes[6] = static_cast<uint8_t>(id);
                    reply.bytes[7] = static_cast<uint8_t>(id >> 8);
                }
                break;
            case 1:
                if (whole) std::copy_n(request.begin() + 4, 4, reply.bytes.begin() + 4);
                break;
            case 2:
                reply = std::move(own);
                break;
            case 3:
                reply = vxsim::Reply::transportFailure("fuzzed host failure");
                reply.hostThrows = (mode & 4) != 0;
                return reply;
        }
        if ((mode & 8) != 0) reply.reportedLength = reported;
        return reply;
    }

    Input& input_;
    std::shared_ptr<vxsim::Responder> camera_;
    std::vector<vxsim::Reply> given_;
};

// A catalog camera for one run, picked from `variants` by the first input byte, with one host
// failure switch armed as the next two bytes say. Cameras are made once per process and put back
// as they were made after every run: a new one per run means a new 16 MiB flash image, which
// under ASan costs nearly all the runs per second.
class FuzzCamera {
public:
    FuzzCamera(Input& input, std::initializer_list<const char*> variants) : input_(input) {
        const std::vector<const char*> names(variants);
        const char* name = names[input.u8() % names.size()];
        Pooled& pooled = pool()[name];
        if (!pooled.live) {
            pooled.live = vxsim::makeCamera(name);
            pooled.made = vxsim::makeCamera(name);
        }
        live_ = pooled.live.get();
        made_ = pooled.made.get();
        const uint8_t failure = input.u8();
        const uint8_t skip = input.u8();
        // Host functions other than the exchange report errors rather than throw: the host is C.
        if (failure != 0) {
            vxsim::Host::instance().failCall(
                static_cast<vxsim::HostCall>(failure % vxsim::kHostCallCount), {skip, 1});
        }
        responder_ = std::make_shared<SliceResponder>(input, live_->sharedCamera());
        device().setResponder(responder_);
    }
    ~FuzzCamera() {
        if (const char* dir = std::getenv("VXFUZZ_RECORD")) record(dir);
        restore();
    }
    FuzzCamera(const FuzzCamera&) = delete;
    FuzzCamera& operator=(const FuzzCamera&) = delete;

    vx_device_t* handle() { return live_->handle(); }
    vxsim::Device& device() { return live_->device(); }
    vxsim::VirtualCamera& camera() { return live_->camera(); }
    const vxsim::ModelInfo& model() const { return live_->model(); }

private:
    struct Pooled {
        std::unique_ptr<vxsim::EmulatedCamera> live;
        std::unique_ptr<vxsim::EmulatedCamera> made;  // never used: what `live` goes back to
    };
    static std::map<std::string, Pooled>& pool() {
        static std::map<std::string, Pooled> cameras;
        return cameras;
    }

    // Undoes what the run's requests changed: flash ranges, properties, raw-data objects, the
    // install status, and the CRC window (an empty erase closes it).
    void restore() {
        namespace wire = vxsim::wire;
        vxsim::VirtualCamera& cam = live_->camera();
        for (const vxsim::Exchange& e : device().exchanges()) {
            const auto request = wire::parseRequest(e.request);
            if (!request || request->payload.size() < 4) continue;
            const uint32_t at = request->u32(0);
            if (request->opcode == wire::EraseFlash) restoreFlash(at, request->u32(4));
            if (request->opcode == wire::WriteFlash) restoreFlash(at, request->payload.size() - 4);
            if (request->opcode != wire::SetProperty) continue;
            if (at == vxsim::kPresetClearProperty)
                restoreFlash(vxsim::kPresetAreaOffset, vxsim::kPresetAreaSize);
            if (const auto value = made_->camera().property(at)) {
                cam.setProperty(at, *value);
            } else {
                cam.removeProperty(at);
            }
        }
        if (model().customerDataCapacity != 0)
            cam.addRawDataObject(vxsim::kCustomerDataId, model().customerDataCapacity);
        vxsim::addSelfInstallFor(model(), cam);
        (void)cam.exchange({'G', 'M', 4, 0, wire::EraseFlash, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 64);
        cam.resetCounters();
        device().setResponder(live_->sharedCamera());
        device().clearExchanges();
    }
    void restoreFlash(uint64_t offset, uint64_t count) {
        const std::vector<uint8_t>& made = made_->camera().flash();
        if (offset >= made.size()) return;
        const auto begin = made.begin() + static_cast<std::ptrdiff_t>(offset);
        const auto n = static_cast<std::ptrdiff_t>(std::min<uint64_t>(count, made.size() - offset));
        live_->camera().writeFlashDirect(static_cast<uint32_t>(offset), {begin, begin + n});
    }

    void record(const std::string& dir) const {
        std::vector<uint8_t> out = input_.whole();
        for (const vxsim::Reply& r : responder_->given()) {
            const bool failed = r.transportError || r.hostThrows;
            out.push_back(failed ? (r.hostThrows ? 7 : 3) : r.reportedLength ? 9 : 1);
            for (int i = 0; !failed && r.reportedLength && i < 4; ++i)
                out.push_back(static_cast<uint8_t>(*r.reportedLength >> (8 * i)));
            const size_t n = failed ? 0 : r.bytes.size();
            out.push_back(static_cast<uint8_t>(n));
            out.push_back(static_cast<uint8_t>(n >> 8));
            out.insert(out.end(), r.bytes.begin(),
                       r.bytes.begin() + static_cast<std::ptrdiff_t>(n));
        }
        uint64_t hash = 14695981039346656037ull;
        for (const uint8_t b : out) hash = (hash ^ b) * 1099511628211ull;
        const std::string path = dir + "/" + std::to_string(hash);
        if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
            VXFUZZ_CHECK(std::fwrite(out.data(), 1, out.size(), f) == out.size());
            VXFUZZ_CHECK(std::fclose(f) == 0);
        }
    }

    Input& input_;
    std::shared_ptr<SliceResponder> responder_;
    vxsim::EmulatedCamera* live_ = nullptr;
    vxsim::EmulatedCamera* made_ = nullptr;
};

// What a chunked read hands its callback: chunks that follow each other inside the transfer, each
// with `size` readable bytes, and at most one end report, after which nothing comes.
struct ReadLog {
    std::vector<uint8_t> data;
    bool ended = false;

    void take(VXDataTranState state, const VXDataChunk* chunk, uint32_t maxChunk) {
        VXFUZZ_CHECK(!ended && chunk != nullptr && chunk->offset <= chunk->fullDataSize);
        if (state == VX_DATA_TRAN_STATE_TRANSFERRING) {
            VXFUZZ_CHECK(chunk->offset == data.size() && chunk->size <= maxChunk);
            VXFUZZ_CHECK(chunk->size <= chunk->fullDataSize - chunk->offset);
            data.insert(data.end(), chunk->data, chunk->data + chunk->size);
            return;
        }
        ended = true;
        VXFUZZ_CHECK(state == VX_DATA_TRAN_STATE_DONE || state == VX_DATA_TRAN_STATE_FAILED);
        VXFUZZ_CHECK(chunk->data == nullptr && chunk->size == 0);
        if (state == VX_DATA_TRAN_STATE_DONE) VXFUZZ_CHECK(data.size() == chunk->fullDataSize);
    }
};

// Runs a parser the way the library does: a refusal is an exception of the std::exception
// family; anything else escaping is a finding.
template <typename Parse>
bool parses(Parse parse) {
    try {
        parse();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

// A firmware update from memory through the exported function: every progress report is
// well-formed, and a failure leaves one well-formed error object, which is released.
inline void updateFromMemory(FuzzCamera& cam, const std::vector<uint8_t>& image,
                             bool withCallback) {
    const vx_device_upgrade_callback onProgress = [](VXUpgradeState, const char* message,
                                                     uint8_t percent, void*) {
        VXFUZZ_CHECK(message != nullptr && percent <= 100);
    };
    vx_error* error = nullptr;
    vx_device_update_firmware_from_raw_data_ext(
        cam.handle(), image.data(), static_cast<uint32_t>(image.size()),
        withCallback ? onProgress : nullptr, false, nullptr, &error);
    if (error != nullptr) {
        VXFUZZ_CHECK(vx_error_get_message(error) != nullptr && vxsim::errorStatus(error) == 1);
        vx_delete_error(error);
    }
}

}  // namespace vxfuzz
