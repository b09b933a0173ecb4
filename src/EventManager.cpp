// SPDX-License-Identifier: Apache-2.0

#include "EventManager.h"

#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include "ForkGuard.h"
#include "LogWrapper.h"
#include "OutOfMemory.h"

namespace velo {

namespace {

/// Never destroyed: handlers are removed while the process exits, too.
struct ApprovedFds {
    std::mutex mutex;
    std::set<int> fds;

    ApprovedFds() { ForkGuard::protect(mutex); }

    static ApprovedFds& getInstance() {
        static ApprovedFds* const instance = new ApprovedFds;
        return *instance;
    }
};

/// Keeps a write to a broken pipe from ending the process; the signal that it raised is consumed.
class BrokenPipeGuard {
public:
    BrokenPipeGuard() {
        sigset_t pending;
        sigpending(&pending);
        mWasPending = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&mPipe);
        sigaddset(&mPipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &mPipe, &mPrevious);
    }

    ~BrokenPipeGuard() {
        const timespec noWait{};
        while (!mWasPending && sigtimedwait(&mPipe, nullptr, &noWait) == -1 && errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &mPrevious, nullptr);
    }

    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

private:
    bool mWasPending;
    sigset_t mPipe;
    sigset_t mPrevious;
};

std::string otherFlags(unsigned int flags) {
    std::string text;
    const auto add = [flags, &text](unsigned int flag, const char* name) {
        if ((flags & flag) != 0) {
            text += name;
        }
    };
    add(EPOLLOUT, "EPOLLOUT ");
    add(EPOLLPRI, "EPOLLPRI ");
    add(EPOLLERR, "EPOLLERR ");
    add(EPOLLET, "EPOLLET ");
    return text;
}

}  // namespace

EventManager::EventManager() : mEpollFd(epoll_create1(EPOLL_CLOEXEC), "epoll") {
    addEventHandler(mWakeFd.get(), clearRead, nullptr, nullptr, EPOLLIN | EPOLLHUP);
    logLine(LogLevel::Verbose, "EventManager is ready. epollFd:%d", mEpollFd.get());
}

EventManager::~EventManager() {
    removeEventHandler(mWakeFd.get());
}

bool EventManager::addEventHandler(int fd, EventCallback cb, void* data, CloseCallback closeCb,
                                   int events) {
    logLine(LogLevel::Verbose,
            "EventManager::addEventHandler(int %d, EventCallback %p, void* %p, CloseCallback %p, "
            "events %d) EX",
            fd, reinterpret_cast<void*>(cb), data, reinterpret_cast<void*>(closeCb), events);
    const Added added = add(fd, {cb, closeCb, data}, events);
    if (added == Added::Twice) {
        logLine(LogLevel::Info, "fd=%d is already in handlers", fd);
        return false;
    }
    if (added == Added::Unwatched) {
        logLine(LogLevel::Error, "Cannot add event handler");
    }
    return true;
}

EventManager::Added EventManager::add(int fd, const HandlerObject& handler, int events) {
    // Under the lock to the end: an event that comes at once finds the handler in the table.
    const std::lock_guard lock(mMutex);
    if (mHandlers.count(fd) != 0) {
        return Added::Twice;
    }
    const auto entry = mHandlers.emplace(fd, handler).first;
    try {
        addApprovedFd(fd);
    } catch (...) {
        mHandlers.erase(entry);
        throw;
    }
    epoll_event event{};
    event.events = static_cast<std::uint32_t>(events);
    event.data.fd = fd;
    const bool watched = epoll_ctl(mEpollFd.get(), EPOLL_CTL_ADD, fd, &event) == 0;
    return watched ? Added::Watched : Added::Unwatched;
}

void EventManager::removeEventHandler(int fd) {
    logLine(LogLevel::Verbose, "EventManager::removeEventHandler(int fd) EX");
    if (!retire(fd)) {
        logLine(LogLevel::Error, "Cannot remove event handler");
    }
    HandlerObject handler;
    {
        const std::lock_guard lock(mMutex);
        handler = mHandlers[fd];
    }
    if (handler.closeCallback != nullptr) {
        handler.closeCallback(fd, handler.data);
    }
    std::size_t erased = 0;
    {
        const std::lock_guard lock(mMutex);
        erased = mHandlers.erase(fd);
    }
    if (erased == 0) {
        logLine(LogLevel::Error, "handlers.erase for fd %d, returned %d!", fd, 0);
    }
    remApprovedFd(fd);
}

void EventManager::clearRead(int fd, void* /*data*/) {
    char buffer[256] = {};
    ssize_t got = 0;
    do {
        got = read(fd, buffer, sizeof buffer);
    } while (got > 0);
    if (got == 0 || errno != EAGAIN) {
        logLine(LogLevel::Info, "Error while clearing the read buffer on fd %d", fd);
    }
}

