// SPDX-License-Identifier: Apache-2.0
//
// What a filter finds, setting by setting and criterion by criterion.

#include <algorithm>
#include <functional>

#include "CacheView.h"
#include "Support.h"

namespace velo::test {
namespace {

class FilterTest : public LibraryTest {
protected:
    std::shared_ptr<IProfileKey> store(TechType tech, const ProfileParams& params) {
        return manager().addProfile(AddProfileParams(params, false, tech, false));
    }

    /// The profiles below that the filter finds, by their letters.
    std::string found(const FilterProfileParams& filter) {
        std::string letters;
        for (const auto& key : manager().filter(filter)) {
            for (const auto& [letter, own] : mProfiles) {
                if (own->getTechType() == key->getTechType() &&
                    own->getProfileId() == key->getProfileId()) {
                    letters += letter;
                }
            }
        }
        std::sort(letters.begin(), letters.end());
        return letters;
    }

    std::vector<std::pair<char, std::shared_ptr<IProfileKey>>> mProfiles;
};

constexpr unsigned int bits(FilterMatchType criterion) {
    return static_cast<unsigned int>(criterion);
}

TEST_F(FilterTest, FindsWhatFitsEverySettingAndCriterion) {
    ProfileParams a = byApn("Internet");
    a.setHomeIPType(IPType::V4V6);
    a.setRoamIPType(IPType::V4);
    a.setApnTypesMask(0x041);
    a.setIsEmergencySupported(true);
    ProfileParams b = byApn("cdma.internet");
    b.setHomeIPType(IPType::V4);
    b.setApnTypesMask(0x001);
    ProfileParams c = byApn("c");
    c.setHomeIPType(IPType::V6);
    c.setRoamIPType(IPType::V4V6);
    c.setMaxPdnsConnPerBlock(20);
    c.setMaxPdnConnTimer(300);
    c.setPdnReqWaitInterval(7);
    c.setIsApnDisabled(true);
    mProfiles = {{'a', store(TechType::TECH_3GPP, a)},
                 {'b', store(TechType::TECH_3GPP2, b)},
                 {'c', store(TechType::TECH_3GPP, c)}};
    ASSERT_TRUE(mProfiles[0].second && mProfiles[1].second && mProfiles[2].second);

    using Filter = FilterProfileParams;
    using Match = FilterMatchType;
    const auto apn = [](Filter& filter) { filter.setApnName("INTERNET"); };
    const auto types = [](unsigned int mask) {
        return [mask](Filter& filter) { filter.setApnTypesMask(mask); };
    };
    const auto home = [](IPType type) {
        return [type](Filter& filter) { filter.setHomeIPType(type); };
    };
    const auto roam = [](IPType type) {
        return [type](Filter& filter) { filter.setRoamIPType(type); };
    };
    const struct {
        std::function<void(Filter&)> set;
        unsigned int criteria;
        const char* found;
    } cases[] = {
        {apn, 0, "a"},
        {apn, bits(Match::ApnNameSubset), "ab"},
        {types(0x001), 0, "b"},
        {types(0x001), bits(Match::ApnTypeBitmaskSubset), "ab"},
        {types(0x003), bits(Match::ApnTypeBitmaskSubset), ""},
        {home(IPType::V6), 0, "c"},
        {home(IPType::V6), bits(Match::HomeIPSubset), "ac"},
        {home(IPType::V6), bits(Match::HomeIPSuperset), "c"},
        {home(IPType::V4V6), bits(Match::HomeIPSuperset), "abc"},
        {roam(IPType::V4), 0, "a"},
        {roam(IPType::V4), bits(Match::RoamIPSubset), "ac"},
        {roam(IPType::V6), bits(Match::RoamIPSuperset), ""},
        {roam(IPType::V4V6), bits(Match::RoamIPSuperset), "ac"},
        {roam(IPType::V4V6), bits(Match::HomeIPSuperset), "c"},
        // A profile of the other technology has none of these, whatever the value.
        {[](Filter& filter) { filter.setFilterByIsIAProfile(false); }, 0, "ac"},
        {[](Filter& filter) { filter.setFilterByIsVeloProfile(true); }, 0, "ac"},
        {[](Filter& filter) { filter.setFilterByIsVeloProfile(false); }, 0, ""},
        {[](Filter& filter) { filter.setMaxPdnsConnPerBlock(20); }, 0, "c"},
        {[](Filter& filter) { filter.setMaxPdnConnTimer(300); }, 0, "c"},
        {[](Filter& filter) { filter.setPdnReqWaitInterval(7); }, 0, "c"},
        {[](Filter& filter) { filter.setIsApnDisabled(true); }, 0, "c"},
        {[](Filter& filter) { filter.setIsEmergencySupported(true); }, 0, "a"},
    };
    for (const auto& each : cases) {
        FilterProfileParams filter;
        each.set(filter);
        filter.addFilterMatchCriteria(each.criteria);
        EXPECT_EQ(found(filter), each.found) << filter.dump();
    }
}

}  // namespace
}  // namespace velo::test
