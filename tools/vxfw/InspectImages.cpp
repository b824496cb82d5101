// Single images: the L5 image (trailer at the end), the headerless OpenNI image and the MiroMax
// package (header at the start). Fields are read from the raw bytes with the library's layouts;
// where the library's parser can tell more (the write address), it is asked.
#include <optional>

#include "DevicePidAndMap.h"
#include "common/ByteOrder.h"
#include "firmware/L5FirmwareParser.h"
#include "firmware/MiroMaxFirmwareParser.h"
#include "firmware/OpenNIFirmwareParser.h"
#include "vxfw/InspectFile.h"

namespace vxfw::inspect {

namespace {

// The library's answer, or null where its parser refuses the file.
template <typename Ask>
Json orNull(Ask ask) {
    try {
        return ask();
    } catch (const std::exception&) {
        return nullptr;
    }
}

Json textOrNull(const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

}  // namespace

void describeL5Image(const Bytes& data, Description& d) {
    using namespace libvxsensor;
    const auto size = static_cast<uint32_t>(data.size());
    // Detection found the magic, so the trailer is there.
    const uint8_t* trailer = data.data() + (size - kL5TrailerSize);
    const uint16_t pid = readLe16(trailer + kL5OffPid);
    d.header = {{"productId", pid},
                {"productName", textOrNull(l5ProductName(pid))},
                {"serialPrefixes", l5SerialPrefixesOf(pid)},
                {"writeAddress",
                 orNull([&] { return L5FirmwareParser(data.data(), size).getWriteAddress(); })},
                {"trailerMagic", readLe32(trailer + kL5OffMagic)}};
    d.notes.push_back("the whole file, trailer included, is written to flash");
}

void describeOpenNIImage(const Bytes& data, Description& d) {
    using namespace libvxsensor;
    d.header = {{"writeAddress", orNull([&] {
                     return OpenNIFirmwareParser(data.data(), static_cast<uint32_t>(data.size()))
                         .getWriteAddress();
                 })}};
    d.notes.push_back("a headerless flash image: its size is its only check");
}

void describeMiroMaxPackage(const Bytes& data, Description& d) {
    using namespace libvxsensor;
    if (data.size() < kMiroMaxOffFirmwareType + 4) {
        d.notes.push_back("too short to hold a header");
        return;
    }
    const uint32_t type = readLe32(data.data() + kMiroMaxOffFirmwareType);
    d.header = {
        {"platform", readTextField(data.data() + kMiroMaxOffPlatform, kMiroMaxTextSize)},
        {"productName", readTextField(data.data() + kMiroMaxOffProductName, kMiroMaxTextSize - 1)},
        {"firmwareType", type},
        {"firmwareTypeMeaning", type == kMiroMaxTypeFirmware      ? "firmware"
                                : type == kMiroMaxTypeApplication ? "application"
                                                                  : "unknown"},
        {"payloadSize", data.size() > kMiroMaxHeaderSize ? data.size() - kMiroMaxHeaderSize : 0}};
    d.notes.push_back("the camera installs it itself and reports on it");
}

}  // namespace vxfw::inspect
