// vxfw pack MANIFEST.json -o FILE: builds a firmware or preset file from a JSON manifest. The
// tool computes every size and checksum; the manifest says only what a person decides.
//
// Manifest format (docs/vxfw-manifest.md has the same with examples). Numbers are JSON numbers
// or texts such as "0x100000"; texts must leave room for their NUL in the field.
//   Data, wherever a manifest names it: "file": "path" (relative to the manifest's directory)
//   or "fill": {"byte": 90, "size": 4096} (size at most 256 MiB).
//
//   {"kind": "l840-container",
//    "dateTime": "20250501120000",     up to 15 bytes, starting with a real date YYYYMMDD
//    "serial": "Lumex 840",            up to 15 bytes, the firmware line
//    "components": [{                  0 to 1000
//      "name": "main",                 up to 63 bytes
//      "version": "1.7.16",            optional, up to 15 bytes
//      "address": "0x100000",          flash address, at most 0xFFFFFFFF
//      "pids": [2048, "0x0801"],       optional, up to 12 product ids; none: any product
//      "writeSize": 4096,              optional, at most the data size (default: the data size)
//      "file" or "fill"}]}
//   {"kind": "l840-presets",
//    "productName": "Lumex 800",       up to 15 bytes
//    "records": [{                     1 to 1000
//      "address", "pids", "writeSize", "file" or "fill" as for components}]}
//   {"kind": "l5-image",
//    "pid": "0x0670",                  the product the image is built for
//    "padTo": "0x50000",               optional: total file size, the body padded with 0xFF
//    "file" or "fill"}                 the flash image body; the 100-byte trailer is appended
//   {"kind": "miromax-package",
//    "platform": "jetson nano",        optional, this is the default
//    "productName": "miro max",        up to 15 bytes
//    "firmwareType": 2,                optional, this is the default (3 is an application)
//    "file" or "fill"}                 the payload after the 256-byte header, not empty
//
// For tests only, a file can be damaged on purpose; pack then skips its own acceptance check:
//   "damage": {"checksumOffBy": 1}     in a component or record: the stored checksum is off by
//                                      this much (-1000000 to 1000000)
//   "damage": {"truncateBy": 3}        at the top: the file is cut by this many bytes
//
// Without damage, pack writes only files that `vxfw inspect` describes as the manifest's kind and
// accepts: the library's parser and the camera-independent checks of its updaters run on the
// result first. Exit status 0, or 2 for a manifest or file problem (the message names the value).
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <string>

#include <fmt/format.h>

#include "common/ByteOrder.h"
#include "common/Utils.h"
#include "firmware/FirmwareMessages.h"
#include "firmware/L5FirmwareParser.h"
#include "firmware/L840FirmwareParser.h"
#include "firmware/MiroMaxFirmwareParser.h"
#include "presets/L840OptionalDepthPresetsParser.h"
#include "vxfw/ExitCodes.h"
#include "vxfw/InspectFile.h"
#include "vxfw/Output.h"
#include "vxfw/PackManifest.h"

