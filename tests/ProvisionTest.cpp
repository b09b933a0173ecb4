// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include "host/mox/Frame.h"
#include "modem/Modem.h"
#include "tool/ApnDatabase.h"
#include "tool/GlobalOptions.h"
#include "tool/Interruption.h"
#include "tool/Output.h"
#include "tool/Provisioner.h"
#include "tool/Session.h"

namespace velo::tool {
namespace {

class ProvisionTest : public ::testing::Test {
protected:
    void expectClean(const ProvisionResult& result) {
        EXPECT_EQ(result.differences, std::vector<std::string>{}) << result.network;
        EXPECT_EQ(result.leftOver, 0U);
    }

    /// How many profiles that outlive their keys were created.
    static std::size_t persistentlyCreated(const ProvisionResult& result) {
        std::size_t count = 0;
        for (const ProvisionStep& step : result.steps) {
            count += step.outcome == "created" && step.request.rfind("data call", 0) != 0 ? 1U : 0U;
        }
        return count;
    }

    void expectCleanTwiceInBothSettings(const ApnNetwork& network) {
        for (const bool updateAllowed : {false, true}) {
            expectClean(mProvisioner.bringUp(network, updateAllowed, false));
            const std::size_t stored = mSession.embedded()->profiles(0).size();
            const ProvisionResult again = mProvisioner.bringUp(network, updateAllowed, true);
            expectClean(again);
            EXPECT_EQ(persistentlyCreated(again), 0U);
            EXPECT_EQ(mSession.embedded()->profiles(0).size(), stored);
        }
    }

    GlobalOptions mOptions;
    Output mOutput{mOptions, -1};
    Interruption mInterruption;
    Session mSession{mOptions, mOutput, mInterruption};
    Provisioner mProvisioner{mSession, mOptions, mInterruption};
};

ApnRecord record(TechType tech, const std::string& apn, IPType home, IPType roam,
                 unsigned int types, const std::string& user = "") {
    ApnRecord made{.carrier = "test", .tech = tech, .params = {}};
    made.params.setApnName(apn);
    made.params.setHomeIPType(home);
    if (tech == TechType::TECH_3GPP) {
        made.params.setRoamIPType(roam);
    }
    made.params.setApnTypesMask(types);
    made.params.setAuthType(AuthType::NONE);
    if (!user.empty()) {
        made.params.setUserName(user);
    }
    return made;
}

TEST_F(ProvisionTest, RealSimsLeaveWhatTheyMustTwiceInBothSettings) {
    const ApnDatabase database(kDefaultApnFile);
    for (const char* sim : {"26201", "310260", "50502", "none"}) {
        expectCleanTwiceInBothSettings(database.network(sim));
    }
}

TEST_F(ProvisionTest, RecordsThatMeetTheModemsOwnProfilesLeaveWhatTheyMust) {
    constexpr auto k3gpp = TechType::TECH_3GPP;
    constexpr auto k3gpp2 = TechType::TECH_3GPP2;
    // One with an attach profile of the modem's own, families that meet and miss each other, and
    // twice the same name with other credentials.
    expectCleanTwiceInBothSettings(
        {"00101",
         {record(k3gpp, "attach.velo", IPType::V4, IPType::V4, 0x101, "first"),
          record(k3gpp, "Attach.Velo", IPType::V6, IPType::V4V6, 0x4, "second"),
          record(k3gpp, "IMS", IPType::V6, IPType::V6, 0x40),
          record(k3gpp2, "cdma.velo", IPType::V4, IPType::V4, 0x1, "user"),
          record(k3gpp2, "other.cdma", IPType::V4V6, IPType::V4, 0x1)}});
    // One whose attach profile the library has to make, with a home type of its own.
    expectCleanTwiceInBothSettings(
        {"00102",
         {record(k3gpp, std::string(200, 'X'), IPType::V4, IPType::V6, 0x1, "u"),
          record(k3gpp, "sos", IPType::V6, IPType::V6, 0x200),
          record(k3gpp, "net", IPType::V4V6, IPType::V4, 0x100)}});
    // One that only knows CDMA: nothing to attach with.
    expectCleanTwiceInBothSettings(
        {"00103", {record(k3gpp2, "cdma.velo", IPType::V6, IPType::V6, 0x1)}});
}

TEST_F(ProvisionTest, ARefusedChangeIsFound) {
    mSession.embedded()->setGate(
        [](const mox::Frame& frame) { return frame.messageId != kWdsModifyProfileSettingsReq; });
    const ProvisionResult result = mProvisioner.bringUp(
        {"00101", {record(TechType::TECH_3GPP, "ims", IPType::V4V6, IPType::V4V6, 0x41)}}, false,
        false);
    ASSERT_FALSE(result.differences.empty());
    EXPECT_NE(result.differences.front().find("3gpp:2: types default,ims -> ims"),
              std::string::npos)
        << result.differences.front();
    EXPECT_EQ(result.leftOver, 0U);
}

TEST_F(ProvisionTest, AProfileThatStaysIsFound) {
    const std::vector<modem::StoredProfile> before = mSession.embedded()->profiles(0);
    ExpectedStore expected(before, false);
    ProfileParams params;
    params.setApnName("web");
    EXPECT_EQ(expected.dataCall(TechType::TECH_3GPP, params, {TechType::TECH_3GPP, 7}), "");
    EXPECT_EQ(expected.differences(before).size(), 1U);
    expected.release();
    EXPECT_TRUE(expected.differences(before).empty());

    std::vector<modem::StoredProfile> after = before;
    after.push_back({.id = {WDS_PROFILE_TYPE_3GPP, 7}, .persistent = false, .settings = {}});
    const std::vector<ProfileChange> found = expected.differences(after);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.front().what(), "created");
    after.erase(after.begin());
    EXPECT_EQ(expected.differences(after).size(), 2U);
}

TEST_F(ProvisionTest, AWrongChoiceIsFound) {
    ExpectedStore expected(mSession.embedded()->profiles(0), false);
    ProfileParams params;
    params.setApnName("ims");
    EXPECT_EQ(expected.dataCall(TechType::TECH_3GPP, params, {TechType::TECH_3GPP, 1}),
              "data call: 3gpp:1 does not fit");
    EXPECT_EQ(expected.emergency(params, {TechType::TECH_3GPP, 9}),
              "emergency: 3gpp:9 was created although another fits");
}

}  // namespace
}  // namespace velo::tool
