// The fixed texts of the firmware subsystem that more than one file says. Each is observable
// behaviour (hosts and tools match on them): change one here or nowhere.
#pragma once

namespace libvxsensor::firmwaremsg {

// A damaged file, and a record whose data run past its end. The missing '!' of the second is
// deliberate: keep the two apart.
inline constexpr const char* kParseFailed =
    "Parse firmware data failed!\nInvalid input data or data has been damaged";
inline constexpr const char* kDataPastEnd =
    "Parse firmware data failed\nInvalid input data or data has been damaged";
// Containers and preset files alike.
inline constexpr const char* kChecksumMismatch =
    "Checksum mismatch!\nInvalid input file or file has been damaged";
inline constexpr const char* kIncompatible =
    "Update failed!\nIncompatible firmware file for current device!";
inline constexpr const char* kUpdateDone =
    "Update successfully! Please reboot your device manually!";
inline constexpr const char* kWriteExceptionUnknown = "FW update write exception:unknown";

// The flash-image and raw-data families' transfer wording.
inline constexpr const char* kTransferring = "Firmware data transferring!";
inline constexpr const char* kVerifying = "Firmware data verifying!";
inline constexpr const char* kVerifyDone = "Firmware data verify done!";
inline constexpr const char* kTransferFailed = "Firmware data transfer failed!";
inline constexpr const char* kVerifyFailed = "Firmware data verify failed!";
inline constexpr const char* kUpdateFailed = "Firmware update failed!";

// Not said by an update, which ends silently on such a file, but by the verdict on one.
inline constexpr const char* kNothingToWrite = "The file holds no component: nothing to write";

}  // namespace libvxsensor::firmwaremsg
