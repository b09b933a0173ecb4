// SPDX-License-Identifier: Apache-2.0
//
// The cache's operations through the facade, against a modem that holds three profiles of its own.

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "CacheView.h"
#include "Support.h"
#include "host/mox/Frame.h"

namespace velo::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

constexpr const char* kUnknownToken = "ProfileCache: token is not present or expired";
constexpr const char* kIgnored = "ProfileCache: ignoring non-persistent or non-velo created";

unsigned long long tokenOf(const std::shared_ptr<IProfileKey>& key) {
    const std::string dump = key->dump();
    return std::stoull(dump.substr(dump.find("token=") + 6));
}

class ProfileCacheTest : public LibraryTest {
protected:
    ProfileCacheTest() : LibraryTest(threeProfiles()) {}

    std::size_t storedCount() { return modem().profiles(0).size(); }

    /// Answers every request of one kind with a failed result.
    void refuse(unsigned int messageId) {
        modem().setGate([messageId](const mox::Frame& f) { return f.messageId != messageId; });
    }

    std::shared_ptr<IProfileKey> find(const std::string& apn) {
        const auto keys = manager().filter(byApn(apn));
        return keys.empty() ? nullptr : keys.front();
    }
};

TEST_F(ProfileCacheTest, LastKeyDeletesWhatTheLibraryMade) {
    auto added = add("one");
    ASSERT_TRUE(added);
    settle();
    auto found = manager().filter(byApn("ONE"));
    ASSERT_THAT(found, SizeIs(1));
    auto again = manager().filter(byApn("one"));
    EXPECT_EQ(tokenOf(again.front()), tokenOf(added));

    LogRecorder log;
    const std::string released = "Released profile " + std::to_string(added->getProfileId());
    found.clear();
    added.reset();
    EXPECT_EQ(storedCount(), 4U);
    EXPECT_FALSE(log.has(LogLevel::Event, released));
    again.clear();
    EXPECT_EQ(storedCount(), 3U);
    EXPECT_EQ(log.count(LogLevel::Event, released), 1U);
    settle();
    EXPECT_THAT(dumpSection("Pending:"), IsEmpty());
    EXPECT_THAT(cachedImages(),
                UnorderedElementsAre(HasSubstr("TechType=3GPP,ProfileId=1,ApnName=internet,"),
                                     HasSubstr("TechType=3GPP,ProfileId=2,ApnName=ims,"),
                                     HasSubstr("TechType=3GPP2,ProfileId=3,ApnName=cdma,")));
}

TEST_F(ProfileCacheTest, KeepsPersistentAndForeignProfiles) {
    manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
    auto added = add("kept", true);
    ASSERT_TRUE(added);
    LogRecorder log;
    added.reset();
    EXPECT_EQ(log.count(LogLevel::Event, kIgnored), 1U);
    find("internet").reset();
    EXPECT_EQ(log.count(LogLevel::Event, kIgnored), 2U);
    EXPECT_EQ(storedCount(), 4U);
    EXPECT_TRUE(find("kept"));
    EXPECT_TRUE(find("internet"));
}

TEST_F(ProfileCacheTest, NamesWhatItMakes) {
    AddProfileParams attach(false, TechType::TECH_3GPP, true);
    attach.setApnName("attach");
    const auto first = manager().addProfile(attach);
    const auto second = add("plain");
    const auto third = add("cdma2", false, TechType::TECH_3GPP2);
    ASSERT_TRUE(first && second && third);
    EXPECT_EQ(third->getTechType(), TechType::TECH_3GPP2);
    std::vector<std::string> names;
    for (const auto& profile : modem().profiles(0)) {
        if (profile.settings.profile_name.valid) {
            names.emplace_back(profile.settings.profile_name.value.data);
        }
    }
    EXPECT_THAT(names, UnorderedElementsAre("velo_profile_ia", "velo_profile"));
}

TEST_F(ProfileCacheTest, FailedAddUsesUpAToken) {
    const auto first = add("one");
    LogRecorder log;
    EXPECT_FALSE(add("none", false, static_cast<TechType>(2)));
    EXPECT_TRUE(log.has(LogLevel::Error, "ProfileCache: failed to create profile"));
    const auto second = add("two");
    EXPECT_EQ(tokenOf(second), tokenOf(first) + 2);
}

