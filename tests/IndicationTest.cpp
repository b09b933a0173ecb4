// SPDX-License-Identifier: Apache-2.0
//
// Indications of profile changes: what the proxy makes of them, pass by pass.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "CacheView.h"
#include "EventManager.h"
#include "MoxWdsProxy.h"
#include "ProfileCache.h"
#include "Support.h"
#include "host/mox/MoxHost.h"

namespace velo::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr wds_profile_identifier_v01 kInternet{WDS_PROFILE_TYPE_3GPP, 1};

TEST(ProfileChangedIndTest, Dumps) {
    const auto dump = [](int tech, int id, int event) {
        return ProfileChangedInd{static_cast<TechType>(tech), id,
                                 static_cast<ProfileChangedEvent>(event)}
            .dump();
    };
    EXPECT_EQ(dump(7, 255, 2), "7:255 Modify");
    EXPECT_EQ(dump(0, 0, 3), "3GPP:0 SubscriptionChange");
    EXPECT_EQ(dump(0, 1, 9), "3GPP:1 9");
}

/// A proxy whose event loop runs in the test, one pass at a time.
class WdsProxyTest : public ::testing::Test {
protected:
    WdsProxyTest()
        : mModem(threeProfiles()), mPath(mModem.socketPath()), mProxy(mEventManager, 0) {}

    /// Runs the loop until `text` was logged.
    void runUntil(LogLevel level, const std::string& text) {
        for (int pass = 0; pass < 1000 && !log.has(level, text); ++pass) {
            mEventManager.processEvents();
        }
        ASSERT_TRUE(log.has(level, text)) << text;
    }

    /// Opens the client and lets the modem's report of readiness go by.
    void open() {
        runUntil(LogLevel::Debug, "MoxWdsProxy config register request successful!");
        runUntil(LogLevel::Debug, "MoxWdsProxy ProfileChangedInd received!");
        proxy().registerProfileChangedInd(
            [this](ProfileChangedInd ind) { heard.push_back(ind.dump()); });
        log.clear();
    }

    /// Has the modem send, and waits until `count` indications are queued.
    void queue(std::size_t count, const std::function<void(modem::Modem&)>& send) {
        send(mModem);
        ASSERT_TRUE(waitUntil([&] { return arrived() >= count; }));
    }

    void pass() { MoxWdsProxy::handleIndication(spareFd(), &mProxy); }

    /// A descriptor for handlers that are called by hand.
    int spareFd() const { return mSpare.get(); }

    MoxWdsProxy& proxy() { return mProxy; }
    modem::Modem& modem() { return mModem; }

    LogRecorder log;
    std::vector<std::string> heard;

    struct ModemPath {
        explicit ModemPath(const std::string& path) { mox::setModemPath(path); }
        ~ModemPath() { mox::setModemPath(""); }
    };

    std::size_t arrived() const {
        const auto lines = log.texts(LogLevel::Verbose);
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
                return line.rfind(
                           "static void velo::MoxWdsProxy::moxIndCb(mox_client_type, unsigned "
                           "int, void *, unsigned int, void *):",
                           0) == 0;
            }));
    }

    modem::Modem mModem;
    ModemPath mPath;
    EventFd mSpare;
    EventManager mEventManager;
    MoxWdsProxy mProxy;
};

TEST_F(WdsProxyTest, RegistersInOrderAndReportsToNobodyAtFirst) {
    runUntil(LogLevel::Debug, "MoxWdsProxy::no profileChangedIndCb registered!");
    const auto lines = log.texts(LogLevel::Debug);
    const std::vector<std::string> expected{
        "MoxWdsProxy service is up, trying to initialize svc client",
        "mox_client_register_error_cb result: 0", "MoxWdsProxy bind register request successful!",
        "MoxWdsProxy indication register request successful!",
        "MoxWdsProxy config register request successful!"};
    const auto first = std::find(lines.begin(), lines.end(), expected.front());
    auto line = first;
    for (const std::string& text : expected) {
        line = std::find(line, lines.end(), text);
        EXPECT_NE(line, lines.end()) << text;
    }
    EXPECT_TRUE(log.has(LogLevel::Event, "MoxWdsProxy::registerMoxSvcUp"));
}

