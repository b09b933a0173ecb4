// SPDX-License-Identifier: Apache-2.0

#include "host/mox/Client.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "host/mox/Codec.h"
#include "host/mox/Settings.h"
#include "host/mox/Socket.h"

namespace velo::mox {

namespace {

/// What most requests fit in, so that encoding allocates once.
constexpr std::size_t kUsualPayload = 512;

}  // namespace

Client::Client(Descriptor socket, mox_client_type self, const mox_service_definition& service,
               mox_client_ind_cb callback, void* data)
    : mSocket(std::move(socket)),
      mSelf(self),
      mService(service),
      mIndCallback(callback),
      mIndData(data) {
    // The loss of the connection is told without memory: by the reader, or the registering thread.
    mInCallback.reserve(2);
    // The reader waits in recv; senders ask for each send not to wait.
    ::fcntl(mSocket.get(), F_SETFL, 0);
}

void Client::start() {
    // The lock keeps a callback that releases the client from finding the thread half assigned.
    const std::lock_guard lock(mMutex);
    mReader = startThread([self = shared_from_this()] { self->readLoop(); });
}

int Client::registerErrorCallback(mox_client_error_cb callback, void* data) {
    std::unique_lock lock(mMutex);
    mErrorCallback = callback;
    mErrorData = data;
    if (!mFailed || callback == nullptr || std::exchange(mErrorTold, true)) {
        return MOX_NO_ERR;
    }
    callBack(lock, [&] { callback(mSelf, MOX_INTERNAL_ERR, data); });
    return MOX_NO_ERR;
}

int Client::sendSync(unsigned int messageId, const void* request, unsigned int requestSize,
                     void* response, unsigned int responseSize, unsigned int timeoutMs) {
    const auto deadline =
        Clock::now() + std::chrono::milliseconds(Settings::getInstance().capped(timeoutMs));
    const auto* requestLayout = mService.find(MOX_MESSAGE_REQUEST, messageId);
    const auto* responseLayout = mService.find(MOX_MESSAGE_RESPONSE, messageId);
    if (requestLayout == nullptr || responseLayout == nullptr || request == nullptr ||
        response == nullptr || requestSize != requestLayout->size ||
        responseSize != responseLayout->size) {
        return MOX_INVALID_ARGUMENT_ERR;
    }
    Frame frame{MOX_MESSAGE_REQUEST, 0, requestLayout->id, {}};
    frame.payload.reserve(kUsualPayload);
    if (!encode(*requestLayout, request, frame.payload)) {
        return MOX_ENCODE_ERR;
    }
    Exchange answer{0, requestLayout->id, false, MOX_NO_ERR, {}};
    if (const int error = exchange(std::move(frame), answer, deadline)) {
        return error;
    }
    return decode(*responseLayout, answer.payload, response) ? MOX_NO_ERR : MOX_DECODE_ERR;
}

int Client::exchange(Frame request, Exchange& exchange, Clock::time_point deadline) {
    std::unique_lock lock(mMutex);
    // The reader would wait for itself.
    const bool onReader = mReader.get_id() == std::this_thread::get_id();
    if (mFailed || mReleased || onReader) {
        return MOX_CLIENT_ERR;
    }
    exchange.transaction = request.transaction = ++mLastTransaction;
    mExchanges.push_back(&exchange);
    lock.unlock();
    const int sendError = sendBefore(request, deadline);
    lock.lock();
    if (sendError == MOX_NO_ERR) {
        mAnswered.wait_until(lock, deadline, [&] { return exchange.done; });
    }
    std::erase(mExchanges, &exchange);
    if (sendError != MOX_NO_ERR) {
        return sendError;
    }
    return exchange.done ? exchange.error : MOX_TIMEOUT_ERR;
}

int Client::sendBefore(const Frame& frame, Clock::time_point deadline) const {
    for (;;) {
        const int error = sendFrame(mSocket.get(), frame);
        if (error == 0) {
            return MOX_NO_ERR;
        }
        if (error != EAGAIN) {
            return error == EMSGSIZE ? MOX_ENCODE_ERR : MOX_CLIENT_ERR;
        }
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            return MOX_TIMEOUT_ERR;
        }
        pollfd room{mSocket.get(), POLLOUT, 0};
        ::poll(&room, 1, static_cast<int>(left));
    }
}

