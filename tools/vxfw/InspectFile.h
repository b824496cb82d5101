// Describes one file the way the library sees it: its kind, its fields and components, the
// cameras it fits and the library's own refusal, if any. The description is JSON so that the
// human output and --json are made from the same facts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "vxfw/FileKinds.h"

namespace vxfw {

using Json = nlohmann::ordered_json;

// What vxfw says of a container without a single component: the library takes it and writes
// nothing, without a word.
inline constexpr const char* kNothingToWrite = "the file holds no component: nothing to write";

// One entry of the "files" array of `vxfw inspect --json`, without "path" (see InspectCommand.cpp
// for the whole shape).
Json describeFile(const Bytes& data);

// vxfw inspect: prints each file's description; returns the exit status.
int runInspect(const std::vector<std::string>& paths, bool json);

namespace inspect {

// What the per-kind describers fill in.
struct Description {
    Json header = Json::object();
    Json components = Json::array();
    Json families = Json::array();
    Json products = Json::array();
    bool anyProduct = false;
    Json notes = Json::array();
    bool refused = false;
    std::string refusal;

    // The library stops at its first refusal; so does the description.
    void refuse(std::string message) {
        if (refused) return;
        refused = true;
        refusal = std::move(message);
    }
    template <typename Parse>
    void runLibrary(Parse&& parse) {
        try {
            parse();
        } catch (const std::exception& e) {
            refuse(e.what());
        }
    }
};

void describeL840Container(const Bytes& data, Description& d);
void describeL840Presets(const Bytes& data, Description& d);
void describeL5Image(const Bytes& data, Description& d);
void describeOpenNIImage(const Bytes& data, Description& d);
void describeMiroMaxPackage(const Bytes& data, Description& d);
void describeL5ProKind(FileKind kind, Description& d);

// Text up to the first NUL, never past the field.
std::string fieldText(const uint8_t* field, size_t size);
// {"pid", "family", "name"} from the constant device tables; family and name are null for a
// product known only through the run-time device-group tables.
Json product(uint16_t pid);

}  // namespace inspect

}  // namespace vxfw
