// SPDX-License-Identifier: Apache-2.0
//
// A modem that lies, refuses what it must not, or restarts at a bad moment: the library stays
// bounded and comes back.

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "CacheView.h"
#include "Support.h"
#include "host/mox/Codec.h"
#include "host/mox/Frame.h"
#include "host/mox/WdsService.h"

namespace velo::test {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::uint8_t kResultTag = 0x02;
constexpr std::uint8_t kListTag = 0x03;
constexpr std::uint8_t kApnNameTag = 0x22;

bool isResponse(const mox::Frame& frame, unsigned int messageId) {
    return frame.kind == MOX_MESSAGE_RESPONSE && frame.messageId == messageId;
}

/// A successful result, followed by one field.
std::vector<std::uint8_t> answerWith(std::uint8_t tag, const std::vector<std::uint8_t>& value) {
    std::vector<std::uint8_t> bytes{kResultTag, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, tag};
    bytes.push_back(static_cast<std::uint8_t>(value.size()));
    bytes.push_back(static_cast<std::uint8_t>(value.size() >> 8));
    bytes.insert(bytes.end(), value.begin(), value.end());
    return bytes;
}

template <typename Message>
void rewrite(mox::Frame& frame, const std::function<void(Message&)>& change) {
    const auto* definition =
        mox::wdsService().find(static_cast<mox_message_kind>(frame.kind), frame.messageId);
    Message message{};
    ASSERT_TRUE(mox::decode(*definition, frame.payload, &message));
    change(message);
    frame.payload.clear();
    ASSERT_TRUE(mox::encode(*definition, &message, frame.payload));
}

class HostileModemTest : public LibraryTest {
protected:
    HostileModemTest() : LibraryTest(threeProfiles()) {}

    void refresh() { manager().refresh(PDCRefreshStatus::REFRESH_COMPLETED); }

    /// Waits for a cache that serves all three profiles.
    void expectRecovery() {
        modem().setTamper(nullptr);
        EXPECT_TRUE(waitUntil([] { return cachedImages().size() == 3; }));
        EXPECT_TRUE(waitUntil([this] { return manager().filter({}).size() == 3; }));
        EXPECT_TRUE(waitUntil([this] { return add("after") != nullptr; }));
    }
};

TEST_F(HostileModemTest, EndlessListsAndStrings) {
    const auto answer = [this](unsigned int messageId, const std::vector<std::uint8_t>& bytes) {
        modem().setTamper([messageId, bytes](mox::Frame& frame) {
            if (isResponse(frame, messageId)) frame.payload = bytes;
            return true;
        });
        refresh();
    };
    LogRecorder log;
    answer(kWdsGetProfileSettingsReq,
           answerWith(kApnNameTag, std::vector<std::uint8_t>(5000, 'x')));
    EXPECT_THAT(cachedImages(), SizeIs(3));
    EXPECT_THAT(cachedImages(), Each("null"));
    answer(kWdsGetProfileListReq, answerWith(kListTag, {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 1}));
    EXPECT_TRUE(log.has(LogLevel::Error, "Unable send MOX_WDS_GET_PROFILE_LIST_REQ_V01 message"));
    EXPECT_THAT(cachedImages(), IsEmpty());
    modem().setTamper(nullptr);
    refresh();
    expectRecovery();
}

TEST_F(HostileModemTest, UnknownEnumerators) {
    modem().setTamper([](mox::Frame& frame) {
        if (isResponse(frame, kWdsGetProfileListReq)) {
            rewrite<wds_get_profile_list_resp_msg_v01>(frame, [](auto& list) {
                list.profile_list_len = 1;
                list.profile_list[0] = {};
                list.profile_list[0].profile_type = static_cast<wds_profile_type_enum_v01>(9);
                list.profile_list[0].profile_index = 1;
            });
        }
        if (isResponse(frame, kWdsGetProfileSettingsReq)) {
            rewrite<wds_get_profile_settings_resp_msg_v01>(frame, [](auto& answer) {
                answer.settings.pdp_type = {1, static_cast<wds_pdp_type_enum_v01>(77)};
                answer.settings.apn_class = {1, 200};
                answer.settings.auth_preference = {1, 0xFF};
            });
        }
        return true;
    });
    LogRecorder log;
    refresh();
    EXPECT_EQ(log.count(LogLevel::Debug, "Unknown tech type 9"), 2U);
    EXPECT_EQ(log.count(LogLevel::Debug, "Unknown pdp_type_enum 77"), 2U);
    EXPECT_THAT(cachedImages(), SizeIs(2));
    EXPECT_THAT(cachedImages(), Each(HasSubstr("AuthType=PAP_CHAP,CommonIPType=UNKNOWN,")));
    EXPECT_THAT(cachedImages(), Each(HasSubstr("ApnClass=200,")));
}

TEST_F(HostileModemTest, StrangeIndications) {
    LogRecorder log;
    modem().sendIndication(0, kWdsProfileChangedInd, {});
    EXPECT_TRUE(waitUntil([&] {
        return log.has(LogLevel::Error, "The ind_cb_data/ind_buf is null or ind_buf_len is 0");
    }));
    const auto undecodable = [&] {
        return log.count(LogLevel::Error, "Unable to decode the nr status ind message");
    };
    const std::vector<std::vector<std::uint8_t>> bytes{
        std::vector<std::uint8_t>(60000, 0xFF),        // a field longer than the rest
        {0x10, 9, 0, 0, 0, 0, 0, 1, 3, 0, 0},          // cut short
        {0x10, 10, 0, 0, 0, 0, 0, 1, 3, 0, 0, 0, 0}};  // too long
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        modem().sendIndication(0, kWdsProfileChangedInd, bytes[i]);
        EXPECT_TRUE(waitUntil([&] { return undecodable() == i + 1; })) << i;
    }
    settle();
    EXPECT_EQ(manager().filter({}).size(), 3U);
}