TEST_F(WdsProxyTest, OnePassDeliversAllInOrder) {
    open();
    queue(4, [](modem::Modem& modem) {
        modem.report(0, {WDS_PROFILE_TYPE_3GPP, 1}, WDS_PROFILE_EVENT_CREATE);
        modem.sendIndication(0, 0x33, {1, 2, 3});
        modem.report(0, {WDS_PROFILE_TYPE_3GPP2, 2}, static_cast<wds_profile_event_enum_v01>(7));
        modem.report(0, {static_cast<wds_profile_type_enum_v01>(9), 3},
                     static_cast<wds_profile_event_enum_v01>(0));
    });
    pass();
    EXPECT_THAT(heard, ElementsAre("3GPP:1 Create", "3GPP2:2 ProfileReady", "3GPP:3 ProfileReady"));
    EXPECT_TRUE(log.has(LogLevel::Verbose, "Unknown message ID 51 received"));
    EXPECT_TRUE(log.has(LogLevel::Debug, "MoxWdsProxy: handleIndication indQueue.size[4]"));
    EXPECT_TRUE(log.has(LogLevel::Debug, "MoxWdsProxy: handleIndication indQueue.size[0]"));
}

TEST_F(WdsProxyTest, UndecodableEndsThePass) {
    open();
    queue(3, [](modem::Modem& modem) {
        modem.sendIndication(0, kWdsProfileChangedInd, {0x10, 200, 0, 1});
        modem.sendIndication(0, kWdsProfileChangedInd, {0x77, 1, 0, 1});
        modem.report(0, kInternet, WDS_PROFILE_EVENT_DELETE);
    });
    pass();
    EXPECT_TRUE(log.has(LogLevel::Error, "Unable to decode the nr status ind message"));
    EXPECT_THAT(heard, IsEmpty());
    pass();
    EXPECT_TRUE(log.has(LogLevel::Error, "Profile changed ind TLV is not valid"));
    EXPECT_THAT(heard, ElementsAre("3GPP:1 Delete"));
}

TEST_F(WdsProxyTest, DropsIndicationsOfAReleasedClient) {
    open();
    queue(1, [](modem::Modem& modem) { modem.report(0, kInternet, WDS_PROFILE_EVENT_DELETE); });
    modem().powerOff();
    MoxWdsProxy::handleError(spareFd(), &proxy());
    EXPECT_TRUE(log.has(LogLevel::Info, "Handling modem down"));
    pass();
    EXPECT_THAT(heard, IsEmpty());
    EXPECT_TRUE(log.has(LogLevel::Debug, "MoxWdsProxy indication of a released client dropped"));
    EXPECT_FALSE(proxy().remove(TechType::TECH_3GPP, 1));

    modem().powerOn();
    runUntil(LogLevel::Debug, "MoxWdsProxy config register request successful!");
    EXPECT_TRUE(proxy().get(TechType::TECH_3GPP, 1));
}

TEST_F(WdsProxyTest, SecondServiceEventLeavesTheClientAlone) {
    open();
    MoxWdsProxy::moxNotifyCb(nullptr, nullptr, MOX_SERVICE_AVAILABLE, &proxy());
    runUntil(LogLevel::Debug,
             "MoxWdsProxy client is already present, so skipping client initialization.");
    EXPECT_EQ(modem().clients(), 1U);
    EXPECT_TRUE(proxy().get(TechType::TECH_3GPP, 257)) << "an identifier keeps the low byte";
}

TEST_F(WdsProxyTest, ServiceThatGoesAtOnceIsWaitedForAgain) {
    modem().powerOff();
    MoxWdsProxy::handleSvcUp(spareFd(), &proxy());
    EXPECT_THAT(log.texts(LogLevel::Error), ElementsAre("error get service."));
    modem().powerOn();
    open();
    EXPECT_TRUE(proxy().get(TechType::TECH_3GPP, 1));
}

