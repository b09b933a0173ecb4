// SPDX-License-Identifier: Apache-2.0

#include "modem/Modem.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "ModemClient.h"
#include "Support.h"
#include "host/mox/Frame.h"
#include "host/mox/Socket.h"
#include "modem/FactoryProfiles.h"
#include "modem/ModemError.h"

namespace velo::test {
namespace {

using modem::Modem;
using modem::ModemOptions;
using modem::StoredProfile;
using Events = std::vector<std::string>;

StoredProfile foreignProfile(bool persistent = false) {
    StoredProfile profile{{WDS_PROFILE_TYPE_3GPP, 0}, persistent, {}};
    profile.settings.apn_name = {1, {"foreign"}};
    return profile;
}

class ModemTest : public ::testing::Test {
protected:
    ModemOptions at(const std::string& name) const {
        ModemOptions options;
        options.socketPath = mFolder / name;
        return options;
    }

    /// How a request of arbitrary bytes is answered: with the error code of its result.
    static std::uint32_t answerTo(const Modem& modem, std::uint16_t id,
                                  std::vector<std::uint8_t> payload) {
        const auto socket = mox::connectTo(modem.socketPath());
        EXPECT_EQ(0, mox::sendFrame(socket.get(), {MOX_MESSAGE_REQUEST, 5, id, payload}));
        std::vector<std::uint8_t> buffer;
        mox::Frame answer;
        EXPECT_TRUE(waitUntil([&] {
            return mox::receiveFrame(socket.get(), buffer, answer) == mox::Received::Whole;
        }));
        EXPECT_EQ(5U, answer.transaction);
        EXPECT_EQ(id, answer.messageId);
        // The result opens every response: tag, length, result, error.
        EXPECT_LE(11U, answer.payload.size());
        EXPECT_EQ(1U, answer.payload.at(3));
        return answer.payload.at(7);
    }

