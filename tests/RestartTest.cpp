// SPDX-License-Identifier: Apache-2.0
//
// The library beside a modem that comes late or is killed, and answers that come late.

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
using ::testing::SizeIs;

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
    EXPECT_THAT(manager.filter(byApn("kept")), SizeIs(1));
    EXPECT_FALSE(manager.getProfile(volatileKey)) << "its token is of the cache before";
}

class LateAnswerTest : public LibraryTest {
protected:
    ~LateAnswerTest() override { mox::setTimeoutCap(0); }
};

TEST_F(LateAnswerTest, IsNotTakenForTheNext) {
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
