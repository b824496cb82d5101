// vxfw inspect FILE... [--json]: what each file is and whether the library would take it.
// Nothing is sent anywhere.
//
// --json prints JSON Lines: one object per file, then a result with the exit status:
//   {"type": "file",
//      "path": "fw.bin",
//      "readable": true,                      false: "error" holds the reason, nothing else follows
//      "size": 8520,
//      "kind": "l840-container",              miromax-package, l5pro-composite,
//                                             computing-power-board, preset-package, l840-presets,
//                                             l5-image, l840-container, openni-image or unknown
//      "title": "L840 container",
//      "alsoMatches": ["l5-image"],           other kinds whose signature the bytes carry too
//      "accepted": true,                      a camera model of a family that reads the kind takes
//                                             it
//      "refusal": null,                       else the first such model's refusal, verbatim
//      "header": {...},                       the kind's header fields (numbers are plain numbers)
//      "components": [{...}],                 L840 components or preset records, read from the raw
//                                             bytes: "checksum" as stored, "computedChecksum" and
//                                             "checksumGood" (null where the data runs past the
//                                             end, with "missingBytes"), "productIds", "anyProduct"
//      "models": [{"model": "l840", "accepted": true},
//                 {"model": "l945se", "accepted": false, "state": -9, "refusal": "..."}, ...],
//                                             for every model of `vxfw sim list`: what
//                                             `vxfw update FILE --sim MODEL` comes to, as the
//                                             library judges it before writing
//      "presetModels": [...],                 preset files: the same for `vxfw presets`
//      "notes": ["..."]}
//   {"type": "result", "result": "accepted", "files": 1, "exit": 0}
// Exit status: 2 when a file cannot be read, else 3 when a file is refused or of unknown kind,
// else 0.
#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "vxfw/ExitCodes.h"
#include "vxfw/InspectFile.h"
#include "vxfw/Output.h"

namespace vxfw {

namespace {

// File contents reach the terminal: no control characters from a hostile file.
std::string printable(const std::string& text) {
    std::string out = text;
    for (char& c : out) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    }
    return out;
}

// The library's messages are a headline and a detail on two lines; a listing wants one.
std::string oneLineText(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\n') {
            out += " / ";
        } else {
            out += c;
        }
    }
    return out;
}

std::string label(const std::string& key) {
    std::string out;
    for (const char c : key) {
        if (c >= 'A' && c <= 'Z') {
            out += ' ';
            out += static_cast<char>(c - 'A' + 'a');
        } else {
            out += c;
        }
    }
    return out;
}

std::string valueText(const std::string& key, const Json& value) {
    if (value.is_null()) return "-";
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (value.is_string()) {
        return value.get<std::string>().empty() ? "-" : printable(value.get<std::string>());
    }
    if (value.is_number_unsigned()) {
        const auto n = value.get<uint64_t>();
        static const std::set<std::string> kIds = {"productId", "productIds"};
        static const std::set<std::string> kWords = {
            "flashAddress", "writeAddress", "checksum", "computedChecksum",
            "magic",        "trailerMagic", "marker"};
        if (kIds.count(key) != 0) return fmt::format("0x{:04X}", n);
        if (kWords.count(key) != 0) return fmt::format("0x{:08X}", n);
    }
    if (value.is_array()) {
        std::string out;
        for (const Json& item : value) out += (out.empty() ? "" : ", ") + valueText(key, item);
        return out.empty() ? "-" : out;
    }
    return value.dump();
}

std::string checksumText(const Json& c) {
    const std::string stored = valueText("checksum", c["checksum"]);
    if (c["checksumGood"].is_null()) {
        return fmt::format("{} unknown: the data runs {} bytes past the end of the file", stored,
                           c["missingBytes"].get<uint64_t>());
    }
    if (c["checksumGood"] == true) return stored + " good";
    return stored + " BAD, the data sums to " + valueText("checksum", c["computedChecksum"]);
}

