// SPDX-License-Identifier: Apache-2.0

#include "EventManager.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "EventFd.h"
#include "Support.h"

namespace velo {
namespace {

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

/// A descriptor that is ready at once and counts what happens to it.
struct Source {
    explicit Source(std::function<void(int)> onEvent = nullptr) : action(std::move(onEvent)) {
        fd.signal();
    }

    static void onEvent(int fd, void* data) {
        auto& self = *static_cast<Source*>(data);
        EventFd::drain(fd);
        ++self.events;
        if (self.action) {
            self.action(fd);
        }
    }
    static void onClose(int, void* data) { ++static_cast<Source*>(data)->closed; }

    EventFd fd;
    std::function<void(int)> action;
    std::atomic<int> events{0};
    int closed = 0;
};

class EventManagerTest : public ::testing::Test {
protected:
    bool watch(Source& source) {
        return mManager.addEventHandler(source.fd.get(), Source::onEvent, &source, Source::onClose,
                                        EPOLLIN);
    }

    test::LogRecorder mLog;
    EventManager mManager;
};

TEST_F(EventManagerTest, SecondRegistrationIsRefusedAndTheFirstKept) {
    Source first;
    ASSERT_TRUE(watch(first));
    EXPECT_FALSE(mManager.addEventHandler(first.fd.get(), nullptr, nullptr, nullptr, EPOLLIN));
    EXPECT_TRUE(mLog.has(LogLevel::Info,
                         "fd=" + std::to_string(first.fd.get()) + " is already in handlers"));
    mManager.processEvents();
    EXPECT_EQ(first.events, 1);
    mManager.removeEventHandler(first.fd.get());
    EXPECT_EQ(first.closed, 1);
}

TEST_F(EventManagerTest, DescriptorThatCannotBeWatchedIsStillRecorded) {
    EXPECT_TRUE(mManager.addEventHandler(9999, nullptr, nullptr, nullptr, EPOLLIN));
    EXPECT_TRUE(mLog.has(LogLevel::Error, "Cannot add event handler"));
    EXPECT_TRUE(EventManager::isApprovedFd(9999));
    mManager.removeEventHandler(9999);
    EXPECT_FALSE(EventManager::isApprovedFd(9999));
}

TEST_F(EventManagerTest, UnknownDescriptorIsRemovedQuietly) {
    mManager.removeEventHandler(9999);
    EXPECT_EQ(mLog.texts(LogLevel::Error), std::vector<std::string>{"Cannot remove event handler"});
}

TEST_F(EventManagerTest, DescriptorsThatHoldNoCounterAreReported) {
    const int empty = open("/dev/null", O_RDONLY | O_CLOEXEC);
    for (const int fd : {9999, empty}) {
        const std::string line = "Error while clearing the read buffer on fd " + std::to_string(fd);
        EventFd::drain(fd);
        EXPECT_TRUE(mLog.has(LogLevel::Error, line));
        EventManager::clearRead(fd, nullptr);
        EXPECT_TRUE(mLog.has(LogLevel::Info, line));
    }
    close(empty);
}

TEST_F(EventManagerTest, HangUpRemovesAndCloses) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    Source handler;
    mManager.addEventHandler(ends[0], Source::onEvent, &handler, Source::onClose, EPOLLIN);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    close(ends[1]);
    mManager.processEvents();
    EXPECT_EQ(handler.events, 0);
    EXPECT_EQ(handler.closed, 1);
    EXPECT_FALSE(isOpen(ends[0]));
    EXPECT_TRUE(
        mLog.has(LogLevel::Info, "file descriptor '" + std::to_string(ends[0]) + "' sent HUP."));
}

TEST_F(EventManagerTest, UnapprovedDescriptorIsClosedUnread) {
    Source source;
    const int fd = dup(source.fd.get());
    mManager.addEventHandler(fd, Source::onEvent, &source, Source::onClose, EPOLLIN);
    EventManager::remApprovedFd(fd);
    mManager.processEvents();
    EXPECT_EQ(source.events, 0);
    EXPECT_EQ(source.closed, 1);
    EXPECT_FALSE(isOpen(fd));
    EXPECT_TRUE(mLog.has(LogLevel::Info, "file descriptor " + std::to_string(fd) +
                                             " is not on the approved list, cannot process event"));
}

TEST_F(EventManagerTest, EventOfADescriptorRemovedInTheSamePassIsStale) {
    // Whichever comes first takes the other away and registers a new one under its number.
    Source next;
    int fds[2] = {};
    const auto replaceOther = [&](int fd) {
        const int other = fds[fd == fds[0] ? 1 : 0];
        mManager.removeEventHandler(other);
        ASSERT_EQ(dup2(next.fd.get(), other), other);
        mManager.addEventHandler(other, Source::onEvent, &next, nullptr, EPOLLIN);
    };
    Source first(replaceOther);
    Source second(replaceOther);
    fds[0] = first.fd.get();
    fds[1] = second.fd.get();
    ASSERT_TRUE(watch(first) && watch(second));
    mManager.processEvents();
    EXPECT_EQ(first.events + second.events, 1);
    EXPECT_EQ(next.events, 0);
    mManager.processEvents();
    EXPECT_EQ(next.events, 1);
    for (const int fd : fds) {
        EXPECT_TRUE(isOpen(fd));
        mManager.removeEventHandler(fd);
    }
}

TEST_F(EventManagerTest, CloseCallbackMayRemoveItsOwnHandler) {
    struct Closing {
        EventManager& manager;
        int calls = 0;
    } closing{mManager};
    const auto removeOnce = [](int fd, void* data) {
        auto& self = *static_cast<Closing*>(data);
        if (++self.calls == 1) self.manager.removeEventHandler(fd);
    };
    const Source source;
    const int fd = source.fd.get();
    mManager.addEventHandler(fd, nullptr, &closing, removeOnce, EPOLLIN);
    mManager.removeEventHandler(fd);
    EXPECT_EQ(closing.calls, 2);
    EXPECT_TRUE(
        mLog.has(LogLevel::Error, "handlers.erase for fd " + std::to_string(fd) + ", returned 0!"));
    EXPECT_FALSE(EventManager::isApprovedFd(fd));
}

TEST_F(EventManagerTest, RemovalWaitsForTheRunningCallback) {
    std::atomic<bool> returned{false};
    Source source([&](int) {
        EXPECT_TRUE(test::waitUntil([this] {
            return mLog.has(LogLevel::Verbose, "EventManager::removeEventHandler(int fd) EX");
        }));
        returned = true;
    });
    ASSERT_TRUE(watch(source));
    std::thread loop([this] { mManager.processEvents(); });
    EXPECT_TRUE(test::waitUntil([&] { return source.events == 1; }));
    mManager.removeEventHandler(source.fd.get());
    EXPECT_TRUE(returned);
    loop.join();
}

TEST_F(EventManagerTest, WakesCollapseIntoOneEvent) {
    ::testing::internal::CaptureStdout();
    mManager.wake();
    mManager.wake();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "wake()\nwake()\n");
    mManager.processEvents();
    Source source;
    ASSERT_TRUE(watch(source));
    mLog.clear();
    mManager.processEvents();
    EXPECT_EQ(source.events, 1);
    EXPECT_FALSE(mLog.has(LogLevel::Verbose, "there are 2 file descriptor(s) with events pending"));
    mManager.removeEventHandler(source.fd.get());
}

