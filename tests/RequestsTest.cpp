// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "ClientRequest.h"
#include "ClientResponse.h"
#include "ProfileKey.h"
#include "Support.h"

namespace velo {
namespace {

/// Keys that post into a list.
class RequestsTest : public ::testing::Test {
protected:
    std::shared_ptr<ProfileKey> key(int techType, int profileId, unsigned long long token) {
        return std::make_shared<ProfileKey>(static_cast<TechType>(techType), profileId, token,
                                            [this](std::shared_ptr<ClientRequest> request) {
                                                mPosted.push_back(request);
                                                return nullptr;
                                            });
    }

    std::vector<std::shared_ptr<ClientRequest>> mPosted;
};

TEST_F(RequestsTest, TextsOfWhatIsMissingOrUnknown) {
    auto owner = key(1, 3, 0);
    EXPECT_EQ(ModifyRequest(ModifyProfileParams(), nullptr).dump(), "Modify  ");
    EXPECT_EQ(DeleteRequest(nullptr).dump(), "Delete ");
    EXPECT_EQ(ClientRequest(static_cast<ReqRespType>(8)).dump(), "8 ");
    EXPECT_EQ(AddResponse(Status::Success, key(7, 3, 0)).dump(), "Add Success 7:3 token=0");
    EXPECT_EQ(ModifyResponse(static_cast<Status>(2)).dump(), "Modify 2");
    EXPECT_EQ(FilterResponse(Status::Success, {owner, nullptr}).dump(),
              "Filter Success 3GPP2:3 token=0,null,");
    CallbackRequest request;
    EXPECT_EQ(request.dump(), "Callback ");
    request.setExpirationInfo([] {}, owner, 18446744073709551615ULL);
    EXPECT_EQ(request.dump(), "Callback Register 3GPP2:3 token=018446744073709551615");
    owner.reset();
    EXPECT_EQ(request.dump(), "Callback Register null18446744073709551615");
}

TEST_F(RequestsTest, KeyPostsItsListenerAndItsRelease) {
    const test::LogRecorder log;
    auto owner = key(0, 5, 12);
    bool ran = false;
    owner->registerExpirationListener([&ran] { ran = true; });
    ASSERT_EQ(mPosted.size(), 1U);
    const auto listener = std::dynamic_pointer_cast<CallbackRequest>(mPosted[0]);
    ASSERT_TRUE(listener && listener->hasExpirationInfo() && !listener->hasReleaseToken());
    EXPECT_EQ(listener->getExpirationKey().lock(), owner);
    EXPECT_EQ(listener->getExpirationToken(), 12U);
    listener->getExpirationCb()();
    EXPECT_TRUE(ran);

    owner.reset();
    ASSERT_EQ(mPosted.size(), 2U);
    EXPECT_EQ(mPosted[1]->dump(), "Callback Release 12");
    EXPECT_TRUE(log.has(LogLevel::Debug, "~ProfileKey"));
}

}  // namespace
}  // namespace velo
