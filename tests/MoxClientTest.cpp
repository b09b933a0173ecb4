// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "ModemClient.h"
#include "Support.h"
#include "host/mox/Frame.h"
#include "modem/ListenSocket.h"
#include "modem/Modem.h"

namespace velo::test {
namespace {

class MoxClientTest : public ::testing::Test {
protected:
    ~MoxClientTest() override { mox::setTimeoutCap(0); }

    modem::Modem mModem;
};

/// Counts error callbacks, and releases the client in them when asked to.
struct ErrorCounter {
    std::atomic<int> count{0};
    bool release = false;

    static void callback(mox_client_type client, int error, void* data) {
        auto& self = *static_cast<ErrorCounter*>(data);
        EXPECT_NE(MOX_NO_ERR, error);
        if (self.release) {
            EXPECT_EQ(MOX_NO_ERR, mox_client_release(client));
        }
        ++self.count;
    }
};

/// A notifier that counts what it is told, and releases itself in the callback when asked to.
struct Watcher {
    explicit Watcher(bool once = false) : release(once) {
        mox_client_os_params parameters{};
        EXPECT_EQ(MOX_NO_ERR,
                  mox_client_notifier_init(ModemClient::service(), &parameters, &handle));
        EXPECT_EQ(MOX_NO_ERR, mox_client_register_notify_cb(handle, &callback, this));
    }
    ~Watcher() { mox_client_release(handle); }

    static void callback(mox_client_type notifier, mox_service_object_type service,
                         unsigned int event, void* data) {
        auto& self = *static_cast<Watcher*>(data);
        EXPECT_EQ(ModemClient::service(), service);
        EXPECT_EQ(unsigned{MOX_SERVICE_AVAILABLE}, event);
        if (self.release) {
            EXPECT_EQ(MOX_NO_ERR, mox_client_release(notifier));
        }
        ++self.count;
    }

