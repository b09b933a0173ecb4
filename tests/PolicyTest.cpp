// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "CacheView.h"
#include "Modem3gppProfile.h"
#include "Support.h"
#include "velo/Util.h"

namespace velo::test {
namespace {

ProfileParams record(const std::string& apn, std::optional<IPType> home = std::nullopt) {
    ProfileParams params;
    if (!apn.empty()) params.setApnName(apn);
    if (home) params.setHomeIPType(*home);
    return params;
}

/// Does something when a policy first logs a line that begins so.
class Tripwire : public LogWriter {
public:
    Tripwire(std::string line, std::function<void()> action)
        : mLine(std::move(line)), mAction(std::move(action)) {}
    void write(LogLevel, std::string, std::string message) override {
        if (message.rfind(mLine, 0) == 0 && mAction) std::exchange(mAction, nullptr)();
    }
    int convertPrio(LogLevel level) override { return static_cast<int>(level); }

private:
    const std::string mLine;
    std::function<void()> mAction;
};

/// A modem that holds one 3GPP2 profile, which no policy below looks for.
modem::ModemOptions almostEmptyModem() {
    modem::ModemOptions options;
    options.factoryProfiles = {stored(WDS_PROFILE_TYPE_3GPP2, 0, "cdma")};
    return options;
}

class PolicyTest : public LibraryTest {
protected:
    PolicyTest() : LibraryTest(almostEmptyModem()) {}

    /// Puts a 3GPP profile into the modem, as another client of it would; its index.
    int store(ProfileParams params, const std::string& name = "foreign") {
        Modem3gppProfile profile(params);
        profile.setProfileName(name);
        const auto request = profile.constructAddRequest();
        const int id =
            modem().addProfile(0, {{request.profile_type, 0}, true, request.settings}).value();
        settle();
        return id;
    }

    modem::StoredProfile inModem(int id) {
        for (const modem::StoredProfile& profile : modem().profiles(0)) {
            if (profile.id.profile_index == id && profile.id.profile_type == 0) return profile;
        }
        ADD_FAILURE() << "the modem has no profile " << id;
        return {};
    }

    ProfileParams settingsOf(int id) {
        wds_get_profile_settings_resp_msg_v01 response{};
        response.settings = inModem(id).settings;
        return Modem3gppProfile(id, response).get();
    }

    std::size_t countInModem() { return modem().profiles(0).size() - 1; }

    /// Has the cache rebuilt when a policy first logs `line`: its keys are stale from there on.
    void rebuildAt(const std::string& line) {
        LogWrapper::getInstance().setLogWriter(std::make_unique<Tripwire>(line, [this] {
            modem().report(0, {}, WDS_PROFILE_EVENT_READY);
            settle();
        }));
    }

