// SPDX-License-Identifier: Apache-2.0

#include "ForkGuard.h"

#include <pthread.h>

#include <atomic>
#include <vector>

namespace velo {

namespace {

/// Holds every protected mutex over a fork, so that the child does not inherit one that a thread
/// which it lacks had locked. Never destroyed: a process may fork while it exits.
class ForkHandlers {
public:
    static ForkHandlers& getInstance() {
        static ForkHandlers* const instance = new ForkHandlers;
        return *instance;
    }

    void protect(std::mutex& mutex) {
        const std::lock_guard lock(mMutex);
        mProtected.push_back(&mutex);
    }

    unsigned int generation() const { return mGeneration; }

private:
    ForkHandlers() {
        pthread_atfork([] { getInstance().lockAll(); }, [] { getInstance().unlockAll(); },
                       [] {
                           ++getInstance().mGeneration;
                           getInstance().unlockAll();
                       });
    }

    void lockAll() {
        mMutex.lock();
        for (std::mutex* const mutex : mProtected) {
            mutex->lock();
        }
    }

    void unlockAll() {
        for (std::mutex* const mutex : mProtected) {
            mutex->unlock();
        }
        mMutex.unlock();
    }

    std::mutex mMutex;
    std::vector<std::mutex*> mProtected;
    std::atomic<unsigned int> mGeneration{0};
};

}  // namespace

ForkGuard::ForkGuard() : mGeneration(ForkHandlers::getInstance().generation()) {}

bool ForkGuard::inForkedChild() const {
    return mGeneration != ForkHandlers::getInstance().generation();
}

void ForkGuard::protect(std::mutex& mutex) {
    ForkHandlers::getInstance().protect(mutex);
}

}  // namespace velo
