// SPDX-License-Identifier: Apache-2.0

#include "modem/WdsService.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "host/mox/Codec.h"
#include "host/mox/WdsService.h"

namespace velo::modem {

namespace {

constexpr std::uint32_t kEveryTechnology = 0xFF;
constexpr std::uint32_t kEveryProfile = 0xFFFFFFFF;
constexpr std::size_t kUsualPayload = 512;

bool covers(const wds_profile_event_v01& wanted, const wds_profile_identifier_v01& id) {
    return (wanted.profile_type == kEveryTechnology || wanted.profile_type == id.profile_type) &&
           (wanted.profile_index == kEveryProfile || wanted.profile_index == id.profile_index);
}

/// Whether an event is about one profile, so that a client may have asked not to hear of it.
bool concernsProfile(wds_profile_event_enum_v01 event) {
    return event == WDS_PROFILE_EVENT_CREATE || event == WDS_PROFILE_EVENT_DELETE ||
           event == WDS_PROFILE_EVENT_MODIFY;
}

bool wants(const Session& session, const wds_profile_identifier_v01& id,
           wds_profile_event_enum_v01 event) {
    return !concernsProfile(event) ||
           std::any_of(session.events.begin(), session.events.end(),
                       [&](const auto& wanted) { return covers(wanted, id); });
}

ProfileStore::Outcome carryOut(ProfileStore& store, const Change& change) {
    switch (change.kind) {
        case Change::Kind::Create:
            return store.create(change.profile);
        case Change::Kind::Modify:
            return store.modify(change.profile.id, change.profile.settings);
        case Change::Kind::Delete:
            return store.remove(change.profile.id);
    }
    return {WDS_ERR_INTERNAL, {}};
}

bool touchesPersistent(const ProfileStore& store, const Change& change) {
    if (change.kind == Change::Kind::Create) {
        return change.profile.persistent;
    }
    const auto* profile = store.find(change.profile.id);
    return profile != nullptr && profile->persistent;
}

wds_response_type_v01 resultOf(wds_error_enum_v01 error) {
    return {error == WDS_ERR_NONE ? WDS_RESULT_SUCCESS : WDS_RESULT_FAILURE, error};
}

}  // namespace

WdsService::WdsService(Server& server, unsigned int subscriptions, std::size_t capacity,
                       const std::vector<StoredProfile>& factory, const StateFile* state)
    : mServer(server),
      mState(state),
      mStores(std::max(subscriptions, 1U), ProfileStore(capacity, factory)) {
    if (mState == nullptr) {
        return;
    }
    const auto held = mState->boot(contents(), mStores.front().capacity());
    for (std::size_t i = 0; i < mStores.size(); ++i) {
        mStores[i].replace(held[i]);
    }
}

void WdsService::onRequest(Connection& connection, const mox::Frame& request) {
    ++mExchanges;
    connection.session.active = true;
    const Handler handler = handlerOf(request.messageId);
    if (handler == nullptr) {
        return refuse(connection, request, WDS_ERR_NOT_SUPPORTED);
    }
    // A copy, because what it does may replace it.
    if (const auto gate = mGate; gate != nullptr && !(*gate)(request)) {
        return refuse(connection, request, WDS_ERR_INTERNAL);
    }
    (this->*handler)(connection, request);
}

void WdsService::reject(Connection& connection, const mox::Frame& request) {
    ++mExchanges;
    connection.session.active = true;
    refuse(connection, request, WDS_ERR_INTERNAL);
}

void WdsService::onDamagedRequest(Connection& connection, const mox::Frame& head) {
    ++mExchanges;
    refuse(connection, head, WDS_ERR_MALFORMED_MSG);
}

WdsService::Handler WdsService::handlerOf(unsigned int messageId) {
    switch (messageId) {
        case kWdsIndicationRegisterReq:
            return &WdsService::registerIndications;
        case kWdsCreateProfileReq:
            return &WdsService::createProfile;
        case kWdsModifyProfileSettingsReq:
            return &WdsService::modifyProfile;
        case kWdsDeleteProfileReq:
            return &WdsService::deleteProfile;
        case kWdsGetProfileListReq:
            return &WdsService::listProfiles;
        case kWdsGetProfileSettingsReq:
            return &WdsService::getSettings;
        case kWdsConfigureProfileEventListReq:
            return &WdsService::configureEvents;
        case kWdsBindSubscriptionReq:
            return &WdsService::bind;
        default:
            return nullptr;
    }
}

ProfileStore::Outcome WdsService::change(
    unsigned int subscription, const Change& change,
    const std::function<void(const ProfileStore::Outcome&)>& answer) {
    const auto outcome = apply(subscription, change);
    if (answer) {
        answer(outcome);
    }
    if (outcome.error != WDS_ERR_NONE) {
        return outcome;
    }
    switch (change.kind) {
        case Change::Kind::Create:
            announce(subscription, outcome.id, WDS_PROFILE_EVENT_CREATE);
            announce(subscription, outcome.id, WDS_PROFILE_EVENT_MODIFY);
            break;
        case Change::Kind::Modify:
            announce(subscription, outcome.id, WDS_PROFILE_EVENT_MODIFY);
            break;
        case Change::Kind::Delete:
            announce(subscription, outcome.id, WDS_PROFILE_EVENT_DELETE);
            break;
    }
    return outcome;
}

ProfileStore::Outcome WdsService::apply(unsigned int subscription, const Change& change) {
    if (subscription >= mStores.size()) {
        return {WDS_ERR_INVALID_ARG, {}};
    }
    auto& store = mStores[subscription];
    if (mState == nullptr || !touchesPersistent(store, change)) {
        return carryOut(store, change);
    }
    auto before = mStores;
    const auto outcome = carryOut(store, change);
    if (outcome.error != WDS_ERR_NONE) {
        return outcome;
    }
    const auto error = save(std::move(before));
    return error == WDS_ERR_NONE ? outcome : ProfileStore::Outcome{error, {}};
}

wds_error_enum_v01 WdsService::save(std::vector<ProfileStore> before) {
    const int error = mState->save(contents());
    if (error == 0) {
        return WDS_ERR_NONE;
    }
    mStores.swap(before);
    // Should the refused stores be in place, and only the flush of that have failed, these replace
    // them.
    mState->save(contents());
    const bool full = error == ENOSPC || error == EDQUOT || error == EFBIG;
    return full ? WDS_ERR_NO_MEMORY : WDS_ERR_INTERNAL;
}

StateFile::Stores WdsService::contents() const {
    StateFile::Stores stores;
    for (const ProfileStore& store : mStores) {
        stores.push_back(store.all());
    }
    return stores;
}

void WdsService::announce(unsigned int subscription, const wds_profile_identifier_v01& id,
                          wds_profile_event_enum_v01 event) {
    for (const auto& connection : mServer.connections()) {
        const auto& session = connection->session;
        if (connection->isOpen() && session.registered() && session.subscription == subscription &&
            wants(session, id, event)) {
            sendEvent(*connection, id, event);
        }
    }
}

mox::Frame WdsService::indication(const wds_profile_identifier_v01& id,
                                  wds_profile_event_enum_v01 event) {
    wds_profile_changed_ind_msg_v01 message{};
    message.profile_changed = {1, {id.profile_type, id.profile_index, event}};
    mox::Frame frame{MOX_MESSAGE_INDICATION, 0, kWdsProfileChangedInd, {}};
    mox::encode(*mox::wdsService().find(MOX_MESSAGE_INDICATION, kWdsProfileChangedInd), &message,
                frame.payload);
    return frame;
}

void WdsService::sendEvent(Connection& connection, const wds_profile_identifier_v01& id,
                           wds_profile_event_enum_v01 event) {
    mServer.transmit(connection, indication(id, event));
}

void WdsService::indicate(unsigned int subscription, std::uint16_t messageId,
                          const std::vector<std::uint8_t>& bytes) {
    for (const auto& connection : mServer.connections()) {
        const auto& session = connection->session;
        if (connection->isOpen() && session.registered() && session.subscription == subscription) {
            mServer.transmit(*connection, {MOX_MESSAGE_INDICATION, 0, messageId, bytes});
        }
    }
}

std::vector<StoredProfile> WdsService::profiles(unsigned int subscription) const {
    return subscription < mStores.size() ? mStores[subscription].all()
                                         : std::vector<StoredProfile>{};
}

void WdsService::forgetVolatile() {
    for (auto& store : mStores) {
        store.forgetVolatile();
    }
}

bool WdsService::restoreFactory() {
    auto before = mStores;
    for (auto& store : mStores) {
        store.restoreFactory();
    }
    return mState == nullptr || save(std::move(before)) == WDS_ERR_NONE;
}

void WdsService::setGate(Gate gate) {
    mGate = gate ? std::make_shared<Gate>(std::move(gate)) : nullptr;
}

template <typename Request, typename CarryOut>
void WdsService::withRequest(Connection& connection, const mox::Frame& request, CarryOut carryOut) {
    Request message;
    if (!mox::decode(*mox::wdsService().find(MOX_MESSAGE_REQUEST, request.messageId),
                     request.payload, &message)) {
        return refuse(connection, request, WDS_ERR_MALFORMED_MSG);
    }
    carryOut(message);
}

template <typename Response>
void WdsService::answer(Connection& connection, const mox::Frame& request,
                        const Response& response) {
    static_assert(offsetof(Response, response) == 0);
    sendResponse(connection, request, &response);
}

void WdsService::refuse(Connection& connection, const mox::Frame& request,
                        wds_error_enum_v01 error) {
    // Whatever the response, it opens with the result; the rest of a refusal is empty.
    wds_get_profile_list_resp_msg_v01 response{};
    response.response = resultOf(error);
    sendResponse(connection, request, &response);
}

void WdsService::sendResponse(Connection& connection, const mox::Frame& request,
                              const void* response) {
    const auto* layout = mox::wdsService().find(MOX_MESSAGE_RESPONSE, request.messageId);
    if (layout == nullptr) {
        layout = mox::wdsService().find(MOX_MESSAGE_RESPONSE, kWdsBindSubscriptionReq);
    }
    mox::Frame frame{MOX_MESSAGE_RESPONSE, request.transaction, request.messageId, {}};
    frame.payload.reserve(kUsualPayload);
    mox::encode(*layout, response, frame.payload);
    mServer.transmit(connection, std::move(frame));
}

void WdsService::createProfile(Connection& connection, const mox::Frame& request) {
    withRequest<wds_create_profile_req_msg_v01>(connection, request, [&](const auto& message) {
        // A profile is kept unless its creator says otherwise.
        const bool persistent = message.persistent.valid == 0 || message.persistent.value != 0;
        const Change creation{Change::Kind::Create,
                              {{message.profile_type, 0}, persistent, message.settings}};
        change(connection.session.subscription, creation, [&](const auto& outcome) {
            wds_create_profile_resp_msg_v01 response{};
            response.response = resultOf(outcome.error);
            response.profile = outcome.id;
            answer(connection, request, response);
        });
    });
}

void WdsService::modifyProfile(Connection& connection, const mox::Frame& request) {
    withRequest<
        wds_modify_profile_settings_req_msg_v01>(connection, request, [&](const auto& message) {
        const Change modification{Change::Kind::Modify, {message.profile, false, message.settings}};
        change(connection.session.subscription, modification, [&](const auto& outcome) {
            answer(connection, request,
                   wds_modify_profile_settings_resp_msg_v01{resultOf(outcome.error), {}});
        });
    });
}

void WdsService::deleteProfile(Connection& connection, const mox::Frame& request) {
    withRequest<wds_delete_profile_req_msg_v01>(connection, request, [&](const auto& message) {
        const Change deletion{Change::Kind::Delete, {message.profile, false, {}}};
        change(connection.session.subscription, deletion, [&](const auto& outcome) {
            answer(connection, request,
                   wds_delete_profile_resp_msg_v01{resultOf(outcome.error), {}});
        });
    });
}

void WdsService::listProfiles(Connection& connection, const mox::Frame& request) {
    withRequest<wds_get_profile_list_req_msg_v01>(connection, request, [&](const auto& message) {
        const auto& filter = message.profile_type;
        if (filter.valid != 0 && filter.value > WDS_PROFILE_TYPE_3GPP2) {
            return refuse(connection, request, WDS_ERR_INVALID_PROFILE_TYPE);
        }
        wds_get_profile_list_resp_msg_v01 response{};
        mStores[connection.session.subscription].forEach([&](const StoredProfile& profile) {
            const bool asked = filter.valid == 0 || filter.value == profile.id.profile_type;
            if (asked && response.profile_list_len < kWdsMaxProfiles) {
                auto& entry = response.profile_list[response.profile_list_len++];
                entry.profile_type = profile.id.profile_type;
                entry.profile_index = profile.id.profile_index;
                entry.profile_name = profile.settings.profile_name.value;
            }
        });
        answer(connection, request, response);
    });
}

void WdsService::getSettings(Connection& connection, const mox::Frame& request) {
    withRequest<wds_get_profile_settings_req_msg_v01>(
        connection, request, [&](const auto& message) {
            const auto* profile = mStores[connection.session.subscription].find(message.profile);
            if (profile == nullptr) {
                return refuse(connection, request, WDS_ERR_INVALID_PROFILE);
            }
            wds_get_profile_settings_resp_msg_v01 response{};
            response.persistent = {1, static_cast<std::uint8_t>(profile->persistent)};
            response.settings = profile->settings;
            answer(connection, request, response);
        });
}

void WdsService::bind(Connection& connection, const mox::Frame& request) {
    withRequest<wds_bind_subscription_req_msg_v01>(connection, request, [&](const auto& message) {
        if (message.instance >= mStores.size()) {
            return refuse(connection, request, WDS_ERR_INVALID_ARG);
        }
        connection.session.subscription = message.instance;
        answer(connection, request, wds_result_resp_msg_v01{});
    });
}

void WdsService::registerIndications(Connection& connection, const mox::Frame& request) {
    withRequest<wds_indication_register_req_msg_v01>(connection, request, [&](const auto& message) {
        const bool before = connection.session.registered();
        const auto& reports = message.report_profile_changes;
        if (reports.valid != 0) {
            connection.session.reportsChanges = reports.value != 0;
        }
        answerRegistration(connection, request, before);
    });
}

void WdsService::configureEvents(Connection& connection, const mox::Frame& request) {
    withRequest<wds_configure_profile_event_list_req_msg_v01>(
        connection, request, [&](const auto& message) {
            const bool before = connection.session.registered();
            if (message.events_valid != 0) {
                connection.session.events.assign(message.events,
                                                 message.events + message.events_len);
            }
            answerRegistration(connection, request, before);
        });
}

void WdsService::answerRegistration(Connection& connection, const mox::Frame& request,
                                    bool registeredBefore) {
    answer(connection, request, wds_result_resp_msg_v01{});
    if (!registeredBefore && connection.session.registered()) {
        sendEvent(connection, {}, WDS_PROFILE_EVENT_READY);
    }
}

}  // namespace velo::modem