    TemporaryFolder mFolder;
};

TEST_F(ModemTest, RefusedRequestsChangeNothing) {
    ModemOptions options;
    options.capacity = 4;
    Modem modem(std::move(options));
    ModemClient client(modem);
    ASSERT_EQ(WDS_ERR_NONE, client.create("last").response.error);
    const auto before = modem.profiles(0).size();

    EXPECT_EQ(WDS_ERR_NO_MEMORY, client.create("one.too.many").response.error);
    wds_create_profile_req_msg_v01 create{};
    create.profile_type = static_cast<wds_profile_type_enum_v01>(2);
    EXPECT_EQ(WDS_ERR_INVALID_PROFILE_TYPE,
              client.ask<wds_create_profile_resp_msg_v01>(kWdsCreateProfileReq, create));
    create.profile_type = WDS_PROFILE_TYPE_3GPP2;
    create.settings.apn_name.valid = 1;
    EXPECT_EQ(WDS_ERR_INVALID_PROFILE_TYPE,
              client.ask<wds_create_profile_resp_msg_v01>(kWdsCreateProfileReq, create));

    wds_modify_profile_settings_req_msg_v01 modify{};
    modify.profile = {WDS_PROFILE_TYPE_3GPP, 200};
    EXPECT_EQ(WDS_ERR_INVALID_PROFILE, client.ask<wds_modify_profile_settings_resp_msg_v01>(
                                           kWdsModifyProfileSettingsReq, modify));
    modify.profile.profile_index = 1;
    modify.settings.apn_class = {1, 9};
    modify.settings.apn_class_3gpp2 = {1, 9};
    EXPECT_EQ(WDS_ERR_INVALID_PROFILE_TYPE, client.ask<wds_modify_profile_settings_resp_msg_v01>(
                                                kWdsModifyProfileSettingsReq, modify));
    EXPECT_EQ(0, modem.profiles(0)[1].settings.apn_class.valid);

    const wds_delete_profile_req_msg_v01 unknown{{WDS_PROFILE_TYPE_3GPP2, 77}};
    EXPECT_EQ(WDS_ERR_INVALID_PROFILE,
              client.ask<wds_delete_profile_resp_msg_v01>(kWdsDeleteProfileReq, unknown));
    EXPECT_EQ(WDS_ERR_INVALID_PROFILE, client.ask<wds_get_profile_settings_resp_msg_v01>(
                                           kWdsGetProfileSettingsReq, unknown));
    EXPECT_EQ(WDS_ERR_INVALID_ARG,
              client.ask<wds_result_resp_msg_v01>(kWdsBindSubscriptionReq,
                                                  wds_bind_subscription_req_msg_v01{2}));
    EXPECT_EQ(before, modem.profiles(0).size());

    auto endless = foreignProfile();
    std::memset(endless.settings.apn_name.value.data, 'a', kWdsApnNameSize);
    EXPECT_EQ(std::nullopt, modem.addProfile(1, endless));
    EXPECT_EQ(std::nullopt, modem.addProfile(2, foreignProfile()));
}

TEST_F(ModemTest, RequestsThatCannotBeUnderstoodAreAnswered) {
    Modem modem;
    EXPECT_EQ(WDS_ERR_MALFORMED_MSG, answerTo(modem, kWdsBindSubscriptionReq, {}));
    EXPECT_EQ(WDS_ERR_MALFORMED_MSG, answerTo(modem, kWdsCreateProfileReq, {0x01, 9, 0, 1}));
    EXPECT_EQ(WDS_ERR_NOT_SUPPORTED, answerTo(modem, 0x7777, {}));
    // Longer than any frame may be: only its head arrives.
    EXPECT_EQ(WDS_ERR_MALFORMED_MSG, answerTo(modem, kWdsIndicationRegisterReq,
                                              std::vector<std::uint8_t>(2 * mox::kMaxFrameSize)));
    // An APN name of 151 bytes, one more than it may have.
    std::vector<std::uint8_t> tooLong{0x01, 4, 0, 0, 0, 0, 0, 0x22, kWdsApnNameSize, 0};
    tooLong.resize(tooLong.size() + kWdsApnNameSize, 'a');
    EXPECT_EQ(WDS_ERR_MALFORMED_MSG, answerTo(modem, kWdsCreateProfileReq, tooLong));
    modem.setGate([](const mox::Frame&) { return false; });
    EXPECT_EQ(WDS_ERR_INTERNAL, answerTo(modem, kWdsGetProfileListReq, {}));
}

TEST_F(ModemTest, ChangesReachEveryRegisteredClientOfTheSubscription) {
    Modem modem;
    ModemClient originator(modem);
    ModemClient other(modem);
    ModemClient apart(modem);
    ModemClient unregistered(modem);
    apart.bind(1);
    for (ModemClient* client : {&originator, &other, &apart}) {
        client->registerIndications();
        client->configureEvents();
    }
    unregistered.registerIndications();
    const auto id = originator.create("a").profile;
    modem.modifyProfile(0, id, foreignProfile().settings);
    originator.ask<wds_delete_profile_resp_msg_v01>(kWdsDeleteProfileReq,
                                                    wds_delete_profile_req_msg_v01{id});
    modem.report(0, {WDS_PROFILE_TYPE_3GPP2, 9}, static_cast<wds_profile_event_enum_v01>(7));
    modem.sendIndication(0, kWdsProfileChangedInd, {0x10, 200});
    const Events expected{"0:0 5", "0:0 1", "0:0 3", "0:0 3", "0:0 2", "1:9 7", "damaged"};
    EXPECT_TRUE(waitUntil([&] { return originator.events().size() == expected.size(); }));
    EXPECT_TRUE(waitUntil([&] { return other.events().size() == expected.size(); }));
    EXPECT_EQ(expected, originator.events());
    EXPECT_EQ(expected, other.events());
    modem.addProfile(1, foreignProfile());
    EXPECT_TRUE(waitUntil([&] { return apart.events().size() == 3; }));
    EXPECT_EQ((Events{"0:0 5", "0:0 1", "0:0 3"}), apart.events());
    EXPECT_EQ(expected, originator.events());
    EXPECT_EQ(Events{}, unregistered.events());
}

TEST_F(ModemTest, SocketOfADeadModemIsTakenOverAndNoOther) {
    const auto path = at("modem").socketPath;
    {
        const Modem modem(at("modem"));
        struct stat status {};
        ASSERT_EQ(0, ::stat(path.c_str(), &status));
        EXPECT_EQ(0600U, status.st_mode & 0777U);
        try {
            const Modem second(at("modem"));
            FAIL() << "stole the socket of a live modem";
        } catch (const std::system_error& error) {
            EXPECT_EQ(EADDRINUSE, error.code().value());
        }
        ModemClient client(modem);
        EXPECT_EQ(MOX_NO_ERR, client.bind(0));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    {
        sockaddr_un address;
        ASSERT_TRUE(mox::makeAddress(path, address));
        const mox::Descriptor dead(::socket(AF_UNIX, SOCK_SEQPACKET, 0));
        ASSERT_EQ(0, ::bind(dead.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)));
    }
    EXPECT_NO_THROW(Modem{at("modem")});
    const auto file = mFolder.write("file", "precious");
    EXPECT_THROW(Modem{at("file")}, std::system_error);
    EXPECT_EQ("precious", textOf(file));
    EXPECT_THROW(Modem{at(std::string(120, 'x'))}, std::system_error);
    EXPECT_THROW(Modem{at("no/such/folder")}, std::system_error);
}

TEST_F(ModemTest, ClientThatDoesNotReadIsGivenUpAndHoldsNobodyUp) {
    Modem modem;
    const auto socket = mox::connectTo(modem.socketPath());
    const auto ask = [&](std::uint16_t id, std::vector<std::uint8_t> payload) {
        ASSERT_EQ(0, mox::sendFrame(socket.get(), {MOX_MESSAGE_REQUEST, 1, id, payload}));
    };
    ask(kWdsIndicationRegisterReq, {0x10, 1, 0, 1});
    ask(kWdsConfigureProfileEventListReq,
        {0x10, 12, 0, 1, 0, 0, 0, 0xFF, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF});
    ASSERT_TRUE(waitUntil([&] { return modem.exchanges() == 2; }));
    ModemClient reader(modem);
    EXPECT_EQ(MOX_NO_ERR, reader.bind(0));
    ASSERT_EQ(2U, modem.clients());
    for (int i = 0; i < 100; ++i) {
        modem.sendIndication(0, kWdsProfileChangedInd, std::vector<std::uint8_t>(60000));
    }
    EXPECT_EQ(1U, modem.clients());
    EXPECT_EQ(MOX_NO_ERR, reader.bind(0));
}

TEST_F(ModemTest, FactoryProfilesComeFromAFile) {
    const auto path = mFolder.write("factory.json", R"({"profiles": [
        {"technology": "3gpp", "index": 7, "settings": {"apn_name": "seven", "pdp_type": 3,
         "emergency_supported": true, "apn_type_mask": 4294967296}},
        {"technology": "3gpp2", "index": 0, "persistent": false}]})");
    ModemOptions options;
    options.factoryProfiles = modem::readFactoryProfiles(path);
    const Modem modem(std::move(options));
    const auto profiles = modem.profiles(1);
    ASSERT_EQ(2U, profiles.size());
    EXPECT_EQ(7, profiles[0].id.profile_index);
    EXPECT_TRUE(profiles[0].persistent);
    EXPECT_STREQ("seven", profiles[0].settings.apn_name.value.data);
    EXPECT_EQ(WDS_PDP_TYPE_IPV4V6, profiles[0].settings.pdp_type.value);
    EXPECT_EQ(1, profiles[0].settings.emergency_supported.value);
    EXPECT_EQ(4294967296U, profiles[0].settings.apn_type_mask.value);
    EXPECT_EQ(0, profiles[0].settings.user_name.valid);
    EXPECT_FALSE(profiles[1].persistent);
}

