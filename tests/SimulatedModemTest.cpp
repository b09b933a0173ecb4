// SPDX-License-Identifier: Apache-2.0

#include "velo-modem/SimulatedModem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/mox/MoxHost.h"
#include "velo/FilterProfileParams.h"
#include "velo/Manager.h"

namespace velo::test {
namespace {

using std::chrono::milliseconds;
using Operation = SimulatedModem::Operation;

/// A simulated modem, and the library connected to it in the way of an integrator's test.
class SimulatedModemTest : public ::testing::Test {
protected:
    void SetUp() override {
        manager.init(0, false);
        ASSERT_TRUE(modem.waitForLibrary());
    }

    std::shared_ptr<IProfileKey> keyOf(TechType techType, int profileId) {
        FilterProfileParams filter;
        filter.setFilterByTechType(techType);
        filter.setFilterByProfileId(profileId);
        const auto keys = manager.filter(filter);
        return keys.size() == 1 ? keys.front() : nullptr;
    }

    /// What the library holds, each profile as the store should show it.
    std::vector<std::string> cached() {
        std::vector<std::string> lines;
        for (const auto& key : manager.filter(FilterProfileParams())) {
            lines.push_back(
                lineOf(key->getTechType(), key->getProfileId(), manager.getProfile(key)->dump()));
        }
        std::sort(lines.begin(), lines.end());
        return lines;
    }

    std::vector<std::string> stored(unsigned int subscription = 0) const {
        std::vector<std::string> lines;
        for (const SimulatedProfile& profile : modem.profiles(subscription)) {
            lines.push_back(lineOf(profile.techType, profile.profileId, profile.settings.dump()));
        }
        std::sort(lines.begin(), lines.end());
        return lines;
    }

    static std::string lineOf(TechType techType, int profileId, const std::string& settings) {
        return std::to_string(static_cast<int>(techType)) + ":" + std::to_string(profileId) + " " +
               settings;
    }

    static AddProfileParams wholeProfile(TechType techType) {
        AddProfileParams params(true, techType, false);
        params.setApnName("Whole.Example");
        params.setUserName("me");
        // The library does not show callers the password of a 3GPP2 profile.
        if (techType == TechType::TECH_3GPP) params.setPassword("secret");
        params.setAuthType(AuthType::PAP_CHAP);
        params.setHomeIPType(IPType::V6);
        params.setApnTypesMask(0xFFF);
        params.setApnClass(ApnClass::APP);
        params.setIsClatEnabled(true);
        params.setRoamIPType(IPType::V4);
        params.setIsEmergencySupported(true);
        params.setIsApnDisabled(true);
        params.setMaxPdnsConnPerBlock(1);
        params.setMaxPdnConnTimer(2);
        params.setPdnReqWaitInterval(65535);
        return params;
    }

