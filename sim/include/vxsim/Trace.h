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

// The totals of the exchanges since the log was last cleared; the same as Device::totals(),
// which keeps counting when recording is off.
TraceSummary summarizeExchanges(const Device& device);

// One line per recorded exchange (index, opcode name, request id, request and response
// lengths, status word or "transport error"), then the summary.
std::string dumpExchanges(const Device& device);

}  // namespace vxsim
