// SPDX-License-Identifier: Apache-2.0
//
// The library beside other processes: a modem that comes late or is killed, and a second library.

#include <gmock/gmock.h>

#include <csignal>
#include <memory>

#include "CacheView.h"
#include "SpawnedCommand.h"
#include "Support.h"
#include "host/mox/MoxHost.h"

namespace velo::test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

std::size_t countByApn(const std::string& apn) {
    return Manager::getInstance().filter(byApn(apn)).size();
}

/// The library, and a modem in a process of its own.
class ModemProcessTest : public ::testing::Test {
protected:
    ModemProcessTest() { mox::setModemPath(mFolder / "modem"); }
    ~ModemProcessTest() override { mox::setModemPath(""); }

    void start() {
        mModem = std::make_unique<SpawnedCommand>(
            VELO_MODEM_COMMAND,
            std::vector<std::string>{"--socket", mFolder / "modem", "--state", mFolder / "state"});
    }

    /// Takes the power from the modem, and waits until the library has noticed.
    void kill() {
        const LogRecorder log;
        mModem->signal(SIGKILL);
        EXPECT_EQ(128 + SIGKILL, mModem->finish().status);
        EXPECT_TRUE(waitUntil([&] { return log.has(LogLevel::Info, "Handling modem down"); }));
    }

    std::shared_ptr<IProfileKey> add(const std::string& apn, bool persistent) {
        AddProfileParams params(persistent, TechType::TECH_3GPP, false);
        params.setApnName(apn);
        return Manager::getInstance().addProfile(params);
    }

    TemporaryFolder mFolder;
    std::unique_ptr<SpawnedCommand> mModem;
};

TEST_F(ModemProcessTest, LibraryIsThereFirstAndOutlivesTheModem) {
    auto& manager = Manager::getInstance();
    manager.init(0, false);
    EXPECT_FALSE(add("nobody", true));
    EXPECT_THAT(manager.filter({}), IsEmpty());
    start();
    ASSERT_TRUE(waitUntil([&] { return manager.filter({}).size() == 4; }));

    ASSERT_TRUE(add("kept", true));
    const auto volatileKey = add("forgotten", false);
    const auto deleted = add("deleted", true);
    ASSERT_TRUE(volatileKey && deleted);
    ASSERT_TRUE(manager.deleteProfile(deleted));
    kill();
    EXPECT_FALSE(add("nobody", true));
    start();
    ASSERT_TRUE(waitUntil([&] { return manager.filter({}).size() == 5; }));
    EXPECT_EQ(1U, countByApn("kept"));
    EXPECT_FALSE(manager.getProfile(volatileKey)) << "its token is of the cache before";
}

class TwoLibrariesTest : public LibraryTest {
protected:
    ~TwoLibrariesTest() override { mox::setTimeoutCap(0); }

    /// What the library of another process says, for that subscription.
    std::string other(std::vector<std::string> words, int subscription) {
        words.insert(words.begin(), {"--modem", modem().socketPath(), "--instance",
                                     std::to_string(subscription), "--json"});
        const auto result = SpawnedCommand(words).finish();
        EXPECT_EQ(0, result.status) << result.err;
        return result.out;
    }
};

TEST_F(TwoLibrariesTest, SeeEachOthersChangesOnOneSubscriptionOnly) {
    other({"add", "--apn", "there", "--persistent"}, 1);
    other({"add", "--apn", "here", "--persistent"}, 0);
    EXPECT_TRUE(waitUntil([] { return countByApn("here") == 1; }));
    settle();
    EXPECT_EQ(0U, countByApn("there"));

    const auto key = add("mine");
    EXPECT_THAT(other({"list"}, 0), HasSubstr("\"mine\""));
    EXPECT_THAT(other({"list"}, 1), Not(HasSubstr("\"mine\"")));
    const auto gone = manager().filter(byApn("here")).front();
    const auto id = "3gpp:" + std::to_string(gone->getProfileId());
    other({"modify", id, "--apn", "changed"}, 0);
    EXPECT_TRUE(waitUntil([] { return countByApn("changed") == 1; }));
    other({"delete", id}, 0);
    EXPECT_TRUE(waitUntil([&] { return !manager().getProfile(gone); }));
    EXPECT_THAT(modem().profiles(1), SizeIs(5));
}

TEST_F(TwoLibrariesTest, LateAnswerIsNotTakenForTheNext) {
    // The answer to the first comes while the second waits for its own.
    modem().control(R"({"order": "delay", "message": "create-profile", "ms": 60})");
    modem().control(R"({"order": "delay", "message": "create-profile", "ms": 200})");
    mox::setTimeoutCap(20);
    EXPECT_FALSE(add("first"));
    mox::setTimeoutCap(0);
    const auto second = add("second");
    ASSERT_TRUE(second);
    settle();
    for (const char* apn : {"first", "second"}) {
        const auto keys = manager().filter(byApn(apn));
        ASSERT_THAT(keys, SizeIs(1)) << apn;
        EXPECT_EQ(apn == std::string("second"),
                  keys.front()->getProfileId() == second->getProfileId());
    }
    EXPECT_THAT(modem().profiles(0), SizeIs(6));
    EXPECT_THAT(dumpSection("Pending:"), IsEmpty());
}

TEST(SoakTest, ALittleOfEach) {
    const auto expect = [](const char* what, const char* count, const char* figure) {
        const auto result = SpawnedCommand(VELO_SOAK, {what, count}).finish();
        EXPECT_EQ(0, result.status) << result.out << result.err;
        EXPECT_THAT(result.out, HasSubstr(figure));
    };
    expect("--kills", "5", "settlings checked       1\n");
    expect("--hazards", "40", "rounds                  40\n");
    expect("--cycles", "500", "cycles                  500\n");
}

}  // namespace
}  // namespace velo::test
