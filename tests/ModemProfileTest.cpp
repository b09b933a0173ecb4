// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Modem3gpp2Profile.h"
#include "Modem3gppProfile.h"
#include "Support.h"

namespace velo::test {
namespace {

template <std::size_t Size>
std::string textOf(const wds_optional<wds_string<Size>>& field) {
    return field.valid ? std::string(field.value.data) : "absent";
}

/// The value of a field, -1 for an absent one.
template <typename T>
int valueOf(const wds_optional<T>& field) {
    return field.valid ? static_cast<int>(field.value) : -1;
}

TEST(ModemProfileTest, AClearedOverrideIsSentAndReadAsUnknown) {
    ProfileParams params;
    params.setHomeIPType(IPType::V4);
    params.setRoamIPType(IPType::V6);
    Modem3gppProfile profile(params);
    ModifyProfileParams requested;
    requested.setRoamIPType(IPType::V4);
    profile.apply(profile.diff(requested));
    const auto request = profile.constructAddRequest();
    EXPECT_EQ(valueOf(request.settings.override_home_pdp_type), 0xFF);
    wds_get_profile_settings_resp_msg_v01 response{};
    response.settings = request.settings;
    const LogRecorder log;
    Modem3gppProfile read(1, response);
    EXPECT_TRUE(log.has(LogLevel::Debug, "Unknown pdp_type_enum 255"));
    EXPECT_EQ(read.getOverrideHomeIPType(), IPType::UNKNOWN);
    EXPECT_EQ(read.get().getHomeIPType(), IPType::V4);
}

TEST(ModemProfileTest, AChangeOfTheOtherTechnologyBringsWhatBothHave) {
    ProfileParams change;
    change.setApnName("Changed");
    Modem3gppProfile profile(change);
    profile.apply(nullptr);
    change.setApnName("again");
    change.setRoamIPType(IPType::V4);
    profile.apply(std::make_shared<Modem3gpp2Profile>(change));
    EXPECT_EQ(profile.get().dump(), "ApnName=again,IsVeloProfile=false,IsIAProfile=false,");
}

TEST(ModemProfileTest, RoamingTypesFromTheModem) {
    wds_get_profile_settings_resp_msg_v01 response{};
    response.settings.lte_roaming_pdp_type = {1, WDS_COMMON_PDP_TYPE_IPV4};
    response.settings.umts_roaming_pdp_type = {1, WDS_COMMON_PDP_TYPE_UNKNOWN};
    const LogRecorder log;
    Modem3gppProfile onlyLte(1, response);
    EXPECT_FALSE(onlyLte.hasUmtsRoamIPType());
    EXPECT_FALSE(onlyLte.get().hasRoamIPType());
    response.settings.umts_roaming_pdp_type = {1, WDS_COMMON_PDP_TYPE_IPV6};
    EXPECT_FALSE(Modem3gppProfile(1, response).get().hasRoamIPType());
    EXPECT_FALSE(log.has(LogLevel::Debug, "Unknown pdp_type_enum 255"));
}

TEST(ModemProfileTest, TypesAreComparedInTheirWholeWidth) {
    ProfileParams none;
    Modem3gppProfile profile(none);
    EXPECT_TRUE(profile.matchExactApnTypesMask(0));
    profile.setApnTypesMask(0x100000001ULL);
    EXPECT_FALSE(profile.matchExactApnTypesMask(0x001));
    EXPECT_TRUE(profile.matchSubsetApnTypesMask(0x001));
    EXPECT_FALSE(profile.matchSubsetApnTypesMask(0x003));
}

TEST(ModemProfileTest, RequestsCutWhatDoesNotFit) {
    ProfileParams params;
    params.setApnName(std::string(200, 'X'));
    params.setUserName(std::string(200, 'U'));
    params.setPassword(std::string(200, 'P'));
    params.setMaxPdnConnTimer(70000);
    Modem3gppProfile profile(params);
    profile.setProfileName(std::string(60, 'N'));
    profile.setProfileId(300);
    const auto modify = profile.constructModifyRequest();
    EXPECT_EQ(modify.profile.profile_index, 44);
    EXPECT_EQ(textOf(modify.settings.apn_name), std::string(150, 'x'));
    EXPECT_EQ(textOf(modify.settings.user_name), std::string(127, 'U'));
    EXPECT_EQ(textOf(modify.settings.password), std::string(127, 'P'));
    EXPECT_EQ(textOf(modify.settings.profile_name), std::string(50, 'N'));
    EXPECT_EQ(valueOf(modify.settings.max_pdn_conn_timer), 70000 - 65536);
    EXPECT_EQ(profile.get().getMaxPdnConnTimer(), 70000);
    EXPECT_EQ(profile.getApnName().size(), 150U);
    EXPECT_EQ(profile.get().getUserName().size(), 200U);
    EXPECT_EQ(valueOf(profile.constructAddRequest().persistent), 0);
}

TEST(ModemProfileTest, TextsWithoutATerminatorEndWithTheirField) {
    wds_get_profile_settings_resp_msg_v01 response{};
    std::memset(&response.settings, 'A', sizeof response.settings);
    Modem3gppProfile profile(1, response);
    EXPECT_EQ(profile.getApnName(), std::string(150, 'a'));
    EXPECT_EQ(profile.getUserName(), std::string(127, 'A'));
    EXPECT_EQ(profile.getProfileName(), std::string(50, 'A'));
    EXPECT_EQ(Modem3gpp2Profile(1, response).getApnName(), std::string(150, 'a'));
}

class StubKey : public IProfileKey {
public:
    int getProfileId() override { return 0; }
    TechType getTechType() override { return TechType::TECH_3GPP; }
    void registerExpirationListener(std::function<void()>) override {}
    std::string dump() override { return ""; }
};

TEST(ModemProfileTest, ADyingImageTellsTheLivingKeysInOrder) {
    const auto living = std::make_shared<StubKey>();
    auto released = std::make_shared<StubKey>();
    auto releasedLate = std::make_shared<StubKey>();
    std::string told;
    const LogRecorder log;
    {
        ProfileParams none;
        Modem3gpp2Profile profile(none);
        profile.registerExpirationListener([&] { told += "first "; }, living);
        profile.registerExpirationListener([&] { told += "released "; }, released);
        profile.registerExpirationListener([&] { told += "released late "; }, releasedLate);
        profile.registerExpirationListener([&] { told += "second "; }, living);
        released.reset();
        profile.clearExpiredListeners();
        releasedLate.reset();
        EXPECT_EQ(told, "");
    }
    EXPECT_EQ(told, "first second ");
    EXPECT_EQ(log.texts(LogLevel::Debug),
              (std::vector<std::string>{"~ModemProfile()", "invoke callback", "invoke callback"}));
}

}  // namespace
}  // namespace velo::test