    Manager& manager = Manager::getInstance();
    SimulatedModem modem;
};

TEST_F(SimulatedModemTest, ShowsEverySettingAsTheLibraryDoes) {
    for (const TechType techType : {TechType::TECH_3GPP, TechType::TECH_3GPP2}) {
        const auto id = modem.addProfile(wholeProfile(techType));
        ASSERT_TRUE(id.has_value());
        ASSERT_TRUE(modem.waitForLibrary());
        const auto key = keyOf(techType, *id);
        ASSERT_NE(nullptr, key);
        EXPECT_EQ("whole.example", manager.getProfile(key)->getApnName());
        EXPECT_EQ(IPType::V6, manager.getProfile(key)->getHomeIPType());
        EXPECT_EQ(0xFFFU, manager.getProfile(key)->getApnTypesMask());
    }
    // The library keeps a home type that differs from the roaming one in a way of its own.
    AddProfileParams own = wholeProfile(TechType::TECH_3GPP);
    own.setApnName("own.example");
    const auto key = manager.addProfile(own);
    ASSERT_NE(nullptr, key);
    EXPECT_EQ(cached(), stored());
}

TEST_F(SimulatedModemTest, ChangesByAnotherClientReachTheLibrary) {
    const auto key = manager.addProfile(wholeProfile(TechType::TECH_3GPP));
    ASSERT_NE(nullptr, key);
    const auto lost = std::make_shared<std::atomic<bool>>(false);
    key->registerExpirationListener([lost] { *lost = true; });
    const int id = key->getProfileId();

    ProfileParams change;
    change.setHomeIPType(IPType::V4V6);
    EXPECT_TRUE(modem.changeProfile(TechType::TECH_3GPP, id, change));
    ASSERT_TRUE(modem.waitForLibrary());
    EXPECT_TRUE(*lost);
    ASSERT_NE(nullptr, keyOf(TechType::TECH_3GPP, id));
    EXPECT_EQ(IPType::V4V6, manager.getProfile(keyOf(TechType::TECH_3GPP, id))->getHomeIPType());

    EXPECT_TRUE(modem.deleteProfile(TechType::TECH_3GPP, id));
    ASSERT_TRUE(modem.waitForLibrary());
    EXPECT_EQ(nullptr, keyOf(TechType::TECH_3GPP, id));
    EXPECT_EQ(cached(), stored());
    EXPECT_FALSE(modem.deleteProfile(TechType::TECH_3GPP, id));
    EXPECT_FALSE(modem.changeProfile(TechType::TECH_3GPP, 256, change));
}

TEST_F(SimulatedModemTest, WaitsUntilTheCacheIsFilledAfterARestart) {
    const auto key = manager.addProfile(AddProfileParams(false, TechType::TECH_3GPP, false));
    ASSERT_NE(nullptr, key);
    modem.powerOff();
    EXPECT_FALSE(modem.waitForLibrary(0, milliseconds(20)));
    modem.powerOn();
    ASSERT_TRUE(modem.waitForLibrary());
    EXPECT_FALSE(manager.getProfile(key).has_value());
    EXPECT_EQ(cached(), stored());
    EXPECT_EQ(4U, stored().size());

    const auto before = keyOf(TechType::TECH_3GPP, 1);
    modem.report(SimulatedModem::Event::SubscriptionChange);
    ASSERT_TRUE(modem.waitForLibrary());
    EXPECT_FALSE(manager.getProfile(before).has_value());
    EXPECT_FALSE(modem.waitForLibrary(1, milliseconds(20))) << "nobody listens there";
    EXPECT_FALSE(modem.waitForLibrary(2));
    EXPECT_TRUE(stored(2).empty());
}

TEST_F(SimulatedModemTest, GoesWrongOnOrder) {
    const AddProfileParams params(true, TechType::TECH_3GPP, false);
    modem.reject(Operation::CreateProfile);
    EXPECT_EQ(nullptr, manager.addProfile(params));
    EXPECT_EQ(4U, stored().size());

    modem.setAnswerTimeout(milliseconds(20));
    modem.drop(Operation::CreateProfile);
    EXPECT_EQ(nullptr, manager.addProfile(params));
    EXPECT_EQ(5U, stored().size()) << "only the answer is lost";

    modem.delay(Operation::DeleteProfile, milliseconds(60000));
    EXPECT_FALSE(manager.deleteProfile(keyOf(TechType::TECH_3GPP, 1)));
    modem.setAnswerTimeout(milliseconds(0));
    const auto before = modem.requests();
    EXPECT_NE(nullptr, manager.addProfile(params));
    EXPECT_GT(modem.requests(), before);

    EXPECT_THROW(modem.reject(Operation::Any, 0), std::invalid_argument);
    EXPECT_NE(std::string::npos, modem.control("{\"order\":\"none\"}").find("\"error\""));
}

TEST_F(SimulatedModemTest, TheLastOneMadeIsTheOneThatIsFound) {
    {
        auto second = std::make_unique<SimulatedModem>();
        const SimulatedModem third;
        second.reset();
        EXPECT_EQ(third.socketPath(), mox::modemPath());
    }
    EXPECT_NE(modem.socketPath(), mox::modemPath());
}

}  // namespace
}  // namespace velo::test
