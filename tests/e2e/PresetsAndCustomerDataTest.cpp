// Optional depth presets and customer data through the exported C functions against emulated
// cameras: what lands on the camera and in which requests, the progress and final states, and
// the failures of the transfers. The preset refusals are in RefusalsTest.
#include <gmock/gmock.h>

#include <tuple>

#include "presets/L840OptionalDepthPresetsParser.h"
#include "support/Catalog.h"

using namespace libvxsensor;

namespace wire = vxsim::wire;
using ::testing::StrEq;
using ::testing::ThrowsMessage;
using vxsim::Fault;
using vxsim::FaultRule;

class PresetsTest : public CatalogTest {
protected:
    static UpgradeRecorder upload(vxsim::EmulatedCamera& cam,
                                  const std::vector<std::vector<uint8_t>>& files) {
        UpgradeRecorder r;
        ::upload(cam, files, r);
        return r;
    }
    static std::vector<uint8_t> file(uint32_t address, uint8_t fill,
                                     const char* product = "Lumex 800") {
        return L840PresetFileWriter()
            .product(product)
            .record(L840RecordWriter().address(address).data(std::vector<uint8_t>(300, fill)))
            .write();
    }
    static std::vector<int> percents(const UpgradeRecorder& r) {
        std::vector<int> out;
        for (const auto& report : r.reports) out.push_back(std::get<2>(report));
        return out;
    }
};

TEST_F(PresetsTest, ThreeFilesLandInFlashBetweenClearAndFinish) {
    auto cam = vxsim::makeCamera("l840");
    cam->camera().writeFlashDirect(vxsim::kPresetAreaOffset,
                                   std::vector<uint8_t>(vxsim::kPresetAreaSize, 0));
    const UpgradeRecorder r =
        upload(*cam, {file(0x7F0000, 1), file(0x7F1000, 2), file(0x7F2000, 3)});
    ASSERT_EQ(percents(r), (std::vector<int>{0, 20, 40, 60, 80, 100}));
    EXPECT_EQ(r.reports.front(), (UpgradeReport{1, "Ready to update custom preset...", 0}));
    EXPECT_EQ(r.reports[2],
              (UpgradeReport{4, "Completed data transfer for custom preset file 1", 40}));
    EXPECT_EQ(r.last(), (UpgradeReport{3, "Update successfully!", 100}));
    EXPECT_EQ(r.error, nullptr);
    for (uint8_t i = 0; i < 3; ++i)
        EXPECT_EQ(cam->camera().flash()[0x7F0000 + 0x1000u * i + 299], i + 1);
    EXPECT_EQ(cam->camera().flash()[0x7F0000 + 300], 0xFF) << "the old presets were cleared";
    EXPECT_EQ(cam->camera().property(214), 1) << "finished";
}

TEST_F(PresetsTest, OneFileRunsInThirdsAndADuplicateFileIsDroppedAndSaidSo) {
    auto l815 = vxsim::makeCamera("l815");
    EXPECT_EQ(percents(upload(*l815, {file(0x7F0000, 1, "Lumex 815")})),
              (std::vector<int>{0, 33, 66, 100}));
    auto cam = vxsim::makeCamera("l840");
    EXPECT_EQ(upload(*cam, {file(0x7F0000, 1), file(0x7F0000, 1)}).last(),
              (UpgradeReport{6, "Update successfully! Duplicated presets have been ignored", 100}));
}

