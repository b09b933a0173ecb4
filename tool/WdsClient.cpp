// SPDX-License-Identifier: Apache-2.0

#include "tool/WdsClient.h"

#include <utility>

#include "tool/CommandError.h"

namespace velo::tool {

namespace {

constexpr unsigned int kTimeoutMs = 2000;
constexpr std::uint32_t kEveryTechnology = 0xFF;
constexpr std::uint32_t kEveryProfile = 0xFFFFFFFF;

}  // namespace

WdsClient::WdsClient(unsigned int subscription, OnChange onChange, std::function<void()> onLost)
    : mOnChange(std::move(onChange)), mOnLost(std::move(onLost)) {
    const mox_service_object_type service =
        wds_get_service_object_internal_v01(kWdsMajorVersion, kWdsMinorVersion, kWdsToolVersion);
    mox_service_info info{};
    mox_client_os_params osParams{};
    if (service == nullptr || mox_client_get_any_service(service, &info) != MOX_NO_ERR ||
        mox_client_init(&info, service, handleIndication, this, &osParams, &mClient) !=
            MOX_NO_ERR) {
        throw CommandError(kFailed, "the modem cannot be reached; see that it runs");
    }
    try {
        bind(subscription);
    } catch (...) {
        mox_client_release(mClient);
        throw;
    }
    if (mOnLost) {
        mox_client_register_error_cb(mClient, handleError, this);
    }
}

WdsClient::~WdsClient() {
    mox_client_release(mClient);
}

void WdsClient::bind(unsigned int subscription) {
    const auto answer = exchange<wds_result_resp_msg_v01>(
        kWdsBindSubscriptionReq, wds_bind_subscription_req_msg_v01{subscription});
    if (answer.response.error == WDS_ERR_INVALID_ARG) {
        throw CommandError(kUsage, "the modem has no subscription " + std::to_string(subscription) +
                                       "; choose another with --instance, the first one is 0");
    }
    require(answer, "to bind subscription " + std::to_string(subscription));
}

void WdsClient::registerForChanges() {
    wds_indication_register_req_msg_v01 indications{};
    indications.report_profile_changes = {1, 1};
    order(kWdsIndicationRegisterReq, indications, "to report changes");

    wds_configure_profile_event_list_req_msg_v01 events{};
    events.events_valid = 1;
    events.events_len = 1;
    events.events[0] = {kEveryTechnology, kEveryProfile};
    events.report_subscription_changes = {1, 1};
    order(kWdsConfigureProfileEventListReq, events, "to report every profile's changes");
}

void WdsClient::handleIndication(mox_client_type client, unsigned int messageId, void* buffer,
                                 unsigned int length, void* data) {
    const auto* self = static_cast<const WdsClient*>(data);
    wds_profile_changed_ind_msg_v01 indication{};
    if (!self->mOnChange || messageId != kWdsProfileChangedInd ||
        mox_client_message_decode(client, MOX_MESSAGE_INDICATION, messageId, buffer, length,
                                  &indication, sizeof indication) != MOX_NO_ERR ||
        indication.profile_changed.valid == 0) {
        return;
    }
    self->mOnChange(indication.profile_changed.value);
}

void WdsClient::handleError(mox_client_type, int, void* data) {
    static_cast<const WdsClient*>(data)->mOnLost();
}

void WdsClient::send(unsigned int messageId, const void* request, std::size_t requestSize,
                     void* response, std::size_t responseSize) {
    const int result = mox_client_send_msg_sync(
        mClient, messageId, request, static_cast<unsigned int>(requestSize), response,
        static_cast<unsigned int>(responseSize), kTimeoutMs);
    if (result != MOX_NO_ERR) {
        throw CommandError(kFailed, "the modem does not answer (error " + std::to_string(result) +
                                        "); see that it runs");
    }
}

template <typename Request>
void WdsClient::order(unsigned int messageId, const Request& request, const std::string& what) {
    require(exchange<wds_result_resp_msg_v01>(messageId, request), what);
}

void WdsClient::require(const wds_result_resp_msg_v01& answer, const std::string& what) {
    if (answer.response.result != WDS_RESULT_SUCCESS) {
        throw CommandError(kFailed, "the modem refuses " + what + " (error " +
                                        std::to_string(answer.response.error) + ")");
    }
}

}  // namespace velo::tool
