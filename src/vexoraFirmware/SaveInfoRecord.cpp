// The whole-record collector shared by the bootloader info managers.
#include <cstring>

#include "vendorcommand/VendorCommand.h"
#include "vexoraFirmware/IBootloaderInfoManager.h"

namespace libvxsensor {

bool readSaveInfoRecord(vx_device_t* device, uint32_t offset, uint32_t length, uint32_t packetSize,
                        std::vector<uint8_t>& record) {
    record.assign(length, 0);
    bool readOk = true;
    VendorCommand::readFlash(
        device, offset, length,
        [&](VXDataTranState state, VXDataChunk* chunk) {
            if (state == VX_DATA_TRAN_STATE_FAILED) {
                readOk = false;
            } else if (state == VX_DATA_TRAN_STATE_TRANSFERRING && chunk->size == length) {
                std::memcpy(record.data(), chunk->data, length);
            }
        },
        false, packetSize);
    return readOk;
}

}  // namespace libvxsensor