void EventManager::processEvents() {
    {
        const std::lock_guard lock(mMutex);
        mRemoved.clear();
        mAllStale = false;
    }
    const int count =
        epoll_wait(mEpollFd.get(), mEvents.data(), static_cast<int>(mEvents.size()), -1);
    if (count == -1) {
        logLine(LogLevel::Error, "epoll_wait error");
        return;
    }
    for (int i = 0; i < count; ++i) {
        const epoll_event& event = mEvents[static_cast<std::size_t>(i)];
        const int fd = event.data.fd;
        const unsigned int flags = event.events;
        logLine(LogLevel::Verbose, "there are %d file descriptor(s) with events pending",
                count - i);
        logLine(LogLevel::Verbose, "processing event number: %d, handling %d for %d", i,
                static_cast<int>(flags), fd);
        if (beginDispatch(fd)) {
            orNothing([&] { dispatch(fd, flags); });
            endDispatch();
        }
    }
}

void EventManager::wake() {
    logLine(LogLevel::Verbose, "EventManager::wake() EX");
    {
        const BrokenPipeGuard guard;
        std::fputs("wake()\n", stdout);
        std::fflush(stdout);
    }
    const ssize_t written = mWakeFd.signal();
    if (written != static_cast<ssize_t>(sizeof(std::uint64_t))) {
        logLine(LogLevel::Info, "Error in writing rv: %d, error: %s", static_cast<int>(written),
                std::strerror(errno));
    }
}

bool EventManager::isApprovedFd(int fd) {
    ApprovedFds& approved = ApprovedFds::getInstance();
    const std::lock_guard lock(approved.mutex);
    return approved.fds.count(fd) != 0;
}

void EventManager::addApprovedFd(int fd) {
    ApprovedFds& approved = ApprovedFds::getInstance();
    const std::lock_guard lock(approved.mutex);
    approved.fds.insert(fd);
}

void EventManager::remApprovedFd(int fd) {
    ApprovedFds& approved = ApprovedFds::getInstance();
    const std::lock_guard lock(approved.mutex);
    approved.fds.erase(fd);
}

bool EventManager::beginDispatch(int fd) {
    const std::lock_guard lock(mMutex);
    if (mAllStale || mRemoved.count(fd) != 0) {
        return false;
    }
    mBusyFd = fd;
    mBusyThread = std::this_thread::get_id();
    return true;
}

void EventManager::endDispatch() {
    const std::lock_guard lock(mMutex);
    mBusyFd = -1;
    mDispatched.notify_all();
}

bool EventManager::retire(int fd) {
    std::unique_lock lock(mMutex);
    mDispatched.wait(
        lock, [this, fd] { return mBusyFd != fd || mBusyThread == std::this_thread::get_id(); });
    try {
        mRemoved.insert(fd);
    } catch (const std::bad_alloc&) {
        mAllStale = true;
    }
    // Under the lock, so that a wait which begins after it reports nothing of this descriptor.
    return epoll_ctl(mEpollFd.get(), EPOLL_CTL_DEL, fd, nullptr) == 0;
}

void EventManager::dispatch(int fd, unsigned int flags) {
    if ((flags & EPOLLHUP) != 0) {
        logLine(LogLevel::Info, "file descriptor '%d' sent HUP.", fd);
        dropDescriptor(fd);
    } else if ((flags & EPOLLIN) != 0) {
        dispatchInput(fd);
    } else {
        logLine(LogLevel::Info, "Unhandled epoll event: %s [flags 0%o]", otherFlags(flags).c_str(),
                flags);
    }
}

void EventManager::dispatchInput(int fd) {
    HandlerObject handler;
    bool registered = false;
    {
        const std::lock_guard lock(mMutex);
        const auto entry = mHandlers.find(fd);
        registered = entry != mHandlers.end();
        if (registered) {
            handler = entry->second;
        }
    }
    if (!isApprovedFd(fd)) {
        logLine(LogLevel::Info,
                "file descriptor %d is not on the approved list, cannot process event", fd);
        // Without a handler its owner has taken it back; the number may be somebody else's by now.
        if (registered) {
            dropDescriptor(fd);
        }
        return;
    }
    if (!registered) {
        logLine(LogLevel::Info, "file descriptor '%d' does not have an event handler registered",
                fd);
        return;
    }
    logLine(LogLevel::Verbose, "file descriptor '%d' is processing events [callback:%p, data:%p]",
            fd, reinterpret_cast<void*>(handler.eventCallback), handler.data);
    if (handler.eventCallback == nullptr) {
        logLine(LogLevel::Error, "no callback registered");
        return;
    }
    handler.eventCallback(fd, handler.data);
}

void EventManager::dropDescriptor(int fd) {
    removeEventHandler(fd);
    close(fd);
}

}  // namespace velo