    const bool release;
    std::atomic<int> count{0};
    mox_client_type handle = nullptr;
};

TEST_F(MoxClientTest, ThreadsOfOneClientGetTheirOwnAnswers) {
    ModemClient client(mModem);
    std::vector<std::thread> threads;
    for (std::uint8_t index = 1; index <= 3; ++index) {
        threads.emplace_back([&client, index] {
            const char* const names[] = {"", "attach", "ims", "emergency"};
            for (int i = 0; i < 100; ++i) {
                wds_get_profile_settings_resp_msg_v01 response{};
                const wds_get_profile_settings_req_msg_v01 request{{WDS_PROFILE_TYPE_3GPP, index}};
                ASSERT_EQ(MOX_NO_ERR, client.send(kWdsGetProfileSettingsReq, request, response));
                ASSERT_STREQ(names[index], response.settings.profile_name.value.data);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

TEST_F(MoxClientTest, LostConnectionFailsTheRequestInFlightAndIsToldOnce) {
    ModemClient client(mModem);
    ErrorCounter errors;
    mox_client_register_error_cb(client.handle, &ErrorCounter::callback, &errors);
    mModem.setGate([&](const mox::Frame&) {
        mModem.powerOff();
        return true;
    });
    EXPECT_EQ(MOX_CLIENT_ERR, client.bind(0));
    EXPECT_EQ(MOX_CLIENT_ERR, client.bind(0));
    EXPECT_TRUE(waitUntil([&] { return errors.count == 1; }));
    // Registering again after the failure was told does not have it told again.
    mox_client_register_error_cb(client.handle, &ErrorCounter::callback, &errors);
    EXPECT_EQ(1, errors.count);
}

TEST_F(MoxClientTest, LateRegistrationHearsOfTheFailureAtOnce) {
    ModemClient client(mModem);
    mModem.powerOff();
    ASSERT_TRUE(waitUntil([&] { return client.bind(0) == MOX_CLIENT_ERR; }));
    ErrorCounter errors;
    ASSERT_TRUE(waitUntil([&] {
        mox_client_register_error_cb(client.handle, &ErrorCounter::callback, &errors);
        return errors.count > 0;
    }));
    EXPECT_EQ(1, errors.count);
}

TEST_F(MoxClientTest, ReleaseByTheOwnerIsNoError) {
    ErrorCounter errors;
    {
        ModemClient client(mModem);
        mox_client_register_error_cb(client.handle, &ErrorCounter::callback, &errors);
    }
    mModem.powerOff();
    EXPECT_EQ(0, errors.count);
}

TEST_F(MoxClientTest, NotifierPausesForAServiceThatGoesAsSoonAsItComes) {
    const std::string path = mModem.socketPath() + ".flapping";
    const modem::ListenSocket listen(path);
    mox::setModemPath(path);
    const auto begun = std::chrono::steady_clock::now();
    const Watcher watcher;
    ASSERT_TRUE(waitUntil([&] {
        const mox::Descriptor accepted(::accept(listen.fd(), nullptr, nullptr));
        return watcher.count >= 6;
    }));
    // 5, 10, 20, 40 and 80 ms.
    EXPECT_LE(std::chrono::milliseconds(155), std::chrono::steady_clock::now() - begun);
}

TEST_F(MoxClientTest, CallbacksMayReleaseTheirOwnHandle) {
    ModemClient client(mModem);
    Watcher watcher(true);
    EXPECT_TRUE(waitUntil([&] { return watcher.count == 1; }));
    EXPECT_EQ(MOX_CLIENT_ERR, mox_client_release(watcher.handle));

    ErrorCounter errors{.release = true};
    mox_client_register_error_cb(client.handle, &ErrorCounter::callback, &errors);
    mModem.powerOff();
    EXPECT_TRUE(waitUntil([&] { return errors.count == 1; }));
    EXPECT_EQ(MOX_CLIENT_ERR, mox_client_release(client.handle));
}

TEST_F(MoxClientTest, ReleaseWaitsForTheCallbackThatRuns) {
    struct State {
        std::atomic<bool> entered{false};
        std::atomic<bool> releasing{false};
        std::atomic<bool> finished{false};
    } state;
    ModemClient registrar(mModem);
    mox_service_info info{};
    mox_client_os_params parameters{};
    mox_client_type client = nullptr;
    mox_client_get_any_service(ModemClient::service(), &info);
    const auto callback = [](mox_client_type, unsigned int, void*, unsigned int, void* data) {
        auto& shared = *static_cast<State*>(data);
        shared.entered = true;
        waitUntil([&] { return shared.releasing.load(); });
        for (int i = 0; i < 1000; ++i) {
            std::this_thread::yield();
        }
        shared.finished = true;
    };
    mox_client_init(&info, ModemClient::service(), callback, &state, &parameters, &client);
    std::swap(client, registrar.handle);
    registrar.configureEvents();
    registrar.registerIndications();
    std::swap(client, registrar.handle);
    ASSERT_TRUE(waitUntil([&] { return state.entered.load(); }));
    state.releasing = true;
    mox_client_release(client);
    EXPECT_TRUE(state.finished);
}

TEST_F(MoxClientTest, FullSocketDoesNotHoldTheSender) {
    // A stopped modem: its backlog accepts the connection, nobody reads.
    const TemporaryFolder folder;
    const modem::ListenSocket stopped(folder / "modem");
    ModemClient client(folder / "modem");
    wds_create_profile_req_msg_v01 request{};
    for (auto* text : {&request.settings.user_name, &request.settings.password,
                       &request.settings.user_id_3gpp2, &request.settings.auth_password_3gpp2}) {
        text->valid = 1;
        std::memset(text->value.data, 'a', kWdsCredentialSize);
    }
    wds_create_profile_resp_msg_v01 response{};
    for (int i = 0; i < 400; ++i) {
        ASSERT_EQ(MOX_TIMEOUT_ERR, client.send(kWdsCreateProfileReq, request, response, 1));
    }
}

TEST_F(MoxClientTest, DeadHandlesFailAtOnce) {
    mox_client_type released = nullptr;
    {
        ModemClient client(mModem);
        released = client.handle;
    }
    for (const mox_client_type handle : {mox_client_type{nullptr}, released}) {
        wds_result_resp_msg_v01 response{};
        const wds_bind_subscription_req_msg_v01 request{};
        EXPECT_EQ(MOX_CLIENT_ERR,
                  mox_client_send_msg_sync(handle, kWdsBindSubscriptionReq, &request,
                                           sizeof(request), &response, sizeof(response), 1000));
        EXPECT_EQ(MOX_CLIENT_ERR,
                  mox_client_message_decode(handle, MOX_MESSAGE_RESPONSE, kWdsBindSubscriptionReq,
                                            nullptr, 0, &response, sizeof(response)));
        EXPECT_EQ(MOX_CLIENT_ERR, mox_client_register_error_cb(handle, nullptr, nullptr));
        EXPECT_EQ(MOX_CLIENT_ERR, mox_client_register_notify_cb(handle, nullptr, nullptr));
        EXPECT_EQ(MOX_CLIENT_ERR, mox_client_release(handle));
    }
}

TEST_F(MoxClientTest, StructuresOfTheWrongSizeAreRefused) {
    ModemClient client(mModem);
    wds_create_profile_resp_msg_v01 tooLarge{};
    EXPECT_EQ(MOX_INVALID_ARGUMENT_ERR,
              client.send(kWdsBindSubscriptionReq, wds_bind_subscription_req_msg_v01{}, tooLarge));
}

TEST_F(MoxClientTest, NoDescriptorTakesThePlaceOfAClosedStandardStream) {
    const mox::Descriptor input(::dup(STDIN_FILENO));
    ::close(STDIN_FILENO);
    {
        modem::Modem modem;
        ModemClient client(modem);
        Watcher watcher;
        EXPECT_TRUE(waitUntil([&] { return watcher.count == 1; }));
        EXPECT_EQ(MOX_NO_ERR, client.bind(0));
        EXPECT_TRUE(waitUntil([] { return ::fcntl(STDIN_FILENO, F_GETFD) == -1; }));
    }
    ::dup2(input.get(), STDIN_FILENO);
}

TEST_F(MoxClientTest, ForkedChildLeavesTheParentsConnectionAlone) {
    ModemClient client(mModem);
    const pid_t child = ::fork();
    if (child == 0) {
        const bool right =
            client.bind(0) == MOX_CLIENT_ERR && mox_client_release(client.handle) == MOX_NO_ERR;
        ::_exit(right ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_EQ(MOX_NO_ERR, client.bind(0));
}

}  // namespace
}  // namespace velo::test