TEST_F(HostileModemTest, AProfileThatCannotBeReadAnyMoreCanStillBeDeleted) {
    const auto key = add("mine");
    auto other = manager().filter(byApn("mine")).front();
    settle();
    modem().setGate(
        [](const mox::Frame& request) { return request.messageId != kWdsGetProfileSettingsReq; });
    modem().report(0, {WDS_PROFILE_TYPE_3GPP, static_cast<std::uint8_t>(key->getProfileId())},
                   WDS_PROFILE_EVENT_MODIFY);
    settle();
    EXPECT_THAT(cachedImages(), Contains("null"));
    const auto exchanges = modem().exchanges();
    EXPECT_FALSE(manager().getProfile(key));
    EXPECT_FALSE(manager().match({}, key));
    EXPECT_TRUE(manager().modifyProfile(ModifyProfileParams(byApn("changed")), key));
    key->registerExpirationListener([] { ADD_FAILURE() << "there is nothing that could expire"; });
    other.reset();
    EXPECT_EQ(modem().exchanges(), exchanges);
    EXPECT_TRUE(manager().deleteProfile(key));
    settle();
    EXPECT_THAT(modem().profiles(0), SizeIs(3));
    EXPECT_THAT(cachedImages(), SizeIs(3));
    EXPECT_THAT(dumpSection("Pending:"), IsEmpty());
}

TEST_F(HostileModemTest, RestartsDuringARefresh) {
    std::atomic<bool> reading = false;
    modem().setTamper([&reading](mox::Frame& frame) {
        if (!isResponse(frame, kWdsGetProfileSettingsReq)) return true;
        reading = true;
        return false;
    });
    std::thread caller([this] { refresh(); });
    EXPECT_TRUE(waitUntil([&] { return reading.load(); }));
    modem().setTamper(nullptr);
    modem().restart();
    caller.join();
    expectRecovery();
}

}  // namespace
}  // namespace velo::test