void printComponent(const Json& c, bool container) {
    if (container) {
        std::printf("  component %s: %s\n", c["index"].dump().c_str(),
                    valueText("name", c["name"]).c_str());
    } else {
        std::printf("  record %s\n", c["index"].dump().c_str());
    }
    for (const auto& [key, value] : c.items()) {
        if (key == "index" || key == "name" || key == "computedChecksum" || key == "checksumGood" ||
            key == "missingBytes" || key == "anyProduct") {
            continue;
        }
        std::string text = valueText(key, value);
        if (key == "checksum") text = checksumText(c);
        if (key == "productIds" && c["anyProduct"] == true) text = "any";
        std::printf("    %s: %s\n", label(key).c_str(), text.c_str());
    }
}

// Models that come to the same verdict share a line: one for those that take the file, one per
// refusal.
void printModels(const char* title, const Json& models) {
    std::vector<std::pair<std::string, std::string>> groups;  // verdict, models
    for (const Json& m : models) {
        const std::string verdict = m["accepted"] == true
                                        ? std::string("accepted")
                                        : printable(oneLineText(m["refusal"].get<std::string>()));
        auto group = std::find_if(groups.begin(), groups.end(),
                                  [&verdict](const auto& g) { return g.first == verdict; });
        if (group == groups.end()) group = groups.insert(groups.end(), {verdict, ""});
        group->second += (group->second.empty() ? "" : ", ") + m["model"].get<std::string>();
    }
    std::printf("  %s:\n", title);
    for (const auto& [verdict, names] : groups) {
        std::printf("    %s: %s\n", names.c_str(), verdict.c_str());
    }
}

void printHuman(const std::string& path, const Json& file) {
    std::printf("%s: %s, %s bytes: %s\n", printable(path).c_str(),
                file["title"].get<std::string>().c_str(), file["size"].dump().c_str(),
                file["accepted"] == true ? "accepted" : "REFUSED");
    if (!file["alsoMatches"].empty()) {
        std::printf("  also looks like: %s\n", valueText("", file["alsoMatches"]).c_str());
    }
    for (const auto& [key, value] : file["header"].items()) {
        std::printf("  %s: %s\n", label(key).c_str(), valueText(key, value).c_str());
    }
    for (const Json& c : file["components"]) printComponent(c, file["kind"] == "l840-container");
    printModels("firmware update (vxfw update), by camera model", file["models"]);
    if (file.contains("presetModels")) {
        printModels("preset upload (vxfw presets), by camera model", file["presetModels"]);
    }
    for (const Json& note : file["notes"]) std::printf("  note: %s\n", valueText("", note).c_str());
    if (file["refusal"].is_string()) {
        // The library's messages are a headline and a detail on separate lines.
        const std::string text = file["refusal"].get<std::string>();
        const char* indent = "  refusal: ";
        for (size_t start = 0; start <= text.size(); indent = "           ") {
            const size_t end = std::min(text.find('\n', start), text.size());
            std::printf("%s%s\n", indent, printable(text.substr(start, end - start)).c_str());
            start = end + 1;
        }
    }
}

}  // namespace

int runInspect(const std::vector<std::string>& paths, bool json) {
    int code = kOk;
    for (const std::string& path : paths) {
        Bytes data;
        std::string error;
        Json file{{"type", "file"}, {"path", path}};
        if (!readWholeFile(path, data, error)) {
            code = kBadArguments;
            file.update({{"readable", false}, {"error", error}});
            if (json) {
                printJsonLine(file);
            } else {
                std::fprintf(stderr, "%s: cannot read: %s\n", printable(path).c_str(),
                             error.c_str());
            }
            continue;
        }
        file["readable"] = true;
        file.update(describeFile(data));
        if (file["accepted"] != true && code == kOk) code = kRefusedFile;
        if (json) {
            printJsonLine(file);
        } else {
            printHuman(path, file);
        }
    }
    if (json) {
        printJsonLine({{"type", "result"},
                       {"result", code == kOk ? "accepted" : "not accepted"},
                       {"files", paths.size()},
                       {"exit", code}});
    }
    return code;
}

}  // namespace vxfw