TEST_F(PresetsTest, TransferFailuresAreReportedWithTheirState) {
    auto refusedClear = vxsim::makeCamera("l840");
    refusedClear->camera().setPropertyHook(213, [](uint32_t, int32_t) -> uint16_t { return 7; });
    EXPECT_EQ(upload(*refusedClear, {file(0x7F0000, 1)}).last(),
              (UpgradeReport{-3, "Failed to clear the custom preset", 0}));

    auto refusedFinish = vxsim::makeCamera("l840");
    refusedFinish->camera().setPropertyHook(214, [](uint32_t, int32_t) -> uint16_t { return 7; });
    EXPECT_EQ(upload(*refusedFinish, {file(0x7F0000, 1)}).last(),
              (UpgradeReport{-6, "Failed to finish upgrading the custom preset", 66}));

    auto flaky = vxsim::makeCamera("l840");
    for (uint64_t n = 0; n < 4; ++n)
        flaky->faults().add(FaultRule::onOpcode(wire::WriteFlash, n, Fault::deviceError(9)));
    const UpgradeRecorder retried = upload(*flaky, {file(0x7F0000, 1)});
    EXPECT_EQ(retried.failures().size(), 4u) << "four failed attempts, the fifth succeeds";
    EXPECT_EQ(retried.last(), (UpgradeReport{3, "Update successfully!", 100}));

    auto broken = vxsim::makeCamera("l840");
    broken->faults().add(FaultRule::onOpcode(wire::WriteFlash, Fault::deviceError(9)));
    const UpgradeRecorder aborted = upload(*broken, {file(0x7F0000, 1)});
    EXPECT_EQ(aborted.failures().size(), 6u);
    EXPECT_EQ(aborted.last(),
              (UpgradeReport{-6,
                             "Failed to write custom preset file 1 after retries, aborting "
                             "upgrade. last error: Custom preset data transfer failed!",
                             33}));
    EXPECT_FALSE(broken->camera().property(214).has_value()) << "no finish after an abort";
}

TEST_F(PresetsTest, L945SeTakesItsPresetImageThroughTheFirmwarePath) {
    auto cam = vxsim::makeCamera("l945se");
    std::vector<uint8_t> image{'V', 'X', 'P', 'R', 'E', 'S', 'E', 'T'};
    image.resize(20000, 0x33);
    EXPECT_EQ(upload(*cam, {image}).last(),
              (UpgradeReport{4, "Firmware data transfer done!", 100}));
    EXPECT_EQ(cam->camera().rawData(4060), image);
}

class CustomerDataTest : public CatalogTest {
protected:
    static void write(vxsim::EmulatedCamera& cam, uint32_t size) {
        const std::vector<uint8_t> data = bytes(size, 1);
        vx_device_write_customer_data_ext(cam.handle(), data.data(), size);
    }
    // What a read hands back in a buffer of `capacity`.
    static std::vector<uint8_t> read(vxsim::EmulatedCamera& cam, uint32_t capacity = 1024) {
        std::vector<uint8_t> back(capacity, 0);
        uint32_t got = capacity;
        vx_device_read_customer_data_ext(cam.handle(), back.data(), &got);
        back.resize(got);
        return back;
    }
};

TEST_F(CustomerDataTest, WrittenDataReadsBackForEachFamily) {
    const std::pair<const char*, uint32_t> families[] = {
        {"l840", 128}, {"l945se", 700}, {"openni", 32}};
    for (const auto& [model, size] : families) {
        SCOPED_TRACE(model);
        auto cam = vxsim::makeCamera(model);
        write(*cam, size);
        EXPECT_EQ(read(*cam), bytes(size, 1));
    }
}

// Both directions in packet-sized chunks: start, chunks, finish; then the length, chunks, finish.
TEST_F(CustomerDataTest, TransfersGoInPacketSizedChunksBetweenStartAndFinish) {
    using Wire = std::vector<std::pair<int, size_t>>;  // opcode, request size
    const std::pair<uint32_t, Wire> cases[] = {
        {700, {{20, 16}, {21, 496}, {21, 236}, {22, 12}, {17, 12}, {18, 20}, {18, 20}, {19, 12}}},
        {0, {{20, 16}, {22, 12}, {17, 12}, {19, 12}}},
    };
    for (const auto& [size, expected] : cases) {
        auto cam = vxsim::makeCamera("l945se");
        write(*cam, size);
        EXPECT_EQ(read(*cam).size(), size);
        Wire seen;
        for (const vxsim::Exchange& e : cam->device().exchanges())
            seen.emplace_back(vxsim::wire::parseRequest(e.request)->opcode, e.request.size());
        EXPECT_EQ(seen, expected) << size;
    }
}

