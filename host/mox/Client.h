// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "host/mox/Descriptor.h"
#include "host/mox/Frame.h"
#include "host/mox/Handle.h"
#include "host/mox/ServiceDefinition.h"

namespace velo::mox {

/// One open connection to the modem. A reader thread hands responses to the callers that wait for
/// them and indications to the callback; any thread may call. Results are those of mox_client.h.
class Client : public Handle, public std::enable_shared_from_this<Client> {
public:
    Client(Descriptor socket, mox_client_type self, const mox_service_definition& service,
           mox_client_ind_cb callback, void* data);

    /// Starts the reader; callbacks may run from here on.
    void start();

    int registerErrorCallback(mox_client_error_cb callback, void* data);

    int sendSync(unsigned int messageId, const void* request, unsigned int requestSize,
                 void* response, unsigned int responseSize, unsigned int timeoutMs);

    int decodeMessage(mox_message_kind kind, unsigned int messageId,
                      std::span<const std::uint8_t> bytes, void* structure,
                      unsigned int size) const;

    void release() override;

private:
    using Clock = std::chrono::steady_clock;

    /// A request that waits for its answer; lives on the stack of the waiting caller.
    struct Exchange {
        std::uint32_t transaction;
        std::uint16_t messageId;
        bool done = false;
        int error = MOX_NO_ERR;
        std::vector<std::uint8_t> payload;
    };

    int exchange(Frame request, Exchange& exchange, Clock::time_point deadline);
    int sendBefore(const Frame& frame, Clock::time_point deadline) const;
    void readLoop();
    /// Reads one frame and passes it on; false at the end of the connection.
    bool handleFrame(std::vector<std::uint8_t>& buffer);
    void onResponse(Frame frame);
    void onIndication(Frame& frame);
    void onLost();
    void fail(int error);

    /// Runs a callback unless the client was released; never with the lock held.
    template <typename Callback>
    void callBack(std::unique_lock<std::mutex>& lock, Callback callback);

    const Descriptor mSocket;
    const mox_client_type mSelf;
    const mox_service_definition& mService;
    const mox_client_ind_cb mIndCallback;
    void* const mIndData;

    std::mutex mMutex;
    std::condition_variable mAnswered;
    std::condition_variable mCallbackDone;
    std::vector<Exchange*> mExchanges;
    std::vector<std::thread::id> mInCallback;
    std::uint32_t mLastTransaction = 0;
    mox_client_error_cb mErrorCallback = nullptr;
    void* mErrorData = nullptr;
    bool mErrorTold = false;
    bool mFailed = false;
    bool mReleased = false;
    std::thread mReader;
};

}  // namespace velo::mox
