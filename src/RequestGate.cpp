// SPDX-License-Identifier: Apache-2.0

#include "RequestGate.h"

#include <utility>

#include "ClientResponse.h"

namespace velo {

RequestGate::RequestGate(PostRequest post) : mPost(std::move(post)) {}

std::shared_ptr<ClientResponse> RequestGate::post(std::shared_ptr<ClientRequest> request) {
    if (!enter()) {
        return nullptr;
    }
    struct Leave {
        RequestGate& gate;
        ~Leave() { gate.leave(); }
    };
    const Leave leaveAtEnd{*this};
    return mPost(std::move(request));
}

void RequestGate::close(const std::function<void()>& wake) {
    {
        const std::lock_guard lock(mMutex);
        mClosed = true;
    }
    wake();
    std::unique_lock lock(mMutex);
    mLeft.wait(lock, [this] { return mPostsInProgress == 0; });
}

bool RequestGate::enter() {
    // Asked before the lock: another thread may have held it when this process was forked.
    if (mForkGuard.inForkedChild()) {
        return false;
    }
    const std::lock_guard lock(mMutex);
    if (mClosed) {
        return false;
    }
    ++mPostsInProgress;
    return true;
}

void RequestGate::leave() {
    const std::lock_guard lock(mMutex);
    --mPostsInProgress;
    mLeft.notify_all();
}

}  // namespace velo
