// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "velo/AddProfileParams.h"
#include "velo/FilterProfileParams.h"
#include "velo/ModifyProfileParams.h"
#include "velo/ProfileParams.h"

namespace velo {
namespace {

/// The texts of consecutive values, as a stream that is set to hexadecimal writes them.
template <typename Enum>
std::string textsOf(int first, int last) {
    std::ostringstream out;
    for (int value = first; value <= last; ++value) {
        out << std::hex << static_cast<Enum>(value) << " ";
    }
    return out.str();
}

TEST(ParamsTest, EnumerationsAreWrittenAsCallersKnowThem) {
    EXPECT_EQ(textsOf<TechType>(-1, 2), "-1 3GPP 3GPP2 2 ");
    EXPECT_EQ(textsOf<IPType>(0, 4), "UNKNOWN V4 V6 V4V6 4 ");
    EXPECT_EQ(textsOf<AuthType>(0, 4), "NONE PAP CHAP PAP_CHAP 4 ");
    EXPECT_EQ(textsOf<ApnClass>(0, 5), "0 IMS ADMN INET APP 5 ");
    EXPECT_EQ(textsOf<TechType>(10, 10), "10 ");
    EXPECT_EQ(textsOf<ApnTypes>(0, 2), "NONE DEFAULT| MMS| ");
    EXPECT_EQ(textsOf<ApnTypes>(0x1000, 0x1001), " DEFAULT| ");
    EXPECT_EQ(textsOf<ApnTypes>(0xFFF, 0xFFF),
              "DEFAULT|MMS|SUPL|DUN|HIPRI|FOTA|IMS|CBS|IA|EMERGENCY|MCX|XCAP| ");
    EXPECT_EQ(textsOf<FilterMatchType>(0, 1), "None HomeIPSubset| ");
    EXPECT_EQ(textsOf<FilterMatchType>(0x7F, 0x7F),
              "HomeIPSubset|RoamIPSubset|ApnNameSubset|ApnTypeBitmaskSubset|HomeIPSuperset|"
              "RoamIPSuperset| ");
}

/// Every setting that a caller can set.
ProfileParams fullParams() {
    ProfileParams params;
    params.setPdnReqWaitInterval(1023);
    params.setMaxPdnConnTimer(-1);
    params.setMaxPdnsConnPerBlock(1234567);
    params.setIsApnDisabled(true);
    params.setIsEmergencySupported(false);
    params.setIsClatEnabled(true);
    params.setApnClass(ApnClass::INET);
    params.setApnTypesMask(0x41);
    params.setRoamIPType(IPType::V4);
    params.setHomeIPType(IPType::V4V6);
    params.setAuthType(AuthType::PAP_CHAP);
    params.setPassword("secret");
    params.setUserName("me");
    params.setApnName("internet");
    return params;
}

constexpr const char* kFullText =
    "ApnName=internet,UserName=me,Password=secret,AuthType=PAP_CHAP,HomeIPType=V4V6,RoamIPType=V4,"
    "ApnTypesMask=DEFAULT|IMS|,ApnClass=INET,IsClatEnabled=true,MaxPdnsConnPerBlock=1234567,"
    "MaxPdnConnTimer=-1,PdnReqWaitInterval=1023,IsApnDisabled=true,IsEmergencySupported=false,";

TEST(ParamsTest, DumpsShowWhatIsPresentInFixedOrder) {
    EXPECT_EQ(ProfileParams().dump(), "");
    EXPECT_EQ(fullParams().dump(), kFullText);
    EXPECT_EQ(ModifyProfileParams(fullParams()).dump(), kFullText);

    FilterProfileParams filter(fullParams());
    filter.setFilterByIsIAProfile(false);
    filter.setFilterByIsVeloProfile(true);
    filter.setFilterByProfileId(3);
    filter.setFilterByTechType(TechType::TECH_3GPP);
    filter.addFilterMatchCriteria(0x05);
    filter.removeFilterMatchCriteria(0x03);
    EXPECT_EQ(filter.dump(), std::string("ApnNameSubset|: tech=3GPP,id=3,") + kFullText +
                                 "IsVeloProfile=true,IsIAProfile=false,");
    EXPECT_EQ(FilterProfileParams().dump(), "None: ");

    // A copy made from a filter keeps its flags, but the argument decides about initial attach.
    EXPECT_EQ(
        AddProfileParams(filter, true, TechType::TECH_3GPP2, true).dump(),
        std::string("3GPP2 persist=true: ") + kFullText + "IsVeloProfile=true,IsIAProfile=true,");
    EXPECT_EQ(AddProfileParams(false, TechType::TECH_3GPP, false).dump(),
              "3GPP persist=false: IsIAProfile=false,");
}

}  // namespace
}  // namespace velo
