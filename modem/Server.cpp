// SPDX-License-Identifier: Apache-2.0

#include "modem/Server.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <span>
#include <system_error>

#include "host/mox/Socket.h"
#include "mox/mox_client.h"

namespace velo::modem {

namespace {

constexpr std::size_t kEventsAtOnce = 16;
/// Until a client that there was no descriptor for is looked at again.
constexpr std::chrono::milliseconds kNextAccept{50};

mox::Descriptor checked(int opened, const char* what) {
    const int fd = mox::clearOfStandardStreams(opened);
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return mox::Descriptor(fd);
}

}  // namespace

Server::Server()
    : mEpoll(checked(::epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      mWake(checked(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")) {
    watch(mWake.get(), this, EPOLLIN, EPOLL_CTL_ADD);
}

Server::~Server() {
    stop();
}

void Server::start(FrameHandler& handler) {
    mHandler = &handler;
    // The application's signals are none of the modem's business; a thread inherits its maker's
    // mask.
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    // The thread waits for this lock before its first work, so that it never sees mThread half
    // assigned.
    const std::lock_guard lock(mMutex);
    try {
        mThread = std::thread([this] { loop(); });
    } catch (...) {
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void Server::stop() {
    if (!mThread.joinable()) {
        return;
    }
    post([this] {
        close();
        mStopping = true;
    });
    mThread.join();
}

void Server::open(const std::string& path) {
    mListen = ListenSocket(path);
    watch(mListen.fd(), &mListen, EPOLLIN, EPOLL_CTL_ADD);
}

void Server::close() {
    if (mListen.isOpen()) {
        watch(mListen.fd(), nullptr, 0, EPOLL_CTL_DEL);
        mListen.close();
    }
    for (const auto& connection : mConnections) {
        drop(*connection);
    }
}

void Server::transmit(Connection& connection, mox::Frame frame) {
    if (mOutlet) {
        mOutlet(connection, std::move(frame));
    } else {
        deliver(connection, std::move(frame));
    }
}

void Server::deliver(Connection& connection, mox::Frame frame) {
    // A copy, because what it does may replace it.
    if (const auto tamper = mTamper; tamper != nullptr && !(*tamper)(frame)) {
        return;
    }
    if (!connection.isOpen()) {
        return;
    }
    const bool before = connection.waiting();
    if (connection.send(std::move(frame))) {
        watchForRoom(connection, before);
    } else {
        drop(connection);
    }
}

void Server::setTamper(Tamper tamper) {
    mTamper = tamper ? std::make_shared<Tamper>(std::move(tamper)) : nullptr;
}

void Server::after(std::chrono::milliseconds delay, std::function<void()> work) {
    mTimers.emplace(Clock::now() + delay, std::move(work));
}

Connection* Server::find(std::uint64_t number) const {
    const auto found =
        std::find_if(mConnections.begin(), mConnections.end(), [number](const auto& connection) {
            return connection->isOpen() && connection->number() == number;
        });
    return found == mConnections.end() ? nullptr : found->get();
}

void Server::post(std::function<void()> task) {
    const std::lock_guard lock(mMutex);
    mTasks.push_back(std::move(task));
    ::eventfd_write(mWake.get(), 1);
}

void Server::loop() {
    { const std::lock_guard started(mMutex); }
    std::array<epoll_event, kEventsAtOnce> events{};
    while (!mStopping) {
        const int count = ::epoll_wait(mEpoll.get(), events.data(), kEventsAtOnce, untilTimer());
        for (int i = 0; i < count; ++i) {
            const auto& event = events[static_cast<std::size_t>(i)];
            if (event.data.ptr == this) {
                runTasks();
            } else if (event.data.ptr == &mListen) {
                accept();
            } else {
                onEvent(*static_cast<Connection*>(event.data.ptr), event.events);
            }
        }
        runTimers();
        sweep();
    }
}

int Server::untilTimer() const {
    if (mTimers.empty()) {
        return -1;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(mTimers.begin()->first - Clock::now()).count();
    return static_cast<int>(std::max<std::int64_t>(left, 0));
}

void Server::runTimers() {
    const auto now = Clock::now();
    while (!mStopping && !mTimers.empty() && mTimers.begin()->first <= now) {
        const auto work = std::move(mTimers.extract(mTimers.begin()).mapped());
        work();
    }
}

void Server::runTasks() {
    eventfd_t ignored = 0;
    ::eventfd_read(mWake.get(), &ignored);
    std::vector<std::function<void()>> tasks;
    {
        const std::lock_guard lock(mMutex);
        tasks.swap(mTasks);
    }
    for (const auto& task : tasks) {
        task();
    }
}

void Server::accept() {
    mox::Descriptor socket(mox::clearOfStandardStreams(
        ::accept4(mListen.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)));
    if (!socket) {
        return acceptLater();
    }
    mConnections.push_back(
        std::make_unique<Connection>(std::move(socket), ++mAccepted, mCapture.get()));
    auto& connection = *mConnections.back();
    watch(connection.fd(), &connection, EPOLLIN, EPOLL_CTL_ADD);
}

void Server::acceptLater() {
    // The client still waits, and would be reported at once and for ever.
    watch(mListen.fd(), &mListen, 0, EPOLL_CTL_MOD);
    after(kNextAccept, [this] {
        if (mListen.isOpen()) {
            watch(mListen.fd(), &mListen, EPOLLIN, EPOLL_CTL_MOD);
        }
    });
}

void Server::onEvent(Connection& connection, unsigned int events) {
    if (!connection.isOpen()) {
        return;
    }
    if ((events & EPOLLOUT) != 0) {
        if (!connection.flush()) {
            return drop(connection);
        }
        watchForRoom(connection, true);
    }
    if ((events & ~static_cast<unsigned int>(EPOLLOUT)) != 0) {
        receive(connection);
    }
}

void Server::receive(Connection& connection) {
    mox::Frame frame;
    std::span<const std::uint8_t> packet;
    const auto received = mox::receiveFrame(connection.fd(), mBuffer, frame, &packet);
    if (received == mox::Received::Lost) {
        return drop(connection);
    }
    if (received == mox::Received::Nothing) {
        return;
    }
    connection.recordReceived(packet);
    if (frame.kind != MOX_MESSAGE_REQUEST) {
        return;
    }
    if (received == mox::Received::Damaged) {
        mHandler->onDamagedRequest(connection, frame);
    } else {
        mHandler->onRequest(connection, frame);
    }
}

void Server::drop(Connection& connection) {
    if (connection.isOpen()) {
        watch(connection.fd(), nullptr, 0, EPOLL_CTL_DEL);
        connection.close();
    }
}

void Server::watchForRoom(Connection& connection, bool before) {
    if (connection.waiting() != before) {
        watch(connection.fd(), &connection, connection.waiting() ? EPOLLIN | EPOLLOUT : EPOLLIN,
              EPOLL_CTL_MOD);
    }
}

void Server::watch(int fd, void* owner, unsigned int events, int operation) const {
    epoll_event event{};
    event.events = events;
    event.data.ptr = owner;
    ::epoll_ctl(mEpoll.get(), operation, fd, &event);
}

void Server::sweep() {
    std::erase_if(mConnections, [](const auto& connection) { return !connection->isOpen(); });
}

}  // namespace velo::modem
