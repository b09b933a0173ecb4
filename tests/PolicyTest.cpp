// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Modem3gpp2Profile.h"
#include "Modem3gppProfile.h"
#include "Support.h"
#include "host/mox/Frame.h"
#include "velo/FilterProfileParams.h"
#include "velo/Util.h"

namespace velo::test {
namespace {

/// What the policies say of their steps, in short.
const std::map<std::string, std::string> kSteps = {
    {"found existing setupDataCall profile", "found"},
    {"Modifying profile with input parameters", "updating"},
    {"setupDataCall profile added", "added"},
    {"found an emergency profile by name", "named"},
    {"found a profile that supports emergency calls", "capable"},
    {"emergency profile created", "emergency"},
    {"velo NULL apn scenario", "noApn"},
    {"velo Found an exact match modem or VELO IA profile for attach", "exact"},
    {"velo Found a loose match profile for attach", "loose"},
    {"It is VELO_IA profile or modem profile.", "fit"},
    {"It is not a VELO_IA profile. so skipping it.", "skipped"},
    {"velo Found a VELO IA profile that matches APN name for attach", "initialByName"},
    {"velo Found any VELO IA profile for attach", "anyInitial"},
    {"velo Modifying profile identified for IA", "modified"},
    {"velo VELO IA profile created for attach", "initialCreated"},
};

ProfileParams record(const std::string& apn, std::optional<IPType> home = std::nullopt,
                     const std::string& user = "") {
    ProfileParams params;
    if (!apn.empty()) params.setApnName(apn);
    if (home) params.setHomeIPType(*home);
    if (!user.empty()) params.setUserName(user);
    return params;
}

modem::StoredProfile profileOf(ProfileParams params, const std::string& name, TechType tech) {
    if (tech == TechType::TECH_3GPP2) {
        const auto request = Modem3gpp2Profile(params).constructAddRequest();
        return {{request.profile_type, 0}, true, request.settings};
    }
    Modem3gppProfile profile(params);
    profile.setProfileName(name);
    const auto request = profile.constructAddRequest();
    return {{request.profile_type, 0}, true, request.settings};
}

/// Does something whenever a policy logs one line.
class Tripwire : public LogWriter {
public:
    Tripwire(std::string line, std::function<void()> action)
        : mLine(std::move(line)), mAction(std::move(action)) {}
    void write(LogLevel, std::string, std::string message) override {
        if (message == mLine) mAction();
    }
    int convertPrio(LogLevel level) override { return static_cast<int>(level); }

private:
    const std::string mLine;
    const std::function<void()> mAction;
};

/// A modem that holds one 3GPP2 profile, which no policy below looks for.
modem::ModemOptions almostEmptyModem() {
    modem::ModemOptions options;
    options.factoryProfiles.emplace();
    options.factoryProfiles->push_back(profileOf(record("cdma"), "", TechType::TECH_3GPP2));
    return options;
}

class PolicyTest : public LibraryTest {
protected:
    PolicyTest() : LibraryTest(almostEmptyModem()) {}

    /// Puts a profile into the modem, as another client of it would; its index.
    int store(const ProfileParams& params, const std::string& name = "foreign",
              TechType tech = TechType::TECH_3GPP) {
        const int id = modem().addProfile(0, profileOf(params, name, tech)).value();
        settle();
        return id;
    }

    modem::StoredProfile inModem(int id, TechType tech = TechType::TECH_3GPP) {
        for (const modem::StoredProfile& profile : modem().profiles(0)) {
            if (profile.id.profile_index == id && profile.id.profile_type == typeOf(tech)) {
                return profile;
            }
        }
        ADD_FAILURE() << "the modem has no profile " << id;
        return {};
    }

    ProfileParams stored(int id, TechType tech = TechType::TECH_3GPP) {
        wds_get_profile_settings_resp_msg_v01 response{};
        response.settings = inModem(id, tech).settings;
        return tech == TechType::TECH_3GPP2 ? Modem3gpp2Profile(id, response).get()
                                            : Modem3gppProfile(id, response).get();
    }

