// Small services shared by all modules: turning host error objects into exceptions, reading
// whole files, and the text checks firmware handling needs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vxsensor/vx_host.h"

namespace libvxsensor {

// When a host call left an error object in *error: logs where and what, deletes the object and
// throws std::runtime_error with the host's message. *error is left dangling; do not reuse it.
void check_vx_error(vx_error** error);

// The whole file, or an empty vector when it cannot be opened, is empty or fails to read. A read
// that comes back short without an error keeps the full size, its unread tail zero.
std::vector<uint8_t> readFile(const std::string& path);

// strcasecmp of the C locale: ASCII case folded, the texts end at their first NUL, and the
// result is the difference of the first lowered characters that differ.
int vx_stricmp(const std::string& a, const std::string& b);

// Whether the first eight characters are a real calendar date YYYYMMDD; anything after them is
// ignored. Each part goes through std::stoi, whose std::invalid_argument / std::out_of_range
// reach the caller (a non-numeric part is a caller bug, not a "no").
bool vx_isValidDateTime(const std::string& text);

// "major.minor.patch" as major*10000 + minor*100 + patch, or 0 when the text is not a usable
// version: a part above 99, too few or too many parts, or all zeros. A fourth part and a patch
// of three or more digits are ignored. Characters other than digits and '.' are skipped, so
// "v1.7.16" works.
int getFirmwareVersionInt(const std::string& version);

}  // namespace libvxsensor
