// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ClientRequest.h"
#include "ClientResponse.h"
#include "EventFd.h"
#include "EventManager.h"
#include "ForkGuard.h"
#include "ProfileCache.h"
#include "RequestGate.h"

namespace velo {

/// The engine behind the facade: owns the worker thread, its event loop and the profile cache, and
/// passes one request at a time from a calling thread to the worker. Owned by Manager. There is one
/// slot for a request and one for its response; callers are expected to take turns.
///
/// Memory that runs out on the worker fails what it is at, a request with an empty response, and
/// the worker goes on. Any other exception there is a fault of the program and ends it.
class ClientRequestManager {
public:
    /// @throws std::system_error when the worker thread cannot be started
    /// @throws std::bad_alloc when memory runs out
    explicit ClientRequestManager(int instance);

    /// Ends within one exchange with the modem. Callers that wait are woken with an empty response.
    ~ClientRequestManager();
    ClientRequestManager(const ClientRequestManager&) = delete;
    ClientRequestManager& operator=(const ClientRequestManager&) = delete;

    /// Has the worker carry out `request`, and returns its response; empty when the hand-over
    /// failed. On the worker itself it fails at once, but the release of a key is carried out
    /// later.
    std::shared_ptr<ClientResponse> processClientRequest(std::shared_ptr<ClientRequest> request);

    /// The cache's dump, read on the calling thread.
    std::vector<std::string> dump();

    /// Whether this is the copy of a parent's manager in a forked child: it must be left as it is.
    bool isInherited() const { return mForkGuard.inForkedChild(); }

private:
    std::shared_ptr<ClientResponse> handOver(const std::shared_ptr<ClientRequest>& request);
    void deferRelease(const std::shared_ptr<ClientRequest>& request);
    void runDeferredReleases();
    void expectKeys(std::size_t count);

    void runVeloThread();
    void endVeloThread();
    static void handleClientRequest(int fd, void* arg);
    void handlePendingRequest();
    void carryOutRequest();

    std::shared_ptr<ClientResponse> execute(ClientRequest& request);
    std::shared_ptr<ClientResponse> execute(AddRequest* request);
    std::shared_ptr<ClientResponse> execute(ModifyRequest* request);
    std::shared_ptr<ClientResponse> execute(DeleteRequest* request);
    std::shared_ptr<ClientResponse> execute(FilterRequest* request);
    std::shared_ptr<ClientResponse> execute(MatchRequest* request);
    std::shared_ptr<ClientResponse> execute(GetRequest* request);
    std::shared_ptr<ClientResponse> execute(CallbackRequest* request);
    std::shared_ptr<ClientResponse> execute(RefreshRequest* request);

    const ForkGuard mForkGuard;
    const std::shared_ptr<RequestGate> mGate;
    std::shared_ptr<ClientRequest> mRequest;
    std::shared_ptr<ClientResponse> mResponse;
    // The request was given up without a response; guarded by mMutex.
    bool mGivenUp = false;
    std::mutex mMutex;
    std::condition_variable mCv;
    // No caller waits any longer; guarded by mMutex.
    bool mClosing = false;
    std::thread mThread;
    // True from the start and never set by the worker: a destructor that is faster must not be
    // overruled.
    std::atomic<bool> mRunning{true};
    std::atomic<std::thread::id> mWorkerId{};
    std::optional<EventFd> mEventFd;
    EventManager mEventManager;
    ProfileCache mProfileCache;
    // The worker's own, as is what is below.
    bool mRefreshInProgress = false;
    // Tokens. Has room for every key that is alive, so that to defer a release needs no memory.
    std::vector<unsigned long long> mDeferredReleases;
};

}  // namespace velo