namespace vxfw {

namespace {

using namespace libvxsensor;
using pack::ManifestError;
using pack::Node;

constexpr size_t kMaxRecords = 1000;

struct Build {
    Bytes out;
    bool damaged = false;
};

// The record fields containers and preset files share, with the damage a manifest may ask for.
L840RecordWriter record(const Node& r, Build& b) {
    Bytes data = r.payload();
    L840RecordWriter w;
    w.address(r.number("address", 0xFFFFFFFF))
        .pids(r.productIds("pids", l840record::kPidSlots))
        .writeSize(static_cast<uint32_t>(r.number("writeSize", data.size(), data.size())));
    if (r.has("damage")) {
        const Node damage = r.object("damage");
        damage.allowOnly({"checksumOffBy"});
        w.checksumOffBy(
            static_cast<uint32_t>(damage.signedNumber("checksumOffBy", -1000000, 1000000)));
        b.damaged = true;
    }
    return w.data(std::move(data));
}

void buildL840Container(const Node& m, Build& b) {
    m.allowOnly({"kind", "dateTime", "serial", "components", "damage"});
    const std::string date = m.text("dateTime", l840container::kTextSize - 1);
    const bool digits = date.size() >= 8 && std::all_of(date.begin(), date.begin() + 8, [](char c) {
                            return c >= '0' && c <= '9';
                        });
    // The L845Se check reads these eight characters as a date and fails on anything else.
    if (!digits || !vx_isValidDateTime(date)) {
        m.fail("dateTime", "must start with a real date YYYYMMDD");
    }
    L840ContainerWriter container;
    container.date(date).serial(m.text("serial", l840container::kTextSize - 1));
    for (const Node& c : m.objects("components", 0, kMaxRecords)) {
        c.allowOnly({"name", "version", "address", "pids", "writeSize", "file", "fill", "damage"});
        container.component(record(c, b)
                                .version(c.text("version", l840record::kVersionSize - 1, ""))
                                .name(c.text("name", l840record::kNameSize - 1)));
    }
    b.out = container.write();
}

void buildL840Presets(const Node& m, Build& b) {
    m.allowOnly({"kind", "productName", "records", "damage"});
    L840PresetFileWriter file;
    file.product(m.text("productName", l840presets::kProductNameSize - 1));
    for (const Node& r : m.objects("records", 1, kMaxRecords)) {
        r.allowOnly({"address", "pids", "writeSize", "file", "fill", "damage"});
        file.record(record(r, b).name("").version(""));
    }
    b.out = file.write();
}

void buildL5Image(const Node& m, Build& b) {
    m.allowOnly({"kind", "pid", "padTo", "file", "fill", "damage"});
    const auto pid = static_cast<uint16_t>(m.number("pid", 0xFFFF));
    Bytes body = m.payload();
    const uint64_t minimum = body.size() + kL5TrailerSize;
    const uint64_t total = m.number("padTo", pack::kMaxDataSize, minimum);
    if (total < minimum) {
        m.fail("padTo", fmt::format("the body and trailer already take {} bytes", minimum));
    }
    b.out =
        L5ImageWriter().pid(pid).body(std::move(body)).size(static_cast<uint32_t>(total)).write();
}

void buildMiroMaxPackage(const Node& m, Build& b) {
    m.allowOnly({"kind", "platform", "productName", "firmwareType", "file", "fill", "damage"});
    Bytes payload = m.payload();
    if (payload.empty()) m.fail("file", "the payload must not be empty");
    b.out = MiroMaxPackageWriter()
                .platform(m.text("platform", kMiroMaxTextSize - 1, kMiroMaxPlatform))
                .productName(m.text("productName", kMiroMaxTextSize - 1))
                .firmwareType(static_cast<uint32_t>(
                    m.number("firmwareType", 0xFFFFFFFF, kMiroMaxTypeFirmware)))
                .payload(std::move(payload))
                .write();
}

// What the manifest's data will take, added up before any of it is read or made: a manifest
// that asks for more than vxfw writes is refused at once, not after gigabytes were built.
void checkDeclaredSize(const Node& m) {
    uint64_t total = l840record::kMaxHeaderSize + kMiroMaxHeaderSize;  // the larger header
    if (m.has("padTo")) total += m.number("padTo", pack::kMaxDataSize);
    for (const char* list : {"components", "records"}) {
        if (!m.has(list)) continue;
        for (const Node& entry : m.objects(list, 0, kMaxRecords)) {
            total += l840record::kMaxHeaderSize + entry.payloadSize();
        }
    }
    if (m.has("file") || m.has("fill")) total += m.payloadSize();
    if (total > kMaxFileSize) {
        throw ManifestError(
            fmt::format("the file would take {} MiB, more than the {} MiB that vxfw writes",
                        total >> 20, kMaxFileSize >> 20));
    }
}

std::string manifestDir(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? "" : path.substr(0, slash == 0 ? 1 : slash);
}

Build buildFromManifest(const std::string& manifestPath, bool allowEmpty) {
    Bytes text;
    std::string error;
    if (!readWholeFile(manifestPath, text, error)) throw ManifestError("cannot read: " + error);
    const nlohmann::json manifest = nlohmann::json::parse(text.begin(), text.end(), nullptr, false);
    if (manifest.is_discarded()) throw ManifestError("not valid JSON");
    const Node m(manifest, "", manifestDir(manifestPath));
    const std::string kind = m.text("kind", 64);
    checkDeclaredSize(m);
    Build b;
    if (kind == kindId(FileKind::L840Container)) {
        buildL840Container(m, b);
    } else if (kind == kindId(FileKind::L840Presets)) {
        buildL840Presets(m, b);
    } else if (kind == kindId(FileKind::L5Image)) {
        buildL5Image(m, b);
    } else if (kind == kindId(FileKind::MiroMaxPackage)) {
        buildMiroMaxPackage(m, b);
    } else {
        m.fail("kind", "expected l840-container, l840-presets, l5-image or miromax-package");
    }
    if (m.has("damage")) {
        const Node damage = m.object("damage");
        damage.allowOnly({"truncateBy"});
        b.out.resize(b.out.size() - static_cast<size_t>(damage.number("truncateBy", b.out.size())));
        b.damaged = true;
    }
    if (!b.damaged) {
        const Json described = describeFile(b.out);
        if (described["kind"] != kind) {
            throw ManifestError(
                fmt::format("the data make the file look like a {} first; change them",
                            described["title"].get<std::string>()));
        }
        const bool empty = described["refusal"] == Json(firmwaremsg::kNothingToWrite);
        if (empty && !allowEmpty) {
            throw ManifestError(std::string(firmwaremsg::kNothingToWrite) +
                                ": a camera would take it and write nothing (--allow-empty writes "
                                "it all the same)");
        }
        if (described["refusal"].is_string() && !empty) {
            throw ManifestError("the library would refuse the file: " +
                                described["refusal"].get<std::string>());
        }
    }
    return b;
}

}  // namespace

int runPack(const std::string& manifestPath, const std::string& outputPath, bool allowEmpty,
            bool json) {
    const auto fail = [&](const std::string& message) {
        std::fprintf(stderr, "vxfw pack: %s\n", message.c_str());
        if (json) {
            printJsonLine({{"type", "result"},
                           {"result", "refused"},
                           {"message", message},
                           {"exit", static_cast<int>(kBadArguments)}});
        }
        return kBadArguments;
    };
    Build b;
    try {
        b = buildFromManifest(manifestPath, allowEmpty);
    } catch (const ManifestError& e) {
        return fail(manifestPath + ": " + e.what());
    }
    std::string error;
    if (!writeWholeFile(outputPath, b.out, error)) {
        return fail("cannot write " + outputPath + ": " + error);
    }
    if (json) {
        printJsonLine({{"type", "result"},
                       {"result", "written"},
                       {"path", outputPath},
                       {"size", b.out.size()},
                       {"damaged", b.damaged},
                       {"exit", 0}});
    } else {
        std::printf("wrote %s: %zu bytes%s\n", outputPath.c_str(), b.out.size(),
                    b.damaged ? ", damaged on purpose" : "");
    }
    return kOk;
}

}  // namespace vxfw
