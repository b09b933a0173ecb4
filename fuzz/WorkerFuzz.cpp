// SPDX-License-Identifier: Apache-2.0
//
// What the worker does under a modem that sends anything: indications, list and settings answers,
// failures and losses, between the operations of callers. The input is a script of them, in which
// the answers follow what asks for them.

#include <sys/epoll.h>

#include <list>
#include <memory>

#include "EventFd.h"
#include "EventManager.h"
#include "ProfileCache.h"
#include "fuzz/Records.h"
#include "fuzz/ScriptedModem.h"

namespace velo::fuzz {
namespace {

class Worker {
public:
    explicit Worker(Input& input) : mInput(input), mModem(input) {
        mEvents.addEventHandler(mFence.get(), EventManager::clearRead, nullptr, nullptr, EPOLLIN);
        work();
    }
    ~Worker() {
        mKeys.clear();
        mEvents.removeEventHandler(mFence.get());
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void step() {
        switch (mInput.value<std::uint8_t>() % 12) {
            case 0:
                return mModem.indicate(mInput.value<std::uint16_t>(), mInput.chunk());
            case 1:
                return mModem.lose();
            case 2:
                return add();
            case 3:
                mCache.refresh();
                return;
            case 4:
                mKeys.splice(mKeys.end(), find());
                return;
            case 5:
                if (!mKeys.empty()) mKeys.pop_front();
                return;
            case 6:
            case 7:
                return mKeys.empty() ? void()
                                     : use(std::dynamic_pointer_cast<ProfileKey>(mKeys.front()));
            default:
                return mModem.indicate(kWdsProfileChangedInd, mInput.chunk());
        }
    }

    /// Handles what has come. Without it, the next things come while this one waits.
    void work() {
        mFence.signal();
        mEvents.processEvents();
    }

private:
    void add() {
        const auto tech = static_cast<TechType>(mInput.value<std::uint8_t>() % 3);
        AddProfileParams params(recordFrom(mInput), mInput.value<bool>(), tech,
                                mInput.value<bool>());
        if (auto key = mCache.add(params)) mKeys.push_back(std::move(key));
    }

    std::list<std::shared_ptr<IProfileKey>> find() {
        FilterProfileParams filter = filterFrom(mInput);
        return mCache.filter(filter);
    }

    void use(const std::shared_ptr<ProfileKey>& key) {
        key->dump();
        key->registerExpirationListener([expired = std::make_shared<bool>(false)] {
            ensure(!*expired, "a key expires once");
            *expired = true;
        });
        if (const auto settings = mCache.get(key)) settings->dump();
        FilterProfileParams filter = filterFrom(mInput);
        mCache.match(filter, key);
        ModifyProfileParams change(recordFrom(mInput));
        mCache.modify(change, key);
        if (mInput.value<bool>()) mCache.remove(key);
    }

    std::shared_ptr<ClientResponse> post(const std::shared_ptr<ClientRequest>& request) {
        auto& order = dynamic_cast<CallbackRequest&>(*request);
        if (order.hasReleaseToken()) {
            mCache.releaseProfile(order.getReleaseToken());
        } else {
            mCache.registerExpirationListener(order.getExpirationCb(), order.getExpirationKey(),
                                              order.getExpirationToken());
        }
        return nullptr;
    }

    Input& mInput;
    ScriptedModem mModem;
    EventManager mEvents;
    EventFd mFence;
    ProfileCache mCache{mEvents, 0, [this](auto request) { return post(request); }};
    std::list<std::shared_ptr<IProfileKey>> mKeys;
};

}  // namespace

void run(Bytes bytes) {
    Input input(bytes);
    Worker worker(input);
    while (!input.empty()) {
        worker.step();
        if (!input.value<bool>()) worker.work();
    }
}

}  // namespace velo::fuzz