TEST_F(EventManagerTest, OtherEventsAreNamed) {
    Source source;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const std::pair<int, std::string> cases[] = {{source.fd.get(), "EPOLLOUT  [flags 04]"},
                                                 {ends[1], "EPOLLOUT EPOLLERR  [flags 014]"}};
    for (const auto& [fd, text] : cases) {
        mManager.addEventHandler(fd, Source::onEvent, &source, nullptr, EPOLLOUT);
        mManager.processEvents();
        EXPECT_TRUE(mLog.has(LogLevel::Info, "Unhandled epoll event: " + text));
        EXPECT_TRUE(isOpen(fd));
        mManager.removeEventHandler(fd);
    }
    EXPECT_EQ(source.events, 0);
    close(ends[1]);
}

TEST_F(EventManagerTest, MissingCallbackIsReported) {
    const Source source;
    mManager.addEventHandler(source.fd.get(), nullptr, nullptr, nullptr, EPOLLIN);
    mManager.processEvents();
    EXPECT_TRUE(mLog.has(LogLevel::Error, "no callback registered"));
    mManager.removeEventHandler(source.fd.get());
}

TEST_F(EventManagerTest, NumberThatItsOwnerClosedTooEarlyIsLeftToTheNextOwner) {
    // Another descriptor of the same source keeps it alive, and epoll reports the number for ever.
    Source source;
    const int fd = dup(source.fd.get());
    mManager.addEventHandler(fd, Source::onEvent, &source, nullptr, EPOLLIN);
    close(fd);
    mManager.removeEventHandler(fd);
    ASSERT_EQ(dup2(STDERR_FILENO, fd), fd);
    mManager.processEvents();
    EXPECT_TRUE(mLog.has(LogLevel::Info, "file descriptor " + std::to_string(fd) +
                                             " is not on the approved list, cannot process event"));
    EventManager::addApprovedFd(fd);
    mManager.processEvents();
    EXPECT_TRUE(mLog.has(LogLevel::Info, "file descriptor '" + std::to_string(fd) +
                                             "' does not have an event handler registered"));
    EXPECT_EQ(source.events, 0);
    EXPECT_TRUE(isOpen(fd));
    EventManager::remApprovedFd(fd);
    close(fd);
}

TEST_F(EventManagerTest, InterruptedPassIsReportedAndTheNextWaitsAgain) {
    const auto before = std::signal(SIGUSR1, [](int) {});
    Source source;
    std::thread loop([&] {
        while (source.events == 0) mManager.processEvents();
    });
    EXPECT_TRUE(test::waitUntil([&] {
        pthread_kill(loop.native_handle(), SIGUSR1);
        return mLog.has(LogLevel::Error, "epoll_wait error");
    }));
    ASSERT_TRUE(watch(source));
    loop.join();
    mManager.removeEventHandler(source.fd.get());
    std::signal(SIGUSR1, before);
}

/// Wakes a loop while standard output is a pipe that nobody reads any more.
void wakeIntoBrokenPipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0 || dup2(ends[1], STDOUT_FILENO) == -1) {
        exit(1);
    }
    close(ends[0]);
    close(ends[1]);
    EventManager manager;
    manager.wake();
    manager.processEvents();
}

TEST(EventManagerDeathTest, BrokenStandardOutputDoesNotKill) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT((wakeIntoBrokenPipe(), exit(0)), ::testing::ExitedWithCode(0), "");
    const auto wakeWithASignalPending = [] {
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        raise(SIGPIPE);
        wakeIntoBrokenPipe();
        pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
    };
    EXPECT_EXIT(wakeWithASignalPending(), ::testing::KilledBySignal(SIGPIPE), "")
        << "the application's own signal stays pending";
}

}  // namespace
}  // namespace velo
