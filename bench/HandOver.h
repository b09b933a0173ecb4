// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace velo::bench {

/// The rendezvous that every call of the library makes, with nothing in it that could be left out:
/// mutex, eventfd, epoll, condition variable. One thread at a time posts.
class HandOver {
public:
    HandOver() : mEpoll(epoll_create1(EPOLL_CLOEXEC)), mEvent(eventfd(0, EFD_NONBLOCK)) {
        epoll_event event{};
        event.events = EPOLLIN;
        epoll_ctl(mEpoll, EPOLL_CTL_ADD, mEvent, &event);
        mThread = std::thread([this] { run(); });
    }
    ~HandOver() {
        // No post: the thread may be gone before it would look at one.
        mStop = true;
        eventfd_write(mEvent, 1);
        mThread.join();
        close(mEvent);
        close(mEpoll);
    }
    HandOver(const HandOver&) = delete;
    HandOver& operator=(const HandOver&) = delete;

    /// Has the other thread run `work`, if there is any, and waits until it has.
    void post(const std::function<void()>* work = nullptr) {
        std::unique_lock lock(mMutex);
        eventfd_write(mEvent, 1);
        mWork = work;
        mRequested = true;
        mCv.wait(lock, [this] { return mAnswered; });
        mAnswered = false;
    }

private:
    void run() {
        std::array<epoll_event, 4> events{};
        while (!mStop) {
            epoll_wait(mEpoll, events.data(), static_cast<int>(events.size()), -1);
            eventfd_t value = 0;
            eventfd_read(mEvent, &value);
            {
                const std::lock_guard lock(mMutex);
                if (!mRequested) continue;
                if (mWork != nullptr) (*mWork)();
                mRequested = false;
                mAnswered = true;
            }
            // Unlocked: who wakes finds the mutex free, which saves two switches on one core.
            mCv.notify_one();
        }
    }

    int mEpoll;
    int mEvent;
    std::mutex mMutex;
    std::condition_variable mCv;
    const std::function<void()>* mWork = nullptr;
    bool mRequested = false;
    bool mAnswered = false;
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

}  // namespace velo::bench
