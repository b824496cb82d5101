// Optional depth presets and customer data through the exported C functions against emulated
// cameras: what lands on the camera, the progress and final states, and every refusal.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstring>
#include <fstream>
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
    void TearDown() override {
        for (const std::string& path : written_) std::remove(path.c_str());
        CatalogTest::TearDown();
    }

    // Writes the files and runs the preset entry point with them (missing paths stay missing).
    UpgradeRecorder upload(vxsim::EmulatedCamera& cam,
                           const std::vector<std::vector<uint8_t>>& files,
                           std::vector<std::string> paths = {}) {
        for (size_t i = 0; i < files.size(); ++i) {
            paths.push_back(::testing::TempDir() + "preset-" + std::to_string(i) + ".bin");
            std::ofstream(paths.back(), std::ios::binary)
                .write(reinterpret_cast<const char*>(files[i].data()),
                       static_cast<std::streamsize>(files[i].size()));
            written_.push_back(paths.back());
        }
        std::vector<std::array<char, 1024>> slots(paths.size());
        for (size_t i = 0; i < paths.size(); ++i)
            std::strncpy(slots[i].data(), paths[i].c_str(), 1023);
        UpgradeRecorder r;
        vx_device_update_optional_depth_presets_ext(
            cam.handle(), reinterpret_cast<const char(*)[1024]>(slots.data()),
            static_cast<uint8_t>(slots.size()), UpgradeRecorder::record, &r, &r.error);
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

    std::vector<std::string> written_;
};