TEST_F(WdsProxyTest, LostDescriptorsAreReported) {
    const std::string call = "EventManager::addEventHandler(int ";
    const auto traces = log.texts(LogLevel::Verbose);
    open();
    const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    for (const std::string& line : traces) {
        if (line.rfind(call, 0) == 0) dup2(nothing, std::stoi(line.substr(call.size())));
    }
    close(nothing);
    const auto reported = [this](const std::string& line) {
        return waitUntil([&] { return log.has(LogLevel::Error, line + "Bad file descriptor"); });
    };
    modem().report(0, kInternet, WDS_PROFILE_EVENT_DELETE);
    EXPECT_TRUE(reported("Error in writing rv: -1, error: "));
    modem().powerOff();
    EXPECT_TRUE(reported("error in writing rv: -1, error: "));
    MoxWdsProxy::moxNotifyCb(nullptr, nullptr, MOX_SERVICE_AVAILABLE, &proxy());
    EXPECT_TRUE(reported("error in writing rv:-1, error:"));
    mEventManager.wake();
    EXPECT_TRUE(log.has(LogLevel::Info, "Error in writing rv: -1, error: Bad file descriptor"));
}

TEST_F(WdsProxyTest, StopBeginsNoExchange) {
    open();
    queue(1, [](modem::Modem& modem) { modem.report(0, kInternet, WDS_PROFILE_EVENT_DELETE); });
    const auto exchanges = modem().exchanges();
    proxy().stop();
    pass();
    EXPECT_THAT(heard, IsEmpty());
    EXPECT_FALSE(proxy().get(TechType::TECH_3GPP, 1));
    EXPECT_THAT(proxy().getAllProfiles(), IsEmpty());
    EXPECT_EQ(modem().exchanges(), exchanges);
    EXPECT_THAT(log.texts(LogLevel::Error), IsEmpty()) << "what was not begun did not fail";
}

TEST(WdsProxyCallbackTest, SurvivesMissingArguments) {
    LogRecorder log;
    EventFd fd;
    MoxWdsProxy::moxNotifyCb(nullptr, nullptr, MOX_SERVICE_AVAILABLE, nullptr);
    MoxWdsProxy::moxNotifyCb(nullptr, nullptr, MOX_SERVICE_AVAILABLE + 1, &fd);
    MoxWdsProxy::handleSvcUp(fd.get(), nullptr);
    MoxWdsProxy::moxErrorCb(nullptr, 1, nullptr);
    MoxWdsProxy::handleError(fd.get(), nullptr);
    MoxWdsProxy::moxIndCb(nullptr, 1, &log, 0, &log);
    MoxWdsProxy::moxIndCb(nullptr, 1, nullptr, 1, &log);
    MoxWdsProxy::moxIndCb(nullptr, 1, &log, 2, nullptr);
    MoxWdsProxy::handleIndication(-1, nullptr);
    EXPECT_THAT(log.texts(LogLevel::Error),
                ElementsAre("MoxWdsProxy instance is null",
                            "MoxWdsProxy notify cb: unsupported service event",
                            "MoxWdsProxy instance is null", "MoxWdsProxy NULL in moxErrorCb",
                            "arg is null", "The ind_cb_data/ind_buf is null or ind_buf_len is 0",
                            "The ind_cb_data/ind_buf is null or ind_buf_len is 1",
                            "The ind_cb_data/ind_buf is null or ind_buf_len is 2",
                            "Error while clearing the read buffer on fd -1",
                            "handleIndication: arg is null"));
}

TEST(CacheIndicationTest, UnknownEventAndMissingKeysChangeNothing) {
    EventManager eventManager;
    ProfileCache cache(eventManager, 0, [](const auto&) { return nullptr; });
    LogRecorder log;
    FilterProfileParams filter;
    ModifyProfileParams change;
    EXPECT_FALSE(cache.modify(change, nullptr) || cache.remove(nullptr) || cache.get(nullptr) ||
                 cache.match(filter, nullptr));
    cache.onIndication({TechType::TECH_3GPP, 1, static_cast<ProfileChangedEvent>(9)});
    EXPECT_THAT(log.texts(LogLevel::Event),
                ElementsAre("ProfileCache: onIndication < 3GPP:1 9",
                            "ProfileCache: updating cache due to indication!"));
    EXPECT_THAT(log.texts(LogLevel::Error), ElementsAre("Invalid ProfileChangedEvent"));
    EXPECT_THAT(cache.dump(), ElementsAre("Cache:", "Pending:"));
}

}  // namespace
}  // namespace velo::test
