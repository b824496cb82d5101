// Kind detection. The library never guesses a kind (the camera decides which parser runs), so the
// order here is vxfw's own: most specific signature first. The first-byte kinds come before
// everything because the L5Pro updater tests them first as well; the L5 trailer magic comes
// before the L840 marker because FF FF FF FF is what erased flash holds, so a flat L5 image can
// carry it at offset 40 by chance while a container hardly ends in the L5 magic.
#include "vxfw/FileKinds.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "common/ByteOrder.h"
#include "firmware/L5FirmwareParser.h"
#include "firmware/L5ProFirmwareUpdater.h"
#include "firmware/L840FirmwareParser.h"
#include "firmware/MiroMaxFirmwareParser.h"
#include "firmware/OpenNIFirmwareParser.h"
#include "presets/L840OptionalDepthPresetsParser.h"

namespace vxfw {

namespace {

using libvxsensor::readLe32;

bool startsWith(const Bytes& data, const char* text) {
    const size_t n = std::strlen(text);
    return data.size() >= n && std::memcmp(data.data(), text, n) == 0;
}

// Both container formats start with a header size the parsers cap at 128 bytes.
bool containerMarkerAt40(const Bytes& data, uint32_t marker) {
    return data.size() >= 44 &&
           readLe32(data.data()) <= libvxsensor::l840container::kMaxHeaderSize &&
           readLe32(data.data() + libvxsensor::l840container::kOffMarker) == marker;
}

bool hasL5Trailer(const Bytes& data) {
    return data.size() >= libvxsensor::kL5TrailerSize &&
           readLe32(data.data() + (data.size() - libvxsensor::kL5TrailerSize)) ==
               libvxsensor::kL5TrailerMagic;
}

using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

}  // namespace

bool readWholeFile(const std::string& path, Bytes& out, std::string& error) {
    out.clear();
    FilePtr file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file) {
        error = std::strerror(errno);
        return false;
    }
    struct stat info {};
    if (::fstat(::fileno(file.get()), &info) != 0) {
        error = std::strerror(errno);
        return false;
    }
    // A pipe has no size to judge by; it is read up to the limit. Anything else that is not a
    // plain file (a directory, a disk, /dev/zero) is no firmware file.
    if (!S_ISREG(info.st_mode) && !S_ISFIFO(info.st_mode)) {
        error = S_ISDIR(info.st_mode) ? "is a directory" : "not a regular file";
        return false;
    }
    const std::string tooLarge = "larger than " + std::to_string(kMaxFileSize >> 20) + " MiB";
    if (S_ISREG(info.st_mode)) {
        if (static_cast<uint64_t>(info.st_size) > kMaxFileSize) {
            error = tooLarge;
            return false;
        }
        out.reserve(static_cast<size_t>(info.st_size));
    }
    uint8_t chunk[65536];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, file.get())) > 0) {
        if (got > kMaxFileSize - out.size()) {
            error = tooLarge;
            out.clear();
            return false;
        }
        out.insert(out.end(), chunk, chunk + got);
    }
    if (std::ferror(file.get()) != 0) {
        error = std::strerror(errno);
        return false;
    }
    return true;
}

bool writeWholeFile(const std::string& path, const Bytes& data, std::string& error) {
    FilePtr file(std::fopen(path.c_str(), "wb"), &std::fclose);
    if (!file) {
        error = std::strerror(errno);
        return false;
    }
    if (std::fwrite(data.data(), 1, data.size(), file.get()) != data.size() ||
        std::fclose(file.release()) != 0) {
        error = std::strerror(errno);
        return false;
    }
    return true;
}

const char* kindId(FileKind kind) {
    switch (kind) {
        case FileKind::MiroMaxPackage:
            return "miromax-package";
        case FileKind::L5ProComposite:
            return "l5pro-composite";
        case FileKind::ComputingPowerBoard:
            return "computing-power-board";
        case FileKind::PresetPackage:
            return "preset-package";
        case FileKind::L840Presets:
            return "l840-presets";
        case FileKind::L5Image:
            return "l5-image";
        case FileKind::L840Container:
            return "l840-container";
        case FileKind::OpenNIImage:
            return "openni-image";
        case FileKind::Unknown:
            break;
    }
    return "unknown";
}

const char* kindTitle(FileKind kind) {
    switch (kind) {
        case FileKind::MiroMaxPackage:
            return "MiroMax package";
        case FileKind::L5ProComposite:
            return "L5Pro composite package";
        case FileKind::ComputingPowerBoard:
            return "computing-power-board image";
        case FileKind::PresetPackage:
            return "L5Pro preset package";
        case FileKind::L840Presets:
            return "L840 preset file";
        case FileKind::L5Image:
            return "L5 image";
        case FileKind::L840Container:
            return "L840 container";
        case FileKind::OpenNIImage:
            return "OpenNI image";
        case FileKind::Unknown:
            break;
    }
    return "unknown kind";
}

std::vector<FileKind> matchingKinds(const Bytes& data) {
    using Updater = libvxsensor::L5ProFirmwareUpdater;
    std::vector<FileKind> kinds;
    const auto add = [&kinds](bool matches, FileKind kind) {
        if (matches) kinds.push_back(kind);
    };
    add(startsWith(data, libvxsensor::kMiroMaxMagic), FileKind::MiroMaxPackage);
    add(Updater::isCompositeFirmwareFirmware(data), FileKind::L5ProComposite);
    add(Updater::isComputingPowerBoardFirmware(data), FileKind::ComputingPowerBoard);
    add(Updater::isPresetFirmware(data), FileKind::PresetPackage);
    add(containerMarkerAt40(data, libvxsensor::l840presets::kMagic), FileKind::L840Presets);
    add(hasL5Trailer(data), FileKind::L5Image);
    add(containerMarkerAt40(data, libvxsensor::l840container::kMarker), FileKind::L840Container);
    add(libvxsensor::OpenNIFirmwareParser::isImageSize(data.size()), FileKind::OpenNIImage);
    return kinds;
}

}  // namespace vxfw
