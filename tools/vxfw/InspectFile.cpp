// Kind dispatch, and the library's verdicts for every camera model.
#include "vxfw/InspectFile.h"

#include <algorithm>

#include "DevicePidAndMap.h"
#include "ExceptionTranslation.h"
#include "firmware/FirmwareUpdaterFactory.h"
#include "presets/IOptionalDepthPresetsUpdater.h"
#include "vxfw/Models.h"

namespace vxfw {

namespace {

using libvxsensor::FirmwareFamily;

// The families whose cameras read a kind: the models whose verdicts decide whether a file of it
// is good. A presentation choice of vxfw's, over the library's own family question.
bool readsKind(FileKind kind, const libvxsensor::DeviceIds& ids) {
    const FirmwareFamily family = libvxsensor::firmwareFamilyOf(ids);
    switch (kind) {
        case FileKind::L840Container:
            return family == FirmwareFamily::L840 || family == FirmwareFamily::L5Pro;
        case FileKind::L5ProComposite:
        case FileKind::ComputingPowerBoard:
        case FileKind::PresetPackage:
            return family == FirmwareFamily::L5Pro;
        case FileKind::L5Image:
            return family == FirmwareFamily::L5;
        case FileKind::OpenNIImage:
            return family == FirmwareFamily::OpenNI;
        case FileKind::MiroMaxPackage:
            return family == FirmwareFamily::MiroMax;
        case FileKind::L840Presets:
            return libvxsensor::presetFamilyOf(ids) != libvxsensor::PresetFamily::None;
        case FileKind::Unknown:
            break;
    }
    return false;
}

Json verdictJson(const std::string& model, const libvxsensor::Verdict& v) {
    Json j{{"model", model}, {"accepted", v.accepted}};
    if (!v.accepted) {
        j["state"] = static_cast<int>(v.state);
        j["refusal"] = v.message;
    }
    return j;
}

struct Verdicts {
    Json models = Json::array();
    Json presetModels = Json::array();
    bool accepted = false;
    Json refusal = nullptr;
};

// What `vxfw update FILE --sim MODEL` would come to for every model (and, for a preset file,
// `vxfw presets FILE --sim MODEL`), and whether the models that read the kind take the file.
Verdicts judge(FileKind kind, const Bytes& data) {
    Verdicts out;
    for (const CameraModel& model : cameraModels()) {
        libvxsensor::DescribedCamera camera(model.description);
        const libvxsensor::Verdict firmware = libvxsensor::judgeFirmware(camera, data);
        out.models.push_back(verdictJson(model.name, firmware));
        libvxsensor::Verdict decisive = firmware;
        if (kind == FileKind::L840Presets) {
            decisive = libvxsensor::judgePresets(camera, {data});
            out.presetModels.push_back(verdictJson(model.name, decisive));
        }
        if (!readsKind(kind, model.description.ids)) continue;
        out.accepted = out.accepted || decisive.accepted;
        if (!decisive.accepted && out.refusal.is_null()) out.refusal = decisive.message;
    }
    if (out.accepted) out.refusal = nullptr;
    return out;
}

}  // namespace

Json describeFile(const Bytes& data) {
    using namespace inspect;
    const std::vector<FileKind> kinds = matchingKinds(data);
    const FileKind kind = kinds.empty() ? FileKind::Unknown : kinds.front();
    Description d;
    switch (kind) {
        case FileKind::MiroMaxPackage:
            describeMiroMaxPackage(data, d);
            break;
        case FileKind::L840Presets:
            describeL840Presets(data, d);
            break;
        case FileKind::L5Image:
            describeL5Image(data, d);
            break;
        case FileKind::L840Container:
            describeL840Container(data, d);
            break;
        case FileKind::OpenNIImage:
            describeOpenNIImage(data, d);
            break;
        case FileKind::L5ProComposite:
        case FileKind::ComputingPowerBoard:
        case FileKind::PresetPackage:
            d.notes.push_back("the camera judges what it holds; the library only sends it");
            break;
        case FileKind::Unknown:
            d.notes.push_back("carries the signature of no file kind the library takes");
            break;
    }
    const Verdicts v = judge(kind, data);
    Json also = Json::array();
    for (size_t i = 1; i < kinds.size(); ++i) also.push_back(kindId(kinds[i]));
    Json out{
        {"size", data.size()}, {"kind", kindId(kind)},       {"title", kindTitle(kind)},
        {"alsoMatches", also}, {"accepted", v.accepted},     {"refusal", v.refusal},
        {"header", d.header},  {"components", d.components}, {"models", v.models},
    };
    if (kind == FileKind::L840Presets) out["presetModels"] = v.presetModels;
    out["notes"] = d.notes;
    return out;
}

}  // namespace vxfw
