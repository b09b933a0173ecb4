// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Modem3gpp2Profile.h"
#include "Modem3gppProfile.h"

namespace velo::test {
namespace {

/// One setting of a record, with two values.
struct Setting {
    const char* name;
    bool isCommon;
    void (*set)(ProfileParams&, int);
};

const std::vector<Setting> kSettings = {
    {"ApnName", true, [](ProfileParams& p, int v) { p.setApnName(v == 1 ? "One" : "tWO"); }},
    {"UserName", true, [](ProfileParams& p, int v) { p.setUserName(v == 1 ? "one" : "ONE"); }},
    {"Password", true, [](ProfileParams& p, int v) { p.setPassword(v == 1 ? "one" : "ONE"); }},
    {"AuthType", true, [](ProfileParams& p, int v) { p.setAuthType(static_cast<AuthType>(v)); }},
    {"HomeIP", true, [](ProfileParams& p, int v) { p.setHomeIPType(static_cast<IPType>(v)); }},
    {"Types", true, [](ProfileParams& p, int v) { p.setApnTypesMask(v == 1 ? 0x041U : 0x001U); }},
    {"ApnClass", true, [](ProfileParams& p, int v) { p.setApnClass(static_cast<ApnClass>(v)); }},
    {"Clat", true, [](ProfileParams& p, int v) { p.setIsClatEnabled(v == 1); }},
    {"RoamIP", false, [](ProfileParams& p, int v) { p.setRoamIPType(static_cast<IPType>(v)); }},
    {"PerBlock", false, [](ProfileParams& p, int v) { p.setMaxPdnsConnPerBlock(v); }},
    {"ConnTimer", false, [](ProfileParams& p, int v) { p.setMaxPdnConnTimer(v); }},
    {"Interval", false, [](ProfileParams& p, int v) { p.setPdnReqWaitInterval(v); }},
    {"Disabled", false, [](ProfileParams& p, int v) { p.setIsApnDisabled(v == 1); }},
    {"Emergency", false, [](ProfileParams& p, int v) { p.setIsEmergencySupported(v == 1); }},
};

TEST(MatchTest, EverySettingThatAFilterNamesMustBeTheProfiles) {
    for (const Setting& setting : kSettings) {
        SCOPED_TRACE(setting.name);
        ProfileParams none;
        ProfileParams one;
        setting.set(one, 1);
        FilterProfileParams anything;
        FilterProfileParams same;
        setting.set(same, 1);
        FilterProfileParams other;
        setting.set(other, 2);

        EXPECT_TRUE(Modem3gppProfile(one).match(anything));
        EXPECT_TRUE(Modem3gppProfile(one).match(same));
        EXPECT_FALSE(Modem3gppProfile(one).match(other));
        EXPECT_FALSE(Modem3gppProfile(none).match(same));

        EXPECT_TRUE(Modem3gpp2Profile(one).match(anything));
        EXPECT_EQ(Modem3gpp2Profile(one).match(same), setting.isCommon);
        EXPECT_FALSE(Modem3gpp2Profile(one).match(other));
        EXPECT_FALSE(Modem3gpp2Profile(none).match(same));
    }
}

TEST(MatchTest, IPTypesAreBitSets) {
    struct Case {
        IPType own, requested;
        bool exact, subset, superset;
    };
    const IPType kV4 = IPType::V4, kV6 = IPType::V6, kV4V6 = IPType::V4V6;
    const std::vector<Case> cases = {
        {kV4V6, kV4, false, true, false},
        {kV6, kV4V6, false, false, true},
        {kV4, kV6, false, false, false},
        {kV6, kV6, true, true, true},
        {kV4, IPType::UNKNOWN, false, true, false},
    };
    const auto fitsUnder = [](ModemProfile& profile, FilterProfileParams filter, unsigned int bit) {
        filter.addFilterMatchCriteria(bit);
        return profile.match(filter);
    };
    // The criteria of the roaming type are those of the home type, one bit higher.
    const auto expectAll = [&](ModemProfile& profile, const FilterProfileParams& filter,
                               const Case& fits) {
        const unsigned int shift = filter.hasRoamIPType() ? 1 : 0;
        EXPECT_EQ(fitsUnder(profile, filter, 0), fits.exact);
        EXPECT_EQ(fitsUnder(profile, filter, 0x01U << shift), fits.subset);
        EXPECT_EQ(fitsUnder(profile, filter, 0x10U << shift), fits.superset);
        EXPECT_EQ(fitsUnder(profile, filter, 0x22U >> shift), fits.exact);
    };
    for (const Case& fits : cases) {
        SCOPED_TRACE(testing::Message() << fits.own << " for " << fits.requested);
        ProfileParams own;
        own.setHomeIPType(fits.own);
        FilterProfileParams home;
        home.setHomeIPType(fits.requested);
        FilterProfileParams roam;
        roam.setRoamIPType(fits.requested);
        Modem3gppProfile common(own);
        expectAll(common, home, fits);
        expectAll(common, roam, fits);
        Modem3gpp2Profile cdma(own);
        expectAll(cdma, home, fits);

        // The override is the home type behind a widened common type.
        own.setRoamIPType(fits.own == IPType::V4 ? IPType::V6 : IPType::V4);
        Modem3gppProfile widened(own);
        expectAll(widened, home, fits);
    }
}

TEST(MatchTest, UnequalRoamingTypesNeverMatch) {
    ProfileParams own;
    own.setHomeIPType(IPType::V4);
    Modem3gppProfile profile(own);
    FilterProfileParams filter;
    filter.setRoamIPType(IPType::V4);
    EXPECT_TRUE(profile.match(filter));
    profile.setUmtsRoamIPType(IPType::V4);
    EXPECT_FALSE(profile.match(filter));
    profile.setLteRoamIPType(IPType::V4);
    EXPECT_TRUE(profile.match(filter));
    profile.setUmtsRoamIPType(IPType::V6);
    EXPECT_FALSE(profile.match(filter));
}

TEST(MatchTest, NamesAndTypesCanBeContained) {
    ProfileParams own;
    own.setApnName("Internet");
    own.setApnTypesMask(0x043);
    Modem3gppProfile profile(own);
    ProfileParams none;
    Modem3gppProfile empty(none);
    const unsigned int kExact = 0;
    const unsigned int kSubset = 0x0C;
    const auto named = [](const std::string& name, unsigned int criteria) {
        FilterProfileParams filter;
        filter.setApnName(name);
        filter.addFilterMatchCriteria(criteria);
        return filter;
    };
    const auto typed = [](unsigned int mask, unsigned int criteria) {
        FilterProfileParams filter;
        filter.setApnTypesMask(mask);
        filter.addFilterMatchCriteria(criteria);
        return filter;
    };
    struct Case {
        FilterProfileParams filter;
        bool matches;
    };
    std::vector<Case> cases = {
        {named("iNTERNET", kExact), true}, {named("NET", kExact), false},
        {named("NET", kSubset), true},     {named("", kExact), false},
        {named("", kSubset), true},        {named("internets", kSubset), false},
        {typed(0x043, kExact), true},      {typed(0x041, kExact), false},
        {typed(0x041, kSubset), true},     {typed(0x044, kSubset), false},
        {typed(0, kSubset), true},         {typed(0, kExact), false},
        {typed(0x1043, kExact), true},
    };
    for (Case& contained : cases) {
        SCOPED_TRACE(contained.filter.dump());
        EXPECT_EQ(profile.match(contained.filter), contained.matches);
        EXPECT_FALSE(empty.match(contained.filter));
    }
    EXPECT_TRUE(profile.matchSubsetApnTypesMask(0x003));
    EXPECT_TRUE(empty.matchExactApnTypesMask(0));
    profile.setApnTypesMask(0x100000001ULL);
    EXPECT_FALSE(profile.matchExactApnTypesMask(0x001));
}

TEST(MatchTest, TheInitialAttachFlagWinsOverTheLibraryFlag) {
    ProfileParams none;
    Modem3gppProfile profile(none);
    Modem3gpp2Profile cdma(none);
    for (const std::string name : {"velo_profile_ia", "velo_profile", "Velo_profile"}) {
        SCOPED_TRACE(name);
        profile.setProfileName(name);
        for (const bool wanted : {false, true}) {
            FilterProfileParams filter;
            filter.setFilterByIsVeloProfile(wanted);
            EXPECT_EQ(profile.match(filter), wanted == (name != "Velo_profile"));
            EXPECT_FALSE(cdma.match(filter));
            for (const bool initial : {false, true}) {
                filter.setFilterByIsIAProfile(initial);
                EXPECT_EQ(profile.match(filter), initial == (name == "velo_profile_ia"));
            }
        }
    }
}

}  // namespace
}  // namespace velo::test
