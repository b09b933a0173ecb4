// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

#include "ClientRequest.h"
#include "ForkGuard.h"

namespace velo {

/// The way to a ClientRequestManager for everybody who may outlive it: keys above all. Shared by
/// the manager, its cache and every key. Any thread may post at any time, also after the manager is
/// gone and in a forked child: such a post yields an empty response.
class RequestGate {
public:
    explicit RequestGate(PostRequest post);
    RequestGate(const RequestGate&) = delete;
    RequestGate& operator=(const RequestGate&) = delete;

    std::shared_ptr<ClientResponse> post(std::shared_ptr<ClientRequest> request);

    /// Lets nobody in any more, calls `wake`, which must make the posts in progress return, and
    /// waits until they have.
    void close(const std::function<void()>& wake);

private:
    bool enter();
    void leave();

    const PostRequest mPost;
    const ForkGuard mForkGuard;
    std::mutex mMutex;
    std::condition_variable mLeft;
    bool mClosed = false;
    int mPostsInProgress = 0;
};

}  // namespace velo
