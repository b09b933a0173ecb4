// SPDX-License-Identifier: Apache-2.0

#include "Bed.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "Placement.h"
#include "host/mox/MoxHost.h"
#include "velo/Manager.h"

namespace velo::bench {

namespace {

std::unique_ptr<Bed>& current() {
    static std::unique_ptr<Bed> bed;
    return bed;
}

/// With strings as a carrier list has them.
modem::StoredProfile makeProfile(std::size_t number) {
    const bool is3gpp = number < kWdsMaxProfiles;
    modem::StoredProfile profile;
    profile.id.profile_type = is3gpp ? WDS_PROFILE_TYPE_3GPP : WDS_PROFILE_TYPE_3GPP2;
    profile.id.profile_index = static_cast<std::uint8_t>(number % kWdsMaxProfiles);
    profile.persistent = true;
    const std::string apn = "internet" + std::to_string(number) + ".example.net";
    if (is3gpp) {
        setText(profile.settings.profile_name, "profile" + std::to_string(number));
        setText(profile.settings.apn_name, apn);
        setText(profile.settings.user_name, "user");
        profile.settings.pdp_type = {1, WDS_PDP_TYPE_IPV4V6};
    } else {
        setText(profile.settings.apn_string_3gpp2, apn);
        setText(profile.settings.user_id_3gpp2, "user");
        profile.settings.pdn_type_3gpp2 = {1, WDS_PROFILE_PDN_TYPE_IPV4_IPV6};
    }
    profile.settings.apn_type_mask = {1, 1};
    return profile;
}

}  // namespace

void fail(const std::string& what) {
    std::fprintf(stderr, "velo_bench: failed: %s\n", what.c_str());
    std::exit(1);
}

Bed::Bed(std::size_t count) : mCount(count) {
    modem::ModemOptions options;
    options.factoryProfiles.emplace();
    for (std::size_t i = 0; i < count; ++i) options.factoryProfiles->push_back(makeProfile(i));
    const std::set<pid_t> others = threads();
    mModem = std::make_unique<modem::Modem>(std::move(options));
    const std::set<pid_t> all = threads();
    std::set_difference(all.begin(), all.end(), others.begin(), others.end(),
                        std::inserter(mModemThreads, mModemThreads.end()));
    mox::setModemPath(mModem->socketPath());
    startLibrary();

    const auto service =
        wds_get_service_object_internal_v01(kWdsMajorVersion, kWdsMinorVersion, kWdsToolVersion);
    mox_service_info info{};
    mox_client_os_params parameters{};
    const auto ignore = [](mox_client_type, unsigned int, void*, unsigned int, void*) {};
    if (mox_client_get_any_service(service, &info) != 0 ||
        mox_client_init(&info, service, ignore, nullptr, &parameters, &mClient) != 0) {
        fail("no client of its own");
    }
    // Not the library's: what is changed there must not keep the library busy.
    exchange<wds_result_resp_msg_v01>(kWdsBindSubscriptionReq,
                                      wds_bind_subscription_req_msg_v01{1});
    // A mirror of the profiles has to hear of changes; the modem tells it of its own, too.
    wds_indication_register_req_msg_v01 registration{};
    registration.report_profile_changes = {1, 1};
    exchange<wds_result_resp_msg_v01>(kWdsIndicationRegisterReq, registration);
    wds_configure_profile_event_list_req_msg_v01 events{};
    events.events_valid = 1;
    events.events_len = 1;
    events.events[0] = {0xFF, 0xFFFFFFFF};
    exchange<wds_result_resp_msg_v01>(kWdsConfigureProfileEventListReq, events);
}

Bed::~Bed() {
    mox_client_release(mClient);
}

Bed& Bed::of(std::size_t count) {
    auto& bed = current();
    if (bed == nullptr || bed->count() != count) {
        bed.reset();
        bed = std::make_unique<Bed>(count);
    }
    return *bed;
}

void Bed::reset() {
    current().reset();
}

void Bed::startLibrary() const {
    auto& manager = Manager::getInstance();
    manager.init(0, false);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (manager.filter(FilterProfileParams()).size() != mCount) {
        if (std::chrono::steady_clock::now() > end) fail("the cache was not filled");
    }
}

wds_profile_identifier_v01 Bed::create() {
    wds_create_profile_req_msg_v01 request{};
    request.persistent = {1, 0};
    setText(request.settings.profile_name, "velo_profile");
    setText(request.settings.apn_name, "bench.example.net");
    return exchange<wds_create_profile_resp_msg_v01>(kWdsCreateProfileReq, request).profile;
}

void Bed::remove(const wds_profile_identifier_v01& profile) {
    exchange<wds_delete_profile_resp_msg_v01>(kWdsDeleteProfileReq,
                                              wds_delete_profile_req_msg_v01{profile});
}

void Bed::readAll() {
    for (const auto type : {WDS_PROFILE_TYPE_3GPP, WDS_PROFILE_TYPE_3GPP2}) {
        wds_get_profile_list_req_msg_v01 request{};
        request.profile_type = {1, type};
        const auto list =
            exchange<wds_get_profile_list_resp_msg_v01>(kWdsGetProfileListReq, request);
        for (std::uint32_t i = 0; i < list.profile_list_len; ++i) {
            wds_get_profile_settings_req_msg_v01 get{};
            get.profile = {list.profile_list[i].profile_type, list.profile_list[i].profile_index};
            exchange<wds_get_profile_settings_resp_msg_v01>(kWdsGetProfileSettingsReq, get);
        }
    }
}

}  // namespace velo::bench