TEST_F(PresetsTest, ThreeFilesLandInFlashBetweenClearAndFinish) {
    auto cam = vxsim::makeCamera("l840");
    cam->camera().writeFlashDirect(vxsim::kPresetAreaOffset,
                                   std::vector<uint8_t>(vxsim::kPresetAreaSize, 0));
    const UpgradeRecorder r =
        upload(*cam, {file(0x7F0000, 1), file(0x7F1000, 2), file(0x7F2000, 3)});
    EXPECT_EQ(percents(r), (std::vector<int>{0, 20, 40, 60, 80, 100}));
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

TEST_F(PresetsTest, OneFileRunsInThirds) {
    auto cam = vxsim::makeCamera("l815");
    EXPECT_EQ(percents(upload(*cam, {file(0x7F0000, 1, "Lumex 815")})),
              (std::vector<int>{0, 33, 66, 100}));
}

TEST_F(PresetsTest, ADuplicateFileIsDroppedAndSaidSo) {
    auto cam = vxsim::makeCamera("l840");
    const UpgradeRecorder r = upload(*cam, {file(0x7F0000, 1), file(0x7F0000, 1)});
    EXPECT_EQ(r.last(),
              (UpgradeReport{6, "Update successfully! Duplicated presets have been ignored", 100}));
}

TEST_F(PresetsTest, RefusalsBeforeAnyTraffic) {
    struct Case {
        const char* camera;
        std::vector<std::vector<uint8_t>> files;
        int state;
        std::string message;
    };
    const Case cases[] = {
        {"l840", {}, -11, "The number of preset file must be 1~3!"},
        {"l840",
         {file(0, 1), file(0, 2), file(0, 3), file(0, 4)},
         -11,
         "The number of preset file must be 1~3!"},
        {"kovra-a,fw=1.9.02",
         {file(0, 1)},
         -10,
         "Unsupported device! Firmware version must be >= 1.9.03"},
        {"l840,fw=1.4.40",
         {file(0, 1)},
         -10,
         "Unsupported device! Firmware version must be >= 1.4.41"},
        {"l5",
         {file(0, 1)},
         -10,
         "Failed to create OptionalDepthPresetsUpdater! Unsupported device, pid: 1648"},
        {"l840", {file(0, 1, "Lumex 999")}, -9, "Preset data product mismatch: Lumex 999"},
        {"l840",
         {L840PresetFileWriter().record(L840RecordWriter().pids({0x0999})).write()},
         -9,
         "Preset data is not adaptable with the current device, pid: 2048"},
        {"l840",
         {L840PresetFileWriter().record(L840RecordWriter()).record(L840RecordWriter()).write()},
         -9,
         "All preset file data is mismatched!"},
        {"l840",
         {L840PresetFileWriter().record(L840RecordWriter().writeSize(65)).write()},
         -9,
         "Parse preset data failed!\nInvalid input data or data has been damaged"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.camera + (" " + c.message));
        auto cam = vxsim::makeCamera(c.camera);
        const UpgradeRecorder r = upload(*cam, c.files);
        EXPECT_EQ(r.reports, (std::vector<UpgradeReport>{{c.state, c.message, 0}}));
        r.expectError(c.message, "vx_device_update_preset_ext", 1);
        EXPECT_TRUE(cam->device().exchanges().empty());
    }
}

TEST_F(PresetsTest, ABootloaderListedInTheGroupsIsRefusedAfterTheFirmwareGate) {
    const uint8_t records[] = {0x6E, 0x3A, 0x00, 0x08,
                               0x6E, 0x3A, 0x01, 0x05};  // l840 and its bootloader
    vx_set_device_info_data(0, records, sizeof records, nullptr);
    vx_set_device_info_data(4, records, sizeof records, nullptr);
    const std::pair<const char*, const char*> cases[] = {
        {"l840,boot,fw=1.4.40", "Unsupported device! Firmware version must be >= 1.4.41"},
        {"l840,boot,fw=1.7.16", "Unsupported device in bootloader mode!"}};
    for (const auto& [model, message] : cases) {
        auto cam = vxsim::makeCamera(model);
        EXPECT_EQ(upload(*cam, {file(0, 1)}).reports,
                  (std::vector<UpgradeReport>{{-10, message, 0}}));
        EXPECT_TRUE(cam->device().exchanges().empty());
    }
}

TEST_F(PresetsTest, AMissingSecondFileSendsNothing) {
    auto cam = vxsim::makeCamera("l840");
    const UpgradeRecorder r = upload(*cam, {file(0, 1)}, {"/no/such/preset.bin"});
    EXPECT_EQ(r.reports, (std::vector<UpgradeReport>{{-12, "Failed to read preset file", 0}}));
    r.expectError("Failed to read preset file", "vx_device_update_preset_ext", 7);
    EXPECT_TRUE(cam->device().exchanges().empty());
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
    const UpgradeRecorder r = upload(*cam, {image});
    EXPECT_EQ(r.last(), (UpgradeReport{4, "Firmware data transfer done!", 100}));
    EXPECT_EQ(cam->camera().rawData(4060), image);

    const UpgradeRecorder two = upload(*cam, {image, image});
    EXPECT_EQ(two.reports,
              (std::vector<UpgradeReport>{{-11, "The number of preset file must be 1!", 0}}));
}

class CustomerDataTest : public PresetsTest {};

TEST_F(CustomerDataTest, WrittenDataReadsBackForEachFamily) {
    const std::pair<const char*, uint32_t> families[] = {
        {"l840", 128}, {"l945se", 700}, {"openni", 32}};
    for (const auto& [model, size] : families) {
        SCOPED_TRACE(model);
        auto cam = vxsim::makeCamera(model);
        std::vector<uint8_t> data(size);
        for (uint32_t i = 0; i < size; ++i) data[i] = static_cast<uint8_t>(i * 7 + 1);
        vx_device_write_customer_data_ext(cam->handle(), data.data(), size);
        std::vector<uint8_t> back(1024, 0);
        uint32_t got = static_cast<uint32_t>(back.size());
        vx_device_read_customer_data_ext(cam->handle(), back.data(), &got);
        ASSERT_EQ(got, size);
        back.resize(got);
        EXPECT_EQ(back, data);
    }
}

TEST_F(CustomerDataTest, RefusalsSendNothingAndTransferFailuresCarryTheFamilysMessage) {
    const auto write = [](vxsim::EmulatedCamera& cam, uint32_t size) {
        return [&cam, size] {
            const std::vector<uint8_t> data(size, 1);
            vx_device_write_customer_data_ext(cam.handle(), data.data(), size);
        };
    };
    const std::tuple<const char*, uint32_t, const char*> refusals[] = {
        {"l840", 129, "The length of the written data is greater than 128 bytes!"},
        {"openni", 33, "The length of the written data is greater than 32."},
        {"l840,fw=1.7.15", 16,
         "Write Custom data failed! The device firmware version is less than 1.7.16, please "
         "upgrade the device!"},
        {"l5", 16, "Unsupported device to create FirmwareUpdater!"},
        {"kovra-a", 16, "Unsupported device to create FirmwareUpdater!"}};
    for (const auto& [model, size, message] : refusals) {
        auto cam = vxsim::makeCamera(model);
        EXPECT_THAT(write(*cam, size), ThrowsMessage<std::exception>(StrEq(message))) << model;
        EXPECT_TRUE(cam->device().exchanges().empty()) << model;
    }

    const std::pair<const char*, const char*> families[] = {
        {"l840", "Custom Data transfer failed!"}, {"openni", "Custom Data write failed!"}};
    for (const auto& [model, message] : families) {
        auto cam = vxsim::makeCamera(model);
        cam->faults().add(FaultRule::onOpcode(wire::WriteData, Fault::deviceError(2)));
        EXPECT_THAT(write(*cam, 16), ThrowsMessage<std::runtime_error>(StrEq(message))) << model;
    }
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
