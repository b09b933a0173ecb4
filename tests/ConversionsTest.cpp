// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <vector>

#include "ProfileConversions.h"
#include "Support.h"

namespace velo::test {
namespace {

TEST(ConversionsTest, EachApnTypeHasOneModemBit) {
    const std::vector<std::pair<unsigned int, unsigned long long>> bits = {
        {0x001, 0x001}, {0x002, 0x004}, {0x004, 0x010}, {0x008, 0x008},
        {0x010, 0x020}, {0x020, 0x040}, {0x040, 0x002}, {0x080, 0x080},
        {0x100, 0x100}, {0x200, 0x200}, {0x400, 0x800}, {0x800, 0x400}};
    for (const auto& [common, mox] : bits) {
        SCOPED_TRACE(common);
        EXPECT_EQ(convertToSingleMoxApnType(static_cast<ApnTypes>(common)), mox);
        EXPECT_EQ(convertToSingleCommonApnType(mox), static_cast<ApnTypes>(common));
        EXPECT_EQ(convertToMoxApnTypeMask(common | 0xFFFFF000U), mox);
        EXPECT_EQ(convertToCommonApnTypeMask(mox | 0xFFFFFFFFFFFFF000ULL), common);
    }
    EXPECT_EQ(convertToMoxApnTypeMask(0x041), 0x003U);
    EXPECT_EQ(convertToCommonApnTypeMask(0x003), 0x041U);
    EXPECT_EQ(convertToMoxApnTypeMask(0xFFF), 0xFFFU);
}

TEST(ConversionsTest, WhatIsNotOneApnTypeBitIsNone) {
    for (const unsigned long long notABit : {0x0ULL, 0x3ULL, 0x1000ULL, 0x100000001ULL}) {
        EXPECT_EQ(convertToSingleCommonApnType(notABit), ApnTypes{}) << notABit;
    }
    for (const unsigned int notABit : {0x0U, 0x41U, 0x1000U}) {
        EXPECT_EQ(convertToSingleMoxApnType(static_cast<ApnTypes>(notABit)), 0U) << notABit;
    }
}

TEST(ConversionsTest, UnknownModemValuesAreLoggedAndReplaced) {
    const LogRecorder log;
    EXPECT_EQ(convertProfileType(static_cast<wds_profile_type_enum_v01>(2)), TechType::TECH_3GPP);
    EXPECT_EQ(convertPdnType(static_cast<wds_profile_pdn_type_enum_v01>(4)), IPType::UNKNOWN);
    EXPECT_EQ(convertPdnType(WDS_PROFILE_PDN_TYPE_UNSPECIFIED), IPType::UNKNOWN);
    EXPECT_EQ(convertPdpType(static_cast<wds_pdp_type_enum_v01>(1)), IPType::UNKNOWN);
    EXPECT_EQ(convertPdpType(WDS_COMMON_PDP_TYPE_UNKNOWN), IPType::UNKNOWN);
    EXPECT_EQ(log.lines(),
              std::vector<LogRecorder::Line>({{LogLevel::Debug, "Unknown tech type 2"},
                                              {LogLevel::Debug, "Unknown profile_pdn_type_enum 4"},
                                              {LogLevel::Debug, "Unknown pdp_type_enum 1"},
                                              {LogLevel::Debug, "Unknown pdp_type_enum 255"}}));
}

TEST(ConversionsTest, AuthTypesGoBothWaysWithoutALog) {
    const LogRecorder log;
    for (const AuthType authType :
         {AuthType::NONE, AuthType::PAP, AuthType::CHAP, AuthType::PAP_CHAP}) {
        const auto pref = static_cast<unsigned char>(convertToMoxAuthPref(authType) | 0xFC);
        EXPECT_EQ(convertToAuthType(pref), authType);
        EXPECT_EQ(convertToAuthType(convertToMoxAuthProtocol(authType)), authType);
        EXPECT_EQ(convertToAuthType(convertToMoxPdnLevelAuthProtocol(authType)), authType);
    }
    EXPECT_EQ(convertToAuthType(static_cast<wds_profile_auth_protocol_enum_v01>(4)),
              AuthType::NONE);
    EXPECT_EQ(convertToMoxAuthProtocol(static_cast<AuthType>(4)), WDS_PROFILE_AUTH_PROTOCOL_NONE);
    EXPECT_TRUE(log.lines().empty());
}

TEST(ConversionsTest, IdentifiersKeepTheLowByteAndNamesTheOtherBytes) {
    EXPECT_EQ(convertToProfileIdentifier(TechType::TECH_3GPP, 300).profile_index, 44);
    EXPECT_EQ(convertToProfileIdentifier(TechType::TECH_3GPP2, 3).profile_type, 1U);
    EXPECT_EQ(convertToProfileIdentifier(static_cast<TechType>(2), 3).profile_type, 0U);
    EXPECT_EQ(convertToLower("IMS.Apn-@[`\xC3\x84"), "ims.apn-@[`\xC3\x84");
}

}  // namespace
}  // namespace velo::test