    Util mUtil;
};

/// An attach with V4 at home and abroad against a modem that holds `seeds`: name, APN, home and
/// roaming IP type of each.
struct AttachCase {
    const char* title;
    bool isUpdateAllowed;
    const char* apn;
    const char* seeds;
    int chosen;  ///< index of the seed, -1 for a new profile
    const char* ipAfter;
};

void PrintTo(const AttachCase& attach, std::ostream* out) {
    *out << attach.title;
}

class AttachTest : public PolicyTest, public testing::WithParamInterface<AttachCase> {
protected:
    /// The indices of the profiles that the case puts into the modem.
    std::vector<int> seed() {
        const std::map<std::string, IPType> ipTypes = {
            {"V4", IPType::V4}, {"V6", IPType::V6}, {"V4V6", IPType::V4V6}};
        std::vector<int> ids;
        std::istringstream words(GetParam().seeds);
        for (std::string name, apn, home, roam; words >> name >> apn >> home >> roam;) {
            ProfileParams params = record(apn, ipTypes.at(home));
            if (roam != "-") params.setRoamIPType(ipTypes.at(roam));
            ids.push_back(store(params, name));
        }
        return ids;
    }
};

TEST_P(AttachTest, ChoosesAdaptsOrCreates) {
    const AttachCase& attach = GetParam();
    const std::vector<int> ids = seed();
    mUtil.setProfileUpdateAllowed(attach.isUpdateAllowed);
    ProfileParams wanted = record(attach.apn, IPType::V4);
    wanted.setUserName("me");
    wanted.setPassword("secret");
    wanted.setAuthType(AuthType::CHAP);
    wanted.setApnTypesMask(0x101);
    wanted.setMaxPdnsConnPerBlock(20);
    wanted.setMaxPdnConnTimer(300);
    wanted.setPdnReqWaitInterval(7);
    wanted.setRoamIPType(IPType::V4);
    const auto key = mUtil.findOrCreateProfileForLteAttach(wanted);
    ASSERT_TRUE(key);
    const int id = key->getProfileId();
    const bool isNew = attach.chosen < 0;
    EXPECT_EQ(countInModem(), ids.size() + (isNew ? 1 : 0));
    EXPECT_EQ(id, isNew ? id : ids[static_cast<std::size_t>(attach.chosen)]);
    EXPECT_TRUE(inModem(id).persistent);
    const ProfileParams after = settingsOf(id);
    const std::string flag = isNew || after.getIsVeloProfile() ? "true" : "false";
    EXPECT_EQ(after.dump(), std::string("ApnName=net,UserName=me,Password=secret,AuthType=CHAP,") +
                                attach.ipAfter +
                                "ApnTypesMask=DEFAULT|IA|,MaxPdnsConnPerBlock=20,"
                                "MaxPdnConnTimer=300,PdnReqWaitInterval=7,IsVeloProfile=" +
                                flag + ",IsIAProfile=" + flag + ",");
}

constexpr const char* kHome = "HomeIPType=V4,";
constexpr const char* kDual = "HomeIPType=V4V6,";
constexpr const char* kBoth = "HomeIPType=V4,RoamIPType=V4,";

const AttachCase kAttachCases[] = {
    {"exact", false, "Net", "foreign net V4 -", 0, kHome},
    {"exact initial", true, "net", "velo_profile_ia net V4 V4", 0, kBoth},
    {"no APN", false, "", "foreign net V4 -", 0, kHome},
    {"exact data call", false, "net", "velo_profile net V4 -", -1, kBoth},
    {"exact data call, updates", true, "net", "velo_profile net V4 -", -1, kBoth},
    {"rejected first key", false, "net", "velo_profile net V4 - foreign net V4 -", 1, kHome},
    {"related IP", false, "net", "foreign net V4V6 -", 0, kDual},
    {"other IP", false, "net", "foreign net V6 -", -1, kBoth},
    {"other roaming IP", false, "net", "foreign net V4 V6", -1, kBoth},
    {"other IP, updates", true, "net", "foreign net V6 -", 0, kBoth},
    {"foreign before initial", false, "net", "foreign net V4V6 - velo_profile_ia net V6 -", 0,
     kDual},
    {"initial by name", false, "net", "velo_profile_ia net V6 - velo_profile_ia x V6 -", 0, kBoth},
    {"any initial", false, "net", "velo_profile_ia x V6 -", 0, kBoth},
    {"any initial after a skipped one", true, "net", "velo_profile_ia x V6 - velo_profile net V4 -",
     0, kBoth},
    {"nothing", false, "net", "", -1, kBoth},
};

INSTANTIATE_TEST_SUITE_P(Stages, AttachTest, testing::ValuesIn(kAttachCases));

TEST_F(PolicyTest, KeysThatGoStaleMidwayAreNoReasonToStop) {
    const int foreign = store(record("net", IPType::V4V6));
    rebuildAt("velo Found a loose match profile for attach");
    auto key = mUtil.findOrCreateProfileForLteAttach(record("net", IPType::V4));
    ASSERT_TRUE(key);
    EXPECT_EQ(key->getProfileId(), foreign);
    EXPECT_EQ(countInModem(), 1U);
    rebuildAt("Manager::getProfile > Get ");
    key = mUtil.findOrCreateProfileForLteAttach(record("net", IPType::V4V6));
    EXPECT_EQ(key->getProfileId(), foreign);
    const int initial = store(record("net", IPType::V6), "velo_profile_ia");
    rebuildAt("velo Found a loose match profile for attach");
    key = mUtil.findOrCreateProfileForLteAttach(record("net", IPType::V4));
    ASSERT_TRUE(key);
    EXPECT_EQ(key->getProfileId(), initial);
    EXPECT_EQ(settingsOf(initial).getHomeIPType(), IPType::V4);

    ProfileParams classy = record("net");
    classy.setApnClass(ApnClass::APP);
    store(classy);
    rebuildAt("Found a match for APN class and tech type, modify the profile");
    mUtil.updateModemProfileByApnClass({classy}, {});
    EXPECT_THAT(manager().dump(),
                testing::Contains(testing::EndsWith("Error while modifying profile by APN class")));
}

TEST_F(PolicyTest, ApnTypesGoToTheFamiliesThatExist) {
    constexpr IPType kV4 = IPType::V4, kV6 = IPType::V6, kV4V6 = IPType::V4V6;
    struct Case {
        bool withDualStack;
        std::vector<std::pair<IPType, unsigned int>> expected;
    };
    const Case cases[] = {
        {true, {{kV4, 0x043}}},
        {true, {{kV6, 0x043}}},
        {true, {{kV4V6, 0x043}}},
        {true, {{kV4, 0x003}, {kV6, 0x042}}},
        {true, {{kV4, 0x001}, {kV4V6, 0x042}}},
        {true, {{kV6, 0x040}, {kV4V6, 0x003}}},
        {true, {{kV4, 0x001}, {kV6, 0x040}, {kV4V6, 0x002}}},
        {false, {{kV4, 0x001}, {kV6, 0x040}}},
        {false, {{kV4, 0x041}}},
    };
    const auto typed = [](const std::string& name, std::optional<IPType> home, unsigned int mask) {
        ProfileParams params = record(name, home);
        params.setApnTypesMask(mask);
        return params;
    };
    int round = 0;
    for (const auto& [withDualStack, expected] : cases) {
        const std::string apn = "pn" + std::to_string(round++);
        std::vector<int> ids;
        ids.reserve(expected.size());
        for (const auto& family : expected) ids.push_back(store(record("a" + apn, family.first)));
        std::list<ProfileParams> records = {typed("A" + apn, kV4, 0x001),
                                            typed("a" + apn, kV6, 0x040)};
        if (withDualStack) records.push_back(typed("a" + apn, std::nullopt, 0x002));
        mUtil.updateAPNTypeBitmaskOnModemProfile(records);
        for (std::size_t i = 0; i < ids.size(); ++i) {
            EXPECT_EQ(settingsOf(ids[i]).getApnTypesMask(), expected[i].second) << apn << i;
        }
    }
}

}  // namespace
}  // namespace velo::test
