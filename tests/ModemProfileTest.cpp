// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Modem3gpp2Profile.h"
#include "Modem3gppProfile.h"
#include "Support.h"

namespace velo::test {
namespace {

using IP = std::optional<IPType>;

constexpr IPType kV4 = IPType::V4;
constexpr IPType kV6 = IPType::V6;
constexpr IPType kV4V6 = IPType::V4V6;

const std::string kHead = "TechType=3GPP,ProfileId=-1,";

ModifyProfileParams ipTypes(IP home, IP roam) {
    ModifyProfileParams params;
    if (home) params.setHomeIPType(*home);
    if (roam) params.setRoamIPType(*roam);
    return params;
}

/// A record that holds every setting.
ProfileParams everySetting() {
    ProfileParams params = ipTypes(kV4, kV6);
    params.setApnName("IMS");
    params.setUserName("Me");
    params.setPassword("Secret");
    params.setAuthType(AuthType::PAP_CHAP);
    params.setApnTypesMask(0x041);
    params.setApnClass(ApnClass::APP);
    params.setIsClatEnabled(true);
    params.setIsEmergencySupported(true);
    params.setIsApnDisabled(false);
    params.setMaxPdnsConnPerBlock(20);
    params.setMaxPdnConnTimer(300);
    params.setPdnReqWaitInterval(7);
    return params;
}

/// The modem's answer about a profile that was created with `request`.
wds_get_profile_settings_resp_msg_v01 readBack(const wds_create_profile_req_msg_v01& request) {
    wds_get_profile_settings_resp_msg_v01 response{};
    response.persistent = request.persistent;
    response.settings = request.settings;
    return response;
}

template <std::size_t Size>
std::string textOf(const wds_optional<wds_string<Size>>& field) {
    return field.valid ? std::string(field.value.data) : "absent";
}

/// The value of a field, -1 for an absent one.
template <typename T>
int valueOf(const wds_optional<T>& field) {
    return field.valid ? static_cast<int>(field.value) : -1;
}

TEST(ModemProfileTest, HomeAndRoamingTypesAreStoredInFourFieldsAndReadBack) {
    struct Case {
        IP home, roam;
        const char* dump;
        int pdp, overrideHome, roaming;
    };
    const std::vector<Case> cases = {
        {kV4, kV6, "CommonIPType=V4V6,OverrideHomeIPType=V4,LteRoamIP=V6,UmtsRoamIP=V6,", 3, 0, 1},
        {kV6, kV6, "CommonIPType=V6,LteRoamIP=V6,UmtsRoamIP=V6,", 2, -1, 1},
        {kV4V6, kV4, "CommonIPType=V4V6,OverrideHomeIPType=V4V6,LteRoamIP=V4,UmtsRoamIP=V4,", 3, 2,
         0},
        {kV4, {}, "CommonIPType=V4,", 0, -1, -1},
        {{}, kV4V6, "LteRoamIP=V4V6,UmtsRoamIP=V4V6,", -1, -1, 2},
        {{}, {}, "", -1, -1, -1},
    };
    for (const Case& stored : cases) {
        SCOPED_TRACE(stored.dump);
        ProfileParams params = ipTypes(stored.home, stored.roam);
        Modem3gppProfile profile(params);
        EXPECT_EQ(profile.dump(), kHead + stored.dump);
        const auto request = profile.constructAddRequest();
        EXPECT_EQ(valueOf(request.settings.pdp_type), stored.pdp);
        EXPECT_EQ(valueOf(request.settings.override_home_pdp_type), stored.overrideHome);
        EXPECT_EQ(valueOf(request.settings.lte_roaming_pdp_type), stored.roaming);
        EXPECT_EQ(valueOf(request.settings.umts_roaming_pdp_type), stored.roaming);
        EXPECT_EQ(Modem3gppProfile(1, readBack(request)).get().dump(),
                  params.dump() + "IsVeloProfile=false,IsIAProfile=false,");
    }
}

TEST(ModemProfileTest, ChangedIPTypesMakeADeltaThatAppliesToWhatWasAsked) {
    struct Case {
        IP home, roam, newHome, newRoam;
        const char* delta;
        const char* result;
    };
    const std::vector<Case> cases = {
        {kV4,
         kV6,
         {},
         kV4,
         "CommonIPType=V4,OverrideHomeIPType=UNKNOWN,LteRoamIP=V4,UmtsRoamIP=V4,",
         "HomeIPType=V4,RoamIPType=V4,"},
        {kV4,
         {},
         {},
         kV6,
         "CommonIPType=V4V6,OverrideHomeIPType=V4,LteRoamIP=V6,UmtsRoamIP=V6,",
         "HomeIPType=V4,RoamIPType=V6,"},
        {kV6,
         kV6,
         kV4V6,
         {},
         "CommonIPType=V4V6,OverrideHomeIPType=V4V6,",
         "HomeIPType=V4V6,RoamIPType=V6,"},
        {kV4, kV6, kV4, kV6, nullptr, "HomeIPType=V4,RoamIPType=V6,"},
        {kV4, kV6, {}, {}, nullptr, "HomeIPType=V4,RoamIPType=V6,"},
        {{}, {}, kV4, {}, "CommonIPType=V4,", "HomeIPType=V4,"},
    };
    for (const Case& change : cases) {
        SCOPED_TRACE(change.delta ? change.delta : "unchanged");
        ProfileParams params = ipTypes(change.home, change.roam);
        Modem3gppProfile profile(params);
        ModifyProfileParams requested = ipTypes(change.newHome, change.newRoam);
        const auto delta = profile.diff(requested);
        ASSERT_EQ(delta != nullptr, change.delta != nullptr);
        if (delta) {
            EXPECT_EQ(delta->dump(), kHead + change.delta);
        }
        profile.apply(delta);
        EXPECT_EQ(profile.get().dump(),
                  std::string(change.result) + "IsVeloProfile=false,IsIAProfile=false,");
    }
}

TEST(ModemProfileTest, AClearedOverrideIsSentAndReadAsUnknown) {
    ProfileParams params = ipTypes(kV4, kV6);
    Modem3gppProfile profile(params);
    ModifyProfileParams requested = ipTypes({}, kV4);
    profile.apply(profile.diff(requested));
    const auto request = profile.constructAddRequest();
    EXPECT_EQ(valueOf(request.settings.override_home_pdp_type), 0xFF);
    const LogRecorder log;
    Modem3gppProfile read(1, readBack(request));
    EXPECT_TRUE(log.has(LogLevel::Debug, "Unknown pdp_type_enum 255"));
    EXPECT_EQ(read.getOverrideHomeIPType(), IPType::UNKNOWN);
    EXPECT_EQ(read.get().getHomeIPType(), kV4);
}

TEST(ModemProfileTest, RoamingTypesFromTheModem) {
    wds_get_profile_settings_resp_msg_v01 response{};
    response.settings.lte_roaming_pdp_type = {1, WDS_COMMON_PDP_TYPE_IPV4};
    response.settings.umts_roaming_pdp_type = {1, WDS_COMMON_PDP_TYPE_UNKNOWN};
    const LogRecorder log;
    Modem3gppProfile onlyLte(1, response);
    EXPECT_FALSE(onlyLte.hasUmtsRoamIPType());
    EXPECT_FALSE(onlyLte.get().hasRoamIPType());
    ModifyProfileParams home = ipTypes(kV6, {});
    EXPECT_EQ(onlyLte.diff(home)->dump(), kHead + "CommonIPType=V6,");
    response.settings.umts_roaming_pdp_type = {1, WDS_COMMON_PDP_TYPE_IPV6};
    EXPECT_FALSE(Modem3gppProfile(1, response).get().hasRoamIPType());
    EXPECT_FALSE(log.has(LogLevel::Debug, "Unknown pdp_type_enum 255"));
}

TEST(ModemProfileTest, EverySettingReachesTheModemAndComesBack) {
    ProfileParams params = everySetting();
    Modem3gppProfile profile(params);
    profile.setProfileName(Modem3gppProfile::kVeloIAProfileName);
    profile.setIsPersistent(true);
    Modem3gppProfile read(5, readBack(profile.constructAddRequest()));
    EXPECT_TRUE(read.getIsPersistent());
    EXPECT_FALSE(read.getIsVeloCreated());
    EXPECT_EQ(read.dump(),
              "TechType=3GPP,ProfileId=5,ApnName=ims,UserName=Me,Password=Secret,AuthType=PAP_CHAP,"
              "CommonIPType=V4V6,ApnTypesMask=3,ApnClass=APP,IsClatEnabled=1,"
              "OverrideHomeIPType=V4,LteRoamIP=V6,UmtsRoamIP=V6,MaxPdnsConnPerBlock=20,"
              "MaxPdnConnTimer=300,PdnReqWaitInterval=7,IsApnDisabled=0,IsEmergencySupported=1,"
              "ProfileName=velo_profile_ia,");
    params.setApnName("ims");
    EXPECT_EQ(read.get().dump(), params.dump() + "IsVeloProfile=true,IsIAProfile=true,");
}

TEST(ModemProfileTest, ADeltaHoldsWhatDiffersAndNothingElse) {
    ProfileParams params = everySetting();
    Modem3gppProfile profile(params);
    ModifyProfileParams requested(params);
    requested.setApnName("ims");
    EXPECT_EQ(profile.diff(requested), nullptr);
    requested.setPassword("secret");
    requested.setApnTypesMask(0x441);
    requested.setIsApnDisabled(true);
    requested.setPdnReqWaitInterval(0);
    const auto delta = profile.diff(requested);
    ASSERT_TRUE(delta);
    EXPECT_EQ(delta->dump(),
              kHead + "Password=secret,ApnTypesMask=2051,PdnReqWaitInterval=0,IsApnDisabled=1,");
    profile.apply(delta);
    EXPECT_EQ(profile.diff(requested), nullptr);

    // Every setting of an empty image differs, and is taken over with its delta.
    ProfileParams none;
    Modem3gppProfile empty(none);
    empty.apply(empty.diff(requested));
    EXPECT_EQ(empty.dump(), profile.dump());
    empty.apply(nullptr);
    EXPECT_EQ(empty.dump(), profile.dump());
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

TEST(ModemProfileTest, A3gpp2ProfileSendsItsCredentialsTwiceAndReadsNoPassword) {
    ProfileParams params = everySetting();
    params.setHomeIPType(IPType::UNKNOWN);
    Modem3gpp2Profile profile(params);
    const auto request = profile.constructAddRequest();
    const wds_profile_settings_v01& settings = request.settings;
    EXPECT_EQ(request.profile_type, WDS_PROFILE_TYPE_3GPP2);
    EXPECT_EQ(textOf(settings.user_id_3gpp2), "Me");
    EXPECT_EQ(textOf(settings.pdn_level_user_id_3gpp2), "Me");
    EXPECT_EQ(textOf(settings.auth_password_3gpp2), "Secret");
    EXPECT_EQ(textOf(settings.pdn_level_auth_password_3gpp2), "Secret");
    EXPECT_EQ(valueOf(settings.auth_protocol_3gpp2), 3);
    EXPECT_EQ(valueOf(settings.pdn_level_auth_protocol_3gpp2), 3);
    EXPECT_EQ(valueOf(settings.pdn_type_3gpp2), 2);
    EXPECT_EQ(textOf(settings.apn_name), "absent");
    EXPECT_EQ(valueOf(settings.max_pdn_conn_timer), -1);
    EXPECT_EQ(Modem3gpp2Profile(2, readBack(request)).dump(),
              "TechType=3GPP2,ProfileId=2,ApnName=ims,UserName=Me,AuthType=PAP_CHAP,"
              "CommonIPType=V4V6,ApnTypesMask=3,ApnClass=APP,IsClatEnabled=1,");

    ModifyProfileParams roaming = ipTypes({}, kV4);
    roaming.setIsApnDisabled(true);
    EXPECT_EQ(profile.diff(roaming), nullptr);
    ModifyProfileParams home = ipTypes(kV6, {});
    const auto delta = profile.diff(home);
    ASSERT_TRUE(delta);
    EXPECT_EQ(delta->dump(), "TechType=3GPP2,ProfileId=-1,CommonIPType=V6,");
    EXPECT_EQ(delta->constructModifyRequest().profile.profile_type, WDS_PROFILE_TYPE_3GPP2);
    profile.apply(delta);
    EXPECT_EQ(profile.get().getHomeIPType(), kV6);
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
