// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <string>

#include "mox/wds_v01.h"

namespace velo::tool {

/// A client of the modem's data service beside the library's, for what the facade does not return.
/// Used by one thread; indications arrive on a thread of the messaging library.
class WdsClient {
public:
    /// Runs on the messaging library's thread: it must not send, throw, or wait for the client's
    /// end.
    using OnChange = std::function<void(const wds_profile_changed_ind_type_v01&)>;

    /// Connects to the modem that the messaging library is set to and binds to a subscription.
    /// @throws CommandError when there is no modem, or it refuses
    explicit WdsClient(unsigned int subscription, OnChange onChange = {},
                       std::function<void()> onLost = {});
    ~WdsClient();
    WdsClient(const WdsClient&) = delete;
    WdsClient& operator=(const WdsClient&) = delete;

    /// Asks to be told of every change of a profile. @throws CommandError when the modem refuses
    void registerForChanges();

    /// Sends a request and waits for its answer, refused or not. @throws CommandError when none
    /// comes
    template <typename Response, typename Request>
    Response exchange(unsigned int messageId, const Request& request) {
        Response response{};
        send(messageId, &request, sizeof request, &response, sizeof response);
        return response;
    }

private:
    static void handleIndication(mox_client_type client, unsigned int messageId, void* buffer,
                                 unsigned int length, void* data);
    static void handleError(mox_client_type client, int error, void* data);

    void send(unsigned int messageId, const void* request, std::size_t requestSize, void* response,
              std::size_t responseSize);
    void bind(unsigned int subscription);
    /// @throws CommandError when the answer is a refusal
    static void require(const wds_result_resp_msg_v01& answer, const std::string& what);
    template <typename Request>
    void order(unsigned int messageId, const Request& request, const std::string& what);

    OnChange mOnChange;
    std::function<void()> mOnLost;
    mox_client_type mClient = nullptr;
};

}  // namespace velo::tool