TEST_F(ProfileCacheTest, DeletionMakesEveryKeyStale) {
    auto key = add("gone");
    auto other = find("gone");
    ASSERT_TRUE(key && other);
    EXPECT_TRUE(manager().deleteProfile(key));
    EXPECT_EQ(storedCount(), 3U);

    LogRecorder log;
    EXPECT_FALSE(manager().getProfile(other));
    EXPECT_FALSE(manager().match(FilterProfileParams(), other));
    EXPECT_FALSE(manager().deleteProfile(other));
    EXPECT_EQ(log.count(LogLevel::Error, kUnknownToken), 3U);
    EXPECT_FALSE(manager().modifyProfile(ModifyProfileParams(), other));
    EXPECT_EQ(log.count(LogLevel::Event, kUnknownToken), 1U);
    other.reset();
    EXPECT_EQ(log.count(LogLevel::Error, kUnknownToken), 4U);
}

TEST_F(ProfileCacheTest, ModifiesOnlyWhatDiffers) {
    const auto key = add("before");
    ModifyProfileParams params;
    params.setApnName("BEFORE");
    settle();
    LogRecorder log;
    const auto exchanges = modem().exchanges();
    EXPECT_TRUE(manager().modifyProfile(params, key));
    EXPECT_TRUE(log.has(LogLevel::Event, "ProfileCache: profile is unchanged"));
    EXPECT_EQ(modem().exchanges(), exchanges);

    params.setApnName("after");
    EXPECT_TRUE(manager().modifyProfile(params, key));
    EXPECT_TRUE(log.has(LogLevel::Event, "Diff: TechType=3GPP,ProfileId=-1,ApnName=after,"));
    EXPECT_EQ(manager().getProfile(key)->getApnName(), "after");
    settle();
    EXPECT_EQ(log.count(LogLevel::Event, "ProfileCache: pending transaction confirmed"), 1U);
    EXPECT_THAT(dumpSection("Pending:"), IsEmpty());
}

TEST_F(ProfileCacheTest, RefusalsChangeNothing) {
    auto key = add("mine");
    settle();
    const auto before = cachedImages();
    LogRecorder log;
    const auto refused = [&](const std::string& name) {
        EXPECT_TRUE(log.has(LogLevel::Error, "Unable send " + name + " message"));
        EXPECT_THAT(cachedImages(), ::testing::UnorderedElementsAreArray(before)) << name;
        EXPECT_THAT(dumpSection("Pending:"), IsEmpty()) << name;
        EXPECT_EQ(storedCount(), 4U) << name;
    };

    refuse(kWdsCreateProfileReq);
    EXPECT_FALSE(add("other"));
    refused("MOX_WDS_CREATE_PROFILE_REQ_V01");

    refuse(kWdsModifyProfileSettingsReq);
    ModifyProfileParams params;
    params.setApnName("changed");
    EXPECT_TRUE(manager().modifyProfile(params, key));
    EXPECT_TRUE(log.has(LogLevel::Error, "ProfileCache: failed to modify modem profile"));
    refused("MOX_WDS_MODIFY_PROFILE_SETTINGS_REQ_V01");

    refuse(kWdsDeleteProfileReq);
    EXPECT_FALSE(manager().deleteProfile(key));
    EXPECT_TRUE(log.has(LogLevel::Error, "ProfileCache: Failed to remove profile"));
    key.reset();
    EXPECT_TRUE(log.has(LogLevel::Error, "ProfileCache: failed to release profile"));
    refused("MOX_WDS_DELETE_PROFILE_REQ_V01");

    refuse(kWdsGetProfileListReq);
    const auto exchanges = modem().exchanges();
    manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
    EXPECT_EQ(modem().exchanges(), exchanges + 1) << "3GPP2 is not asked for after 3GPP failed";
    EXPECT_THAT(cachedImages(), IsEmpty());
}

TEST_F(ProfileCacheTest, UnreadableProfilesAreNull) {
    refuse(kWdsGetProfileSettingsReq);
    manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
    EXPECT_THAT(cachedImages(), ElementsAre("null", "null", "null"));
    LogRecorder log;
    EXPECT_THAT(manager().filter(FilterProfileParams()), IsEmpty());
    EXPECT_EQ(log.count(LogLevel::Error, "ProfileCache: null profile"), 3U);

    modem().setGate(nullptr);
    const auto key = add("one");
    manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
    const auto found = find("one");
    ASSERT_TRUE(key && found);
    EXPECT_GT(tokenOf(found), tokenOf(key));
    EXPECT_THAT(manager().filter(FilterProfileParams()), SizeIs(4));
}

