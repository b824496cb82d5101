// Describes one file the way the library sees it: its kind, its fields and records, and for
// every camera model the library's own verdict (would an update take it, and if not, the
// library's refusal). The description is JSON so that the human output and --json are made from
// the same facts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "vxfw/FileKinds.h"

namespace vxfw {

using Json = nlohmann::ordered_json;

// One entry of the "files" array of `vxfw inspect --json`, without "path" (see InspectCommand.cpp
// for the whole shape).
Json describeFile(const Bytes& data);

// vxfw inspect: prints each file's description; returns the exit status.
int runInspect(const std::vector<std::string>& paths, bool json);

namespace inspect {

// What the per-kind describers fill in from the file's bytes.
struct Description {
    Json header = Json::object();
    Json components = Json::array();
    Json notes = Json::array();
};

void describeL840Container(const Bytes& data, Description& d);
void describeL840Presets(const Bytes& data, Description& d);
void describeL5Image(const Bytes& data, Description& d);
void describeOpenNIImage(const Bytes& data, Description& d);
void describeMiroMaxPackage(const Bytes& data, Description& d);

}  // namespace inspect

}  // namespace vxfw
