// The five attempts every flash-writing and raw-data updater makes at a transfer: what each
// transfer state becomes for the user, which attempt counts as a success, when to pause, what an
// exception means, and the one report of the last failure. The families differ only in their
// wording and these rules.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "firmware/IFirmwareUpdater.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

// What a family says at each transfer state. The end of a transfer becomes `doneState`: the
// update's end (3, or 7 for a first stage), or 4 where more follows.
struct TransferWording {
    std::string transferring;
    std::string verifying;
    std::string verifyDone;
    VXUpgradeState doneState = VX_UPGRADE_STATE_DONE;
    std::string done;
    std::string transferFailed;
    std::string verifyFailed;
    std::string failed;  // any other state
};

// The L5, L5Pro and OpenNI wording, ending in `doneState` with `done`.
TransferWording imageWording(VXUpgradeState doneState, const char* done);

struct AttemptRules {
    int attempts = 5;
    uint32_t pauseMs = 0;              // before each attempt after the first
    bool exceptionEndsUpdate = false;  // else it fails the attempt, like a refused request
};

class TransferAttempts {
public:
    TransferAttempts(const UpgradeCallback& callback, TransferWording wording, AttemptRules rules);

    // What each attempt gives the transfer layer as its progress callback. Progress goes to the
    // user at once; a failure is only kept, as a later attempt may succeed.
    const VendorCommand::SetDataCallback& progress() const { return progress_; }

    // Runs `attempt` until one succeeds (its transfer ended in the done state, or in 4: the rest
    // is the camera's), or until the camera's own verdict ended the update inside it (`attempt`
    // returns true). After the last failed attempt its failure is reported once, with percent 0,
    // and false returned.
    bool run(const std::function<bool()>& attempt);

private:
    void onTransfer(VXDataTranState state, uint8_t percent);
    void keep(VXUpgradeState state, const std::string& message);
    bool succeeded() const;

    const UpgradeCallback& callback_;
    TransferWording wording_;
    AttemptRules rules_;
    VendorCommand::SetDataCallback progress_;
    VXUpgradeState state_ = VX_UPGRADE_STATE_FAILED;
    std::string message_;
};

}  // namespace libvxsensor