int Client::decodeMessage(mox_message_kind kind, unsigned int messageId,
                          std::span<const std::uint8_t> bytes, void* structure,
                          unsigned int size) const {
    const auto* layout = mService.find(kind, messageId);
    if (layout == nullptr || structure == nullptr || size != layout->size) {
        return MOX_INVALID_ARGUMENT_ERR;
    }
    return decode(*layout, bytes, structure) ? MOX_NO_ERR : MOX_DECODE_ERR;
}

void Client::release() {
    std::thread reader;
    {
        std::unique_lock lock(mMutex);
        mReleased = true;
        fail(MOX_CLIENT_ERR);
        // Shut down rather than closed: the reader and late senders still hold the number.
        ::shutdown(mSocket.get(), SHUT_RDWR);
        mCallbackDone.wait(lock, [this] {
            return std::all_of(mInCallback.begin(), mInCallback.end(),
                               [](auto id) { return id == std::this_thread::get_id(); });
        });
        reader = std::move(mReader);
    }
    finish(reader);
}

void Client::readLoop() {
    try {
        std::vector<std::uint8_t> buffer;
        while (handleFrame(buffer)) {
        }
    } catch (const std::bad_alloc&) {
        // Whoever waits for what was not read must not wait for ever, and nobody would notice that
        // an indication is missing: the connection is given up.
        ::shutdown(mSocket.get(), SHUT_RDWR);
    }
    onLost();
}

bool Client::handleFrame(std::vector<std::uint8_t>& buffer) {
    Frame frame;
    const Received received = receiveFrame(mSocket.get(), buffer, frame);
    if (received == Received::Whole) {
        if (frame.kind == MOX_MESSAGE_RESPONSE) {
            onResponse(std::move(frame));
        } else if (frame.kind == MOX_MESSAGE_INDICATION) {
            onIndication(frame);
        }
    }
    return received != Received::Lost;
}

void Client::onResponse(Frame frame) {
    const std::lock_guard lock(mMutex);
    const auto waiting =
        std::find_if(mExchanges.begin(), mExchanges.end(), [&](const Exchange* candidate) {
            return candidate->transaction == frame.transaction &&
                   candidate->messageId == frame.messageId && !candidate->done;
        });
    if (waiting == mExchanges.end()) {
        return;
    }
    (*waiting)->payload = std::move(frame.payload);
    (*waiting)->done = true;
    mAnswered.notify_all();
}

void Client::onIndication(Frame& frame) {
    if (mIndCallback == nullptr) {
        return;
    }
    std::unique_lock lock(mMutex);
    callBack(lock, [&] {
        mIndCallback(mSelf, frame.messageId, frame.payload.data(),
                     static_cast<unsigned int>(frame.payload.size()), mIndData);
    });
}

void Client::onLost() {
    std::unique_lock lock(mMutex);
    fail(MOX_CLIENT_ERR);
    if (mErrorCallback == nullptr || std::exchange(mErrorTold, true)) {
        return;
    }
    callBack(lock, [this, callback = mErrorCallback, data = mErrorData] {
        callback(mSelf, MOX_INTERNAL_ERR, data);
    });
}

void Client::fail(int error) {
    mFailed = true;
    for (Exchange* waiting : mExchanges) {
        if (!waiting->done) {
            waiting->done = true;
            waiting->error = error;
        }
    }
    mAnswered.notify_all();
}

template <typename Callback>
void Client::callBack(std::unique_lock<std::mutex>& lock, Callback callback) {
    if (mReleased) {
        return;
    }
    mInCallback.push_back(std::this_thread::get_id());
    lock.unlock();
    callback();
    lock.lock();
    std::erase(mInCallback, std::this_thread::get_id());
    mCallbackDone.notify_all();
}

}  // namespace velo::mox