TEST_F(ModemTest, BadFactoryFilesAreOneClearError) {
    const auto profile = [](const std::string& settings) {
        return R"({"profiles": [{"technology": "3gpp", "index": 1, "settings": {)" + settings +
               "}}]}";
    };
    const std::pair<std::string, std::string> cases[] = {
        {"{", "is not JSON"},
        {"[]", "has no list \"profiles\""},
        {R"({"profiles": [1]})", "profile 1: is not an object"},
        {R"({"profiles": [{"index": 1}]})", "technology and index are needed"},
        {R"({"profiles": [{"technology": "lte"}]})", "neither \"3gpp\" nor \"3gpp2\""},
        {R"({"profiles": [{"index": 256}]})", "\"index\" is not a number from 0 to 255"},
        {R"({"profiles": [{"colour": 1}]})", "\"colour\" is not known"},
        {R"({"profiles": [{"persistent": 1}]})", "neither true nor false"},
        {R"({"profiles": [{"technology": "3gpp", "index": 1}, {"technology": "3gpp", "index": 1}]})",
         "profile 2: its technology and index are taken"},
        {profile(R"("apn": "x")"), "\"apn\" is not a setting"},
        {profile(R"("apn_name": 5)"), "\"apn_name\" is not a text"},
        {profile("\"apn_name\": \"" + std::string(151, 'a') + "\""), "longer than 150 bytes"},
        {profile(R"("apn_class": 256)"), "\"apn_class\" is not a number from 0 to 255"},
        {profile(R"("pdp_type": -1)"), "\"pdp_type\" is not a number"},
        {profile(R"("apn_string_3gpp2": "x")"), "has a setting of the other technology"},
    };
    for (const auto& [text, reason] : cases) {
        const auto path = mFolder.write("factory.json", text);
        try {
            modem::readFactoryProfiles(path);
            ADD_FAILURE() << "accepted " << text;
        } catch (const modem::ModemError& error) {
            EXPECT_EQ(0U, std::string(error.what()).find(path + ": ")) << error.what();
            EXPECT_NE(std::string::npos, std::string(error.what()).find(reason)) << error.what();
        }
    }
    EXPECT_THROW(modem::readFactoryProfiles(mFolder / "none"), modem::ModemError);
}

}  // namespace
}  // namespace velo::test
