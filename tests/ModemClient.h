// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "host/mox/MoxHost.h"
#include "modem/Modem.h"
#include "mox/wds_v01.h"

namespace velo::test {

/// A client of the modem through the messaging interface alone, which remembers what it is told.
class ModemClient {
public:
    static constexpr unsigned int kTimeoutMs = 20000;

    explicit ModemClient(const modem::Modem& modem) : ModemClient(modem.socketPath()) {}

    explicit ModemClient(const std::string& path) {
        mox::setModemPath(path);
        mox_service_info info{};
        mox_client_os_params parameters{};
        EXPECT_EQ(MOX_NO_ERR, mox_client_get_any_service(service(), &info));
        EXPECT_EQ(MOX_NO_ERR,
                  mox_client_init(&info, service(), &onIndication, this, &parameters, &handle));
    }
    ~ModemClient() { mox_client_release(handle); }
    ModemClient(const ModemClient&) = delete;
    ModemClient& operator=(const ModemClient&) = delete;

    static mox_service_object_type service() {
        return wds_get_service_object_internal_v01(kWdsMajorVersion, kWdsMinorVersion,
                                                   kWdsToolVersion);
    }

    template <typename Response, typename Request>
    int send(unsigned int id, const Request& request, Response& response,
             unsigned int timeoutMs = kTimeoutMs) {
        return mox_client_send_msg_sync(handle, id, &request, sizeof(request), &response,
                                        sizeof(response), timeoutMs);
    }

    /// The error code that the modem answered with.
    template <typename Response, typename Request>
    std::uint32_t ask(unsigned int id, const Request& request) {
        Response response{};
        EXPECT_EQ(MOX_NO_ERR, send(id, request, response));
        EXPECT_EQ(response.response.result != WDS_RESULT_SUCCESS,
                  response.response.error != WDS_ERR_NONE);
        return response.response.error;
    }

    int bind(std::uint32_t subscription, unsigned int timeoutMs = kTimeoutMs) {
        wds_result_resp_msg_v01 response{};
        return send(kWdsBindSubscriptionReq, wds_bind_subscription_req_msg_v01{subscription},
                    response, timeoutMs);
    }

    void registerIndications() {
        wds_indication_register_req_msg_v01 request{};
        request.report_profile_changes = {1, 1};
        EXPECT_EQ(WDS_ERR_NONE, ask<wds_result_resp_msg_v01>(kWdsIndicationRegisterReq, request));
    }

    void configureEvents() {
        wds_configure_profile_event_list_req_msg_v01 request{};
        request.events_valid = 1;
        request.events_len = 1;
        request.events[0] = {0xFF, 0xFFFFFFFF};
        EXPECT_EQ(WDS_ERR_NONE,
                  ask<wds_result_resp_msg_v01>(kWdsConfigureProfileEventListReq, request));
    }

    wds_create_profile_resp_msg_v01 create(const std::string& apn, bool persistent = false) {
        wds_create_profile_req_msg_v01 request{};
        request.persistent = {1, persistent};
        request.settings.apn_name.valid = 1;
        std::memcpy(request.settings.apn_name.value.data, apn.data(), apn.size());
        wds_create_profile_resp_msg_v01 response{};
        EXPECT_EQ(MOX_NO_ERR, send(kWdsCreateProfileReq, request, response));
        return response;
    }

    /// Every profile event so far, as "technology:index event" with the event as the service
    /// numbers it; "damaged" for an indication that cannot be decoded.
    std::vector<std::string> events() const {
        const std::lock_guard lock(mMutex);
        return mEvents;
    }

    mox_client_type handle = nullptr;

private:
    static void onIndication(mox_client_type client, unsigned int id, void* buffer,
                             unsigned int length, void* data) {
        auto& self = *static_cast<ModemClient*>(data);
        wds_profile_changed_ind_msg_v01 message{};
        const int error = mox_client_message_decode(client, MOX_MESSAGE_INDICATION, id, buffer,
                                                    length, &message, sizeof(message));
        const auto& change = message.profile_changed.value;
        const std::lock_guard lock(self.mMutex);
        self.mEvents.push_back(error != MOX_NO_ERR ? "damaged"
                                                   : std::to_string(change.profile_type) + ":" +
                                                         std::to_string(change.profile_index) +
                                                         " " + std::to_string(change.event));
    }

    mutable std::mutex mMutex;
    std::vector<std::string> mEvents;
};

}  // namespace velo::test
