// SPDX-License-Identifier: Apache-2.0

#include "modem/ControlServer.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace velo::modem {

namespace {

constexpr std::size_t kChunk = 4096;
/// Until a controller that there was no descriptor for is looked at again.
constexpr int kNextAcceptMs = 50;
constexpr const char* kTooLong = R"({"error":"an order is at most 65536 bytes long"})";

/// A thread that the process's signals are none of the business of.
std::thread startThread(std::function<void()> body) {
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(std::move(body));
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

}  // namespace

/// One connection: what has come and is no whole line yet, and what is still to be sent.
class ControlServer::Controller {
public:
    explicit Controller(mox::Descriptor socket) : mSocket(std::move(socket)) {}

    /// Who does not take its answers is given no further ones.
    pollfd wanted() const {
        return {mSocket.get(), static_cast<short>(mOut.empty() ? POLLIN : POLLOUT), 0};
    }

    /// After poll has found what was wanted. False when the connection is at its end.
    bool work(const Handler& handler) {
        const bool open = mOut.empty() ? receive() : flush();
        return open && (!mOut.empty() || carryOut(handler));
    }

private:
    bool receive() {
        std::array<char, kChunk> chunk;
        const ssize_t got = ::recv(mSocket.get(), chunk.data(), chunk.size(), 0);
        if (got <= 0) {
            return got < 0 && (errno == EAGAIN || errno == EINTR);
        }
        mIn.append(chunk.data(), static_cast<std::size_t>(got));
        return true;
    }

    /// The whole lines that have come, until an answer has to wait.
    bool carryOut(const Handler& handler) {
        for (std::size_t end = mIn.find('\n'); end != std::string::npos; end = mIn.find('\n')) {
            const std::string line = mIn.substr(0, end);
            mIn.erase(0, end + 1);
            if (!std::exchange(mSkipping, false)) {
                mOut += (line.size() > kMaxLine ? kTooLong : handler(line)) + '\n';
            }
            if (!flush() || !mOut.empty()) {
                break;
            }
        }
        if (mIn.find('\n') == std::string::npos && mIn.size() > kMaxLine) {
            mIn.clear();
            if (!std::exchange(mSkipping, true)) {
                mOut += std::string(kTooLong) + '\n';
            }
        }
        return flush();
    }

    bool flush() {
        while (!mOut.empty()) {
            const ssize_t sent = ::send(mSocket.get(), mOut.data(), mOut.size(), MSG_NOSIGNAL);
            if (sent < 0) {
                return errno == EAGAIN || errno == EINTR;
            }
            mOut.erase(0, static_cast<std::size_t>(sent));
        }
        return true;
    }

    mox::Descriptor mSocket;
    std::string mIn;
    std::string mOut;
    bool mSkipping = false;  ///< the rest of a line that is too long
};

ControlServer::ControlServer(ListenSocket socket, Handler handler)
    : mHandler(std::move(handler)),
      mListen(std::move(socket)),
      mStop(mox::clearOfStandardStreams(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {
    if (!mStop) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    mThread = startThread([this] { loop(); });
}

ControlServer::~ControlServer() {
    ::eventfd_write(mStop.get(), 1);
    mThread.join();
}

void ControlServer::loop() {
    for (bool hasRoom = true;;) {
        std::vector<pollfd> waited{{mStop.get(), POLLIN, 0},
                                   {hasRoom ? mListen.fd() : -1, POLLIN, 0}};
        const std::size_t first = waited.size();
        for (const auto& controller : mControllers) {
            waited.push_back(controller->wanted());
        }
        if (::poll(waited.data(), waited.size(), hasRoom ? -1 : kNextAcceptMs) < 0) {
            continue;
        }
        if (waited[0].revents != 0) {
            return;
        }
        std::size_t next = first;
        std::erase_if(mControllers, [&](const auto& controller) {
            return waited[next++].revents != 0 && !controller->work(mHandler);
        });
        hasRoom = waited[1].revents == 0 || accept();
    }
}

/// False when there is no descriptor for whoever waits.
bool ControlServer::accept() {
    mox::Descriptor socket(mox::clearOfStandardStreams(
        ::accept4(mListen.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)));
    if (!socket) {
        return false;
    }
    mControllers.push_back(std::make_unique<Controller>(std::move(socket)));
    return true;
}

}  // namespace velo::modem
