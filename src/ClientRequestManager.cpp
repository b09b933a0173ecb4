// SPDX-License-Identifier: Apache-2.0

#include "ClientRequestManager.h"

#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <list>
#include <utility>

#include "LogWrapper.h"
#include "OutOfMemory.h"
#include "ProfileKey.h"
#include "SignalBlock.h"

namespace velo {

namespace {

Status statusOf(bool success) {
    return success ? Status::Success : Status::Failure;
}

void traceHandling(ClientRequest& request) {
    // The text is long to make, and seldom wanted.
    if (LogWrapper::getInstance().isWanted(LogLevel::Info)) {
        logLine(LogLevel::Info, "Handling %s", dumpOf(request).c_str());
    }
}

std::shared_ptr<ProfileKey> profileKey(const std::shared_ptr<IProfileKey>& key) {
    return std::dynamic_pointer_cast<ProfileKey>(key);
}

}  // namespace

ClientRequestManager::ClientRequestManager(int instance)
    : mGate(std::make_shared<RequestGate>(
          [this](std::shared_ptr<ClientRequest> request) { return handOver(request); })),
      mProfileCache(mEventManager, instance,
                    [gate = mGate](std::shared_ptr<ClientRequest> request) {
                        return gate->post(std::move(request));
                    }) {
    logLine(LogLevel::Debug, "velo::ClientRequestManager: constructor");
    {
        const SignalBlock inherited;
        mThread = std::thread(&ClientRequestManager::runVeloThread, this);
    }
    mEventFd.emplace();
    try {
        mEventManager.addEventHandler(mEventFd->get(), handleClientRequest, this, nullptr, EPOLLIN);
    } catch (...) {
        mProfileCache.stop();
        endVeloThread();
        throw;
    }
}

ClientRequestManager::~ClientRequestManager() {
    logLine(LogLevel::Debug, "velo::ClientRequestManager: destructor");
    mProfileCache.stop();
    mGate->close([this] {
        const std::lock_guard lock(mMutex);
        mClosing = true;
        mCv.notify_all();
    });
    mEventManager.removeEventHandler(mEventFd->get());
    mEventFd.reset();
    endVeloThread();
}

std::shared_ptr<ClientResponse> ClientRequestManager::processClientRequest(
    std::shared_ptr<ClientRequest> request) {
    // A copy: this object may be gone when a post that was woken by its destructor leaves the gate.
    const auto gate = mGate;
    return gate->post(std::move(request));
}

std::vector<std::string> ClientRequestManager::dump() {
    // The copy in a forked child may be locked for ever.
    return isInherited() ? std::vector<std::string>() : mProfileCache.dump();
}

std::shared_ptr<ClientResponse> ClientRequestManager::handOver(
    const std::shared_ptr<ClientRequest>& request) {
    if (mWorkerId.load() == std::this_thread::get_id()) {
        logLine(LogLevel::Error, "processClientRequest called on a worker thread");
        deferRelease(request);
        return nullptr;
    }
    std::unique_lock lock(mMutex);
    if (mClosing) {
        return nullptr;
    }
    const ssize_t written = mEventFd->signal();
    if (written != static_cast<ssize_t>(sizeof(std::uint64_t))) {
        logLine(LogLevel::Error, "error in writing rv: %d error: %s", static_cast<int>(written),
                std::strerror(errno));
        return nullptr;
    }
    mRequest = request;
    mCv.wait(lock, [this] { return mResponse != nullptr || mGivenUp || mClosing; });
    mGivenUp = false;
    auto response = std::exchange(mResponse, nullptr);
    // Another caller's, when two overlap: a request that nobody owns ends with this call, so the
    // worker must have let go of it.
    while (request && request.use_count() == 0 && mRequest == request) {
        if (mClosing) {
            mRequest.reset();
        } else {
            mCv.wait(lock);
        }
    }
    // Whoever waits beside this caller may have been meant as well.
    mCv.notify_one();
    return response;
}

void ClientRequestManager::deferRelease(const std::shared_ptr<ClientRequest>& request) {
    const auto release = std::dynamic_pointer_cast<CallbackRequest>(request);
    if (!release || !release->hasReleaseToken()) {
        return;
    }
    mDeferredReleases.push_back(release->getReleaseToken());
}

void ClientRequestManager::runDeferredReleases() {
    // Grows meanwhile: a release may end a profile whose listener drops the next key.
    for (std::size_t i = 0; i < mDeferredReleases.size(); ++i) {
        CallbackRequest release;
        release.setReleaseToken(mDeferredReleases[i]);
        traceHandling(release);
        orNothing([&] { execute(release); });
    }
    mDeferredReleases.clear();
}

void ClientRequestManager::expectKeys(std::size_t count) {
    const std::size_t wanted = mDeferredReleases.size() + mProfileCache.keys() + count;
    if (wanted > mDeferredReleases.capacity()) {
        mDeferredReleases.reserve(std::max(wanted, 2 * mDeferredReleases.capacity()));
    }
}

void ClientRequestManager::runVeloThread() {
    mWorkerId = std::this_thread::get_id();
    logLine(LogLevel::Event, "VELO thread started");
    while (mRunning) {
        mEventManager.processEvents();
        runDeferredReleases();
    }
}

void ClientRequestManager::endVeloThread() {
    mRunning = false;
    mEventManager.wake();
    mThread.join();
}

void ClientRequestManager::handleClientRequest(int fd, void* arg) {
    logLine(LogLevel::Debug, ":%d:%s", 77, "handleClientRequest");
    EventFd::drain(fd);
    if (arg == nullptr) {
        logLine(LogLevel::Error, "arg is null");
        return;
    }
    static_cast<ClientRequestManager*>(arg)->handlePendingRequest();
}

void ClientRequestManager::handlePendingRequest() {
    carryOutRequest();
    // Unlocked: a caller that is woken to find the mutex held has to sleep again.
    mCv.notify_one();
}

void ClientRequestManager::carryOutRequest() {
    const std::lock_guard lock(mMutex);
    if (mRequest) {
        traceHandling(*mRequest);
        mGivenUp = !orNothing([this] {
            if (auto response = execute(*mRequest)) {
                mResponse = std::move(response);
            }
            return true;
        });
        // Let go of the request, and so of its key, before the caller can: the release of a key
        // that dies here would have to wait.
        mRequest.reset();
        runDeferredReleases();
    }
}

std::shared_ptr<ClientResponse> ClientRequestManager::execute(ClientRequest& request) {
    switch (request.getRequestType()) {
        case ReqRespType::Add:
            return execute(dynamic_cast<AddRequest*>(&request));
        case ReqRespType::Modify:
            return execute(dynamic_cast<ModifyRequest*>(&request));
        case ReqRespType::Delete:
            return execute(dynamic_cast<DeleteRequest*>(&request));
        case ReqRespType::Filter:
            return execute(dynamic_cast<FilterRequest*>(&request));
        case ReqRespType::Match:
            return execute(dynamic_cast<MatchRequest*>(&request));
        case ReqRespType::Get:
            return execute(dynamic_cast<GetRequest*>(&request));
        case ReqRespType::Callback:
            return execute(dynamic_cast<CallbackRequest*>(&request));
        case ReqRespType::Refresh:
            return execute(dynamic_cast<RefreshRequest*>(&request));
    }
    return nullptr;
}

std::shared_ptr<ClientResponse> ClientRequestManager::execute(AddRequest* request) {
    if (mRefreshInProgress || request == nullptr) {
        return std::make_shared<AddResponse>(Status::Failure, nullptr);
    }
    expectKeys(1);
    AddProfileParams params = request->getAddProfileParams();
    return std::make_shared<AddResponse>(Status::Success, mProfileCache.add(params));
}

std::shared_ptr<ClientResponse> ClientRequestManager::execute(ModifyRequest* request) {
    // Before the change, here and below: memory cannot run out between the two.
    auto success = std::make_shared<ModifyResponse>(Status::Success);
    if (!mRefreshInProgress && request != nullptr) {
        if (const auto key = profileKey(request->getModifyProfileKey())) {
            ModifyProfileParams params = request->getModifyProfileParams();
            if (mProfileCache.modify(params, key)) {
                return success;
            }
        }
    }
    return std::make_shared<ModifyResponse>(Status::Failure);
}

std::shared_ptr<ClientResponse> ClientRequestManager::execute(DeleteRequest* request) {
    auto success = std::make_shared<DeleteResponse>(Status::Success);
    if (!mRefreshInProgress && request != nullptr) {
        if (const auto key = profileKey(request->getDeleteProfileKey())) {
            if (mProfileCache.remove(key)) {
                return success;
            }
        }
    }
    return std::make_shared<DeleteResponse>(Status::Failure);
}

std::shared_ptr<ClientResponse> ClientRequestManager::execute(FilterRequest* request) {
    if (mRefreshInProgress || request == nullptr) {
        return std::make_shared<FilterResponse>(Status::Failure,
                                                std::list<std::shared_ptr<IProfileKey>>());
    }
    expectKeys(mProfileCache.size());
    FilterProfileParams params = request->getFilterParams();
    return std::make_shared<FilterResponse>(Status::Success, mProfileCache.filter(params));
}

std::shared_ptr<ClientResponse> ClientRequestManager::execute(MatchRequest* request) {
    if (!mRefreshInProgress && request != nullptr) {
        if (const auto key = profileKey(request->getMatchKey())) {
            FilterProfileParams params = request->getMatchParams();
            return std::make_shared<MatchResponse>(Status::Success,
                                                   mProfileCache.match(params, key));
        }
    }
    return std::make_shared<MatchResponse>(Status::Failure, false);
}

std::shared_ptr<ClientResponse> ClientRequestManager::execute(GetRequest* request) {
    std::optional<ProfileParams> params;
    if (!mRefreshInProgress && request != nullptr) {
        if (const auto key = profileKey(request->getProfileKey())) {
            params = mProfileCache.get(key);
        }
    }
    const Status status = statusOf(params.has_value());
    return std::make_shared<GetResponse>(status, std::move(params));
}

std::shared_ptr<ClientResponse> ClientRequestManager::execute(CallbackRequest* request) {
    bool done = false;
    if (!mRefreshInProgress && request != nullptr) {
        if (request->hasReleaseToken()) {
            done = mProfileCache.releaseProfile(request->getReleaseToken());
        } else if (request->hasExpirationInfo()) {
            done = mProfileCache.registerExpirationListener(request->getExpirationCb(),
                                                            request->getExpirationKey(),
                                                            request->getExpirationToken());
        }
    }
    return std::make_shared<CallbackResponse>(statusOf(done));
}

std::shared_ptr<ClientResponse> ClientRequestManager::execute(RefreshRequest* request) {
    if (request == nullptr) {
        return nullptr;
    }
    auto success = std::make_shared<RefreshResponse>(Status::Success);
    mRefreshInProgress = request->getRefreshStatus() == PDCRefreshStatus::REFRESH_STARTED;
    if (!mRefreshInProgress) {
        mProfileCache.refresh();
    }
    return success;
}

}  // namespace velo
