// SPDX-License-Identifier: Apache-2.0

#include "modem/StateFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <span>
#include <thread>

#include "ModemClient.h"
#include "Support.h"
#include "host/mox/Socket.h"
#include "host/mox/WdsService.h"
#include "modem/FactoryProfiles.h"
#include "modem/Modem.h"
#include "modem/ModemError.h"
#include "modem/ProfileJson.h"
#include "modem/ProfileStore.h"

namespace velo::test {
namespace {

using modem::Modem;
using modem::ModemOptions;
using modem::StoredProfile;
using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Names = std::multiset<std::string>;

StoredProfile named(const char* name, bool persistent) {
    StoredProfile profile{{WDS_PROFILE_TYPE_3GPP, 0}, persistent, {}};
    profile.settings.profile_name.valid = 1;
    std::strcpy(profile.settings.profile_name.value.data, name);
    return profile;
}

/// A folder with the state file of modems without factory profiles.
class StateFileTest : public ::testing::Test {
protected:
    StateFileTest() {
        mOptions.socketPath = mFolder / "modem";
        mOptions.stateFile = mFolder / "state";
        mOptions.factoryProfiles.emplace();
    }

    static Names names(const Modem& modem, unsigned int subscription) {
        Names names;
        for (const auto& profile : modem.profiles(subscription)) {
            names.insert(profile.settings.profile_name.value.data);
        }
        return names;
    }

    std::string text() const { return textOf(mOptions.stateFile); }

    /// Why a modem refuses to start.
    static std::string refusal(const ModemOptions& options) {
        try {
            const Modem modem(options);
        } catch (const modem::ModemError& error) {
            return error.what();
        }
        return "none";
    }

