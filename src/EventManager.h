// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/epoll.h>

#include <array>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include "EventFd.h"
#include "OwnedFd.h"

namespace velo {

/// Called when the descriptor is readable.
using EventCallback = void (*)(int fd, void* data);

/// Called when the descriptor's handler is removed.
using CloseCallback = void (*)(int fd, void* data);

/// The event loop of the worker thread: one epoll instance, a handler for each descriptor. Owned by
/// the ClientRequestManager. One thread at a time runs processEvents; every other operation may be
/// called from any thread, and from callbacks. No lock is held while a callback runs. Memory that
/// runs out in a callback ends that callback, and the loop goes on.
class EventManager {
public:
    /// What is registered for one descriptor.
    struct HandlerObject {
        EventCallback eventCallback = nullptr;
        CloseCallback closeCallback = nullptr;
        void* data = nullptr;
    };

    EventManager();
    ~EventManager();
    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;

    /// Registers `fd`, which stays its owner's to close, for a mask of epoll events. False when it
    /// is registered already.
    /// @throws std::bad_alloc when memory runs out, and then nothing is registered
    bool addEventHandler(int fd, EventCallback cb, void* data, CloseCallback closeCb, int events);

    /// Unregisters `fd` and calls its close callback. A callback of `fd` that another thread runs
    /// has returned before this does, and no event of `fd` is dispatched afterwards.
    void removeEventHandler(int fd);

    /// Event callback that empties a descriptor; `data` is not used.
    static void clearRead(int fd, void* data);

    /// Waits for events and dispatches at most four.
    void processEvents();

    /// Makes the current or the next processEvents return.
    void wake();

    /// The descriptors of the whole process whose events may be dispatched.
    static bool isApprovedFd(int fd);
    static void addApprovedFd(int fd);
    static void remApprovedFd(int fd);

private:
    enum class Added { Watched, Unwatched, Twice };

    Added add(int fd, const HandlerObject& handler, int events);
    bool beginDispatch(int fd);
    void endDispatch();
    bool retire(int fd);
    void dispatch(int fd, unsigned int flags);
    void dispatchInput(int fd);
    void dropDescriptor(int fd);

    OwnedFd mEpollFd;
    EventFd mWakeFd;
    std::array<epoll_event, 4> mEvents{};

    std::mutex mMutex;
    std::condition_variable mDispatched;
    std::map<int, HandlerObject> mHandlers;
    // Removed since the current wait began: the events that it reports for them are stale, even
    // when the number has been registered anew.
    std::set<int> mRemoved;
    // So are all, for want of memory to tell: the next wait reports the others again.
    bool mAllStale = false;
    // The event being dispatched; -1 between events.
    int mBusyFd = -1;
    std::thread::id mBusyThread;
};

}  // namespace velo
