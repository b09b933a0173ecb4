// SPDX-License-Identifier: Apache-2.0
//
// An integrator's test of its own call set-up against the simulated modem: what does CallSetup do
// when the modem refuses, restarts, or is changed by somebody else?

#include <gtest/gtest.h>
#include <velo-modem/SimulatedModem.h>
#include <velo/Manager.h>

#include "CallSetup.h"

namespace {

using Operation = velo::SimulatedModem::Operation;

class CallSetupTest : public ::testing::Test {
protected:
    /// Each test has a modem fresh from its box, and the library connected to it.
    void SetUp() override {
        velo::Manager::getInstance().init(0, false);
        ASSERT_TRUE(modem.waitForLibrary());
    }

    /// How many profiles of the modem are for the call's APN.
    int stored() const {
        int count = 0;
        for (const velo::SimulatedProfile& profile : modem.profiles()) {
            count += profile.settings.getApnName() == "internet.example" ? 1 : 0;
        }
        return count;
    }

    velo::SimulatedModem modem;
    CallSetup call{"internet.example"};
};

TEST_F(CallSetupTest, ACallLeavesNothingBehind) {
    ASSERT_TRUE(call.start());
    EXPECT_EQ(1, stored());
    call.stop();
    EXPECT_EQ(0, stored());
}

TEST_F(CallSetupTest, OneRefusalIsOvercome) {
    modem.reject(Operation::CreateProfile);
    EXPECT_TRUE(call.start());
    EXPECT_EQ(1, stored());
}

TEST_F(CallSetupTest, ARefusalThatLastsEndsTheCall) {
    modem.reject(Operation::CreateProfile, 2);
    EXPECT_FALSE(call.start());
    EXPECT_EQ(-1, call.profileId());
}

TEST_F(CallSetupTest, TheCallSurvivesARestartOfTheModem) {
    ASSERT_TRUE(call.start());
    modem.restart();  // forgets the profile, which is not persistent
    ASSERT_TRUE(modem.waitForLibrary());
    EXPECT_EQ(0, stored());
    EXPECT_TRUE(call.keepUp());
    EXPECT_EQ(1, stored());
}

TEST_F(CallSetupTest, AProfileThatSomebodyElseChangedIsReplaced) {
    ASSERT_TRUE(call.start());
    velo::ProfileParams change;
    change.setApnName("elsewhere.example");
    ASSERT_TRUE(modem.changeProfile(velo::TechType::TECH_3GPP, call.profileId(), change));
    ASSERT_TRUE(modem.waitForLibrary());
    EXPECT_EQ(0, stored());
    EXPECT_TRUE(call.keepUp());
    EXPECT_EQ(1, stored());
}

}  // namespace
