// Shared utilities.
#include "common/Utils.h"

#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "common/LogExt.h"

namespace libvxsensor {

namespace {
const char* orEmpty(const char* text) {
    return text != nullptr ? text : "";
}
}  // namespace

void check_vx_error(vx_error** error) {
    if (error == nullptr || *error == nullptr) {
        return;
    }
    const std::string where = orEmpty(vx_error_get_function(*error));
    const std::string message = orEmpty(vx_error_get_message(*error));
    log_ext(VX_LOG_SEVERITY_WARN, VX_SOURCE_LOC,
            "Execute failure! An error has occurred!\n - where: {}\n - msg: {}", where, message);
    vx_delete_error(*error);
    throw std::runtime_error(message);
}

std::vector<uint8_t> readFile(const std::string& path) {
    struct FileCloser {
        void operator()(std::FILE* file) const { (void)std::fclose(file); }  // read only
    };
    const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        return {};
    }
    // A directory opens fine on Linux and may report an absurd end offset; it is not a file.
    struct stat info {};
    if (::fstat(::fileno(file.get()), &info) == 0 && S_ISDIR(info.st_mode)) {
        return {};
    }
    if (std::fseek(file.get(), 0, SEEK_END) != 0) {
        return {};
    }
    const long end = std::ftell(file.get());
    if (end < 1) {
        return {};
    }
    std::rewind(file.get());
    const size_t size = static_cast<size_t>(end);
    std::vector<uint8_t> content;
    try {
        content.resize(size);
    } catch (const std::bad_alloc&) {
        // A file larger than memory is a file we cannot read, like any other file problem.
        return {};
    } catch (const std::length_error&) {
        return {};
    }
    const size_t got = std::fread(content.data(), 1, size, file.get());
    if (got < size && std::ferror(file.get()) != 0) {
        return {};
    }
    return content;
}

namespace {
int asciiLower(char c) {
    const int u = static_cast<unsigned char>(c);
    return (u >= 'A' && u <= 'Z') ? u - 'A' + 'a' : u;
}
}  // namespace

// The C library's case-insensitive comparison on the texts as C strings: it ends at the first
// NUL and returns the difference of the first pair of lowered characters that differ. Written
// out rather than calling strcasecmp, whose folding follows the process locale.
int vx_stricmp(const std::string& a, const std::string& b) {
    const char* p = a.c_str();
    const char* q = b.c_str();
    for (;; ++p, ++q) {
        const int diff = asciiLower(*p) - asciiLower(*q);
        if (diff != 0 || *p == '\0') {
            return diff;
        }
    }
}

bool vx_isValidDateTime(const std::string& text) {
    if (text.size() < 8) {
        return false;
    }
    const int year = std::stoi(text.substr(0, 4), nullptr, 10);
    const int month = std::stoi(text.substr(4, 2), nullptr, 10);
    const int day = std::stoi(text.substr(6, 2), nullptr, 10);
    if (year < 0 || month < 1 || month > 12) {
        return false;
    }
    static const int kDaysInMonth[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int monthLength = kDaysInMonth[month - 1];
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (month == 2 && leap) {
        monthLength = 29;
    }
    return day >= 1 && day <= monthLength;
}

int getFirmwareVersionInt(const std::string& version) {
    if (version.empty()) {
        return 0;
    }
    static const int kPartWeight[3] = {10000, 100, 1};
    // Sixteen digits are kept, as the field buffer always held them; the sixteenth only ever
    // counts towards the field's length, never towards its value.
    constexpr size_t kFieldKept = 16;
    constexpr size_t kFieldCounted = 15;
    char field[kFieldKept];
    size_t fieldLength = 0;
    size_t parts = 0;
    int total = 0;
    // Saturates above 99, so an absurdly long digit run cannot overflow; anything above 99 is
    // refused by every caller anyway.
    const auto fieldValue = [&field, &fieldLength]() {
        int value = 0;
        const size_t counted = fieldLength < kFieldCounted ? fieldLength : kFieldCounted;
        for (size_t i = 0; i < counted && value <= 99; ++i) {
            value = value * 10 + (field[i] - '0');
        }
        return value;
    };
    const auto usable = [&total, &parts]() { return (total != 0 && parts >= 2) ? total : 0; };

    for (const char c : version) {
        if (c >= '0' && c <= '9') {
            if (fieldLength < sizeof(field)) {
                field[fieldLength++] = c;
            }
        } else if (c == '.' && fieldLength != 0) {
            const int value = fieldValue();
            if (value > 99 || parts >= 3) {
                return 0;
            }
            total += value * kPartWeight[parts];
            fieldLength = 0;
            ++parts;
        }
    }
    if (fieldLength == 0) {
        return usable();
    }
    // A trailing patch of three or more digits is dropped rather than refused: "1.7.160" still
    // names the 1.7 line.
    if (fieldLength <= 2 && parts == 2) {
        total += fieldValue();
        return total;
    }
    return usable();
}

}  // namespace libvxsensor