    TemporaryFolder mFolder;
    ModemOptions mOptions;
};

/// A profile with every setting that its technology has.
StoredProfile full(wds_profile_type_enum_v01 type) {
    StoredProfile profile{{type, 0}, true, {}};
    for (const mox::Field& field : mox::wdsSettingsFields()) {
        const auto before = profile.settings;
        auto* base = reinterpret_cast<std::uint8_t*>(&profile.settings);
        base[field.flag] = 1;
        // No text in UTF-8, and the largest number.
        std::memset(base + field.value, 0xFF, field.size);
        if (field.kind == mox::FieldKind::String) {
            base[field.value + field.size - 1] = 0;
        }
        if (modem::ProfileStore::check(type, profile.settings) != WDS_ERR_NONE) {
            profile.settings = before;
        }
    }
    return profile;
}

TEST_F(StateFileTest, PersistentProfilesSurviveWithEverySetting) {
    mOptions.factoryProfiles = modem::builtInProfiles();
    std::vector<StoredProfile> before;
    {
        Modem modem(mOptions);
        ASSERT_EQ(0, modem.addProfile(1, full(WDS_PROFILE_TYPE_3GPP)));
        ASSERT_EQ(0, modem.addProfile(1, full(WDS_PROFILE_TYPE_3GPP2)));
        ASSERT_EQ(4, modem.addProfile(1, named("\xC3\xBC \"\n\x01", true)));
        ASSERT_EQ(5, modem.addProfile(1, named("deleted", true)));
        ASSERT_TRUE(modem.deleteProfile(1, {WDS_PROFILE_TYPE_3GPP, 5}));
        ASSERT_TRUE(
            modem.modifyProfile(1, {WDS_PROFILE_TYPE_3GPP, 1}, named("new", true).settings));
        before = modem.profiles(1);
        ASSERT_EQ(5, modem.addProfile(1, named("volatile", false)));
    }
    EXPECT_EQ(std::filesystem::perms{0600},
              std::filesystem::status(mOptions.stateFile).permissions());
    Modem modem(mOptions);
    EXPECT_EQ((Names{"attach", "ims", "emergency", ""}), names(modem, 0));
    const auto after = modem.profiles(1);
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < after.size(); ++i) {
        EXPECT_EQ(before[i].id.profile_index, after[i].id.profile_index);
        EXPECT_EQ(modem::settingsToJson(before[i].settings),
                  modem::settingsToJson(after[i].settings))
            << i;
    }
    EXPECT_TRUE(modem.factoryReset());
    EXPECT_EQ(names(modem, 0), names(modem, 1));
    EXPECT_EQ(json::parse(text())["subscriptions"][0], json::parse(text())["subscriptions"][1]);
}

TEST_F(StateFileTest, OnlyChangesOfPersistentProfilesWrite) {
    Modem modem(mOptions);
    std::filesystem::remove(mOptions.stateFile);
    ASSERT_EQ(0, modem.addProfile(0, named("volatile", false)));
    EXPECT_TRUE(modem.modifyProfile(0, {WDS_PROFILE_TYPE_3GPP, 0}, {}));
    EXPECT_FALSE(modem.deleteProfile(0, {WDS_PROFILE_TYPE_3GPP, 9}));
    modem.restart();
    EXPECT_EQ(Names{}, names(modem, 0));
    EXPECT_FALSE(std::filesystem::exists(mOptions.stateFile));
}

TEST_F(StateFileTest, DamageIsRefusedAndLeftUntouched) {
    {
        Modem modem(mOptions);
        modem.addProfile(0, named("kept", true));
        modem.addProfile(0, named("also", true));
    }
    const std::string good = text();
    const json document = json::parse(good);
    const auto with = [&](const std::string& pointer, const json& value) {
        json changed = document;
        changed[json::json_pointer(pointer)] = value;
        return changed.dump();
    };
    const std::string first = "/subscriptions/0/profiles/0";
    const std::pair<std::string, std::string> cases[] = {
        {"", "is not JSON"},
        {good.substr(0, good.size() / 2), "is not JSON"},
        {"[]", "has no \"version\""},
        {with("/version", 2), "is of version 2"},
        {with("/colour", 1), "has more than version, checksum and subscriptions"},
        {R"({"version": 1, "version": 1})", "\"version\" is there twice"},
        {"{\"version\": " + std::string(200000, '['), "is nested more than 16 deep"},
        {with("/subscriptions/2", json{{"profiles", json::array()}}), "modem with 3 subscriptions"},
        {with("/subscriptions/1", 5), "subscription 1: has no list \"profiles\""},
        {with(first + "/index", 1), "subscription 0: profile 2: its technology and index"},
        {with(first + "/persistent", false), "a profile that is not persistent"},
        {with(first + "/settings/apn_name", {0}), "holds a zero byte"},
        {with(first + "/settings/profile_name", "kelt"), "its checksum does not match"},
    };
    for (const auto& [damaged, reason] : cases) {
        mFolder.write("state", damaged);
        const auto error = refusal(mOptions);
        EXPECT_THAT(error, StartsWith("state file " + mOptions.stateFile + ": "));
        EXPECT_THAT(error, HasSubstr(reason)) << damaged;
        EXPECT_EQ(damaged, text());
    }
    mFolder.write("state", good);
    mOptions.capacity = 1;
    EXPECT_THAT(refusal(mOptions), HasSubstr("than the capacity, 1"));
    mOptions.capacity = 2;
    EXPECT_EQ("none", refusal(mOptions));
    EXPECT_EQ(good, text());
}

TEST_F(StateFileTest, WhatCannotBeAStateFileIsRefused) {
    const Modem modem(mOptions);
    auto options = mOptions;
    options.socketPath.clear();
    EXPECT_THAT(refusal(options), HasSubstr("is in use by another modem"));
    std::filesystem::create_symlink(mOptions.stateFile, mFolder / "link");
    options.stateFile = mFolder / "link";
    EXPECT_THAT(refusal(options), HasSubstr("is in use by another modem"));
    std::filesystem::create_directory(mFolder / "folder");
    options.stateFile = mFolder / "folder";
    EXPECT_THAT(refusal(options), HasSubstr("is not an ordinary file"));
    options.stateFile = mFolder / "none/state";
    EXPECT_THAT(refusal(options), HasSubstr("No such file"));
    options.stateFile = mFolder / "small";
    options.factoryProfiles = modem::builtInProfiles();
    options.capacity = 2;
    EXPECT_THAT(refusal(options), HasSubstr("than the capacity, 2"));
    EXPECT_FALSE(std::filesystem::exists(options.stateFile));
}

/// As on a full disk, no file of this process can grow past a few bytes.
void limitFiles(rlim_t bytes) {
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = std::min(bytes, limit.rlim_max);
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(StateFileTest, ChangesThatCannotBeWrittenAreRefused) {
    Modem modem(mOptions);
    ASSERT_EQ(0, modem.addProfile(0, named("kept", true)));
    ModemClient client(modem);
    const auto before = text();
    const wds_delete_profile_req_msg_v01 kept{{WDS_PROFILE_TYPE_3GPP, 0}};
    auto other = mOptions;
    other.stateFile += ".other";
    ::signal(SIGXFSZ, SIG_IGN);
    limitFiles(64);
    EXPECT_EQ(WDS_ERR_NO_MEMORY, client.create("refused", true).response.error);
    EXPECT_EQ(WDS_ERR_NO_MEMORY,
              client.ask<wds_delete_profile_resp_msg_v01>(kWdsDeleteProfileReq, kept));
    EXPECT_EQ(WDS_ERR_NONE, client.create("volatile", false).response.error);
    EXPECT_THAT(refusal(other), HasSubstr("cannot be written: File too large"));
    EXPECT_FALSE(modem.factoryReset());
    limitFiles(RLIM_INFINITY);
    EXPECT_EQ(Names{"kept"}, names(modem, 0));
    EXPECT_EQ(before, text());
    EXPECT_EQ(1, modem.addProfile(0, named("room again", true)));

    // In the way of the file that is to replace the old one.
    std::filesystem::create_directory(mOptions.stateFile + ".new");
    EXPECT_FALSE(modem.deleteProfile(0, kept.profile));
    EXPECT_EQ((Names{"kept", "room again"}), names(modem, 0));
}

using Indices = std::map<std::string, std::uint8_t>;

Indices list(ModemClient& client) {
    wds_get_profile_list_resp_msg_v01 list{};
    EXPECT_EQ(MOX_NO_ERR,
              client.send(kWdsGetProfileListReq, wds_get_profile_list_req_msg_v01{}, list));
    Indices indices;
    for (const auto& entry : std::span(list.profile_list, list.profile_list_len)) {
        indices.emplace(entry.profile_name.data, entry.profile_index);
    }
    return indices;
}

/// Adds profiles, every other one volatile, and deletes the oldest, until the modem is gone.
/// Notes in `live` what was answered, and returns the name whose change was not.
std::string changeUntilGone(ModemClient& client, Indices& live, unsigned int& next) {
    for (;;) {
        if (live.size() > 5) {
            const auto [name, index] = *live.begin();
            const wds_delete_profile_req_msg_v01 request{{WDS_PROFILE_TYPE_3GPP, index}};
            wds_delete_profile_resp_msg_v01 response{};
            if (client.send(kWdsDeleteProfileReq, request, response) != MOX_NO_ERR) {
                return name;
            }
            EXPECT_EQ(WDS_ERR_NONE, response.response.error);
            live.erase(name);
        }
        const bool persistent = ++next % 2 == 0;
        const std::string name = std::to_string(1000000 + next);
        wds_create_profile_req_msg_v01 request{};
        request.persistent = {1, persistent};
        request.settings = named(name.c_str(), persistent).settings;
        wds_create_profile_resp_msg_v01 response{};
        if (client.send(kWdsCreateProfileReq, request, response) != MOX_NO_ERR) {
            return persistent ? name : "";
        }
        EXPECT_EQ(WDS_ERR_NONE, response.response.error);
        if (persistent) {
            live.emplace(name, response.profile.profile_index);
        }
    }
}

[[noreturn]] void runModem(const ModemOptions& options) noexcept {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const Modem modem(options);
    for (;;) {
        ::pause();
    }
}

TEST_F(StateFileTest, KilledAtAnyInstantItKeepsWhatItAnswered) {
    constexpr unsigned int kKills = 20;
    Indices live;
    std::string unanswered;
    unsigned int next = 0;
    for (unsigned int kill = 0; kill <= kKills; ++kill) {
        const pid_t child = ::fork();
        if (child == 0) {
            runModem(mOptions);
        }
        ASSERT_TRUE(waitUntil([&] { return bool(mox::connectTo(mOptions.socketPath)); }));
        ModemClient client(mOptions.socketPath);
        auto found = list(client);
        const auto held = found;
        live.erase(unanswered);
        found.erase(unanswered);
        EXPECT_EQ(live, found);
        live = held;
        std::thread killer([&] {
            std::this_thread::sleep_for(std::chrono::microseconds(997) * (kill + 1));
            ::kill(child, SIGKILL);
        });
        unanswered = changeUntilGone(client, live, next);
        killer.join();
        EXPECT_EQ(child, ::waitpid(child, nullptr, 0));
    }
    EXPECT_LT(kKills, next);
}

}  // namespace
}  // namespace velo::test
