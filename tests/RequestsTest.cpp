// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "ClientRequest.h"
#include "ClientResponse.h"
#include "ProfileKey.h"

namespace velo {
namespace {

std::shared_ptr<ProfileKey> key(int techType, int profileId, unsigned long long token) {
    return std::make_shared<ProfileKey>(static_cast<TechType>(techType), profileId, token,
                                        [](const auto&) { return nullptr; });
}

TEST(RequestsTest, TextsOfWhatIsMissingOrUnknown) {
    auto owner = key(1, 3, 0);
    EXPECT_EQ(ModifyRequest(ModifyProfileParams(), nullptr).dump(), "Modify  ");
    EXPECT_EQ(DeleteRequest(nullptr).dump(), "Delete ");
    EXPECT_EQ(ClientRequest(static_cast<ReqRespType>(8)).dump(), "8 ");
    std::ostringstream out;
    out << std::hex << ReqRespType::Callback << static_cast<ReqRespType>(10);
    EXPECT_EQ(out.str(), "Callback10");
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

}  // namespace
}  // namespace velo
