#include "firmware/TransferAttempts.h"

#include <exception>

#include "common/Sleep.h"
#include "firmware/FirmwareMessages.h"

namespace libvxsensor {

TransferWording imageWording(VXUpgradeState doneState, const char* done) {
    using namespace firmwaremsg;
    return {kTransferring, kVerifying,      kVerifyDone,   doneState,
            done,          kTransferFailed, kVerifyFailed, kUpdateFailed};
}

TransferAttempts::TransferAttempts(const UpgradeCallback& callback, TransferWording wording,
                                   AttemptRules rules)
    : callback_(callback), wording_(std::move(wording)), rules_(rules) {
    progress_ = [this](VXDataTranState state, uint8_t percent) { onTransfer(state, percent); };
}

bool TransferAttempts::run(const std::function<bool()>& attempt) {
    for (int n = 1; n <= rules_.attempts; ++n) {
        if (n > 1 && rules_.pauseMs != 0) {
            sleepMilliseconds(rules_.pauseMs);
        }
        message_.clear();
        if (rules_.exceptionEndsUpdate) {
            if (attempt()) return true;
        } else {
            try {
                if (attempt()) return true;
            } catch (const std::exception& e) {
                keep(VX_UPGRADE_STATE_FAILED, e.what());
            } catch (...) {
                keep(VX_UPGRADE_STATE_FAILED, firmwaremsg::kWriteExceptionUnknown);
            }
        }
        if (succeeded()) return true;
    }
    callback_(state_, message_.c_str(), 0);
    return false;
}

void TransferAttempts::onTransfer(VXDataTranState state, uint8_t percent) {
    const auto report = [&](VXUpgradeState upgrade, const std::string& message) {
        // Assigned, not rebuilt: after the first packet the kept text's storage is reused.
        state_ = upgrade;
        message_ = message;
        callback_(state_, message_.c_str(), percent);
    };
    switch (state) {
        case VX_DATA_TRAN_STATE_TRANSFERRING:
            return report(VX_UPGRADE_STATE_TRANSFERRING, wording_.transferring);
        case VX_DATA_TRAN_STATE_VERIFYING:
            return report(VX_UPGRADE_STATE_VERIFYING, wording_.verifying);
        case VX_DATA_TRAN_STATE_VERIFY_DONE:
            return report(VX_UPGRADE_STATE_VERIFY_DONE, wording_.verifyDone);
        case VX_DATA_TRAN_STATE_DONE:
            return report(wording_.doneState, wording_.done);
        case VX_DATA_TRAN_STATE_FAILED:
            return keep(VX_UPGRADE_STATE_TRANSFER_FAILED, wording_.transferFailed);
        case VX_DATA_TRAN_STATE_VERIFY_FAILED:
            return keep(VX_UPGRADE_STATE_VERIFY_FAILED, wording_.verifyFailed);
        default:
            return keep(VX_UPGRADE_STATE_FAILED, wording_.failed);
    }
}

void TransferAttempts::keep(VXUpgradeState state, const std::string& message) {
    state_ = state;
    message_ = message;
}

// 4 counts as in every updater: an updater that ends a transfer with "transfer done" leaves the
// rest to the camera.
bool TransferAttempts::succeeded() const {
    return state_ == wording_.doneState || state_ == VX_UPGRADE_STATE_TRANSFERRING;
}

}  // namespace libvxsensor