    std::size_t countInModem(TechType tech = TechType::TECH_3GPP) {
        const auto profiles = modem().profiles(0);
        return static_cast<std::size_t>(std::count_if(
            profiles.begin(), profiles.end(),
            [&](const auto& profile) { return profile.id.profile_type == typeOf(tech); }));
    }

    /// The steps that the policies took since the last call.
    std::string steps() {
        std::string words;
        for (const std::string& text : mLog.texts(LogLevel::Event)) {
            const auto step = kSteps.find(text);
            if (step != kSteps.end()) words += (words.empty() ? "" : " ") + step->second;
        }
        mLog.clear();
        return words;
    }

    /// Has the cache rebuilt when a policy logs `line`: its keys are stale from there on.
    void rebuildAt(const std::string& line) {
        LogWrapper::getInstance().setLogWriter(std::make_unique<Tripwire>(line, [this] {
            modem().report(0, {}, WDS_PROFILE_EVENT_READY);
            settle();
        }));
    }

    static uint32_t typeOf(TechType tech) { return static_cast<uint32_t>(tech); }

    LogRecorder mLog;
    Util mUtil;
};

TEST_F(PolicyTest, ADataCallProfileLivesAsLongAsItsKeys) {
    const ProfileParams wanted = record("Net", IPType::V4, "me");
    auto first = mUtil.findOrCreateProfileForSetupDataCall(TechType::TECH_3GPP, wanted);
    ASSERT_TRUE(first);
    EXPECT_TRUE(
        mLog.has(LogLevel::Event, "velo findOrCreateProfileForSetupDataCall < " + first->dump()));
    EXPECT_EQ(steps(), "added");
    EXPECT_FALSE(inModem(first->getProfileId()).persistent);
    auto second = mUtil.findOrCreateProfileForSetupDataCall(TechType::TECH_3GPP, wanted);
    EXPECT_EQ(steps(), "found");
    ASSERT_TRUE(second);
    EXPECT_EQ(second->getProfileId(), first->getProfileId());
    first.reset();
    EXPECT_EQ(countInModem(), 1U);
    second.reset();
    EXPECT_EQ(countInModem(), 0U);
}

TEST_F(PolicyTest, ADataCallTakesAProfileOfARelatedIPTypeAsItIs) {
    const int id = store(record("net", IPType::V6));
    for (const IPType fitting : {IPType::V6, IPType::V4V6, IPType::UNKNOWN}) {
        const auto key = mUtil.findOrCreateProfileForSetupDataCall(TechType::TECH_3GPP,
                                                                   record("net", fitting, "me"));
        ASSERT_TRUE(key);
        EXPECT_EQ(key->getProfileId(), id);
        EXPECT_EQ(steps(), "found");
    }
    EXPECT_FALSE(stored(id).hasUserName());
    const auto key =
        mUtil.findOrCreateProfileForSetupDataCall(TechType::TECH_3GPP, record("net", IPType::V4));
    ASSERT_TRUE(key);
    EXPECT_NE(key->getProfileId(), id);
    EXPECT_EQ(steps(), "added");
}

TEST_F(PolicyTest, ADataCallBringsAProfileUpToDateWhenUpdatesAreAllowed) {
    const int id = store(record("net", IPType::V6));
    mUtil.setProfileUpdateAllowed(true);
    EXPECT_TRUE(mLog.has(LogLevel::Event, "velo::Util: profileUpdateAllowed 1"));
    const auto key = mUtil.findOrCreateProfileForSetupDataCall(TechType::TECH_3GPP,
                                                               record("net", IPType::V4, "me"));
    ASSERT_TRUE(key);
    EXPECT_EQ(key->getProfileId(), id);
    EXPECT_EQ(steps(), "found updating");
    EXPECT_EQ(stored(id).getHomeIPType(), IPType::V4);
    EXPECT_EQ(stored(id).getUserName(), "me");
}

TEST_F(PolicyTest, TheUserNameNarrowsTheSearchFor3gpp2Alone) {
    for (const TechType tech : {TechType::TECH_3GPP, TechType::TECH_3GPP2}) {
        const int id = store(record("net", IPType::V4, "you"), "foreign", tech);
        const auto key =
            mUtil.findOrCreateProfileForSetupDataCall(tech, record("net", IPType::V4, "me"));
        ASSERT_TRUE(key);
        EXPECT_EQ(key->getProfileId() == id, tech == TechType::TECH_3GPP);
    }
}

TEST_F(PolicyTest, AnEmergencyProfileIsMadeOnceAndFoundByName) {
    ProfileParams wanted = record("sos", IPType::V4V6);
    wanted.setApnTypesMask(0xFFF);
    auto key = mUtil.findOrCreateProfileForEmergencyDataCall(wanted);
    ASSERT_TRUE(key);
    const int id = key->getProfileId();
    key.reset();
    EXPECT_TRUE(inModem(id).persistent);
    EXPECT_EQ(stored(id).getApnTypesMask(), 0x200U);
    EXPECT_TRUE(stored(id).getIsEmergencySupported());

    for (const auto& params : {wanted, record("other"), record("")}) {
        key = mUtil.findOrCreateProfileForEmergencyDataCall(params);
        ASSERT_TRUE(key);
        EXPECT_EQ(key->getProfileId(), id);
    }
    EXPECT_EQ(steps(), "emergency named capable capable");
}

TEST_F(PolicyTest, ARefusedCreationIsLoggedAsOneAndYieldsNoKey) {
    modem().setGate(
        [](const mox::Frame& frame) { return frame.messageId != kWdsCreateProfileReq; });
    EXPECT_FALSE(mUtil.findOrCreateProfileForSetupDataCall(TechType::TECH_3GPP, record("net")));
    EXPECT_FALSE(mUtil.findOrCreateProfileForEmergencyDataCall(record("net")));
    EXPECT_FALSE(mUtil.findOrCreateProfileForLteAttach(record("net")));
    for (const char* policy : {"SetupDataCall", "EmergencyDataCall", "LteAttach"}) {
        EXPECT_TRUE(
            mLog.has(LogLevel::Event, std::string("velo findOrCreateProfileFor") + policy + " < "));
    }
    EXPECT_EQ(steps(), "added emergency initialCreated");
    ProfileParams classy = record("net");
    classy.setApnClass(ApnClass::APP);
    mUtil.updateModemProfileByApnClass({classy}, {});
    EXPECT_TRUE(mLog.has(LogLevel::Error, "Could not add profile by APN class"));
}

/// An attach with V4 at home and abroad against a modem that holds `seeds`: name, APN, home and
/// roaming IP type of each.
struct AttachCase {
    const char* title;
    bool isUpdateAllowed;
    const char* apn;
    const char* seeds;
    int chosen;  ///< index of the seed, -1 for a new profile
    const char* ipAfter;
    const char* steps;  ///< null when they depend on which profile comes first
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
    ProfileParams wanted = record(attach.apn, std::nullopt, "me");
    wanted.setPassword("secret");
    wanted.setAuthType(AuthType::CHAP);
    wanted.setApnTypesMask(0x101);
    wanted.setMaxPdnsConnPerBlock(20);
    wanted.setMaxPdnConnTimer(300);
    wanted.setPdnReqWaitInterval(7);
    wanted.setHomeIPType(IPType::V4);
    wanted.setRoamIPType(IPType::V4);
    const auto key = mUtil.findOrCreateProfileForLteAttach(wanted);
    ASSERT_TRUE(key);
    EXPECT_TRUE(mLog.has(LogLevel::Event, "velo findOrCreateProfileForLteAttach < " + key->dump()));
    const std::string said = steps();
    EXPECT_EQ(said, attach.steps ? attach.steps : said);