// Refusals send nothing; a failed request is the last one sent, and the area stays as it was.
TEST_F(CustomerDataTest, WriteFailuresThrowTheirMessageAndStopThere) {
    const std::tuple<const char*, uint32_t, uint16_t, const char*> cases[] = {
        {"l840", 129, 0, "The length of the written data is greater than 128 bytes!"},
        {"openni", 33, 0, "The length of the written data is greater than 32."},
        {"l840,fw=1.7.15", 16, 0,
         "Write Custom data failed! The device firmware version is less than 1.7.16, please "
         "upgrade the device!"},
        {"l5", 16, 0, "Unsupported device to create FirmwareUpdater!"},
        {"kovra-a", 16, 0, "Unsupported device to create FirmwareUpdater!"},
        {"l840", 16, wire::WriteData, "Custom Data transfer failed!"},
        {"openni", 16, wire::WriteData, "Custom Data write failed!"},
        {"l840", 16, wire::StartWriteData, "Custom Data transfer failed!"},
    };
    for (const auto& [model, size, faulted, message] : cases) {
        SCOPED_TRACE(std::string(model) + " " + message);
        auto cam = vxsim::makeCamera(model);
        const auto writing = [&cam, n = size] { write(*cam, n); };
        if (faulted == 0) {
            EXPECT_THAT(writing, ThrowsMessage<std::exception>(StrEq(message)));
            EXPECT_TRUE(cam->device().exchanges().empty());
            continue;
        }
        cam->faults().add(FaultRule::onOpcode(faulted, Fault::deviceError(2)));
        EXPECT_THAT(writing, ThrowsMessage<std::runtime_error>(StrEq(message)));
        EXPECT_EQ(opcodes(*cam).back(), faulted);
        EXPECT_TRUE(cam->camera().rawData(vxsim::kCustomerDataId).empty());
    }
    // A host that fails to release device information ends the operation before any traffic.
    auto cam = vxsim::makeCamera("l840");
    host().failCall(vxsim::HostCall::DeleteDeviceInfo, {0, 1, "release refused"});
    EXPECT_THAT([&] { write(*cam, 4); }, failsWith("release refused"));
    EXPECT_TRUE(cam->device().exchanges().empty());
}

TEST_F(CustomerDataTest, ReadFailuresThrowAndHandNothingOn) {
    // A short answer is not handed on as data, and no finish follows the failure.
    auto cam = vxsim::makeCamera("l945se");
    cam->camera().setRawData(vxsim::kCustomerDataId, bytes(700, 1));
    shortAnswer(*cam, wire::ReadData, 1);
    std::vector<uint8_t> back(1024, 0);
    uint32_t size = 1024;
    EXPECT_THAT([&] { vx_device_read_customer_data_ext(cam->handle(), back.data(), &size); },
                failsWith("Device response with wrong data size"));
    EXPECT_EQ(size, 1024u);
    EXPECT_EQ(back, std::vector<uint8_t>(1024, 0));
    EXPECT_EQ(opcodes(*cam).back(), wire::ReadData);

    auto without = vxsim::makeCamera("l945se");
    without->camera().removeRawDataObject(vxsim::kCustomerDataId);
    EXPECT_THROW(read(*without), std::runtime_error);
}

TEST_F(CustomerDataTest, OldFirmwareStillReadsAndASmallBufferIsProtected) {
    auto cam = vxsim::makeCamera("l840,fw=1.7.15");
    cam->camera().setRawData(1052, std::vector<uint8_t>(100, 9));
    std::vector<uint8_t> back(100);
    uint32_t size = 0;  // "not said": the whole area is copied
    vx_device_read_customer_data_ext(cam->handle(), back.data(), &size);
    EXPECT_EQ(size, 100u);

    // Found by fuzzing: without a capacity, a device announcing more than the family's area
    // (128 bytes here) once overflowed a buffer sized for that area.
    auto liar = vxsim::makeCamera("l840");
    liar->camera().addRawDataObject(1052, 1024, std::vector<uint8_t>(200, 1));
    std::vector<uint8_t> area(128, 0);
    size = 0;
    EXPECT_THROW(vx_device_read_customer_data_ext(liar->handle(), area.data(), &size),
                 std::runtime_error);

    std::vector<uint8_t> small(64, 0);
    size = 64;
    EXPECT_THROW(vx_device_read_customer_data_ext(cam->handle(), small.data(), &size),
                 std::runtime_error);
    EXPECT_EQ(small, std::vector<uint8_t>(64, 0)) << "nothing written past what the caller offered";
}
