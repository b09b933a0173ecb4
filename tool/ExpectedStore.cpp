// SPDX-License-Identifier: Apache-2.0

#include "tool/ExpectedStore.h"

#include <algorithm>
#include <array>
#include <map>

#include "tool/Setting.h"
#include "tool/Words.h"

namespace velo::tool {

namespace {

constexpr std::size_t kLongestApn = 150;
constexpr std::size_t kLongestCredential = 127;
constexpr auto kHomeEitherWay = static_cast<unsigned int>(FilterMatchType::HomeIPSubset) |
                                static_cast<unsigned int>(FilterMatchType::HomeIPSuperset);
constexpr auto kRoamEitherWay = static_cast<unsigned int>(FilterMatchType::RoamIPSubset) |
                                static_cast<unsigned int>(FilterMatchType::RoamIPSuperset);

/// A stored profile with the roaming type that counts: without one of its own, that of the home
/// network.
ProfileView viewOf(const modem::StoredProfile& profile) {
    ProfileView view = describe(profile);
    const wds_profile_settings_v01& from = profile.settings;
    const auto given = [](const auto& field) {
        return field.valid != 0 && field.value != WDS_COMMON_PDP_TYPE_UNKNOWN;
    };
    if (view.tech == TechType::TECH_3GPP && from.pdp_type.valid != 0 &&
        !given(from.lte_roaming_pdp_type) && !given(from.umts_roaming_pdp_type)) {
        modem::StoredProfile home = profile;
        home.settings.override_home_pdp_type.valid = 0;
        view.params.setRoamIPType(describe(home).params.getHomeIPType());
    }
    return view;
}

std::string storedText(const Setting& setting, const std::string& text) {
    if (setting.name == "apn") {
        return lowerCase(text.substr(0, kLongestApn));
    }
    const bool credential = setting.name == "user" || setting.name == "password";
    return credential ? text.substr(0, kLongestCredential) : text;
}

void merge(ProfileView& view, const ProfileParams& params) {
    for (const Setting& setting : settings()) {
        const auto value = setting.get(params, false);
        if (value && (setting.on3gpp2 || view.tech == TechType::TECH_3GPP)) {
            setting.set(view.params, storedText(setting, toText(*value)));
        }
    }
}

bool ipFits(IPType offered, IPType wanted, bool eitherWay) {
    const int has = static_cast<int>(offered);
    const int wants = static_cast<int>(wanted);
    return has == wants || (eitherWay && ((wants & has) == wants || (has & ~wants) == 0));
}

bool ipFits(const ProfileView& view, const FilterProfileParams& filter) {
    const unsigned int criteria = filter.getFilterMatchCriteria();
    const bool is3gpp = view.tech == TechType::TECH_3GPP;
    if (filter.hasHomeIPType() && ((is3gpp && !view.params.hasHomeIPType()) ||
                                   !ipFits(view.params.getHomeIPType(), filter.getHomeIPType(),
                                           (criteria & kHomeEitherWay) != 0))) {
        return false;
    }
    return !filter.hasRoamIPType() || (view.params.hasRoamIPType() &&
                                       ipFits(view.params.getRoamIPType(), filter.getRoamIPType(),
                                              (criteria & kRoamEitherWay) != 0));
}

/// Only what the policies ask for.
bool fits(const ProfileView& view, const FilterProfileParams& filter) {
    const FilterProfileParams& has = view.params;
    if (filter.hasFilterByTechType() && filter.getFilterByTechType() != view.tech) {
        return false;
    }
    if (filter.hasApnName() &&
        (!has.hasApnName() ||
         has.getApnName() != lowerCase(filter.getApnName().substr(0, kLongestApn)))) {
        return false;
    }
    if (filter.hasUserName() && (!has.hasUserName() || has.getUserName() != filter.getUserName())) {
        return false;
    }
    if (filter.hasFilterByIsIAProfile()) {
        if (filter.getIsIAProfile() != has.getIsIAProfile()) {
            return false;
        }
    } else if (filter.hasFilterByIsVeloProfile() &&
               filter.getIsVeloProfile() != has.getIsVeloProfile()) {
        return false;
    }
    if (filter.hasIsEmergencySupported() &&
        (!has.hasIsEmergencySupported() ||
         filter.getIsEmergencySupported() != has.getIsEmergencySupported())) {
        return false;
    }
    return ipFits(view, filter);
}

/// A filter for the technology and the APN name of a record, when it has one.
FilterProfileParams byName(TechType tech, const ProfileParams& params) {
    FilterProfileParams filter;
    filter.setFilterByTechType(tech);
    if (params.hasApnName()) {
        filter.setApnName(params.getApnName());
    }
    return filter;
}

void copyIpTypes(const ProfileParams& from, ProfileParams& to) {
    if (from.hasHomeIPType()) {
        to.setHomeIPType(from.getHomeIPType());
    }
    if (from.hasRoamIPType()) {
        to.setRoamIPType(from.getRoamIPType());
    }
}

/// What an attach changes whichever profile it takes: credentials, types and timers.
ProfileParams attachUpdate(const ProfileParams& params) {
    ProfileParams update;
    for (const char* name :
         {"user", "password", "auth", "types", "max-conns", "max-conns-time", "wait-time"}) {
        const auto value = setting(name).get(params, false);
        if (value) {
            setting(name).set(update, storedText(setting(name), toText(*value)));
        }
    }
    return update;
}

std::string textOf(ExpectedStore::Place place) {
    return placeOf(ProfileView{.tech = place.first, .id = place.second});
}

}  // namespace

ExpectedStore::ExpectedStore(const std::vector<modem::StoredProfile>& before, bool updateAllowed)
    : mUpdateAllowed(updateAllowed) {
    for (const modem::StoredProfile& profile : before) {
        mProfiles.push_back(viewOf(profile));
    }
}

void ExpectedStore::typeMasks(const std::list<ProfileParams>& records) {
    std::map<std::string, std::array<unsigned int, 3>> wanted;
    for (const ProfileParams& record : records) {
        if (!record.hasApnName()) {
            continue;
        }
        auto& [v4, v6, dual] = wanted[lowerCase(record.getApnName())];
        const IPType ip = record.hasHomeIPType() ? record.getHomeIPType() : IPType::V4V6;
        (ip == IPType::V4 ? v4 : (ip == IPType::V6 ? v6 : dual)) |= record.getApnTypesMask();
    }
    for (const auto& [apn, masks] : wanted) {
        const auto& [v4, v6, dual] = masks;
        if (mUpdateAllowed) {
            FilterProfileParams filter;
            filter.setApnName(apn);
            setMask(filter, v4 | v6 | dual);
        } else {
            splitMasks(TechType::TECH_3GPP, apn, v4, v6, dual);
            splitMasks(TechType::TECH_3GPP2, apn, v4, v6, dual);
        }
    }
}

void ExpectedStore::splitMasks(TechType tech, const std::string& apn, unsigned int v4,
                               unsigned int v6, unsigned int dual) {
    const auto family = [&](IPType ip) {
        FilterProfileParams filter;
        filter.setFilterByTechType(tech);
        filter.setApnName(apn);
        filter.setHomeIPType(ip);
        return filter;
    };
    const bool hasV4 = !fitting(family(IPType::V4)).empty();
    const bool hasV6 = !fitting(family(IPType::V6)).empty();
    const bool hasDual = !fitting(family(IPType::V4V6)).empty();
    const unsigned int homeless4 = hasV4 ? 0 : v4;
    const unsigned int homeless6 = hasV6 ? 0 : v6;
    const unsigned int shared = dual | homeless4 | homeless6;

    // Types without a family of their own go to the dual-stack profiles, or else to all that there
    // is.
    const unsigned int extra = hasDual ? 0 : shared;
    if (v4 != 0 || extra != 0) {
        setMask(family(IPType::V4), v4 | extra);
    }
    if (v6 != 0 || extra != 0) {
        setMask(family(IPType::V6), v6 | extra);
    }
    if (shared != 0) {
        setMask(family(IPType::V4V6), shared);
    }
}

void ExpectedStore::setMask(const FilterProfileParams& filter, unsigned int mask) {
    for (const Place& place : fitting(filter)) {
        mProfiles[indexOf(place)].params.setApnTypesMask(mask);
    }
}

ExpectedStore::Choice ExpectedStore::attachChoice(const ProfileParams& params) const {
    Choice choice;
    ProfileParams update = attachUpdate(params);
    // A search looks at one of the profiles that it finds, any of them. One that the library made
    // for something else may not be used, and leads to the next search.
    const auto endsHere = [&](const FilterProfileParams& filter) {
        const std::vector<Place> places = fitting(filter);
        bool ends = !places.empty();
        for (const Place& place : places) {
            const FilterProfileParams& has = mProfiles[indexOf(place)].params;
            if (!has.getIsVeloProfile() || has.getIsIAProfile()) {
                choice.candidates.push_back({place, update});
            } else {
                ends = false;
            }
        }
        return ends;
    };

    FilterProfileParams exact = byName(TechType::TECH_3GPP, params);
    copyIpTypes(params, exact);
    if (endsHere(exact)) {
        return choice;
    }
    FilterProfileParams loose = byName(TechType::TECH_3GPP, params);
    if (mUpdateAllowed) {
        copyIpTypes(params, update);
    } else {
        loose.setFilterByIsVeloProfile(false);
        copyIpTypes(params, loose);
        loose.addFilterMatchCriteria(kHomeEitherWay | kRoamEitherWay);
    }
    if (endsHere(loose)) {
        return choice;
    }
    copyIpTypes(params, update);
    FilterProfileParams own = byName(TechType::TECH_3GPP, params);
    own.setFilterByIsVeloProfile(true);
    own.setFilterByIsIAProfile(true);
    if (fitting(own).empty()) {
        own = byName(TechType::TECH_3GPP, ProfileParams());
        own.setFilterByIsVeloProfile(true);
        own.setFilterByIsIAProfile(true);
        if (params.hasApnName()) {
            update.setApnName(params.getApnName());
        }
    }
    choice.mayCreate = !endsHere(own);
    return choice;
}

std::string ExpectedStore::attach(const ProfileParams& params, Place chosen) {
    return judge(attachChoice(params), chosen, "attach", {params, true, true});
}

std::string ExpectedStore::dataCall(TechType tech, const ProfileParams& params, Place chosen) {
    FilterProfileParams filter = byName(tech, params);
    if (tech == TechType::TECH_3GPP2 && params.hasUserName()) {
        filter.setUserName(params.getUserName());
    }
    if (!mUpdateAllowed && params.hasHomeIPType()) {
        filter.setHomeIPType(params.getHomeIPType());
    }
    std::vector<Place> places = fitting(filter);
    if (places.empty() && !mUpdateAllowed) {
        filter.addFilterMatchCriteria(kHomeEitherWay);
        places = fitting(filter);
    }
    const ProfileParams update = mUpdateAllowed ? params : ProfileParams();
    return judge(anyOf(places, update), chosen, "data call", {params, false, false});
}

std::string ExpectedStore::emergency(const ProfileParams& params, Place chosen) {
    FilterProfileParams filter = byName(TechType::TECH_3GPP, params);
    filter.setIsEmergencySupported(true);
    std::vector<Place> places = fitting(filter);
    if (places.empty()) {
        filter = byName(TechType::TECH_3GPP, ProfileParams());
        filter.setIsEmergencySupported(true);
        places = fitting(filter);
    }
    ProfileParams created = params;
    created.setIsEmergencySupported(true);
    created.setApnTypesMask(static_cast<unsigned int>(ApnTypes::EMERGENCY));
    return judge(anyOf(places, ProfileParams()), chosen, "emergency", {created, true, false});
}

ExpectedStore::Choice ExpectedStore::anyOf(const std::vector<Place>& places,
                                           const ProfileParams& update) const {
    Choice choice{.candidates = {}, .mayCreate = places.empty()};
    for (const Place& place : places) {
        choice.candidates.push_back({place, update});
    }
    return choice;
}

std::string ExpectedStore::judge(const Choice& choice, Place chosen, const char* what,
                                 const Creation& creation) {
    const std::string opening = std::string(what) + ": " + textOf(chosen);
    if (!has(chosen)) {
        create(chosen, creation);
        return choice.mayCreate ? "" : opening + " was created although another fits";
    }
    for (const Candidate& candidate : choice.candidates) {
        if (candidate.place == chosen) {
            merge(mProfiles[indexOf(chosen)], candidate.update);
            return "";
        }
    }
    return opening + " does not fit";
}

void ExpectedStore::create(Place place, const Creation& creation) {
    ProfileView view{.tech = place.first, .id = place.second, .persistent = creation.persistent};
    merge(view, creation.params);
    if (place.first == TechType::TECH_3GPP) {
        view.name = creation.initialAttach ? "velo_profile_ia" : "velo_profile";
        view.params.setFilterByIsVeloProfile(true);
        view.params.setFilterByIsIAProfile(creation.initialAttach);
    }
    mProfiles.push_back(view);
    if (!creation.persistent) {
        mTemporary.push_back(place);
    }
}

bool ExpectedStore::has(Place place) const {
    return indexOf(place) < mProfiles.size();
}

std::size_t ExpectedStore::indexOf(Place place) const {
    const auto found =
        std::find_if(mProfiles.begin(), mProfiles.end(), [&](const ProfileView& view) {
            return Place{view.tech, view.id} == place;
        });
    return static_cast<std::size_t>(found - mProfiles.begin());
}

std::vector<ExpectedStore::Place> ExpectedStore::fitting(const FilterProfileParams& filter) const {
    std::vector<Place> places;
    for (const ProfileView& view : mProfiles) {
        if (fits(view, filter)) {
            places.emplace_back(view.tech, view.id);
        }
    }
    return places;
}

void ExpectedStore::release() {
    for (const Place& place : mTemporary) {
        mProfiles.erase(mProfiles.begin() + static_cast<std::ptrdiff_t>(indexOf(place)));
    }
    mTemporary.clear();
}

std::vector<ProfileChange> ExpectedStore::differences(
    const std::vector<modem::StoredProfile>& store) const {
    std::vector<ProfileView> actual;
    actual.reserve(store.size());
    for (const modem::StoredProfile& profile : store) {
        actual.push_back(viewOf(profile));
    }
    return changesBetween(mProfiles, actual);
}

}  // namespace velo::tool