TEST_F(ProfileCacheTest, RefreshRenewsTokensAndKeepsPendingChanges) {
    modem().setTamper([](mox::Frame& frame) { return frame.kind != MOX_MESSAGE_INDICATION; });
    const auto key = add("one");
    ASSERT_TRUE(key);
    const std::string id = "3GPP:" + std::to_string(key->getProfileId());
    LogRecorder log;
    manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
    EXPECT_THAT(dumpSection("Pending:"), ElementsAre(id + " Create", id + " Modify"));
    EXPECT_FALSE(manager().getProfile(key));

    auto lines = log.texts(LogLevel::Event);
    const auto begin = std::find(lines.begin(), lines.end(), "Refreshed Profiles:");
    ASSERT_GE(lines.end() - begin, 5);
    const std::vector<std::string> images(begin + 1, begin + 5);
    EXPECT_EQ(images, cachedImages());

    std::vector<std::string> byToken = dumpSection("Cache:");
    std::sort(byToken.begin(), byToken.end(), [](const auto& left, const auto& right) {
        return std::stoull(left) < std::stoull(right);
    });
    ASSERT_THAT(byToken, SizeIs(4));
    EXPECT_EQ(std::stoull(byToken.back()), std::stoull(byToken.front()) + 3);
    EXPECT_THAT(byToken.back(), HasSubstr("TechType=3GPP2,ProfileId=3,"));

    // The echoes that come late are still known as such.
    modem().setTamper(nullptr);
    modem().report(0, {WDS_PROFILE_TYPE_3GPP, static_cast<std::uint8_t>(key->getProfileId())},
                   WDS_PROFILE_EVENT_MODIFY);
    settle();
    EXPECT_THAT(dumpSection("Pending:"), ElementsAre(id + " Create"));
}

struct Expiry {
    const char* name;
    std::function<void(Manager&, modem::Modem&, const std::shared_ptr<IProfileKey>&)> cause;
};

class ExpirationTest : public ProfileCacheTest, public ::testing::WithParamInterface<Expiry> {};

TEST_P(ExpirationTest, RunsTheListenerOnce) {
    const auto key = add("watched");
    ASSERT_TRUE(key);
    settle();
    std::atomic<int> calls = 0;
    key->registerExpirationListener([&calls] { ++calls; });
    auto dropped = find("watched");
    dropped->registerExpirationListener([&calls] { calls += 100; });
    dropped.reset();
    ModifyProfileParams params;
    params.setUserName("own changes do not count");
    ASSERT_TRUE(manager().modifyProfile(params, key));
    settle();
    EXPECT_EQ(calls, 0);

    LogRecorder log;
    GetParam().cause(manager(), modem(), key);
    settle();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(log.count(LogLevel::Debug, "invoke callback"), 1U);
}

TEST_F(ProfileCacheTest, NewConnectionRunsTheListeners) {
    const auto key = find("internet");
    ASSERT_TRUE(key);
    std::atomic<int> calls = 0;
    key->registerExpirationListener([&calls] { ++calls; });
    connect();
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(manager().getProfile(key));
}

wds_profile_identifier_v01 idOf(const std::shared_ptr<IProfileKey>& key) {
    return {WDS_PROFILE_TYPE_3GPP, static_cast<std::uint8_t>(key->getProfileId())};
}

INSTANTIATE_TEST_SUITE_P(
    Causes, ExpirationTest,
    ::testing::Values(
        Expiry{"Deletion", [](auto& manager, auto&, auto& key) { manager.deleteProfile(key); }},
        Expiry{"ForeignDeletion",
               [](auto&, auto& modem, auto& key) { modem.deleteProfile(0, idOf(key)); }},
        Expiry{"ForeignChange",
               [](auto&, auto& modem, auto& key) { modem.modifyProfile(0, idOf(key), {}); }},
        Expiry{"Refresh", [](auto& manager, auto&,
                             auto&) { manager.refresh(PDCRefreshStatus::REFRESH_COMPLETED); }}),
    [](const auto& suite) { return std::string(suite.param.name); });

TEST_F(ProfileCacheTest, CanBeDumpedWhileItChanges) {
    std::atomic<bool> done = false;
    std::atomic<int> dumps = 0;
    std::thread observer([&] {
        while (!done) {
            const auto lines = manager().dump();
            EXPECT_EQ(lines.front(), "Cache:");
            EXPECT_THAT(lines, ::testing::Contains("Pending:"));
            ++dumps;
        }
    });
    for (int round = 0; round < 30 || dumps < 10; ++round) {
        auto key = add("churn");
        ModifyProfileParams params;
        params.setApnName("a name that does not fit where the other one was");
        manager().modifyProfile(params, key);
        modem().modifyProfile(0, {WDS_PROFILE_TYPE_3GPP, 1}, {});
        if (round % 10 == 0) manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED);
    }
    done = true;
    observer.join();
}

}  // namespace
}  // namespace velo::test