    const int id = key->getProfileId();
    const bool isNew = attach.chosen < 0;
    EXPECT_EQ(countInModem(), ids.size() + (isNew ? 1 : 0));
    EXPECT_EQ(id, isNew ? id : ids[static_cast<std::size_t>(attach.chosen)]);
    EXPECT_TRUE(inModem(id).persistent);
    const ProfileParams after = stored(id);
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
    {"exact", false, "Net", "foreign net V4 -", 0, kHome, "exact modified"},
    {"exact initial", true, "net", "velo_profile_ia net V4 V4", 0, kBoth, "exact modified"},
    {"no APN", false, "", "foreign net V4 -", 0, kHome, "noApn exact modified"},
    {"exact data call", false, "net", "velo_profile net V4 -", -1, kBoth, "initialCreated"},
    {"exact data call, updates", true, "net", "velo_profile net V4 -", -1, kBoth,
     "loose skipped initialCreated"},
    {"rejected first key", false, "net", "velo_profile net V4 - foreign net V4 -", 1, kHome,
     nullptr},
    {"related IP", false, "net", "foreign net V4V6 -", 0, kDual, "loose fit modified"},
    {"other IP", false, "net", "foreign net V6 -", -1, kBoth, "initialCreated"},
    {"other roaming IP", false, "net", "foreign net V4 V6", -1, kBoth, "initialCreated"},
    {"other IP, updates", true, "net", "foreign net V6 -", 0, kBoth, "loose fit modified"},
    {"foreign before initial", false, "net", "foreign net V4V6 - velo_profile_ia net V6 -", 0,
     kDual, "loose fit modified"},
    {"initial by name", false, "net", "velo_profile_ia net V6 - velo_profile_ia x V6 -", 0, kBoth,
     "initialByName modified"},
    {"any initial", false, "net", "velo_profile_ia x V6 -", 0, kBoth, "anyInitial modified"},
    {"any initial after a skipped one", true, "net", "velo_profile_ia x V6 - velo_profile net V4 -",
     0, kBoth, "loose skipped anyInitial modified"},
    {"nothing", false, "net", "", -1, kBoth, "initialCreated"},
};

INSTANTIATE_TEST_SUITE_P(Stages, AttachTest, testing::ValuesIn(kAttachCases));

TEST_F(PolicyTest, KeysThatGoStaleMidwayAreNoReasonToStop) {
    const int foreign = store(record("net", IPType::V4V6));
    rebuildAt("velo Found a loose match profile for attach");
    auto key = mUtil.findOrCreateProfileForLteAttach(record("net", IPType::V4));
    ASSERT_TRUE(key);
    EXPECT_EQ(key->getProfileId(), foreign);
    EXPECT_EQ(countInModem(), 1U);
    const int initial = store(record("net", IPType::V6), "velo_profile_ia");
    key = mUtil.findOrCreateProfileForLteAttach(record("net", IPType::V4));
    ASSERT_TRUE(key);
    EXPECT_EQ(key->getProfileId(), initial);
    EXPECT_EQ(stored(initial).getHomeIPType(), IPType::V4);

    ProfileParams classy = record("net");
    classy.setApnClass(ApnClass::APP);
    store(classy);
    rebuildAt("Found a match for APN class and tech type, modify the profile");
    mUtil.updateModemProfileByApnClass({classy}, {});
    EXPECT_THAT(manager().dump(),
                testing::Contains(testing::EndsWith("Error while modifying profile by APN class")));
}

TEST_F(PolicyTest, AnAttachProfileIdIsCheckedAgainstTheParameters) {
    const int foreign = store(record("net", IPType::V6));
    const int initial = store(record("net", IPType::V6), "velo_profile_ia");
    const int dataCall = store(record("net", IPType::V6), "velo_profile");
    const auto matches = [&](int id, IPType home) {
        mLog.clear();
        ProfileParams params = record("net", home);
        params.setRoamIPType(home);
        return mUtil.matchLteAttachProfileId(id, params);
    };
    const char* const noMatch = "velo matchLteAttachProfileId < did not match input params";

    EXPECT_TRUE(matches(foreign, IPType::V4V6));
    EXPECT_TRUE(mLog.has(LogLevel::Event, "velo matchLteAttachList < " + std::to_string(foreign)));
    EXPECT_TRUE(mLog.has(LogLevel::Event,
                         "velo matchLteAttachProfileId > Profile id = " + std::to_string(foreign) +
                             " Input Params = ApnName=net,HomeIPType=V4V6,RoamIPType=V4V6,"));
    EXPECT_FALSE(matches(foreign, IPType::V4));
    EXPECT_TRUE(mLog.has(LogLevel::Event, noMatch));
    EXPECT_TRUE(matches(initial, IPType::V6));
    EXPECT_FALSE(matches(initial, IPType::V4V6));
    EXPECT_FALSE(matches(dataCall, IPType::V6));
    EXPECT_TRUE(mLog.has(LogLevel::Error, "Profile id " + std::to_string(dataCall) +
                                              " is a VELO profile which is not an IA profile, "
                                              "cannot be used for attach"));
    EXPECT_FALSE(mLog.has(LogLevel::Event, noMatch));
    int cdma = 0;
    while (cdma <= dataCall) cdma = store(record("net"), "", TechType::TECH_3GPP2);
    EXPECT_FALSE(mUtil.matchLteAttachProfileId(cdma, record("net")));
    EXPECT_TRUE(mLog.has(LogLevel::Event, noMatch));
    ProfileParams withPassword = record("net");
    withPassword.setPassword("secret");
    EXPECT_FALSE(mUtil.matchLteAttachProfileId(foreign, withPassword));
    ProfileParams withAuthType = record("net");
    withAuthType.setAuthType(AuthType::PAP);
    EXPECT_FALSE(mUtil.matchLteAttachProfileId(foreign, withAuthType));

    mUtil.setProfileUpdateAllowed(true);
    EXPECT_FALSE(matches(foreign, IPType::V4V6));
    EXPECT_TRUE(matches(foreign, IPType::V6));
}

TEST_F(PolicyTest, AnApnClassBringsEachOfItsProfilesToTheRecord) {
    const auto classy = [](const std::string& apn, ApnClass apnClass) {
        ProfileParams params = record(apn);
        params.setApnClass(apnClass);
        return params;
    };
    const int first = store(classy("old", ApnClass::INET));
    const int second = store(classy("older", ApnClass::INET));
    const int other = store(classy("old", ApnClass::APP));
    mUtil.updateModemProfileByApnClass({record("none"), classy("new", ApnClass::INET)},
                                       {classy("cdma2", ApnClass::INET)});
    EXPECT_EQ(stored(first).getApnName(), "new");
    EXPECT_EQ(stored(second).getApnName(), "new");
    EXPECT_EQ(stored(other).getApnName(), "old");
    EXPECT_EQ(countInModem(), 3U);
    EXPECT_EQ(countInModem(TechType::TECH_3GPP2), 2U);
    EXPECT_TRUE(mLog.has(LogLevel::Debug, "velo either tech type or apn class is missing"));
    EXPECT_TRUE(mLog.has(LogLevel::Event, "velo updateModemProfileByApnClass < OK"));
}

/// The record's types: DEFAULT over V4, IMS over V6, MMS over both.
std::list<ProfileParams> typedRecords(const std::string& apn, bool withDualStack) {
    const auto typed = [&](const std::string& name, std::optional<IPType> home, unsigned int mask) {
        ProfileParams params = record(name, home);
        params.setApnTypesMask(mask);
        return params;
    };
    std::list<ProfileParams> records = {typed("A" + apn, IPType::V4, 0x001),
                                        typed("a" + apn, IPType::V6, 0x040)};
    if (withDualStack) records.push_back(typed("a" + apn, std::nullopt, 0x002));
    return records;
}

TEST_F(PolicyTest, ApnTypesGoToTheFamiliesThatExist) {
    const IPType kV4 = IPType::V4, kV6 = IPType::V6, kV4V6 = IPType::V4V6;
    struct Case {
        bool withDualStack;
        std::vector<std::pair<IPType, unsigned int>> expected;
        std::size_t searchesInVain;  ///< the five of the absent technology included
    };
    const std::vector<Case> cases = {
        {true, {}, 10},
        {true, {{kV4, 0x043}}, 8},
        {true, {{kV6, 0x043}}, 8},
        {true, {{kV4V6, 0x043}}, 7},
        {true, {{kV4, 0x003}, {kV6, 0x042}}, 6},
        {true, {{kV4, 0x001}, {kV4V6, 0x042}}, 6},
        {true, {{kV6, 0x040}, {kV4V6, 0x003}}, 6},
        {true, {{kV4, 0x001}, {kV6, 0x040}, {kV4V6, 0x002}}, 5},
        {false, {{kV4, 0x001}, {kV6, 0x040}}, 5},
        {false, {{kV4, 0x041}}, 8},
    };
    int round = 0;
    for (const Case& families : cases) {
        const std::string apn = "pn" + std::to_string(round++);
        SCOPED_TRACE(apn);
        std::vector<int> ids;
        for (const auto& [home, mask] : families.expected) {
            ids.push_back(store(record("a" + apn, home)));
        }
        mLog.clear();
        mUtil.updateAPNTypeBitmaskOnModemProfile(typedRecords(apn, families.withDualStack));
        for (std::size_t i = 0; i < ids.size(); ++i) {
            EXPECT_EQ(stored(ids[i]).getApnTypesMask(), families.expected[i].second) << i;
        }
        const auto debug = mLog.texts(LogLevel::Debug);
        EXPECT_EQ(static_cast<std::size_t>(std::count_if(
                      debug.begin(), debug.end(),
                      [](const auto& text) { return text.rfind("velo no match found", 0) == 0; })),
                  families.searchesInVain);
    }
    EXPECT_TRUE(
        mLog.has(LogLevel::Debug,
                 "velo processing APN name apn9, V4 mask:0x1, v6 mask0x40:, v4v6 mask:0x0"));
    EXPECT_TRUE(
        mLog.has(LogLevel::Debug, "velo no match found for apn name:apn9, ip type:3, tech type:0"));
}

TEST_F(PolicyTest, ApnTypesAreCombinedWhenUpdatesAreAllowed) {
    const int first = store(record("apn", IPType::V4));
    const int second = store(record("apn"), "foreign", TechType::TECH_3GPP2);
    mUtil.setProfileUpdateAllowed(true);
    std::list<ProfileParams> records = typedRecords("pn", true);
    records.push_back(record("apn"));
    records.push_back(record(""));
    mUtil.updateAPNTypeBitmaskOnModemProfile(records);
    EXPECT_EQ(stored(first).getApnTypesMask(), 0x043U);
    EXPECT_EQ(stored(second, TechType::TECH_3GPP2).getApnTypesMask(), 0x043U);
    const std::string noName = "velo processing APN name , V4 mask:0x0, v6 mask0x0:, v4v6 mask:0x";
    EXPECT_FALSE(mLog.has(LogLevel::Debug, noName + "0"));
    EXPECT_EQ(mLog.count(LogLevel::Error, "velo APN type mask not present, setting to 0"), 2U);
    EXPECT_EQ(mLog.count(LogLevel::Error, "velo Home IP type not present, setting to v4v6"), 3U);
    EXPECT_TRUE(mLog.has(LogLevel::Debug, "velo updating profile id:" + std::to_string(first) +
                                              ", tech type:0, with combined mask0x43:"));

    // An empty name is a name, and the records without one do not belong to it.
    records.back().setApnTypesMask(0x002);
    records.push_back(record(""));
    records.back().setApnName("");
    records.back().setApnTypesMask(0x001);
    mUtil.updateAPNTypeBitmaskOnModemProfile(records);
    EXPECT_TRUE(mLog.has(LogLevel::Debug, noName + "1"));
}

}  // namespace
}  // namespace velo::test
