// Single images: the L5 image (trailer at the end), the headerless OpenNI image and the MiroMax
// package (header at the start).
#include <algorithm>

#include <fmt/format.h>

#include "DevicePidAndMap.h"
#include "common/ByteOrder.h"
#include "common/Utils.h"
#include "firmware/L5FirmwareParser.h"
#include "firmware/MiroMaxFirmwareParser.h"
#include "firmware/OpenNIFirmwareParser.h"
#include "vxfw/InspectFile.h"

namespace vxfw::inspect {

void describeL5Image(const Bytes& data, Description& d) {
    using namespace libvxsensor;
    const auto size = static_cast<uint32_t>(data.size());
    Json address = nullptr;
    d.runLibrary([&] {
        L5FirmwareParser parser(data.data(), size);
        address = parser.getWriteAddress();
    });
    // Detection found the magic, so the trailer is there.
    const uint8_t* trailer = data.data() + (size - kL5TrailerSize);
    const uint16_t pid = readLe16(trailer + kL5OffPid);
    const Json fit = product(pid);
    Json prefixes = Json::array();
    for (const auto& entry : L5SerialPrefixToDevicePid) {
        if (entry.second == pid) prefixes.push_back(entry.first);
    }
    std::sort(prefixes.begin(), prefixes.end());
    d.header = {{"productId", pid},
                {"productName", fit["name"]},
                {"serialPrefixes", prefixes},
                {"writeAddress", address},
                {"trailerMagic", readLe32(trailer + kL5OffMagic)}};
    d.products.push_back(fit);
    const std::string family = fit["family"].is_string() ? fit["family"].get<std::string>() : "";
    if (family == "L5" || family == "Pellin3" || family == "Lumex470") {
        d.families.push_back(family);
        d.notes.push_back(
            fmt::format("also taken in bootloader mode (product 0x0501) by a camera "
                        "whose saved identity is 0x{:04X}",
                        pid));
    } else {
        d.notes.push_back(fmt::format(
            "product 0x{:04X} is not of the L5 family: every camera refuses it with \"Invalid "
            "input file!\\nFirmware mismatch for <camera> : unmatched pid {}\"",
            pid, pid));
    }
    d.notes.push_back("the whole file, trailer included, is written to flash");
}

void describeOpenNIImage(const Bytes& data, Description& d) {
    using namespace libvxsensor;
    Json address = nullptr;
    d.runLibrary([&] {
        OpenNIFirmwareParser parser(data.data(), static_cast<uint32_t>(data.size()));
        address = parser.getWriteAddress();
    });
    d.header = {{"writeAddress", address}};
    d.families.push_back("OpenNI");
    for (const uint16_t pid : OpenNIDevPids) d.products.push_back(product(pid));
    d.notes.push_back("a headerless flash image: its size is its only check");
    d.notes.push_back("also taken in bootloader mode by product 0x0400");
}

void describeMiroMaxPackage(const Bytes& data, Description& d) {
    using namespace libvxsensor;
    d.runLibrary([&] {
        MiroMaxFirmwareParser parser(data);
        // The updater's checks that do not depend on the camera, in its order.
        const MiroMaxFirmwareFileHeader& header = parser.getFileHeader();
        const bool known = std::any_of(MiroMxaProductName.begin(), MiroMxaProductName.end(),
                                       [&header](const auto& entry) {
                                           return vx_stricmp(entry.second, header.productName) == 0;
                                       });
        if (!known) {
            d.refuse("Firmware mismatch, unsupported product name: " + header.productName);
        } else if (header.firmwareType == kMiroMaxTypeApplication) {
            d.refuse(
                "Parse firmware data failed!\nMiro Max doesn't support upgrade application now");
        } else if (header.firmwareType != kMiroMaxTypeFirmware) {
            d.refuse(fmt::format("Parse firmware data failed!\nInvalid firmware type: {}",
                                 header.firmwareType));
        }
    });
    if (data.size() < kMiroMaxOffFirmwareType + 4) {
        d.notes.push_back("too short to hold a header");
        return;
    }
    const uint32_t type = readLe32(data.data() + kMiroMaxOffFirmwareType);
    const std::string name = fieldText(data.data() + kMiroMaxOffProductName, kMiroMaxTextSize - 1);
    d.header = {
        {"platform", fieldText(data.data() + kMiroMaxOffPlatform, kMiroMaxTextSize)},
        {"productName", name},
        {"firmwareType", type},
        {"firmwareTypeMeaning", type == kMiroMaxTypeFirmware      ? "firmware"
                                : type == kMiroMaxTypeApplication ? "application"
                                                                  : "unknown"},
        {"payloadSize", data.size() > kMiroMaxHeaderSize ? data.size() - kMiroMaxHeaderSize : 0}};
    for (const auto& entry : MiroMxaProductName) {
        if (vx_stricmp(entry.second, name) == 0) d.products.push_back(product(entry.first));
    }
    if (!d.products.empty()) d.families.push_back("MiroMax");
    d.notes.push_back(
        "sent over Ethernet only, to a camera in recovery mode; the camera installs it");
}

}  // namespace vxfw::inspect
