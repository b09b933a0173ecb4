// SPDX-License-Identifier: Apache-2.0

#include "tool/ApnDatabase.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Support.h"
#include "tool/CommandError.h"
#include "tool/GlobalOptions.h"
#include "tool/ProfileView.h"
#include "tool/Setting.h"
#include "tool/WantedRecords.h"

namespace velo::tool {
namespace {

/// A file that goes with the test.
struct TemporaryFile {
    explicit TemporaryFile(const std::string& text) : path(folder.write("list", text)) {}

    const test::TemporaryFolder folder;
    const std::string path;
};

ApnRecord onlyRecord(const std::string& attributes) {
    const TemporaryFile file("<apns version=\"8\"><apn carrier=\"c\" mcc=\"001\" mnc=\"01\" " +
                             attributes + "/></apns>");
    const ApnDatabase database(file.path);
    EXPECT_EQ(database.records(), 1U);
    EXPECT_TRUE(database.unknown().empty()) << database.remarks();
    return database.network("001-01").records.front();
}

TEST(ApnDatabase, ReadsEveryRecordOfTheRealList) {
    const ApnDatabase database(kDefaultApnFile);
    EXPECT_EQ(database.networks().size(), 521U);
    EXPECT_EQ(database.records(), 1304U);
    EXPECT_TRUE(database.remarks().empty()) << database.remarks();
    EXPECT_EQ(database.network("none").records.size(), 18U);
    EXPECT_EQ(database.network("26201").records.size(), 7U);
}

TEST(ApnDatabase, FindsANetworkHoweverItsCodeIsWritten) {
    const TemporaryFile file(
        "<apns><apn carrier=\"c\" mcc=\"0a-1\" mnc=\"0B\" apn=\"web\"/>"
        "<apn carrier=\"c\" mcc=\"-\" mnc=\"01\" apn=\"web\"/></apns>");
    const ApnDatabase database(file.path);
    for (const char* sim : {"0a10b", "0A1-0b", "none"}) {
        EXPECT_EQ(database.network(sim).records.size(), 1U) << sim;
    }
}

TEST(ApnDatabase, WhatARecordLeavesOutIsWhatAndroidTakesForIt) {
    const ProfileParams params = onlyRecord("apn=\"web\"").params;
    EXPECT_EQ(params.dump(),
              "ApnName=web,AuthType=NONE,HomeIPType=V4,RoamIPType=V4,"
              "ApnTypesMask=DEFAULT|MMS|SUPL|DUN|HIPRI|FOTA|IMS|CBS|,");
    EXPECT_EQ(onlyRecord("apn=\"web\" user=\"u\"").params.getAuthType(), AuthType::PAP_CHAP);
}

TEST(ApnDatabase, ReadsEveryAttribute) {
    const ApnRecord record = onlyRecord(
        "apn=\"web\" user=\"u\" password=\"p\" authtype=\"2\" type=\" Default, XCAP,ia\" "
        "protocol=\"IPV6\" roaming_protocol=\"ipv4v6\" max_conns=\"3\" max_conns_time=\"300\" "
        "wait_time=\"1001\" carrier_enabled=\"true\" bearer=\"0\"");
    EXPECT_EQ(record.tech, TechType::TECH_3GPP);
    EXPECT_EQ(record.params.dump(),
              "ApnName=web,UserName=u,Password=p,AuthType=CHAP,HomeIPType=V6,RoamIPType=V4V6,"
              "ApnTypesMask=DEFAULT|IA|XCAP|,MaxPdnsConnPerBlock=3,MaxPdnConnTimer=300,"
              "PdnReqWaitInterval=2,");
    EXPECT_EQ(onlyRecord("type=\"*,emergency\"").params.getApnTypesMask(), 0x2FFU);
}

TEST(ApnDatabase, CdmaBearersAloneMakeA3gpp2Record) {
    EXPECT_EQ(onlyRecord("apn=\"a\" bearer=\"13\"").tech, TechType::TECH_3GPP2);
    EXPECT_EQ(onlyRecord("apn=\"a\" bearer_bitmask=\"4|5|6|7|8|12\"").tech, TechType::TECH_3GPP2);
    EXPECT_EQ(onlyRecord("apn=\"a\" bearer_bitmask=\"13|14\"").tech, TechType::TECH_3GPP);
    EXPECT_FALSE(onlyRecord("apn=\"a\" bearer=\"13\"").params.hasRoamIPType());
}

TEST(ApnDatabase, WhatIsUnknownIsCountedAndTheRestUsed) {
    const TemporaryFile file(
        "<apns>\n<apn mcc='001' mnc='01' apn='a' type='default,magic' protocol='PPP' "
        "authtype='9' wait_time='soon' bearer='x'/>\n<apn apn='b' type='magic'/>\n"
        "<apn mcc='001' mnc='02' apn='c' carrier_enabled='false'/>\n<other/></apns>");
    const ApnDatabase database(file.path);
    EXPECT_EQ(database.unknown(), (std::map<std::string, std::size_t>{{"type 'magic'", 2},
                                                                      {"protocol 'ppp'", 1},
                                                                      {"authtype '9'", 1},
                                                                      {"wait_time 'soon'", 1},
                                                                      {"bearer 'x'", 1}}));
    EXPECT_EQ(database.disabled(), 1U);
    EXPECT_EQ(database.networks().size(), 2U);
    EXPECT_EQ(database.network("00101").records[0].params.getApnTypesMask(), 1U);
    EXPECT_EQ(database.network("none").records[0].params.getApnTypesMask(), 0U);
    EXPECT_THROW(database.network("00102"), CommandError);
}

struct Damage {
    const char* name;
    const char* text;
    const char* error;  ///< what follows the path
};

void PrintTo(const Damage& damage, std::ostream* out) {
    *out << damage.name;
}

class DamagedList : public ::testing::TestWithParam<Damage> {};

TEST_P(DamagedList, IsOneErrorWithItsLine) {
    const TemporaryFile file(GetParam().text);
    try {
        const ApnDatabase database(file.path);
        FAIL() << "accepted";
    } catch (const CommandError& error) {
        EXPECT_EQ(error.status(), kUsage);
        const std::string text = error.what();
        EXPECT_EQ(text.rfind(file.path + GetParam().error, 0), 0U) << text;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, DamagedList,
    ::testing::Values(Damage{"empty", "", ":1: this is not XML"},
                      Damage{"text", "\n\nhello", ":3: this is not XML"},
                      Damage{"cut", "<apns>\n<apn a='1'>\n</ap", ":3: this is not XML"},
                      Damage{"unquoted", "<apns>\n<apn a=1/>\n</apns>", ":2: this is not XML"},
                      Damage{"other", "<?xml version='1.0'?>\n<list/>",
                             ":2: this is no carrier list"}));

TEST(ApnDatabase, AFileThatCannotBeReadIsAnError) {
    EXPECT_THROW(ApnDatabase("/nonexistent/list.xml"), CommandError);
    EXPECT_THROW(ApnDatabase{::testing::TempDir()}, CommandError);
}

TEST(WantedRecordsTest, TakesTheSettingsOfAJsonList) {
    const TemporaryFile file(
        R"([{"technology": "3gpp2", "apn": "a", "types": ["ims", "default"], "id": 4},
            {"apn": "b", "class": "ims", "roam_ip": "v6", "disabled": true, "wait_time": 7}])");
    const WantedRecords wanted = WantedRecords::read(file.path, "");
    ASSERT_EQ(wanted.on3gpp2.size(), 1U);
    EXPECT_EQ(wanted.on3gpp2.front().dump(), "ApnName=a,ApnTypesMask=DEFAULT|IMS|,");
    ASSERT_EQ(wanted.on3gpp.size(), 1U);
    EXPECT_EQ(wanted.on3gpp.front().dump(),
              "ApnName=b,RoamIPType=V6,ApnClass=IMS,PdnReqWaitInterval=7,IsApnDisabled=true,");
}

TEST(WantedRecordsTest, EverySettingIsReadAsItIsShown) {
    ProfileParams record;
    ProfileParams read;
    for (const Setting& setting : settings()) {
        for (const char* word : {"v4v6", "pap_chap", "default,ims", "inet", "yes", "7"}) {
            try {
                setting.set(record, word);
            } catch (const CommandError&) {
                // A word of another setting.
            }
        }
        const auto value = setting.get(record, false);
        ASSERT_TRUE(value) << setting.name;
        setting.set(read, toText(*value));
    }
    EXPECT_EQ(read.dump(), record.dump());

    GlobalOptions options;
    options.showSecrets = true;
    const TemporaryFile file(
        toJson(std::vector{ProfileView{.params = FilterProfileParams(record)}}, options).dump());
    EXPECT_EQ(WantedRecords::read(file.path, "").on3gpp.front().dump(), record.dump());
}

TEST(WantedRecordsTest, RefusesWhatNoRecordHolds) {
    for (const std::string& value :
         {std::string(200000, '[') + std::string(200000, ']'), std::string("4e1111")}) {
        const TemporaryFile file("[{\"wait_time\": " + value + "}]");
        EXPECT_THROW(WantedRecords::read(file.path, ""), CommandError);
    }
}

}  // namespace
}  // namespace velo::tool
