// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <velo/IProfileKey.h>
#include <velo/Util.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>

/// The call set-up of an imaginary data framework: the logic that call_setup_test.cpp tests. It
/// asks twice for a profile before it gives up, and for a new one when its profile has gone. Used
/// by one thread.
class CallSetup {
public:
    explicit CallSetup(std::string apn) { mWanted.setApnName(std::move(apn)); }

    /// Whether the call has a profile now.
    bool start() {
        for (int attempt = 0; attempt < 2 && !mKey; ++attempt) {
            mKey = mUtil.findOrCreateProfileForSetupDataCall(velo::TechType::TECH_3GPP, mWanted);
        }
        if (!mKey) {
            return false;
        }
        mLost = std::make_shared<std::atomic<bool>>(false);
        mKey->registerExpirationListener([lost = mLost] { *lost = true; });
        return true;
    }

    /// Called by the framework's loop: whether the call has a profile, if need be a new one.
    bool keepUp() {
        if (mKey && *mLost) {
            mKey.reset();
        }
        return mKey || start();
    }

    void stop() { mKey.reset(); }

    /// The modem's number for the call's profile; -1 when it has none.
    int profileId() const { return mKey ? mKey->getProfileId() : -1; }

private:
    velo::Util mUtil;
    velo::ProfileParams mWanted;
    std::shared_ptr<velo::IProfileKey> mKey;
    std::shared_ptr<std::atomic<bool>> mLost;  ///< written by the library's thread
};
