// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "SpawnedCommand.h"
#include "modem/Modem.h"

namespace velo::test {

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

modem::StoredProfile profile(bool persistent) {
    modem::StoredProfile made;
    made.persistent = persistent;
    made.settings.apn_name = {1, {"foreign"}};
    made.settings.password = {1, {"hidden"}};
    return made;
}

wds_profile_settings_v01 otherPassword() {
    wds_profile_settings_v01 settings{};
    settings.pdp_type = {1, WDS_PDP_TYPE_IPV4V6};
    settings.password = {1, {"changed"}};
    return settings;
}

TEST(WatchTest, TellsWhatChangesAndSurvivesARestart) {
    modem::Modem modem;
    SpawnedCommand watch({"watch", "--json", "--modem", modem.socketPath()});
    ASSERT_TRUE(watch.waitForErr("watching "));

    const wds_profile_identifier_v01 id{WDS_PROFILE_TYPE_3GPP,
                                        modem.addProfile(0, profile(false)).value()};
    ASSERT_TRUE(watch.waitForOut("\"created\""));
    ASSERT_TRUE(modem.modifyProfile(0, id, otherPassword()));
    ASSERT_TRUE(watch.waitForOut("\"modified\""));
    ASSERT_TRUE(modem.deleteProfile(0, id));
    ASSERT_TRUE(watch.waitForOut("\"deleted\""));
    ASSERT_EQ(id.profile_index, modem.addProfile(0, profile(false)));
    ASSERT_TRUE(watch.waitForOut("\"created\""));
    modem.powerOff();
    ASSERT_TRUE(watch.waitForOut("\"modem gone\""));
    modem.powerOn();
    ASSERT_TRUE(watch.waitForOut("\"deleted\""));
    ASSERT_TRUE(modem.addProfile(0, profile(true)).has_value());
    ASSERT_TRUE(watch.waitForOut("\"created\""));
    watch.signal(SIGINT);
    const auto result = watch.finish();
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, Not(HasSubstr("hidden")));

    std::vector<std::string> changes;
    for (const auto& json : nlohmann::json::parse(result.out)) {
        changes.push_back(json.at("change"));
        EXPECT_THAT(json.at("time").get<std::string>(),
                    ::testing::MatchesRegex("....-..-..T..:..:..\\....Z"));
        if (changes.back() == "modified") {
            EXPECT_EQ(id.profile_index, json.at("id"));
            EXPECT_FALSE(json.at("before").contains("ip"));
            EXPECT_EQ("v4v6", json.at("after").at("ip"));
        } else if (changes.back() == "deleted") {
            EXPECT_EQ("foreign", json.at("before").at("apn"));
            EXPECT_TRUE(json.at("after").is_null());
        }
    }
    EXPECT_THAT(changes, ::testing::ElementsAre("created", "modified", "deleted", "created",
                                                "modem gone", "modem back", "deleted", "created"));
}

TEST(WatchTest, ShowsBeforeAndAfterInWordsAndEndsAtItsCount) {
    modem::Modem modem;
    const wds_profile_identifier_v01 id{WDS_PROFILE_TYPE_3GPP,
                                        modem.addProfile(0, profile(true)).value()};
    SpawnedCommand watch(
        {"watch", "--show-secrets", "--count", "1", "--modem", modem.socketPath()});
    ASSERT_TRUE(watch.waitForErr("watching "));
    ASSERT_TRUE(modem.modifyProfile(0, id, otherPassword()));
    const auto result = watch.finish();
    EXPECT_EQ(0, result.status);
    EXPECT_THAT(result.out, HasSubstr(" modified 3gpp:" + std::to_string(id.profile_index) +
                                      ": password hidden -> changed; ip - -> v4v6.\n"));
}

TEST(WatchTest, EndsInTimeAndSaysWhatIsOfNoUse) {
    const auto embedded = runCommand({"watch", "--for", "0.01"});
    EXPECT_EQ(0, embedded.status);
    EXPECT_THAT(embedded.err, HasSubstr("nobody else changes the embedded modem"));
    const auto absent = runCommand({"watch", "--modem", "/nowhere"});
    EXPECT_EQ(1, absent.status);
    EXPECT_THAT(absent.err, StartsWith("velo: there is no modem at /nowhere"));
}

}  // namespace

}  // namespace velo::test
