// A readable account of what went over the wire, for test failure messages and tools:
//
//   std::fputs(vxsim::dumpExchanges(device).c_str(), stderr);
//
//       0 ERASE_FLASH                    id=1     req=16     resp=10     status=0x0000
//       1 WRITE_FLASH                    id=2     req=492    resp=10     status=0x0000
//       2 READ_FLASH                     id=3     req=14     resp=-      transport error
//   3 exchanges, 1 transport error, 0 device errors, 0 warnings; sent 522 bytes, received 20
//     ERASE_FLASH 1, WRITE_FLASH 1, READ_FLASH 1
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "vxsim/Emulator.h"

namespace vxsim {

struct TraceSummary {
    uint64_t exchanges = 0;
    uint64_t transportErrors = 0;
    uint64_t deviceErrors = 0;  // status 1..0x7FFF and 0xFFFF (unknown)
    uint64_t warnings = 0;      // status 0x8000..0xFFFE
    uint64_t malformed = 0;     // answers too short for a status word or without "RB"
    uint64_t bytesSent = 0;
    uint64_t bytesReceived = 0;              // as written into the caller's buffers
    std::map<uint16_t, uint64_t> perOpcode;  // requests too short to name one are not counted
};

TraceSummary summarizeExchanges(const Device& device);

// One line per recorded exchange (index, opcode name, request id, request and response
// lengths, status word or "transport error"), then the summary.
std::string dumpExchanges(const Device& device);

}  // namespace vxsim
